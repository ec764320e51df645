#include "launch/game_launcher.h"

#include "launch/command_line.h"
#include "launch/config_patcher.h"
#include "launch/game_setting_patcher.h"
#include "launch/launch_block.h"
#include "launch/launcher_log.h"
#include "launch/map_script.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/game_window.h"
#include "settings/decimal.h"
#include "settings/paths.h"

#include <chrono>
#include <optional>
#include <string_view>
#include <vector>

using std::chrono::milliseconds;

namespace {

constexpr milliseconds kPreviousGameWait{3000};
constexpr milliseconds kStoppedGameWait{500};
constexpr int kWindowLooks = 80;
constexpr milliseconds kWindowPause{250};
constexpr std::size_t kLayerBufferUnits = 4096;

std::u16string playerNameFor(const GameLaunchRequest& request) {
    if (!request.playerName.empty()) {
        return request.playerName;
    }
    return request.slot == 1 ? u"PMPlayer" : u"PMPlayer" + decimalText(request.slot);
}

}  // namespace

void stopGameByPath(const std::u16string& path) {
    platform::stopProcessesByPath(u"game.exe", path);
}

bool createGameProcess(const std::u16string& exePath, const std::u16string& commandLine,
                       const std::u16string& workingDirectory, platform::Process& process, std::u16string& error) {
    platform::ProcessStartResult started = platform::startProcess({exePath, commandLine, workingDirectory});
    if (!started.process.isOpen()) {
        error = u"CreateProcess failed, error=" + decimalText(started.error);
        return false;
    }
    process = std::move(started.process);
    return true;
}

// What the steps find out for each other.
struct GameLauncher::Plan {
    std::stop_token stop;
    std::u16string dataRoot;
    std::u16string gamePath;
    std::u16string startupMap;
    std::u16string scriptPath;
    std::u16string playerName;
    std::u16string mappingName;
};

bool GameLauncher::launch(const GameLaunchRequest& request, const std::stop_token& stop) {
    logRoot_ = request.clientRoot;
    lastError_.clear();
    Plan plan;
    plan.stop = stop;
    plan.dataRoot = request.dataRoot.empty() ? findDataRoot(request.clientRoot) : request.dataRoot;
    plan.gamePath = joinPath(joinPath(plan.dataRoot, u"core"), u"game.exe");
    if (!endPreviousGame(plan) || !checkRequest(request, plan) || !prepareFiles(request, plan) ||
        !shareBlock(request, plan) || !startGame(request, plan)) {
        return false;
    }
    log(u"game started PID=" + decimalText(processId_) + u" MapName=" + plan.mappingName);
    if (request.windowX >= 0 && request.windowY >= 0) {
        placeWindow(request, stop);
    }
    return true;
}

bool GameLauncher::endPreviousGame(const Plan& plan) {
    const bool ended = process_.waitForEnd(kPreviousGameWait, plan.stop);
    if (!ended && !plan.stop.stop_requested()) {
        log(u"previous game still running after 3s, force-stopping " + plan.gamePath);
        stopGameByPath(plan.gamePath);
        process_.waitForEnd(kStoppedGameWait, plan.stop);
    }
    releaseHandles();
    return !plan.stop.stop_requested() || fail(kLaunchCancelled);
}

bool GameLauncher::checkRequest(const GameLaunchRequest& request, Plan& plan) {
    std::u16string error;
    if (!resolveMapScript(plan.dataRoot, request, plan.startupMap, plan.scriptPath, error)) {
        return fail(error);
    }
    log(u"start DataRoot=" + plan.dataRoot + u" Host=" + request.gameHost + u":" + decimalText(request.gamePort) +
        u" Map=" + request.mapName + u" StartupMap=" + plan.startupMap + u" Script=" + plan.scriptPath + u" Slot=" +
        decimalText(request.slot) + u" UserId=" + decimalText(request.userId) + u" Session=" +
        decimalText(request.sessionId));
    if (!fileExists(plan.gamePath)) {
        return fail(u"game.exe not found: " + plan.gamePath);
    }
    if (request.mapScriptPath.empty() && !fileExists(plan.scriptPath)) {
        return fail(u"map file not found: " + plan.scriptPath);
    }
    plan.playerName = playerNameFor(request);
    if (plan.playerName.size() > kMaxPlayerNameUnits) {
        return failUnlogged(u"PlayerName too long (max 15): " + plan.playerName);
    }
    if (plan.startupMap.size() > kMaxMapNameUnits) {
        return failUnlogged(u"MapName too long (max 31): " + plan.startupMap);
    }
    return true;
}

