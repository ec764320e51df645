#include "platform/resolver.h"

#include "platform/code_page.h"
#include "platform/win32/wide_text.h"

#include <winsock2.h>

#include <cstring>
#include <memory>
#include <ws2tcpip.h>

namespace platform {

namespace {

int startNameService() {
    WSADATA data{};
    return WSAStartup(MAKEWORD(2, 2), &data);
}

}  // namespace

ResolvedHost resolveHost(const std::u16string& host) {
    static const int started = startNameService();
    ResolvedHost resolved;
    if (started != 0) {
        resolved.outcome = ResolvedHost::Outcome::notAvailable;
        resolved.code = started;
        return resolved;
    }
    if (holdsNul(host)) {
        resolved.code = kHostNotFound;
        return resolved;
    }
    ADDRINFOW hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    ADDRINFOW* answer = nullptr;
    const int result = GetAddrInfoW(toWide(host).c_str(), nullptr, &hints, &answer);
    if (result != 0 || answer == nullptr) {
        resolved.code = result;
        return resolved;
    }
    const std::unique_ptr<ADDRINFOW, decltype(&FreeAddrInfoW)> owner(answer, &FreeAddrInfoW);
    resolved.outcome = ResolvedHost::Outcome::noAddress;
    for (const ADDRINFOW* entry = answer; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_family == AF_INET && entry->ai_addr != nullptr && entry->ai_addrlen >= sizeof(sockaddr_in)) {
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
