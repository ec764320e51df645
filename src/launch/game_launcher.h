// Starts the game and holds what the running game needs.
#pragma once

#include "launch/game_launch_request.h"
#include "platform/process.h"
#include "platform/shared_memory.h"

#include <cstdint>
#include <stop_token>
#include <string>

// One long-lived object. The shared block and the process of the last launch stay held until the next launch or the
// object's end; a game that still runs then keeps its block. The calls may come from different threads, one at a time:
// a launch on a worker has returned before the others call anything. Only its stop token reaches into it.
class GameLauncher {
public:
    // Does everything from the request to a running game: ends the previous game, checks names and paths, patches the
    // game's files, hands over the launch block and creates the process. False leaves one English sentence in
    // lastError(). Blocks for seconds at worst (the config lock, the previous game, the wait for a window), so it
    // belongs on a worker. From a request to stop on, those waits end at once and no game is created: the launch fails
    // with "launch cancelled". A game that has been created by then has its block and makes the launch a success.
    bool launch(const GameLaunchRequest& request, const std::stop_token& stop = {});

    // 0 when no game was started by the last launch.
    platform::ProcessId pid() const;
    // Empty after a success.
    std::u16string lastError() const;
    // Lets go of the process of a game that has ended; the shared block and pid() stay.
    void closeProcess();

private:
    struct Plan;

    // The steps of a launch, in their order. Those that can fail leave lastError_ and, where the log is to tell, a
    // line.
    bool endPreviousGame(const Plan& plan);
    bool checkRequest(const GameLaunchRequest& request, Plan& plan);
    bool prepareFiles(const GameLaunchRequest& request, const Plan& plan);
    bool shareBlock(const GameLaunchRequest& request, Plan& plan);
    bool startGame(const GameLaunchRequest& request, const Plan& plan);
    void placeWindow(const GameLaunchRequest& request, const std::stop_token& stop);

    void releaseHandles();
    void log(const std::u16string& message) const;
    bool fail(const std::u16string& sentence);
    bool failUnlogged(const std::u16string& sentence);

    platform::SharedMemory mapping_;
    platform::Process process_;
    platform::ProcessId processId_ = 0;
    std::u16string logRoot_;
    std::u16string lastError_;
};

// Ends every process called game.exe whose full image path is `path`, letter case ignored. Does not wait for their end.
void stopGameByPath(const std::u16string& path);

// Starts the game; false leaves "CreateProcess failed, error=" and the system's number in `error`.
bool createGameProcess(const std::u16string& exePath, const std::u16string& commandLine,
                       const std::u16string& workingDirectory, platform::Process& process, std::u16string& error);
