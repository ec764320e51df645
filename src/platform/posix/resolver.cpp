#include "platform/resolver.h"

#include "platform/code_page.h"

#include <cstring>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace platform {

namespace {

int winsockNumber(int result) {
    switch (result) {
    case EAI_NONAME:
        return kHostNotFound;
    case EAI_AGAIN:
        return kTryAgain;
    case EAI_FAIL:
        return kNoRecovery;
    case EAI_NODATA:
    case EAI_ADDRFAMILY:
        return kNoData;
    default:
        return result;
    }
}

}  // namespace

ResolvedHost resolveHost(const std::u16string& host) {
    ResolvedHost resolved;
    if (holdsNul(host)) {
        resolved.code = kHostNotFound;
        return resolved;
    }
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* answer = nullptr;
    const int result = ::getaddrinfo(toUtf8(host).c_str(), nullptr, &hints, &answer);
    if (result != 0) {
        resolved.code = winsockNumber(result);
        return resolved;
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(answer, &::freeaddrinfo);
    resolved.outcome = ResolvedHost::Outcome::noAddress;
    for (const addrinfo* entry = answer; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_family == AF_INET && entry->ai_addrlen >= sizeof(sockaddr_in)) {
            sockaddr_in address{};
            std::memcpy(&address, entry->ai_addr, sizeof address);
            std::memcpy(resolved.address.data(), &address.sin_addr, resolved.address.size());
            resolved.outcome = ResolvedHost::Outcome::address;
            break;
        }
    }
    return resolved;
}

}  // namespace platform
