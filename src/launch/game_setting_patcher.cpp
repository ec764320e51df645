#include "launch/game_setting_patcher.h"

#include "launch/game_file.h"
#include "platform/files.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace {

constexpr std::int32_t kFullScreen = 2;
constexpr std::size_t kResolutionLine = 0;
constexpr std::size_t kFullScreenLine = 1;
constexpr std::size_t kWindowLine = 20;
constexpr std::array<std::string_view, 21> kDefaultLines = {"1", "0", "1", "1", "42", "0", "43", "10", "3", "0", "0",
                                                            "0", "0", "0", "0", "0",  "0", "0",  "0",  "0", "1"};

struct Resolution {
    std::int32_t width;
    std::int32_t height;
    const char* index;
};
constexpr std::array<Resolution, 6> kResolutions = {{
    {800, 600, "0"},
    {1024, 768, "1"},
    {1152, 864, "2"},
    {1280, 960, "3"},
    {1280, 1024, "4"},
    {1400, 1050, "5"},
}};

std::string_view resolutionIndex(std::int32_t width, std::int32_t height) {
    const auto known = std::find_if(kResolutions.begin(), kResolutions.end(), [&](const Resolution& resolution) {
        return resolution.width == width && resolution.height == height;
    });
    return known == kResolutions.end() ? "1" : known->index;
}

// Takes the first line off the bytes, without its end (LF, or CR LF).
std::string_view takeLine(std::string_view& bytes) {
    const std::size_t end = bytes.find('\n');
    std::string_view line = bytes.substr(0, end);
    bytes.remove_prefix(std::min(bytes.size(), line.size() + 1));
    if (end != std::string_view::npos && line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

}  // namespace

bool patchGameSetting(const std::filesystem::path& dataRoot, std::int32_t width, std::int32_t height,
                      std::int32_t displayMode, std::u16string* lastError) {
    const std::filesystem::path path = dataRoot / "GameSetting.inf";
    const auto fail = [&](std::u16string_view what, bool tooLarge) {
        if (lastError != nullptr) {
            *lastError = std::u16string(what).append(platform::toWideText(path)).append(tooLarge ? kTooLarge : u"");
        }
        return false;
    };
    std::string bytes;
    const std::optional<platform::FileStatus> status = platform::fileStatus(path);
    if (status && !status->isDirectory && !platform::readWholeFile(path, bytes, kLargestGameFile)) {
        return fail(u"failed to read GameSetting.inf: ", status->size > static_cast<std::int64_t>(kLargestGameFile));
    }
    std::string text;
    std::string_view rest = bytes;
    for (std::size_t number = 0; number < kDefaultLines.size() || !rest.empty(); ++number) {
        std::string_view line = rest.empty() ? kDefaultLines[number] : takeLine(rest);
        if (number == kResolutionLine) {
            line = resolutionIndex(width, height);
        } else if (number == kFullScreenLine) {
            line = displayMode == kFullScreen ? "1" : "0";
        } else if (number == kWindowLine) {
            line = displayMode == kFullScreen ? "0" : "1";
        }
        text.append(line).append("\r\n");
    }
    // A file that the next call would refuse to read is not written.
    const bool tooLarge = text.size() > kLargestGameFile;
    if (tooLarge || !platform::writeWholeFile(path, text)) {
        return fail(u"failed to write GameSetting.inf: ", tooLarge);
    }
    return true;
}
