#include "lobby/room_decoder.h"

#include "lobby/bounds.h"
#include "lobby/json_readers.h"

#include <QSet>

#include <algorithm>

namespace {

using Key = QLatin1String;

constexpr int kLowestSlot = 1;
constexpr int kHighestSlot = 22;

// The map selection classes that a person may take.
bool isPersonSelectType(const QString& type) {
    return type == Key("5") || type == Key("35") || type == Key("1") || type == Key("31");
}

bool decodeIsPlayerSlot(const QJsonObject& object, const RoomSlot& slot) {
    if (slot.locked) {
        return false;
    }
    const QJsonValue flag = object.value(Key("is_player_slot"));
    if (!flag.isUndefined()) {
        return jsonBool(flag, true);
    }
    const QString type = slot.selectType.trimmed();
    return type.isEmpty() || isPersonSelectType(type);
}

QVector<RoomSlot> decodeSlots(const QJsonValue& value) {
    QVector<RoomSlot> result;
    const QJsonArray array = value.toArray();
    for (int i = 0; i < std::min(array.size(), kMaxSlots); ++i) {
        const QJsonValue element = array.at(i);
        if (element.isObject()) {
            result.append(decodeRoomSlot(element.toObject()));
        }
    }
    return result;
}

QVector<RoomChatMessage> decodeMessages(const QJsonValue& value) {
    QVector<RoomChatMessage> result;
    const QJsonArray array = value.toArray();
    // The newest stand last.
    for (int i = std::max(0, array.size() - kMaxMessages); i < array.size(); ++i) {
        const QJsonValue element = array.at(i);
        if (!element.isObject()) {
            continue;
        }
        RoomChatMessage message = decodeChatMessage(element.toObject());
        if (!message.text.isEmpty()) {
            result.append(std::move(message));
        }
    }
    return result;
}

QStringList decodeNames(const QJsonValue& value) {
    QStringList result;
    const QJsonArray array = value.toArray();
    for (int i = 0; i < std::min(array.size(), kMaxSlots); ++i) {
        const QString name = jsonString(array.at(i));
        if (!name.isEmpty()) {
            result.append(name);
        }
    }
    return result;
}

QMap<QString, QString> decodeMapOptions(const QJsonValue& value) {
    QMap<QString, QString> result;
    const QJsonObject object = value.toObject();
    for (auto it = object.begin(); it != object.end() && result.size() < kMaxMapOptions; ++it) {
        result.insert(it.key(), jsonString(it.value()));
    }
    return result;
}

bool namesUser(const QJsonObject& entry, const QString& userName) {
    const QString name = jsonString(entry.value(Key("name")));
    return !name.isEmpty() && !userName.isEmpty() && name.compare(userName, Qt::CaseInsensitive) == 0;
}

void decodeMap(const QJsonObject& object, RoomInfo& room) {
    room.mapId = jsonFirstString(object, {Key("map_id"), Key("map"), Key("map_name")}, QStringLiteral("10078"));
    room.mapName = jsonFirstString(object, {Key("map_name"), Key("map_id"), Key("map")}, room.mapId);
    room.mapFile = jsonFirstString(object, {Key("map_file")}, QString());
    if (room.mapFile.isEmpty()) {
        room.mapFile = room.mapId + Key(".map");
    }
    room.mapFingerprint = jsonString(object.value(Key("map_fingerprint")));
    room.mapFingerprintAlgo = jsonString(object.value(Key("map_fingerprint_algo")));
}

void decodePeople(const QJsonObject& object, RoomInfo& room) {
    room.owner = jsonFirstString(object, {Key("owner"), Key("host")}, QString());
    room.host = jsonFirstString(object, {Key("host"), Key("owner")}, QString());
    // Plain reads: a number here is no text to show.
    room.createdAt = object.value(Key("created_at")).toString();
    room.players = object.value(Key("players")).toString();
    room.playerCount = jsonInt(object, Key("player_count"), 0);
    room.maxPlayers = jsonInt(object, Key("max_players"), 0);
    room.slotCount = jsonInt(object, Key("slot_count"), room.maxPlayers);
    if (room.players.isEmpty()) {
        room.players = QString::number(room.playerCount) + QLatin1Char('/') + QString::number(room.maxPlayers);
    }
}

void decodeLists(const QJsonObject& object, RoomInfo& room) {
    room.mapOptions = decodeMapOptions(object.value(Key("map_options")));
    room.mapOptionIndexes = decodeMapOptionIndexes(object.value(Key("map_option_indexes")));
    room.playerNames = decodeNames(object.value(Key("player_names")));
    room.playerSlots = decodeSlots(object.value(Key("player_slots")));
    room.slotMeta = decodeSlots(object.value(Key("slot_meta")));
    room.messages = decodeMessages(object.value(Key("messages")));
}

void decodeLaunch(const QJsonObject& object, const QString& userName, RoomInfo& room) {
    room.pmHost = jsonFirstString(object, {Key("pm_host_ip"), Key("pm_host")}, QString());
    room.pmPort = jsonInt(object, Key("pm_port"), 40001);
    room.sessionId = std::max(0, jsonInt(object, Key("session_id"), 0));
    room.launchDelayMs = std::max(0, jsonInt(object, Key("launch_delay_ms"), 0));
    room.lobbySlot = findLobbySlot(object, userName);
    const QJsonObject entry = findLaunchEntry(object, userName, room.lobbySlot);
    if (entry.isEmpty()) {
        return;
    }
    const int slot = jsonInt(entry, Key("game_slot"), jsonInt(entry, Key("slot"), room.lobbySlot));
    room.gameSlot = std::clamp(slot, kLowestSlot, kHighestSlot);
    const int userId = jsonInt(entry, Key("user_id"), 0);
    room.gameUserId = userId > 0 ? userId : std::max(0, jsonInt(entry, Key("game_user_id"), 0));
}

QVector<RoomInfo> decodeRooms(const QJsonArray& array, const QString& userName) {
    QVector<RoomInfo> result;
    QSet<QString> ids;
    for (int i = 0; i < std::min(array.size(), kMaxRooms); ++i) {
        const QJsonValue element = array.at(i);
        if (!element.isObject()) {
            continue;
        }
        RoomInfo room = decodeRoom(element.toObject(), userName);
        if (!room.id.isEmpty() && !ids.contains(room.id)) {
            ids.insert(room.id);
            result.append(std::move(room));
        }
    }
    return result;
}

MapOptionIndex decodeMapOptionIndex(const QJsonValue& element, int position) {
    MapOptionIndex index{position, -1};
    if (element.isArray()) {
        const QJsonArray pair = element.toArray();
        if (pair.size() >= 2) {
            index.option = truncatedInt(pair.at(0).toDouble(-1));
            index.value = truncatedInt(pair.at(1).toDouble(-1));
        }
    } else if (element.isObject()) {
        const QJsonObject object = element.toObject();
        index.option = jsonInt(object, Key("option"), jsonInt(object, Key("option_index"), position));
        index.value = jsonInt(object, Key("value"), jsonInt(object, Key("value_index"), -1));
    } else if (element.isDouble()) {
        index.value = truncatedInt(element.toDouble());
    }
    return index;
}

}  // namespace

