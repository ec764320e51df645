// The room decoder: whatever JSON a server sends, the records keep their promises. tests/lobby calls it too.
#include "fuzz/expect.h"
#include "lobby/bounds.h"
#include "lobby/room_decoder.h"

#include <QSet>

namespace {

void expectPromises(const RoomInfo& room) {
    expect(room.sessionId >= 0 && room.launchDelayMs >= 0 && room.gameUserId >= 0, "no negative launch numbers");
    expect(room.lobbySlot >= 0 && room.lobbySlot <= 22 && room.gameSlot >= 0 && room.gameSlot <= 22, "slots to 22");
    expect(!room.status.isEmpty() && !room.mapId.isEmpty() && !room.mapName.isEmpty() && !room.mapFile.isEmpty() &&
               !room.players.isEmpty(),
           "texts with a default");
    expect(!room.playerNames.contains(QString()), "no empty player name");
    for (const RoomSlot& slot : room.playerSlots + room.slotMeta) {
        expect(!(slot.locked && slot.isPlayerSlot), "a locked slot is nobody's");
    }
    for (const MapOptionIndex& index : room.mapOptionIndexes) {
        expect(index.option >= 0 && index.value >= 0, "no negative option index");
    }
    for (const RoomChatMessage& message : room.messages) {
        expect(!message.text.isEmpty() && !message.type.isEmpty(), "no empty chat line");
        expect(message.text.size() <= kMaxMessageLength + 1, "no endless chat line");
    }
    expect(room.playerSlots.size() <= kMaxSlots && room.slotMeta.size() <= kMaxSlots &&
               room.playerNames.size() <= kMaxSlots && room.messages.size() <= kMaxMessages &&
               room.mapOptions.size() <= kMaxMapOptions && room.mapOptionIndexes.size() <= kMaxMapOptionIndexes,
           "no endless list");
    expect(decodeMapOptionIndexes(encodeMapOptionIndexes(room.mapOptionIndexes)) == room.mapOptionIndexes,
           "option indexes read back as written");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromRawData(data, static_cast<int>(size)));
    QSet<QString> ids;
    for (const RoomInfo& room : decodeRoomsDocument(document, QStringLiteral("bob"))) {
        expect(!room.id.isEmpty() && !ids.contains(room.id), "no room without an id of its own");
        ids.insert(room.id);
        expectPromises(room);
    }
    expectPromises(decodeRoom(document.object(), QStringLiteral("bob")));
    expectPromises(decodeRoom(document.object().value(QLatin1String("room")).toObject(), QString()));
    return 0;
}
