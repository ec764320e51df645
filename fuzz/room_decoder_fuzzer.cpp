// The room decoder: whatever JSON a server sends, the records keep their promises. tests/lobby calls it too.
#include "fuzz/expect.h"
#include "lobby/room_decoder.h"

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
    }
    expect(decodeMapOptionIndexes(encodeMapOptionIndexes(room.mapOptionIndexes)) == room.mapOptionIndexes,
           "option indexes read back as written");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromRawData(data, static_cast<int>(size)));
    for (const RoomInfo& room : decodeRoomsDocument(document, QStringLiteral("bob"))) {
        expect(!room.id.isEmpty(), "no room without an id");
        expectPromises(room);
    }
    expectPromises(decodeRoom(document.object(), QStringLiteral("bob")));
    expectPromises(decodeRoom(document.object().value(QLatin1String("room")).toObject(), QString()));
    return 0;
}
