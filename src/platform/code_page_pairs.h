// What the systems' own converters know of code page 936.
#pragma once

#include <array>

namespace platform {

// The character of each pair of bytes, at `first << 8 | second`.
using CodePagePairs = std::array<char16_t, 65536>;

// Fills in the two-byte characters. Pairs that are none stay as they are or become "?".
void readCodePage936(CodePagePairs& pairs);

}  // namespace platform