RoomInfo decodeRoom(const QJsonObject& object, const QString& userName) {
    RoomInfo room;
    room.id = jsonString(object.value(Key("id")));
    room.name = jsonFirstString(object, {Key("name"), Key("room_name")}, room.id);
    room.status = normalizeRoomStatus(jsonString(object.value(Key("status"))));
    decodeMap(object, room);
    room.mode = jsonFirstString(object, {Key("mode"), Key("game_mode")}, QString());
    decodePeople(object, room);
    decodeLists(object, room);
    decodeLaunch(object, userName, room);
    room.hasPassword = jsonBool(object.value(Key("has_password")), false);
    room.isPrivate = jsonBool(object.value(Key("is_private")), room.hasPassword);
    return room;
}

QVector<RoomInfo> decodeRoomList(const QJsonObject& object, const QString& userName) {
    QJsonArray array = object.value(Key("rooms")).toArray();
    if (array.isEmpty()) {
        array = object.value(Key("value")).toArray();
    }
    return decodeRooms(array, userName);
}

QVector<RoomInfo> decodeRoomsDocument(const QJsonDocument& document, const QString& userName) {
    return document.isObject() ? decodeRoomList(document.object(), userName) : decodeRooms(document.array(), userName);
}

RoomAnswer decodeRoomAnswer(const QJsonDocument& document, const QString& userName) {
    const QJsonValue room = document.object().value(Key("room"));
    return {room.isObject() ? decodeRoom(room.toObject(), userName) : RoomInfo(),
            decodeRoomsDocument(document, userName)};
}

