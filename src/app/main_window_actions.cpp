// What a player does in a room, and what comes of it.
#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "lobby/room_decoder.h"
#include "room/poll_rules.h"
#include "room/room_rules.h"
#include "room/room_signatures.h"
#include "room/session_rules.h"
#include "room/slot_table.h"
#include "widgets/makers.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTableWidget>

#include <algorithm>

namespace {

QJsonObject optionTexts(const QMap<QString, QString>& options) {
    QJsonObject object;
    for (auto it = options.begin(); it != options.end(); ++it) {
        object.insert(it.key(), it.value());
    }
    return object;
}

// A default record when there is none.
RoomInfo roomById(const QVector<RoomInfo>& rooms, const QString& id) {
    const auto found = std::find_if(rooms.begin(), rooms.end(), [&id](const RoomInfo& room) { return room.id == id; });
    return found == rooms.end() ? RoomInfo() : *found;
}

}  // namespace

const RoomSlot* MainWindow::ownSlot() const {
    return findOwnSlot(currentRoom, userName());
}

bool MainWindow::isRoomHost() const {
    return client != nullptr && ::isRoomHost(currentRoom, userName());
}

bool MainWindow::canStartRoom(QString* message) const {
    return ::canStartRoom(currentRoom, inRoom, userName(), message);
}

int MainWindow::selectedSlotNumber() const {
    const QTableWidgetItem* item = slotTable->item(selectedRow(slotTable), 0);
    return item == nullptr ? 0 : item->data(kSlotNumberRole).toInt();
}

QString MainWindow::selectedSlotName() const {
    const QTableWidgetItem* item = slotTable->item(selectedRow(slotTable), 0);
    return item == nullptr ? QString() : item->data(kOccupantRole).toString();
}

bool MainWindow::startInFlight() const {
    return roomActionRequest != 0 || launchInFlight || (roomsRequest != 0 && roomsFetchVisible);
}

void MainWindow::sendRoomAction(const QString& action, const QJsonObject& extra, const QString& progressText) {
    showStatus(roomStatusLabel, progressText);
    roomActionRequest = client->roomAction(currentRoom.id, action, extra);
    refreshRoomButtons();
}

void MainWindow::sendToSelectedPlayer(const QString& action, const QString& refusal, const QString& progressText) {
    if (selectedSlotNumber() < 1 || selectedSlotName().isEmpty()) {
        showStatus(roomStatusLabel, refusal);
        return;
    }
    sendRoomAction(action, {{QStringLiteral("target_slot"), selectedSlotNumber()}}, progressText);
}

void MainWindow::sendToSelectedSlot(const QString& action, const QString& mode, const QString& refusal,
                                    const QString& progressText) {
    if (selectedSlotNumber() < 1) {
        showStatus(roomStatusLabel, refusal);
        return;
    }
    QJsonObject extra{{QStringLiteral("slot"), selectedSlotNumber()}};
    if (!mode.isEmpty()) {
        extra.insert(QStringLiteral("mode"), mode);
    }
    sendRoomAction(action, extra, progressText);
}

void MainWindow::onKickPlayer() {
    sendToSelectedPlayer(QStringLiteral("kick"), QStringLiteral("请先选择要踢出的玩家。"),
                         QStringLiteral("正在踢出玩家..."));
}

void MainWindow::onTransferHost() {
    sendToSelectedPlayer(QStringLiteral("transfer-host"), QStringLiteral("请先选择新的房主。"),
                         QStringLiteral("正在移交房主..."));
}

void MainWindow::onLockSlot() {
    sendToSelectedSlot(QStringLiteral("lock-slot"), QString(), QStringLiteral("请先选择要锁定的槽位。"),
                       QStringLiteral("正在关闭槽位..."));
}

void MainWindow::onUnlockSlot() {
    sendToSelectedSlot(QStringLiteral("unlock-slot"), QString(), QStringLiteral("请先选择要解锁的槽位。"),
                       QStringLiteral("正在打开槽位..."));
}

void MainWindow::onSetSlotPlayer() {
    sendToSelectedSlot(QStringLiteral("slot-meta"), QStringLiteral("player"), QStringLiteral("请先选择槽位。"),
                       QStringLiteral("正在设置为玩家槽..."));
}

