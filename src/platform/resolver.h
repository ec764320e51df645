// The system's name service, asked for IPv4 addresses alone.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace platform {

struct ResolvedHost {
    enum class Outcome {
        address,
        noAddress,     // the name service answered, but with no IPv4 address
        failed,        // `code` tells why
        notAvailable,  // the name service could not be started (WSAStartup); `code` tells why
    };
    Outcome outcome = Outcome::failed;
    std::array<std::uint8_t, 4> address{};  // in the order of the dotted text
    // The name service's result as a Winsock number. POSIX results that name the same condition are given by that
    // number (EAI_NONAME 11001, EAI_AGAIN 11002, EAI_FAIL 11003, EAI_NODATA 11004), others as they are.
    int code = 0;
};

inline constexpr int kHostNotFound = 11001;
inline constexpr int kTryAgain = 11002;
inline constexpr int kNoRecovery = 11003;
inline constexpr int kNoData = 11004;

// Asks for the A records of `host` and gives the first (getaddrinfo with AF_INET and SOCK_STREAM; GetAddrInfoW after
// one WSAStartup a process). Blocks as long as the name service does; may be called from any thread.
ResolvedHost resolveHost(const std::u16string& host);

}  // namespace platform