RoomSlot decodeRoomSlot(const QJsonObject& object) {
    RoomSlot slot;
    slot.slot = jsonInt(object, Key("slot"), 0);
    const int gameSlot = jsonInt(object, Key("game_slot"), slot.slot);
    slot.playerId = jsonInt(object, Key("player_id"), jsonInt(object, Key("control_id"), gameSlot));
    slot.name = jsonString(object.value(Key("name")));
    slot.team = jsonString(object.value(Key("team")));
    slot.selectType = jsonString(object.value(Key("select_type")));
    slot.slotLabel = jsonString(object.value(Key("slot_label")));
    slot.ready = jsonBool(object.value(Key("ready")), false);
    slot.locked = jsonBool(object.value(Key("locked")), false);
    slot.isPlayerSlot = decodeIsPlayerSlot(object, slot);
    slot.computer = jsonBool(object.value(Key("computer")), false);
    slot.ai = jsonBool(object.value(Key("ai")), false);
    slot.online = jsonBool(object.value(Key("online")), true);
    slot.latencyMs = jsonInt(object, Key("latency_ms"), -1);
    return slot;
}

RoomChatMessage decodeChatMessage(const QJsonObject& object) {
    RoomChatMessage message;
    message.id = jsonFirstString(object, {Key("id")}, QString());
    message.time = jsonFirstString(object, {Key("ts"), Key("time"), Key("created_at")}, QString());
    message.from = jsonFirstString(object, {Key("from"), Key("player"), Key("name")}, QString());
    message.text =
        shortened(jsonFirstString(object, {Key("text"), Key("message"), Key("content")}, QString()), kMaxMessageLength);
    message.type = jsonFirstString(object, {Key("type")}, QStringLiteral("chat"));
    return message;
}

QVector<MapOptionIndex> decodeMapOptionIndexes(const QJsonValue& value) {
    QVector<MapOptionIndex> result;
    const QJsonArray array = value.toArray();
    for (int position = 0; position < std::min(array.size(), kMaxMapOptionIndexes); ++position) {
        const MapOptionIndex index = decodeMapOptionIndex(array.at(position), position);
        if (index.option >= 0 && index.value >= 0) {
            result.append(index);
        }
    }
    return result;
}

QJsonArray encodeMapOptionIndexes(const QVector<MapOptionIndex>& indexes) {
    QJsonArray result;
    for (const MapOptionIndex& index : indexes) {
        result.append(QJsonObject{{QStringLiteral("option"), index.option}, {QStringLiteral("value"), index.value}});
    }
    return result;
}

QString normalizeRoomStatus(const QString& text) {
    const QString trimmed = text.trimmed();
    const QString lower = trimmed.toLower();
    if (lower == Key("playing") || trimmed == QStringLiteral("游戏中")) {
        return QStringLiteral("playing");
    }
    if (lower.isEmpty() || lower == Key("waiting") || trimmed == QStringLiteral("等待中")) {
        return QStringLiteral("waiting");
    }
    return trimmed;
}

int findLobbySlot(const QJsonObject& object, const QString& userName) {
    for (const Key key : {Key("pm_launch_slots"), Key("player_slots")}) {
        const QJsonArray entries = object.value(key).toArray();
        for (int i = 0; i < std::min(entries.size(), kMaxSlots); ++i) {
            const QJsonObject entry = entries.at(i).toObject();
            if (namesUser(entry, userName)) {
                return std::clamp(jsonInt(entry, Key("slot"), 1), kLowestSlot, kHighestSlot);
            }
        }
    }
    return 0;
}

QJsonObject findLaunchEntry(const QJsonObject& object, const QString& userName, int lobbySlot) {
    const QJsonArray entries = object.value(Key("pm_launch_slots")).toArray();
    const int count = std::min(entries.size(), kMaxSlots);
    for (int i = 0; i < count; ++i) {
        QJsonObject entry = entries.at(i).toObject();
        if (namesUser(entry, userName)) {
            return entry;
        }
    }
    for (int i = 0; i < count; ++i) {
        QJsonObject entry = entries.at(i).toObject();
        if (jsonInt(entry, Key("slot"), 0) == lobbySlot || jsonInt(entry, Key("lobby_slot"), 0) == lobbySlot) {
            return entry;
        }
    }
    return {};
}
