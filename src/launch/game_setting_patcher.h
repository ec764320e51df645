// GameSetting.inf, the game's display settings: one value a line, known by its position.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

// Sets the resolution and the window mode in `dataRoot`'s GameSetting.inf and fills up what is missing of the 21 lines;
// every other line stays. `width` and `height` in pixels; a pair that the game does not know counts as 1024 by 768.
// `displayMode` 2 is full screen, anything else a window. A file above kLargestGameFile, or one that would become so,
// is refused. False leaves a sentence in `lastError` unless that is null. The file is written in place.
bool patchGameSetting(const std::filesystem::path& dataRoot, std::int32_t width, std::int32_t height,
                      std::int32_t displayMode, std::u16string* lastError);