void MainWindow::onSetSlotComputer() {
    sendToSelectedSlot(QStringLiteral("slot-meta"), QStringLiteral("computer"), QStringLiteral("请先选择槽位。"),
                       QStringLiteral("正在添加电脑..."));
}

void MainWindow::onSetSlotObserver() {
    sendToSelectedSlot(QStringLiteral("slot-meta"), QStringLiteral("observer"), QStringLiteral("请先选择槽位。"),
                       QStringLiteral("正在设置为观战槽..."));
}

void MainWindow::onReady() {
    if (!inRoom) {
        return;
    }
    const RoomSlot* own = ownSlot();
    readyAsked = own == nullptr || !own->ready;
    sendRoomAction(QStringLiteral("ready"), {{QStringLiteral("ready"), readyAsked}},
                   readyAsked ? QStringLiteral("准备中...") : QStringLiteral("取消准备中..."));
}

void MainWindow::onStart() {
    if (!inRoom) {
        return;
    }
    QString message;
    if (!canStartRoom(&message)) {
        showStatus(roomStatusLabel, message);
        refreshRoomButtons();
        return;
    }
    applyRoomOptionsSelection();
    QJsonObject extra{{QStringLiteral("pm_host"), settings.gameHost}, {QStringLiteral("pm_port"), settings.gamePort}};
    if (!currentRoom.mapOptions.isEmpty()) {
        extra.insert(QStringLiteral("map_options"), optionTexts(currentRoom.mapOptions));
    }
    const QJsonArray indexes = encodeMapOptionIndexes(mapOptionPairs());
    if (!indexes.isEmpty()) {
        extra.insert(QStringLiteral("map_option_indexes"), indexes);
    }
    sendRoomAction(QStringLiteral("start"), extra, QStringLiteral("开始中..."));
}

void MainWindow::onSendChat() {
    const QString text = chatEdit->text().trimmed();
    if (text.isEmpty()) {
        return;
    }
    chatEdit->clear();
    sendRoomAction(QStringLiteral("chat"), {{QStringLiteral("text"), text}}, QStringLiteral("正在发送聊天..."));
}

void MainWindow::moveToSlot(int target) {
    sendRoomAction(QStringLiteral("move-slot"), {{QStringLiteral("target_slot"), target}},
                   QStringLiteral("换位置中..."));
}

void MainWindow::onSlotDoubleClicked(int row) {
    const QTableWidgetItem* item = slotTable->item(row, 0);
    if (startInFlight() || !inRoom || isRoomPlaying(currentRoom) || item == nullptr) {
        return;
    }
    const int number = item->data(kSlotNumberRole).toInt();
    if (number < 1) {
        return;
    }
    const bool isPlayerSlot = item->data(kPlayerSlotRole).toBool();
    const bool occupied = item->data(kOccupiedRole).toBool();
    const bool locked = item->data(kLockedRole).toBool();
    if (!isPlayerSlot || locked) {
        showStatus(roomStatusLabel, QStringLiteral("这个位置是势力/系统槽，不可选择。"));
    } else if (occupied) {
        showStatus(roomStatusLabel, QStringLiteral("这个位置已经有人，不能换过去。"));
    } else {
        moveToSlot(number);
    }
}

void MainWindow::applyMapOption(const QString& key, const QString& value) {
    if (!isRoomHost()) {
        return;
    }
    currentRoom.mapOptions.insert(key, value);
    pendingMapOptions.insert(key, value);
    // The box shows the choice already: no reason for the next render to build the boxes anew.
    roomSettingsSignature = ::roomSettingsSignature(currentRoom, true, currentRoomMap());
    client->roomAction(currentRoom.id, QStringLiteral("map-options"),
                       {{QStringLiteral("map_options"), optionTexts(currentRoom.mapOptions)},
                        {QStringLiteral("map_option_indexes"), encodeMapOptionIndexes(mapOptionPairs())}});
}

