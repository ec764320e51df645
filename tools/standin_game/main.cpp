// Plays the game: takes what the launcher hands over, reports it, and runs until told to end.
//
// usage: game.exe MemoryMapName=NAME
//
// Environment:
//   STANDIN_GAME_REPORT     file that gets the report, a JSON document in UTF-8
//   STANDIN_GAME_RUN_MS     ends after this time, in milliseconds
//   STANDIN_GAME_END_FILE   ends when this file appears
//   STANDIN_GAME_EXIT_CODE  the exit code of an orderly end, 0 without it
//   STANDIN_GAME_WINDOW     1: shows the window also when one of the two ends is given
//
// With neither end given it shows a window until that is closed, or runs 10 seconds where there is no display. A
// missing argument, a bad block or a bad variable gives exit code 2 and an "error" in the report.
#include "platform/code_page.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/shared_memory.h"
#include "standin_game/report.h"
#include "standin_game/standin_window.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kExitBadHandout = 2;
constexpr int kExitNoReport = 3;
constexpr std::uint64_t kLargestConfig = 16 << 20;  // bytes
constexpr std::chrono::milliseconds kWatchInterval(20);
constexpr std::chrono::seconds kRunWithoutDisplay(10);

struct Orders {
    std::optional<Clock::duration> runTime;
    std::optional<std::filesystem::path> endFile;
    std::uint32_t exitCode = 0;
    bool window = false;
};

std::optional<std::uint32_t> readNumber(const std::u16string& variable, std::string& error) {
    const std::optional<std::u16string> value = platform::environmentVariable(variable);
    if (!value) {
        return std::nullopt;
    }
    const std::string text = platform::toUtf8(*value);
    std::uint32_t number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size()) {
        error = platform::toUtf8(variable) + " is not a number";
        return std::nullopt;
    }
    return number;
}

Orders readOrders(std::string& error) {
    Orders orders;
    if (const auto milliseconds = readNumber(u"STANDIN_GAME_RUN_MS", error)) {
        orders.runTime = std::chrono::milliseconds(*milliseconds);
    }
    if (const auto file = platform::environmentVariable(u"STANDIN_GAME_END_FILE")) {
        orders.endFile = platform::toPath(*file);
    }
    orders.exitCode = readNumber(u"STANDIN_GAME_EXIT_CODE", error).value_or(0);
    orders.window = platform::environmentVariable(u"STANDIN_GAME_WINDOW") == u"1";
    return orders;
}

void takeBlock(Report& report) {
    constexpr std::u16string_view kPrefix = u"MemoryMapName=";
    for (const std::u16string& argument : report.arguments) {
        if (!argument.starts_with(kPrefix)) {
            continue;
        }
        const auto bytes = platform::readSharedMemory(argument.substr(kPrefix.size()), kLaunchBlockSize);
        if (!bytes) {
            report.error = "there is no launch block of that name";
            return;
        }
        report.blockBytes = *bytes;
        report.block = decodeLaunchBlock(*bytes, report.error);
        return;
    }
    report.error = "the argument MemoryMapName= is missing";
}

Report takeHandout(std::vector<std::u16string> arguments) {
    Report report;
    report.arguments = std::move(arguments);
    std::error_code ignored;
    report.workingDirectory = platform::toWideText(std::filesystem::current_path(ignored));
    report.compatLayer = platform::environmentVariable(u"__COMPAT_LAYER").value_or(std::u16string());
    report.pid = platform::currentProcessId();
    std::string lua;
    platform::readWholeFile("config.lua", lua, kLargestConfig);
    report.config = readGameConfig(lua);
    takeBlock(report);
    return report;
}

bool writeReport(const Report& report) {
    const std::optional<std::u16string> target = platform::environmentVariable(u"STANDIN_GAME_REPORT");
    if (!target) {
        return true;
    }
    const std::filesystem::path draft =
        platform::toPath(*target + u"." + platform::fromUtf8(std::to_string(report.pid)));
    return platform::writeWholeFile(draft, toJson(report)) && platform::replaceFile(draft, platform::toPath(*target));
}

void run(const Orders& orders, const Report& report) {
    const Clock::time_point start = Clock::now();
    const auto runsUntil = [&](std::optional<Clock::duration> runTime) {
        return [&orders, start, runTime] {
            return (runTime && Clock::now() - start >= *runTime) ||
                   (orders.endFile && platform::fileStatus(*orders.endFile));
        };
    };
    const bool toldToEnd = orders.runTime || orders.endFile;
    if ((orders.window || !toldToEnd) && showWindow(u"游戏替身", toDisplayText(report), runsUntil(orders.runTime))) {
        return;
    }
    const auto ended = runsUntil(toldToEnd ? orders.runTime : kRunWithoutDisplay);
    while (!ended()) {
        std::this_thread::sleep_for(kWatchInterval);
    }
}

}  // namespace

int main(int argc, char** argv) {
    Report report = takeHandout(programArguments(argc, argv));
    const Orders orders = readOrders(report.error);
    if (!writeReport(report)) {
        std::fputs("game.exe: the report cannot be written\n", stderr);
        return kExitNoReport;
    }
    if (!report.error.empty()) {
        std::fprintf(stderr, "game.exe: %s\n", report.error.c_str());
        return kExitBadHandout;
    }
    run(orders, report);
    // The desktop's libraries leave memory behind, and a leak checker would put its own exit code in the place of this.
    std::_Exit(static_cast<int>(orders.exitCode));
}
