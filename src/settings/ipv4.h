// IPv4 addresses and the host names that stand for them.
#pragma once

#include <array>
#include <cstdint>
#include <string>

using Ipv4Bytes = std::array<std::uint8_t, 4>;  // in the order of the dotted text

// Reads four decimal numbers from 0 to 255 with dots between; leading zeros are allowed. False leaves a sentence in
// `error`.
bool parseIpv4(const std::u16string& text, Ipv4Bytes& bytes, std::u16string& error);

// The address that the text is, or the first A record of the name that it is. Blocks while the name service is asked.
bool resolveIpv4Host(const std::u16string& host, Ipv4Bytes& bytes, std::u16string& error);
