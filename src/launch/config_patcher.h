// Rewriting config.lua in the game's data root, against other clients and a game that starts at the same moment.
#pragma once

#include "launch/config_text.h"

#include <filesystem>
#include <stop_token>
#include <string>

// The sentence of a launch that was told to stop.
inline constexpr char16_t kLaunchCancelled[] = u"launch cancelled";

// Renews the client's pieces in `dataRoot`'s config.lua (see config_text.h); every other line stays. The file
// "config.lua.lock" keeps other clients out and stays on disk; it is waited for at most two seconds. The new text
// replaces the old in one step, also past a power cut. A file that cannot be read for half a second counts as empty;
// one above kLargestGameFile, or one that would become so, is refused. False leaves a sentence in `lastError` and the
// old file in place; so does a request to stop while something is waited for.
bool patchConfigLua(const std::filesystem::path& dataRoot, std::int32_t slot, std::int32_t mapOptionDisplay,
                    const MapOptionPairs& mapOptions, std::u16string& lastError, const std::stop_token& stop = {});

// The latest written "config.lua*.bak" of the data root, empty when there is none. The client only reads such files.
std::filesystem::path newestConfigBackup(const std::filesystem::path& dataRoot);

// Gives a missing or empty config.lua the newest backup's content, or the default text. Failures are ignored.
void restoreConfigIfEmpty(const std::filesystem::path& dataRoot, const std::filesystem::path& configPath,
                          std::int32_t slot);
