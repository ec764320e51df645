#include "launch/game_setting_patcher.h"

#include "platform/files.h"
#include "settings/paths.h"

#include <array>

namespace {

constexpr std::size_t kMaxSettingBytes = 1 << 20;  // 1 MiB
constexpr std::int32_t kFullScreen = 2;
constexpr std::size_t kResolutionLine = 0;
constexpr std::size_t kFullScreenLine = 1;
constexpr std::size_t kWindowLine = 20;

struct Resolution {
    std::int32_t width;
    std::int32_t height;
    char index;
};
constexpr std::array<Resolution, 6> kResolutions = {{
    {800, 600, '0'},
    {1024, 768, '1'},
    {1152, 864, '2'},
    {1280, 960, '3'},
    {1280, 1024, '4'},
    {1400, 1050, '5'},
}};

char resolutionIndex(std::int32_t width, std::int32_t height) {
    for (const Resolution& resolution : kResolutions) {
        if (resolution.width == width && resolution.height == height) {
            return resolution.index;
        }
    }
    return '1';
}

bool fail(std::u16string_view what, const std::u16string& path, std::u16string* lastError) {
    if (lastError != nullptr) {
        *lastError = std::u16string(what) + path;
    }
    return false;
}

}  // namespace

std::vector<std::string> defaultGameSettingLines() {
    return {"1", "0", "1", "1", "42", "0", "43", "10", "3", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "1"};
}

std::vector<std::string> splitGameSettingLines(std::string_view bytes) {
    std::vector<std::string> lines;
    for (std::size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
        const bool carriageReturn = end > 0 && bytes[end - 1] == '\r';
        lines.emplace_back(bytes.substr(0, carriageReturn ? end - 1 : end));
        bytes.remove_prefix(end + 1);
    }
    if (!bytes.empty()) {
        lines.emplace_back(bytes);
    }
    return lines;
}

bool patchGameSetting(const std::u16string& dataRoot, std::int32_t width, std::int32_t height, std::int32_t displayMode,
                      std::u16string* lastError) {
    const std::u16string path = joinPath(dataRoot, u"GameSetting.inf");
    std::string bytes;
    if (fileExists(path) && !platform::readWholeFile(platform::toPath(path), bytes, kMaxSettingBytes)) {
        return fail(u"failed to read GameSetting.inf: ", path, lastError);
    }
    std::vector<std::string> lines = splitGameSettingLines(bytes);
    const std::vector<std::string> defaults = defaultGameSettingLines();
    for (std::size_t line = lines.size(); line < defaults.size(); ++line) {
        lines.push_back(defaults[line]);
    }
    lines[kResolutionLine].assign(1, resolutionIndex(width, height));
    lines[kFullScreenLine].assign(1, displayMode == kFullScreen ? '1' : '0');
    lines[kWindowLine].assign(1, displayMode == kFullScreen ? '0' : '1');

    std::string text;
    for (const std::string& line : lines) {
        text.append(line).append("\r\n");
    }
    // A file that the next call would refuse to read is not written.
    if (text.size() > kMaxSettingBytes || !platform::writeWholeFile(platform::toPath(path), text)) {
        return fail(u"failed to write GameSetting.inf: ", path, lastError);
    }
    return true;
}
