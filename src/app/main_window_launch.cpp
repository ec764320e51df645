#include "app/main_window.h"

#include "lobby/lobby_client.h"
#include "room/launch_memory.h"
#include "room/launch_plan.h"

#include <QApplication>
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
        selections.insert(combo.key(), combo.value()->currentData().toString());
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
                                   MainWindow::LaunchResult result, const std::stop_token& stop) {
    try {
        result.ok = launcher->launch(request, stop);
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
    if (!inRoom) {
        return;
    }
    if (launchInFlight) {
        // Of another room or session: its end asks again.
        forgetAttemptedKey(launchMemory);
        return;
    }
    if (ownSlot() != nullptr && isRoomHost()) {
        applyRoomOptionsSelection();
    }
    const LaunchPlan plan = planLaunch(currentRoom, userName(), launchDefaults(paths, settings),
                                       selectedOptions(currentRoom.mapOptions, mapOptionCombos), currentRoomMap());
    if (!plan.error.isEmpty()) {
        if (autoStart) {
            forgetAttemptedKey(launchMemory);
        }
        // What is missing may be in the detail that is on its way.
        if (!autoStart || detailRequest == 0) {
            showStatus(currentStatusLabel(), plan.error);
            QApplication::alert(this);
        }
        return;
    }
    const QString beginning = autoStart ? QStringLiteral("自动启动游戏中") : QStringLiteral("启动游戏中");
    showStatus(currentStatusLabel(), QStringLiteral("%1:%2:%3  map=%4  slot=%5")
                                         .arg(beginning, plan.host, QString::number(plan.port), plan.mapName,
                                              QString::number(plan.request.slot)));
    launchInFlight = true;
    refreshRoomButtons();
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
    prepared.roomId = currentRoom.id;
    prepared.userName = userName();
    launchWatcher.setFuture(QtConcurrent::run(QThreadPool::globalInstance(), runLaunch, &gameLauncher, plan.request,
                                              prepared, backgroundEnd.get_token()));
}

void MainWindow::onLaunch() {
    launchGame(false);
}

void MainWindow::onLaunchFinished() {
    launchInFlight = false;
    if (closing) {
        return;
    }
    const LaunchResult result = launchWatcher.result();
    // By now the player may have left the room or signed out.
    const bool isOwn = hasSession() && result.userName == userName();
    const bool isHere = isOwn && inRoom && result.roomId == currentRoom.id;
    const QString key = launchKey(result.roomId, static_cast<int>(result.sessionId), result.userName);
    if (result.ok) {
        gameRunning = true;
        gamePid = result.pid;
        roomPollTimer->stop();
        gameWatchTimer->start();
        rememberLaunch(launchMemory, launchFacts(), key, result.roomId);
    } else if (isHere) {
        forgetDueKey(launchMemory);
        if (result.autoStart) {
            forgetAttemptedKey(launchMemory);
        }
    }
    refreshLobbyButtons();
    refreshRoomButtons();
    if (isOwn) {
        showStatus(currentStatusLabel(), result.ok
                                             ? QStringLiteral("已启动游戏:%1:%2  slot=%3  session=%4")
                                                   .arg(result.host, QString::number(result.port),
                                                        QString::number(result.slot), QString::number(result.sessionId))
                                             : QStringLiteral("启动失败:") + result.error);
    }
    if (isOwn && !result.ok) {
        QApplication::alert(this);
    }
    if (result.ok && isHere && currentRoom.gameUserId == result.userId) {
        client->roomAction(currentRoom.id, QStringLiteral("launch-done"),
                           {{QStringLiteral("user_id"), result.userId}, {QStringLiteral("pid"), qint64{result.pid}}});
    }
    if (key != launchKey(currentRoom.id, currentRoom.sessionId, userName())) {
        maybeAutoLaunch();  // what this launch held up
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
    return {currentRoom, userName(), hasSession(), inRoom, startInFlight()};
}
