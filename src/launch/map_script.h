// Which script the game is to load, and whether it may.
#pragma once

#include "launch/game_launch_request.h"

#include <string>

// Settles the map's name for the game and the path of its script: from the request's script path, which must be a file
// with the extension ".o" inside `dataRoot`'s map folder once all links are resolved, or, where it is empty, from the
// map's name; then the file need not exist. False leaves a sentence in `lastError`.
bool resolveMapScript(const std::u16string& dataRoot, const GameLaunchRequest& request, std::u16string& startupMap,
                      std::u16string& scriptPath, std::u16string& lastError);
