#include "platform/neighbours.h"

#include <arpa/inet.h>
#include <fstream>
#include <string>

namespace platform {

std::vector<std::uint32_t> neighbourAddresses() {
    std::vector<std::uint32_t> addresses;
    std::ifstream table("/proc/net/arp");
    for (std::string line; std::getline(table, line);) {
        in_addr address{};
        // The heading's first word is no address, and falls out here too.
        if (::inet_pton(AF_INET, line.substr(0, line.find(' ')).c_str(), &address) == 1) {
            addresses.push_back(ntohl(address.s_addr));
        }
    }
    return addresses;
}

}  // namespace platform