bool GameLauncher::prepareFiles(const GameLaunchRequest& request, const Plan& plan) {
    if (request.restartExisting) {
        log(u"restart requested, stopping old game process for " + plan.gamePath);
        stopGameByPath(plan.gamePath);
    }
    std::u16string error;
    if (!patchConfigLua(platform::toPath(plan.dataRoot), request.slot, request.mapOptionDisplay, request.mapOptions,
                        error, plan.stop)) {
        return fail(error);
    }
    if (!request.patchGameSetting) {
        log(u"config prepared (GameSetting.inf unchanged)");
        return true;
    }
    const std::int32_t width = request.settingWidth >= 1 ? request.settingWidth : request.windowWidth;
    const std::int32_t height = request.settingHeight >= 1 ? request.settingHeight : request.windowHeight;
    if (!patchGameSetting(platform::toPath(plan.dataRoot), width, height, request.displayMode, &error)) {
        return fail(error);
    }
    log(u"config prepared");
    return true;
}

bool GameLauncher::shareBlock(const GameLaunchRequest& request, Plan& plan) {
    GameLaunchRequest handed = request;
    handed.mapName = plan.startupMap;
    std::vector<std::uint8_t> block;
    std::u16string error;
    if (!buildLaunchBlock(handed, plan.playerName, block, error)) {
        return fail(error);
    }
    platform::removeAbandonedBlocks(kMappingPrefix);
    std::uint32_t number = createMapping(mapping_, block.size(), request.sessionId, request.slot, plan.mappingName);
    if (number != 0) {
        return failUnlogged(u"CreateFileMapping failed, error=" + decimalText(number));
    }
    number = mapping_.write({reinterpret_cast<const char*>(block.data()), block.size()});
    if (number != 0) {
        releaseHandles();
        return failUnlogged(u"MapViewOfFile failed, error=" + decimalText(number));
    }
    return true;
}

bool GameLauncher::startGame(const GameLaunchRequest& request, const Plan& plan) {
    const std::u16string commandLine = buildCommandLine({plan.gamePath, u"MemoryMapName=" + plan.mappingName});
    if (plan.stop.stop_requested()) {
        releaseHandles();
        return fail(kLaunchCancelled);
    }
    std::u16string error;
    bool started = false;
    {
        std::optional<platform::ScopedEnvironmentVariable> layer;
        if (request.compatibilityMode || request.dpiAware) {
            layer.emplace(u"__COMPAT_LAYER", request.compatibilityMode ? u"HIGHDPIAWARE WIN7RTM" : u"HIGHDPIAWARE",
                          kLayerBufferUnits);
            log(request.compatibilityMode ? u"compatibility mode enabled" : u"dpi-aware mode enabled");
        }
        started = createGameProcess(plan.gamePath, commandLine, plan.dataRoot, process_, error);
    }
    if (!started) {
        releaseHandles();
        return fail(u"failed to launch game.exe: " + error);
    }
    mapping_.handTo(process_);
    processId_ = process_.id();
    return true;
}

void GameLauncher::placeWindow(const GameLaunchRequest& request, const std::stop_token& stop) {
    const platform::WindowPlacement placement{request.windowX, request.windowY, request.windowWidth,
                                              request.windowHeight, request.displayMode != 0};
    int looks = 1;
    platform::placeMainWindow(processId_, placement, [&] {
        // The pause ends early with the game.
        return looks++ < kWindowLooks && !process_.waitForEnd(kWindowPause, stop) && !stop.stop_requested();
    });
}

platform::ProcessId GameLauncher::pid() const {
    return processId_;
}

std::u16string GameLauncher::lastError() const {
    return lastError_;
}

void GameLauncher::closeProcess() {
    process_.close();
}

void GameLauncher::releaseHandles() {
    process_.close();
    processId_ = 0;
    mapping_.close();
}

void GameLauncher::log(const std::u16string& message) const {
    launcherLog(logRoot_, message);
}

bool GameLauncher::fail(const std::u16string& sentence) {
    log(u"ERROR " + sentence);
    return failUnlogged(sentence);
}

bool GameLauncher::failUnlogged(const std::u16string& sentence) {
    lastError_ = sentence;
    return false;
}
