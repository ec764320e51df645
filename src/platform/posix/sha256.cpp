#include "platform/sha256.h"

#include "platform/code_page.h"

#include <array>
#include <openssl/evp.h>

namespace platform {

struct Sha256::State {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
    bool good = context != nullptr && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1;
};

Sha256::Sha256() : state_(std::make_unique<State>()) {}
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;
Sha256::~Sha256() = default;

bool Sha256::update(std::string_view bytes) {
    if (!state_) {
        return false;
    }
    state_->good = state_->good && EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size()) == 1;
    return state_->good;
}

std::string Sha256::finish() {
    const std::unique_ptr<State> state = std::move(state_);
    std::array<unsigned char, 32> digest{};
    if (!state || !state->good || EVP_DigestFinal_ex(state->context.get(), digest.data(), nullptr) != 1) {
        return {};
    }
    return hexadecimal(digest);
}

}  // namespace platform
