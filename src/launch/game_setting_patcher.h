// GameSetting.inf, the game's display settings: one value a line, known by its position.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The 21 lines of a fresh file.
std::vector<std::string> defaultGameSettingLines();

// The lines without their ends (LF, or CR LF); a last line without an end counts only when it is not empty.
std::vector<std::string> splitGameSettingLines(std::string_view bytes);

// Sets the resolution and the window mode in `dataRoot`'s GameSetting.inf and fills up what is missing of the 21 lines;
// every other line stays. `width` and `height` in pixels; a pair that the game does not know counts as 1024 by 768.
// `displayMode` 2 is full screen, anything else a window. A file above 1 MiB, or one that would become so, is refused.
// False leaves a sentence in `lastError` unless that is null. The file is written in place.
bool patchGameSetting(const std::u16string& dataRoot, std::int32_t width, std::int32_t height, std::int32_t displayMode,
                      std::u16string* lastError);
