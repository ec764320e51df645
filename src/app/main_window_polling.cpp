// All that the client knows of the rooms it learns by asking every two seconds; in a room the heartbeat rides along.
#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "room/lobby_rules.h"
#include "room/poll_rules.h"
#include "room/room_rules.h"
#include "room/session_rules.h"
#include "room/standing_troubles.h"

#include <QApplication>
#include <QJsonObject>
#include <QLabel>
#include <QStackedWidget>

#include <algorithm>
#include <utility>

void MainWindow::pollRooms() {
    if ((isShown(lobbyPage) || isShown(roomPage)) && !endLostSession(QString())) {
        requestRooms(false, QString());
    }
}

void MainWindow::requestRooms(bool visible, const QString& text) {
    if (!hasSession() || roomsRequest != 0 || (gameRunning && !visible)) {
        return;
    }
    if (isShown(roomPage)) {
        sendRoomHeartbeat();
    }
    roomsFetchVisible = visible;
    roomsRequest = client->fetchRooms();
    if (visible) {
        refreshLobbyButtons();
        refreshRoomButtons();
        if (!text.isEmpty()) {
            showStatus(currentStatusLabel(), text);
        }
    }
}

void MainWindow::setFailedPolls(int count) {
    const bool changes = (count >= kSilentPolls) != (failedPolls >= kSilentPolls);
    failedPolls = std::min(count, kSilentPolls);
    if (changes) {
        refreshStandingTroubles();
    }
}

void MainWindow::requestDetail() {
    if (detailRequest == 0) {
        detailRequest = client->fetchRoomDetail(currentRoom.id);
    }
}

void MainWindow::sendRoomHeartbeat() {
    if (hasSession() && inRoom && !currentRoom.id.isEmpty() && !leaveRequested && !isRoomPlaying(currentRoom)) {
        client->sendHeartbeat(currentRoom.id, QJsonObject());
    }
}

void MainWindow::onHeartbeatResult(bool ok) {
    if (!answerCounts() || endLostSession(QString()) ||
        !roomClock.replyIsForThisStay(client->answered(), currentRoom.id)) {
        return;
    }
    heartbeatFailures = ok ? 0 : std::min(heartbeatFailures + 1, 1000);
    setConnectionState(connectionStateAfter(heartbeatFailures));
}

void MainWindow::setConnectionState(int state) {
    if (state == connectionState) {
        return;
    }
    connectionState = state;
    const ConnectionLook look = connectionLook(state);
    connectionDotLabel->setText(look.text);
    connectionDotLabel->setStyleSheet(look.styleSheet);
}

void MainWindow::onRoomsUpdated(QVector<RoomInfo> newRooms, const QString& error) {
    const bool wasVisible = takeAnswer(roomsRequest) && std::exchange(roomsFetchVisible, false);
    refreshLobbyButtons();
    refreshRoomButtons();
    if (!answerCounts() || endLostSession(error, isLoginExpiredError(error))) {
        return;
    }
    setFailedPolls(error.isEmpty() ? 0 : failedPolls + 1);
    rooms = std::move(newRooms);
    renderRoomTable();
    if (!error.isEmpty()) {
        if (wasVisible) {
            showStatus(currentStatusLabel(), QStringLiteral("刷新失败:") + error);
        }
        return;
    }
    const bool speaks = roomClock.speaks(client->answered());
    if (speaks && (restoreRoom() || (inRoom && !followRoom()))) {
        return;
    }
    if (wasVisible && isShown(lobbyPage)) {
        showStatus(lobbyStatusLabel, QStringLiteral("房间已刷新:%1 个").arg(rooms.size()));
    }
    if (!speaks) {
        // The room has changed since the list was asked for.
        requestRooms(false, QString());
    }
}

bool MainWindow::restoreRoom() {
    if (!restoreRoomOnLogin) {
        return false;
    }
    restoreRoomOnLogin = false;
    const auto own = std::find_if(rooms.cbegin(), rooms.cend(),
                                  [this](const RoomInfo& room) { return isRoomMember(room, userName()); });
    if (inRoom || own == rooms.cend()) {
        return false;
    }
    enterRoom(*own, QStringLiteral("已恢复到当前房间。"));
    return true;
}

bool MainWindow::followRoom() {
    const RoomUpdate update = judgeRoomUpdate(currentRoom.id, rooms, userName());
    if (update.outcome == RoomUpdate::Outcome::missing) {
        if (isShown(roomPage)) {
            resetCurrentRoom();
            forgetExitedKey(launchMemory);
            clearRoomRenderCache();
            enterLobby(QStringLiteral("房间已关闭，已返回大厅。"));
            QApplication::alert(this);
        }
        return true;
    }
    if (update.outcome == RoomUpdate::Outcome::removed) {
        resetCurrentRoom();
        clearRoomRenderCache();
        pendingMapOptions.clear();
        forgetAttemptedKey(launchMemory);
        forgetExitedKey(launchMemory);
        if (isShown(roomPage)) {
            enterLobby(QStringLiteral("你已被移出房间。"));
            QApplication::alert(this);
        }
        return false;
    }
    if (isRoomPlaying(*update.room) != isRoomPlaying(currentRoom)) {
        roomClock.changed(client->requestsSent());
    }
    if (update.wantsDetail) {
        // Before anything is launched: the list may lack what the launch needs.
        requestDetail();
    }
    updateRoom(*update.room);
    if (isShown(roomPage)) {
        renderRoomPage();
    }
    return true;
}
