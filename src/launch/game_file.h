// How large a file of the game may be.
#pragma once

#include <cstdint>

inline constexpr std::uint64_t kLargestGameFile = 64 << 20;  // bytes
// Stands behind the sentence of a file that is larger, or would become so.
inline constexpr char16_t kTooLarge[] = u" (larger than 64 MiB)";
