// The machine's table of network neighbours.
#pragma once

#include <cstdint>
#include <vector>

namespace platform {

// The IPv4 addresses of the neighbour table in the system's order, whatever the state of the entry, each as a number in
// host byte order (26.1.2.3 is 0x1A010203). Empty when the table cannot be read (GetIpNetTable; /proc/net/arp).
std::vector<std::uint32_t> neighbourAddresses();

}  // namespace platform
