// SHA-256 (FIPS 180-4), incremental. Windows: CNG (BCrypt); POSIX: OpenSSL's libcrypto.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace platform {

class Sha256 {
public:
    Sha256();
    Sha256(Sha256&&) noexcept;
    Sha256& operator=(Sha256&&) noexcept;
    ~Sha256();

    // False when the system's provider failed, now or before; the digest is then empty.
    bool update(std::string_view bytes);
    // 64 lower-case hexadecimal digits of everything given so far; empty on failure. The object is spent afterwards.
    std::string finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace platform
