// Everything that one start of the game needs, as a plain value that travels to the launch task.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct GameLaunchRequest {
    std::u16string clientRoot;
    std::u16string dataRoot;  // empty: found from clientRoot
    std::u16string gameHost = u"127.0.0.1";
    std::uint16_t gamePort = 40001;
    std::u16string mapName = u"10078";
    std::u16string mapScriptPath;  // empty: found from mapName
    std::int32_t slot = 1;
    std::int32_t userId = 10001;
    std::u16string playerName;
    std::uint32_t sessionId = 1;
    bool restartExisting = true;
    std::int32_t windowX = -1;  // the window is placed only when both coordinates are at least 0
    std::int32_t windowY = -1;
    std::int32_t windowWidth = 1024;
    std::int32_t windowHeight = 768;
    std::int32_t settingWidth = 0;  // below 1: the window's size
    std::int32_t settingHeight = 0;
    std::int32_t displayMode = 0;
    bool reservedFlag = true;
    bool patchGameSetting = true;
    bool compatibilityMode = false;
    bool dpiAware = false;
    std::int32_t mapOptionDisplay = 0;
    std::vector<std::pair<std::int32_t, std::int32_t>> mapOptions;  // (option index, value index)
};
