// What the stand-in game got, as text for programs and for people.
#pragma once

#include "platform/process.h"
#include "standin_game/handout.h"

#include <optional>
#include <string>
#include <vector>

struct Report {
    std::string error;  // empty: everything was there
    std::vector<std::u16string> arguments;
    std::u16string workingDirectory;
    std::u16string compatLayer;
    platform::ProcessId pid = 0;
    std::string blockBytes;
    std::optional<LaunchBlock> block;
    GameConfig config;
};

// One JSON document in UTF-8; without a block it has "error" in place of the block's fields.
std::string toJson(const Report& report);

// Lines of "label: value" in the language of the players.
std::u16string toDisplayText(const Report& report);
