#include "platform/neighbours.h"

#include <winsock2.h>

#include <iphlpapi.h>
#include <memory>

namespace platform {

std::vector<std::uint32_t> neighbourAddresses() {
    ULONG size = 0;
    if (GetIpNetTable(nullptr, &size, FALSE) != ERROR_INSUFFICIENT_BUFFER || size == 0) {
        return {};
    }
    const auto buffer = std::make_unique<std::byte[]>(size);
    auto* const table = reinterpret_cast<MIB_IPNETTABLE*>(buffer.get());
    if (GetIpNetTable(table, &size, FALSE) != NO_ERROR) {
        return {};
    }
    std::vector<std::uint32_t> addresses;
    for (DWORD i = 0; i < table->dwNumEntries; ++i) {
        addresses.push_back(ntohl(table->table[i].dwAddr));
    }
    return addresses;
}

}  // namespace platform
