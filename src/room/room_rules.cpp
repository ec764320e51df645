#include "room/room_rules.h"

#include <QStringList>

#include <algorithm>

namespace {

QStringList unreadyNames(const RoomInfo& room, const QString& userName) {
    const QString& host = hostName(room);
    QStringList names;
    for (const RoomSlot& slot : room.playerSlots) {
        if (!slot.name.isEmpty() && !slot.ready && !isSameName(slot.name, userName) && !isSameName(slot.name, host)) {
            names += slot.name;
        }
    }
    return names;
}

}  // namespace

bool isSameName(const QString& left, const QString& right) {
    return !left.isEmpty() && left.compare(right, Qt::CaseInsensitive) == 0;
}

bool isRoomPlaying(const RoomInfo& room) {
    return room.status.compare(QLatin1String("playing"), Qt::CaseInsensitive) == 0;
}

bool isRoomFull(const RoomInfo& room) {
    return room.maxPlayers >= 1 && room.playerCount >= room.maxPlayers;
}

const QString& hostName(const RoomInfo& room) {
    return room.host.isEmpty() ? room.owner : room.host;
}

bool isComputer(const RoomSlot& slot) {
    return slot.computer || slot.ai || slot.team.compare(QLatin1String("computer"), Qt::CaseInsensitive) == 0;
}

const RoomSlot* findOwnSlot(const RoomInfo& room, const QString& userName) {
    const auto hit = std::find_if(room.playerSlots.begin(), room.playerSlots.end(),
                                  [&](const RoomSlot& slot) { return isSameName(slot.name, userName); });
    return hit == room.playerSlots.end() ? nullptr : &*hit;
}

bool isRoomHost(const RoomInfo& room, const QString& userName) {
    if (room.owner.isEmpty() && room.host.isEmpty()) {
        const RoomSlot* own = findOwnSlot(room, userName);
        return (own != nullptr && own->slot == 1) || room.lobbySlot == 1;
    }
    return isSameName(room.owner, userName) || isSameName(room.host, userName);
}

bool canStartRoom(const RoomInfo& room, bool inRoom, const QString& userName, QString* message) {
    const auto refuse = [message](const QString& text) {
        if (message != nullptr) {
            *message = text;
        }
        return false;
    };
    if (!inRoom) {
        return refuse(QStringLiteral("请先进入房间。"));
    }
    const auto computers = std::count_if(room.slotMeta.begin(), room.slotMeta.end(),
                                         [](const RoomSlot& slot) { return isComputer(slot) && !slot.locked; });
    // Widened, as the server's count may be any number.
    if (qint64{room.playerCount} + computers < 2) {
        return refuse(QStringLiteral("至少需要两名玩家才能开始。"));
    }
    const QStringList names = unreadyNames(room, userName);
    return names.isEmpty() || refuse(QStringLiteral("还有玩家未准备：") + names.join(QStringLiteral(", ")));
}

RoomButtons roomButtons(const RoomFacts& facts) {
    const bool member = facts.inRoom && !facts.room.id.isEmpty();
    const bool playing = isRoomPlaying(facts.room);
    const bool host = isRoomHost(facts.room, facts.userName);
    const RoomSlot* own = findOwnSlot(facts.room, facts.userName);
    const bool ready = own != nullptr && own->ready;
    const bool mayAct = facts.signedIn && member && !facts.busy;
    const bool mayLeave = playing || host || !ready;
    QString obstacle;
    const bool canStart = canStartRoom(facts.room, facts.inRoom, facts.userName, &obstacle);

    RoomButtons buttons;
    buttons.leave = {true, mayLeave && !facts.busy, playing ? QStringLiteral("返回大厅") : QStringLiteral("退出房间"),
                     mayLeave ? QString() : QStringLiteral("已准备时不能退出，先取消准备。")};
    buttons.ready = {!playing && !host, mayAct && !playing && !host,
                     ready ? QStringLiteral("取消准备") : QStringLiteral("准备"), QString()};
    const bool startInView = facts.signedIn && member && host && !playing;
    buttons.start = {host, mayAct && host && !playing && canStart,
                     playing ? QStringLiteral("游戏中") : QStringLiteral("开始游戏"),
                     startInView && !canStart ? obstacle : QString()};
    buttons.launch = {playing && !host, false, QStringLiteral("游戏中"), QString()};
    buttons.chatEdit = mayAct;
    buttons.sendChat = mayAct && !facts.chatText.trimmed().isEmpty();
    return buttons;
}