void MainWindow::onBackToLobby() {
    if (!inRoom || !hasSession()) {
        leaveToLobby(QStringLiteral("已返回大厅。"));
        return;
    }
    if (isRoomPlaying(currentRoom)) {
        leaveToLobby(QStringLiteral("已返回大厅。"));
        return;
    }
    const RoomSlot* own = ownSlot();
    if (!isRoomHost() && own != nullptr && own->ready) {
        showStatus(roomStatusLabel, QStringLiteral("已准备时不能退出，请先取消准备。"));
        refreshRoomButtons();
        return;
    }
    leaveRequested = true;
    sendRoomAction(QStringLiteral("leave"), {}, QStringLiteral("退出房间中..."));
}

// Out of the room, without asking the server.
void MainWindow::leaveToLobby(const QString& text) {
    resetCurrentRoom();
    clearRoomRenderCache();
    forgetExitedKey(launchMemory);
    enterLobby(text);
    requestRooms(true, QStringLiteral("刷新中..."));
}

void MainWindow::resetCurrentRoom() {
    inRoom = false;
    currentRoom = RoomInfo();
    // What was sent for the room means nothing any more.
    leaveRequested = false;
    roomActionRequest = 0;
    detailRequest = 0;
    roomClock.moved(client->requestsSent());
}

void MainWindow::clearRoomRenderCache() {
    for (QString* signature :
         {&lobbyTableSignature, &slotTableSignature, &roomSettingsSignature, &chatSignature, &spareRenderSignature}) {
        signature->clear();
    }
}

void MainWindow::updateRoom(RoomInfo fresh) {
    if (!isRoomPlaying(fresh)) {
        forgetMatch(launchMemory, fresh.id);
    }
    if (callsPlayer(currentRoom, fresh, userName())) {
        QApplication::alert(this);
    }
    currentRoom = std::move(fresh);
    for (auto it = pendingMapOptions.cbegin(); it != pendingMapOptions.cend(); ++it) {
        currentRoom.mapOptions.insert(it.key(), it.value());
    }
}

void MainWindow::enterRoom(RoomInfo room, const QString& text) {
    if (room.id != currentRoom.id) {
        forgetExitedKeyAndRoom(launchMemory);
        pendingMapOptions.clear();
    }
    inRoom = !room.id.isEmpty();
    updateRoom(std::move(room));
    roomClock.moved(client->requestsSent());
    clearRoomRenderCache();
    // What was chosen and half typed belongs to the room before.
    slotTable->setCurrentItem(nullptr);
    chatEdit->clear();
    pageStack->setCurrentWidget(roomPage);
    renderRoomPage();
    chatEdit->setFocus();
    showOwnSlot();
    sendRoomHeartbeat();
    showStatus(roomStatusLabel, text.isEmpty() ? QStringLiteral("房间已进入。") : text);
}

void MainWindow::onRoomActionResult(const QString& action, bool ok, RoomInfo room, QVector<RoomInfo> newRooms,
                                    const QString& error) {
    takeAnswer(entryRequest);
    takeAnswer(roomActionRequest);
    refreshLobbyButtons();
    refreshRoomButtons();
    if (!answerCounts() || endLostSession(error, !ok && isLoginExpiredError(error))) {
        return;
    }
    if (!newRooms.isEmpty()) {
        if (room.id.isEmpty() && inRoom) {
            room = roomById(newRooms, currentRoom.id);
        }
        rooms = std::move(newRooms);
        renderRoomTable();
    }
    const bool joins = action == QLatin1String("join");
    if (!joins && !roomClock.replyIsForThisStay(client->answered(), currentRoom.id)) {
        return;
    }
    if (!ok) {
        takeRoomActionFailure(action, error);
    } else if (joins) {
        takeJoin(std::move(room));
    } else {
        takeRoomActionSuccess(action, std::move(room));
    }
}

// The room that the server now has the player in, whatever its reply says of it.
void MainWindow::takeJoin(RoomInfo room) {
    const QString joined = client->answered().roomId;
    if (room.id.isEmpty()) {
        room = roomById(rooms, joined);
    }
    if (room.id.isEmpty() && selectedRoomIndex() >= 0) {
        room = rooms.at(selectedRoomIndex());
    }
    if (room.id.isEmpty()) {
        room.id = joined;
    }
    // A game that has ended in this room is not started again by coming back.
    pendingMapOptions.clear();
    currentRoom = room;
    enterRoom(std::move(room), QString());
    dispatchRoomActionResult(QStringLiteral("join"), true);
}

