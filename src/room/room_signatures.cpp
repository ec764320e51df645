#include "room/room_signatures.h"

namespace {

// What an entry usually takes, so that a signature grows in one piece.
constexpr int kRoomLength = 160;
constexpr int kSlotLength = 80;
constexpr int kMessageLength = 80;
constexpr int kOptionLength = 40;

void appendSignatureField(QString& signature, const std::string& utf8) {
    ::appendSignatureField(signature, QString::fromStdString(utf8));
}

void appendMap(QString& signature, const NetPlay::MapInfo& map) {
    appendSignatureField(signature, map.name);
    appendSignatureField(signature, map.displayName);
    for (const std::string& id : map.optionIds) {
        appendSignatureField(signature, id);
    }
    for (const auto& [key, label] : map.optionLabels) {
        appendSignatureField(signature, key);
        appendSignatureField(signature, label);
    }
    for (const auto& [key, values] : map.optionValues) {
        appendSignatureField(signature, key);
        for (const std::string& value : values) {
            appendSignatureField(signature, value);
        }
    }
}

}  // namespace

void appendSignatureField(QString& signature, const QString& text) {
    appendSignatureNumber(signature, text.size(), ':');
    signature += text;
    signature += QLatin1Char('|');
}

void appendSignatureNumber(QString& signature, int number, char separator) {
    signature += QString::number(number);
    signature += QLatin1Char(separator);
}

void appendSignatureFlag(QString& signature, bool flag) {
    signature += flag ? QLatin1String("1|") : QLatin1String("0|");
}

QString slotSignature(const RoomSlot& slot) {
    QString signature;
    signature.reserve(kSlotLength);
    appendSignatureNumber(signature, slot.slot);
    appendSignatureNumber(signature, slot.playerId);
    for (const QString* text : {&slot.name, &slot.team, &slot.selectType, &slot.slotLabel}) {
        appendSignatureField(signature, *text);
    }
    for (const bool flag : {slot.ready, slot.locked, slot.isPlayerSlot, slot.computer, slot.ai, slot.online}) {
        appendSignatureFlag(signature, flag);
    }
    appendSignatureNumber(signature, slot.latencyMs);
    return signature;
}

QString slotTableSignature(const RoomInfo& room) {
    QString signature;
    signature.reserve(kRoomLength + kSlotLength * (room.slotMeta.size() + room.playerSlots.size()));
    for (const QVector<RoomSlot>* list : {&room.slotMeta, &room.playerSlots}) {
        for (const RoomSlot& slot : *list) {
            signature += slotSignature(slot);
        }
        signature += QLatin1Char('#');
    }
    for (const QString& name : room.playerNames) {
        appendSignatureField(signature, name);
    }
    appendSignatureField(signature, room.owner);
    appendSignatureField(signature, room.host);
    return signature;
}

QString roomBaseSignature(const RoomInfo& room) {
    QString signature;
    signature.reserve(kRoomLength);
    for (const QString* text : {&room.id, &room.name, &room.mode, &room.status, &room.mapId, &room.mapName,
                                &room.players, &room.owner, &room.host}) {
        appendSignatureField(signature, *text);
    }
    appendSignatureNumber(signature, room.playerCount, '/');
    appendSignatureNumber(signature, room.maxPlayers, '/');
    appendSignatureNumber(signature, room.slotCount);
    return signature;
}

QString roomSettingsSignature(const RoomInfo& room, bool isHost, const NetPlay::MapInfo* map) {
    const std::size_t mapOptions = map == nullptr ? 0 : map->optionIds.size() + map->optionValues.size();
    QString signature = roomBaseSignature(room);
    signature.reserve(signature.size() + kOptionLength * (room.mapOptions.size() + room.mapOptionIndexes.size() +
                                                          static_cast<int>(mapOptions)));
    appendSignatureFlag(signature, isHost);
    for (auto option = room.mapOptions.cbegin(); option != room.mapOptions.cend(); ++option) {
        appendSignatureField(signature, option.key());
        appendSignatureField(signature, option.value());
    }
    for (const MapOptionIndex& pair : room.mapOptionIndexes) {
        appendSignatureNumber(signature, pair.option, '=');
        appendSignatureNumber(signature, pair.value);
    }
    if (map != nullptr) {
        appendMap(signature, *map);
    }
    return signature;
}

QString chatSignature(const QVector<RoomChatMessage>& messages) {
    QString signature;
    signature.reserve(kMessageLength * (messages.size() + 1));
    appendSignatureNumber(signature, messages.size());
    for (const RoomChatMessage& message : messages) {
        for (const QString* text : {&message.id, &message.time, &message.from, &message.text, &message.type}) {
            appendSignatureField(signature, *text);
        }
    }
    return signature;
}
