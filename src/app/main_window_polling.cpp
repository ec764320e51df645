// All that the client knows of the rooms it learns by asking every two seconds; in a room the heartbeat rides along.
#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "room/lobby_rules.h"
#include "room/poll_rules.h"
#include "room/room_rules.h"

#include <QJsonObject>
#include <QLabel>
#include <QStackedWidget>

#include <algorithm>

void MainWindow::pollRooms() {
    if (isShown(lobbyPage) || isShown(roomPage)) {
        requestRooms(false, QString());
    }
}

void MainWindow::requestRooms(bool visible, const QString& text) {
    if (!isSignedIn() || roomsFetchInFlight || (gameRunning && !visible)) {
        return;
    }
    if (isShown(roomPage)) {
        sendRoomHeartbeat();
    }
    roomsFetchInFlight = true;
    roomsFetchVisible = visible;
    if (visible) {
        setLobbyBusy(isShown(lobbyPage));
        if (isShown(roomPage)) {
            setStartInFlight(true);
        }
        if (!text.isEmpty()) {
            showStatus(currentStatusLabel(), text);
        }
    }
    client->fetchRooms();
}

void MainWindow::sendRoomHeartbeat() {
    if (isSignedIn() && inRoom && !currentRoom.id.isEmpty() && !leaveRequested && !isRoomPlaying(currentRoom)) {
        client->sendHeartbeat(currentRoom.id, QJsonObject());
    }
}

void MainWindow::onHeartbeatResult(bool ok) {
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
    const bool wasVisible = roomsFetchVisible;
    roomsFetchInFlight = false;
    roomsFetchVisible = false;
    setLobbyBusy(false);
    if (wasVisible && isShown(roomPage)) {
        setStartInFlight(false);
    }
    if (!acceptsResult(error.isEmpty(), error)) {
        return;
    }
    rooms = std::move(newRooms);
    renderRoomTable();
    if (!error.isEmpty()) {
        if (wasVisible) {
            showStatus(currentStatusLabel(), QStringLiteral("刷新失败:") + error);
        }
        return;
    }
    if (restoreRoom() || (inRoom && !updateCurrentRoom())) {
        return;
    }
    if (wasVisible && isShown(lobbyPage)) {
        showStatus(lobbyStatusLabel, QStringLiteral("房间已刷新:%1 个").arg(rooms.size()));
    }
}

// True when the player was put back into the room where the server still has them.
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

// The end of a match may show in a detail or an action's reply before a poll could see it. Once the own game has ended
// too, any of them clears the way for the next match.
void MainWindow::forgetEndedMatch(const RoomInfo& fresh) {
    if (!fresh.id.isEmpty() && fresh.id == launchMemory.exitedRoomId && !isRoomPlaying(fresh)) {
        forgetMatch(launchMemory);
    }
}

bool MainWindow::updateCurrentRoom() {
    const RoomUpdate update = judgeRoomUpdate(currentRoom, rooms, userName());
    if (update.outcome == RoomUpdate::Outcome::missing) {
        if (isShown(roomPage)) {
            resetCurrentRoom();
            forgetLeftRoom(launchMemory);
            clearRoomRenderCache();
            enterLobby(QStringLiteral("房间已关闭，已返回大厅。"));
        }
        return true;
    }
    if (update.outcome == RoomUpdate::Outcome::removed) {
        resetCurrentRoom();
        clearRoomRenderCache();
        pendingMapOptions.clear();
        forgetLeftRoom(launchMemory);
        if (isShown(roomPage)) {
            enterLobby(QStringLiteral("你已被移出房间。"));
        }
        return false;
    }
    if (update.matchEnded) {
        forgetMatch(launchMemory);
    }
    forgetEndedMatch(*update.room);
    currentRoom = *update.room;
    layPendingMapOptions();
    if (isShown(roomPage)) {
        renderRoomPage();
    }
    if (update.wantsDetail && !detailInFlight) {
        detailInFlight = true;
        client->fetchRoomDetail(currentRoom.id);
    }
    return true;
}
