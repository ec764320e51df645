#include "app/main_window.h"

#include "lobby/lobby_client.h"
#include "room/launch_memory.h"
#include "room/launch_plan.h"

#include <QComboBox>
#include <QJsonObject>
#include <QThreadPool>
#include <QTimer>
#include <QtConcurrentRun>

#include <exception>

namespace {

// The room's choices, with those that the page shows on top.
QMap<QString, QString> selectedOptions(QMap<QString, QString> selections, const QMap<QString, QComboBox*>& combos) {
    for (auto combo = combos.begin(); combo != combos.end(); ++combo) {
        selections.insert(combo.key(), combo.value()->currentText());
    }
    return selections;
}

LaunchDefaults launchDefaults(const ClientPaths& paths, const ClientSettings& settings) {
    LaunchDefaults defaults;
    defaults.clientRoot = QString::fromStdU16String(paths.clientRoot);
    defaults.gameHost = settings.gameHost;
    defaults.gamePort = settings.gamePort;
    defaults.displayPreset = settings.gameDisplayPreset;
    defaults.compatibilityMode = settings.gameCompatibilityMode;
    defaults.dpiAware = settings.gameDpiAware;
    return defaults;
}

// The background task: touches nothing of the window but its launcher, which is the task's until it has finished.
MainWindow::LaunchResult runLaunch(GameLauncher* launcher, const GameLaunchRequest& request,
                                   MainWindow::LaunchResult result) {
    try {
        result.ok = launcher->launch(request);
        result.pid = launcher->pid();
        if (!result.ok) {
            result.error = QString::fromStdU16String(launcher->lastError());
        }
    } catch (const std::exception& exception) {
        result.ok = false;
        result.error = QString::fromLocal8Bit(exception.what());
    } catch (...) {
        result.ok = false;
        result.error = QStringLiteral("unknown error");
    }
    return result;
}

}  // namespace

void MainWindow::launchGame(bool autoStart) {
    if (!inRoom || launchInFlight) {
        return;
    }
    if (ownSlot() != nullptr && isRoomHost()) {
        applyRoomOptionsSelection();
    }
    const LaunchPlan plan = planLaunch(currentRoom, userName(), launchDefaults(paths, settings),
                                       selectedOptions(currentRoom.mapOptions, mapOptionCombos), currentRoomMap());
    if (!plan.error.isEmpty()) {
        if (autoStart) {
            allowNextAttempt(launchMemory);
        }
        showStatus(currentStatusLabel(), plan.error);
        return;
    }
    setStartInFlight(true);
    const QString beginning = autoStart ? QStringLiteral("自动启动游戏中") : QStringLiteral("启动游戏中");
    showStatus(currentStatusLabel(), QStringLiteral("%1:%2:%3  map=%4  slot=%5")
                                         .arg(beginning, plan.host, QString::number(plan.port), plan.mapName,
                                              QString::number(plan.request.slot)));
    launchInFlight = true;
    if (!autoStart) {
        settings.reconnectAttemptsLeft = settings.reconnectMaxAttempts;
    }
    LaunchResult prepared;
    prepared.userId = plan.request.userId;
    prepared.host = plan.host;
    prepared.port = plan.port;
    prepared.slot = plan.request.slot;
    prepared.sessionId = plan.request.sessionId;
    prepared.autoStart = autoStart;
    launchWatcher.setFuture(
        QtConcurrent::run(QThreadPool::globalInstance(), runLaunch, &gameLauncher, plan.request, prepared));
}

void MainWindow::onLaunch() {
    launchGame(false);
}

void MainWindow::onLaunchFinished() {
    const LaunchResult result = launchWatcher.result();
    launchInFlight = false;
    if (!result.ok) {
        setStartInFlight(false);
        showStatus(currentStatusLabel(), QStringLiteral("启动失败:") + result.error);
        if (result.autoStart) {
            allowNextAttempt(launchMemory);
        }
        return;
    }
    // The game is watched even when the player has left the room or signed out meanwhile.
    gameRunning = true;
    gamePid = result.pid;
    roomPollTimer->stop();
    roomsFetchInFlight = false;
    roomsFetchVisible = false;
    gameWatchTimer->start();
    if (inRoom) {
        rememberLaunch(launchMemory, launchFacts(), result.sessionId);
    }
    setStartInFlight(false);
    showStatus(currentStatusLabel(), QStringLiteral("已启动游戏:%1:%2  slot=%3  session=%4")
                                         .arg(result.host, QString::number(result.port), QString::number(result.slot),
                                              QString::number(result.sessionId)));
    if (inRoom && currentRoom.gameUserId == result.userId) {
        client->roomAction(currentRoom.id, QStringLiteral("launch-done"),
                           {{QStringLiteral("user_id"), result.userId}, {QStringLiteral("pid"), qint64{result.pid}}});
    }
}

void MainWindow::maybeAutoLaunch() {
    const AutoLaunch decision = decideAutoLaunch(launchMemory, launchFacts());
    if (decision.outcome == AutoLaunch::Outcome::now) {
        launchGame(true);
    } else if (decision.outcome == AutoLaunch::Outcome::wait) {
        if (isShown(roomPage)) {
            showStatus(roomStatusLabel, QStringLiteral("已开始游戏，等待同步启动..."));
        }
        QTimer::singleShot(decision.delayMs, Qt::PreciseTimer, this, [this, key = decision.key] {
            if (takeScheduledLaunch(launchMemory, key, launchFacts())) {
                launchGame(true);
            }
        });
    }
}

void MainWindow::applyRoomOptionsSelection() {
    currentRoom.mapOptions = selectedOptions(currentRoom.mapOptions, mapOptionCombos);
}

QVector<MapOptionIndex> MainWindow::mapOptionPairs() {
    return ::mapOptionPairs(currentRoom, selectedOptions(currentRoom.mapOptions, mapOptionCombos), currentRoomMap());
}

LaunchFacts MainWindow::launchFacts() const {
    return {currentRoom, userName(), isSignedIn(), inRoom, startInFlight};
}
