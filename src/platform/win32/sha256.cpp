#include "platform/sha256.h"

#include "platform/code_page.h"

#include <algorithm>
#include <array>
#include <windows.h>

#include <bcrypt.h>

namespace platform {

struct Sha256::State {
    State() {
        good = BCryptOpenAlgorithmProvider(&provider, BCRYPT_SHA256_ALGORITHM, nullptr, 0) >= 0 &&
               BCryptCreateHash(provider, &hash, nullptr, 0, nullptr, 0, 0) >= 0;
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        if (hash != nullptr) {
            BCryptDestroyHash(hash);
        }
        if (provider != nullptr) {
            BCryptCloseAlgorithmProvider(provider, 0);
        }
    }

    BCRYPT_ALG_HANDLE provider = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;
    bool good = false;
};

Sha256::Sha256() : state_(std::make_unique<State>()) {}
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;
Sha256::~Sha256() = default;

bool Sha256::update(std::string_view bytes) {
    constexpr std::size_t kPiece = 1U << 30;
    if (!state_) {
        return false;
    }
    while (state_->good && !bytes.empty()) {
        // The system does not change what it hashes, but asks for a pointer that would let it.
        auto* const data = reinterpret_cast<UCHAR*>(const_cast<char*>(bytes.data()));
        const std::size_t length = std::min(bytes.size(), kPiece);
        state_->good = BCryptHashData(state_->hash, data, static_cast<ULONG>(length), 0) >= 0;
        bytes.remove_prefix(length);
    }
    return state_->good;
}

std::string Sha256::finish() {
    const std::unique_ptr<State> state = std::move(state_);
    std::array<unsigned char, 32> digest{};
    if (!state || !state->good ||
        BCryptFinishHash(state->hash, digest.data(), static_cast<ULONG>(digest.size()), 0) < 0) {
        return {};
    }
    return hexadecimal(digest);
}

}  // namespace platform
