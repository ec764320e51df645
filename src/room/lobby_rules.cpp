#include "room/lobby_rules.h"

#include "room/room_rules.h"

#include <algorithm>

namespace {

QString statusText(const QString& status) {
    if (status.isEmpty() || status.compare(QLatin1String("waiting"), Qt::CaseInsensitive) == 0) {
        return QStringLiteral("等待中");
    }
    return status.compare(QLatin1String("playing"), Qt::CaseInsensitive) == 0 ? QStringLiteral("游戏中") : status;
}

QString occupancy(int count, int capacity) {
    return QStringLiteral("%1/%2").arg(count).arg(capacity);
}

// With its length ahead, so that no two lists of texts give the same signature.
void appendField(QString& signature, const QString& text) {
    signature += QString::number(text.size());
    signature += QLatin1Char(':');
    signature += text;
    signature += QLatin1Char('|');
}

}  // namespace

bool isRoomFull(const RoomInfo& room) {
    return room.maxPlayers >= 1 && room.playerCount >= room.maxPlayers;
}

bool isRoomMember(const RoomInfo& room, const QString& userName) {
    return std::any_of(room.playerSlots.begin(), room.playerSlots.end(),
                       [&](const RoomSlot& slot) { return isSameName(slot.name, userName); }) ||
           std::any_of(room.playerNames.begin(), room.playerNames.end(),
                       [&](const QString& name) { return isSameName(name, userName); });
}

bool roomMatchesFilter(const RoomInfo& room, const QString& filter) {
    const QString wanted = filter.trimmed();
    if (wanted.isEmpty()) {
        return true;
    }
    QStringList texts{room.id, room.name, room.mapId, room.mapName, room.host, room.owner, room.status};
    texts += room.playerNames;
    for (const RoomSlot& slot : room.playerSlots) {
        texts += slot.name;
    }
    return texts.join(QLatin1Char(' ')).contains(wanted, Qt::CaseInsensitive);
}

QString roomTableSignature(const QVector<RoomInfo>& rooms, const QString& filter, const QString& preferredId) {
    QString signature;
    appendField(signature, filter);
    appendField(signature, preferredId);
    for (const RoomInfo& room : rooms) {
        if (!roomMatchesFilter(room, filter)) {
            continue;
        }
        for (const QString* field :
             {&room.id, &room.name, &room.status, &room.mapId, &room.mapName, &room.mapFingerprint,
              &room.mapFingerprintAlgo, &room.players, &room.host, &room.owner, &room.pmHost}) {
            appendField(signature, *field);
        }
        signature += QStringLiteral("%1|%2/%3/%4|%5|%6|")
                         .arg(room.pmPort)
                         .arg(room.playerCount)
                         .arg(room.maxPlayers)
                         .arg(room.slotCount)
                         .arg(static_cast<int>(room.isPrivate))
                         .arg(static_cast<int>(room.hasPassword));
    }
    return signature;
}

QStringList roomRowTexts(const RoomInfo& room) {
    const QString title = room.name.isEmpty() ? room.id : room.name;
    const QString players = room.players.isEmpty() ? occupancy(room.playerCount, room.maxPlayers) : room.players;
    return {room.isPrivate ? QStringLiteral("🔒 ") + title : title, statusText(room.status),
            isRoomFull(room) ? players + QStringLiteral(" · 满") : players,
            room.mapName.isEmpty() ? room.mapId : room.mapName};
}

LobbyButtons lobbyButtons(const LobbyFacts& facts) {
    const bool usable = facts.signedIn && !facts.busy;
    LobbyButtons buttons;
    buttons.refresh = usable;
    buttons.logout = usable;
    buttons.createRoom = usable && facts.mapsKnown;
    buttons.createRoomText = facts.mapsKnown ? QStringLiteral("＋ 创建游戏") : QStringLiteral("地图加载中...");
    if (!usable || facts.selected == nullptr) {
        return buttons;
    }
    if (isRoomPlaying(*facts.selected)) {
        buttons.joinTip = QStringLiteral("房间游戏中，无法进入");
    } else if (isRoomFull(*facts.selected) && !isRoomMember(*facts.selected, facts.userName)) {
        buttons.joinTip = QStringLiteral("该房间已满员");
    } else {
        buttons.join = true;
    }
    return buttons;
}
