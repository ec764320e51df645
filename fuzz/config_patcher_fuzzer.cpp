// The patcher of config.lua: lines that name none of the client's pieces stay, and are settled by the first patch.
#include "fuzz/expect.h"
#include "launch/config_text.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<std::string_view, 5> kOwnWords{"lobby_runtime_patch", "pm_client_launcher", "SetCurrentControlID(",
                                                    "tempConfigLuaMapOptionInfo", "function GetMapOption"};

}  // namespace

// The first bytes choose the values, the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    ConfigValues values;
    values.slot = data[0] % 24;
    values.mapOptionDisplay = data[1] % 4;
    values.mapOptions.assign(data[1] / 4U % 8, {data[0], data[1] - 64});
    const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::string once = patchConfigText(text, values);
    expect(once.find(progressGuards()) != std::string::npos, "the guards");
    const bool mentionsOwn = std::any_of(kOwnWords.begin(), kOwnWords.end(),
                                         [&text](std::string_view word) { return text.find(word) != text.npos; });
    // Blank lines at the very beginning are eaten by a later patch.
    if (mentionsOwn || text.find_first_of("\r\n") == 0) {
        return 0;
    }
    expect(once.find(text.substr(0, text.find_last_not_of(" \t\n\v\f\r") + 1)) != std::string::npos,
           "the player's lines");
    expect(patchConfigText(once, values) == once, "the same bytes from a second patch");
    return 0;
}
