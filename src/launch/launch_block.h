// The record that the game reads from shared memory at its start.
#pragma once

#include "launch/game_launch_request.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

inline constexpr std::size_t kLaunchBlockSize = 1078;  // bytes
inline constexpr std::size_t kMaxMapNameUnits = 31;    // UTF-16 units without the terminating NUL
inline constexpr std::size_t kMaxPlayerNameUnits = 15;

// Fills `block` with the 1078 bytes (little-endian; docs/file-formats.md has the offsets) for the request's map name,
// host, port, slot, session and user, and for `playerName`. Longer names are cut. Asks the name service when the host
// is a name; false when it has no IPv4 address, with the reason in `lastError`.
bool buildLaunchBlock(const GameLaunchRequest& request, const std::u16string& playerName,
                      std::vector<std::uint8_t>& block, std::u16string& lastError);