void MainWindow::takeRoomActionSuccess(const QString& action, RoomInfo room) {
    if (action == QLatin1String("leave") && leaveRequested) {
        leaveToLobby(QStringLiteral("已退出房间。"));
        return;
    }
    const bool speaks = inRoom && room.id == currentRoom.id && roomClock.speaks(client->answered());
    if (speaks) {
        roomClock.changed(client->requestsSent());
        updateRoom(std::move(room));
        renderRoomPage();
    }
    dispatchRoomActionResult(action, speaks);
}

void MainWindow::takeRoomActionFailure(const QString& action, const QString& error) {
    if (action == QLatin1String("leave")) {
        leaveRequested = false;
    }
    if (inRoom && error.contains(QLatin1String("not in room"), Qt::CaseInsensitive)) {
        pendingMapOptions.clear();
        leaveToLobby(QStringLiteral("你已被移出房间。"));
        QApplication::alert(this);
        return;
    }
    showOutcome(QStringLiteral("[%1] %2").arg(action, error));
}

void MainWindow::showOutcome(const QString& text) {
    if (!text.isEmpty()) {
        showStatus(isShown(roomPage) ? roomStatusLabel : lobbyStatusLabel, text);
    }
}

void MainWindow::dispatchRoomActionResult(const QString& action, bool speaks) {
    const RoomSlot* own = ownSlot();
    const ActionOutcome outcome = actionOutcome(action, speaks && own != nullptr ? own->ready : readyAsked);
    if (action == QLatin1String("move-slot")) {
        showStatus(roomStatusLabel, QString());
        statusBar()->clearMessage();
    } else if (isShown(roomPage) || outcome.tellsOnAnyPage) {
        showOutcome(outcome.text);
    }
    if (outcome.confirmsOptions) {
        pendingMapOptions.clear();
    }
    if (action == QLatin1String("start")) {
        maybeAutoLaunch();
    }
    if (outcome.refreshesRooms || !speaks) {
        requestRooms(false, QString());
    }
}

void MainWindow::onActionResult(const QString& action, bool ok, const QString& message) {
    const bool silent = ok && (action == QLatin1String("move-slot") || action == QLatin1String("map-options"));
    if (!silent && answerCounts()) {
        showStatus(nullptr, QStringLiteral("[%1] %2").arg(action, message));
    }
}

void MainWindow::onRoomCreated(bool ok, const RoomInfo& room, QVector<RoomInfo> newRooms, const QString& error) {
    takeAnswer(entryRequest);
    refreshLobbyButtons();
    if (!answerCounts() || endLostSession(error, !ok && isLoginExpiredError(error))) {
        return;
    }
    if (!newRooms.isEmpty()) {
        rooms = std::move(newRooms);
    }
    if (ok && !room.id.isEmpty() && findRoomIndex(room.id) < 0) {
        rooms.append(room);
    }
    renderRoomTable();
    if (!ok) {
        showStatus(lobbyStatusLabel, QStringLiteral("创建失败:") + error);
        return;
    }
    enterRoom(room, QStringLiteral("房间已创建，已进入房间。"));
    requestRooms(false, QString());
}

void MainWindow::onRoomDetailUpdated(bool ok, RoomInfo room, const QString& error) {
    takeAnswer(detailRequest);
    const LobbyRequest& asked = client->answered();
    if (!answerCounts() || endLostSession(error) || !roomClock.replyIsForThisStay(asked, currentRoom.id)) {
        return;
    }
    if (!ok) {
        if (isShown(roomPage) && !error.isEmpty()) {
            showStatus(roomStatusLabel, QStringLiteral("获取房间详情失败:") + error);
        }
        forgetAttemptedKey(launchMemory);
        return;
    }
    if (!inRoom || room.id != currentRoom.id) {
        return;
    }
    if (!roomClock.speaks(asked)) {
        // The room has changed since the detail was asked for.
        if (isRoomPlaying(currentRoom)) {
            requestDetail();
        }
        return;
    }
    roomClock.changed(client->requestsSent());
    updateRoom(std::move(room));
    if (isShown(roomPage)) {
        renderRoomPage();
    }
    maybeAutoLaunch();
}
