#include "room/lobby_rules.h"

#include "lobby/shown_text.h"
#include "room/room_rules.h"
#include "room/room_signatures.h"
#include "room/room_texts.h"

#include <algorithm>

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
    constexpr int kRoomLength = 240;  // what a room usually takes
    QString signature;
    signature.reserve(kRoomLength * (rooms.size() + 1));
    appendSignatureField(signature, filter);
    appendSignatureField(signature, preferredId);
    for (const RoomInfo& room : rooms) {
        if (!roomMatchesFilter(room, filter)) {
            continue;
        }
        for (const QString* field :
             {&room.id, &room.name, &room.status, &room.mapId, &room.mapName, &room.mapFingerprint,
              &room.mapFingerprintAlgo, &room.players, &room.host, &room.owner, &room.pmHost}) {
            appendSignatureField(signature, *field);
        }
        appendSignatureNumber(signature, room.pmPort);
        appendSignatureNumber(signature, room.playerCount, '/');
        appendSignatureNumber(signature, room.maxPlayers, '/');
        appendSignatureNumber(signature, room.slotCount);
        appendSignatureFlag(signature, room.isPrivate);
        appendSignatureFlag(signature, room.hasPassword);
    }
    return signature;
}

QStringList roomRowTexts(const RoomInfo& room) {
    const RoomDisplayTexts texts = roomDisplayTexts(room);
    const QString mark = room.isPrivate ? QStringLiteral("🔒 ") : QString();
    return {shownText(mark + roomName(room)), shownText(texts.status), shownText(texts.occupancy),
            shownText(texts.map)};
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
