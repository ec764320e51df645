#include "app/main_window.h"

#include "platform/process.h"
#include "room/launch_memory.h"

#include <QTimer>

#include <chrono>

namespace {

// Time for the room's fresh state to come in before the game is started again.
constexpr std::chrono::milliseconds kRelaunchDelay{800};

}  // namespace

void MainWindow::watchGameProcess() {
    // A launch that is under way owns the launcher and ends the previous game itself.
    if (!gameRunning || launchInFlight) {
        return;
    }
    const platform::ProcessProbe probe = platform::probeProcess(gamePid);
    if (probe.state == platform::ProcessProbe::State::running) {
        return;
    }
    gameRunning = false;
    gamePid = 0;
    gameWatchTimer->stop();
    gameLauncher.closeProcess();
    onGameExited(probe.exitCode == 0U);
}

void MainWindow::onGameExited(bool clean) {
    GameExit exit;
    exit.clean = clean;
    exit.skipRelaunch = skipNextReconnect;
    exit.reconnectOnCrash = settings.reconnectOnCrash;
    exit.maxAttempts = settings.reconnectMaxAttempts;
    exit.attemptsLeft = settings.reconnectAttemptsLeft;
    skipNextReconnect = false;
    const GameExitOutcome outcome = takeGameExit(launchMemory, launchFacts(), exit);
    settings.reconnectAttemptsLeft = outcome.attemptsLeft;
    if (!outcome.roomText.isEmpty() && isShown(roomPage)) {
        showStatus(roomStatusLabel, outcome.roomText);
    }
    if (hasSession()) {
        if (!roomPollTimer->isActive()) {
            roomPollTimer->start();
        }
        requestRooms(true, outcome.refreshText);
    }
    if (outcome.relaunch) {
        QTimer::singleShot(kRelaunchDelay, this, [this] {
            if (takeRelaunch(launchMemory)) {
                maybeAutoLaunch();
            }
        });
    }
}
