// What the launcher hands to the game: the shared launch block and config.lua.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

constexpr std::size_t kLaunchBlockSize = 1078;  // bytes

struct LaunchBlock {
    std::u16string mapName;
    std::array<std::uint8_t, 4> host{};  // in the order of the dotted text
    std::uint16_t port = 0;
    std::uint8_t slot = 0;
    std::uint32_t sessionId = 0;
    std::int32_t userId = 0;
    std::u16string playerName;
};

// Empty, with a sentence in `error`, when the size is wrong, a text has no end, or a reserved byte isn't zero.
std::optional<LaunchBlock> decodeLaunchBlock(std::string_view bytes, std::string& error);

struct GameConfig {
    std::optional<std::int32_t> controlId;  // of the last call with a number: the one that counts when the file runs
    std::vector<std::pair<std::int32_t, std::int32_t>> mapOptions;  // (option, value)
    std::optional<std::int32_t> mapOptionDisplay;
    bool guards = false;  // the guards block stands there, complete
};

// Reads the launcher's lines by their look; runs no Lua.
GameConfig readGameConfig(std::string_view lua);
