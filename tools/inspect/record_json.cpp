#include "inspect/record_json.h"

#include "platform/files.h"

#include <cmath>
#include <functional>
#include <limits>
#include <map>

namespace {

QJsonObject toJson(const RoomSlot& slot) {
    return {{QStringLiteral("slot"), slot.slot},
            {QStringLiteral("playerId"), slot.playerId},
            {QStringLiteral("name"), slot.name},
            {QStringLiteral("team"), slot.team},
            {QStringLiteral("selectType"), slot.selectType},
            {QStringLiteral("slotLabel"), slot.slotLabel},
            {QStringLiteral("ready"), slot.ready},
            {QStringLiteral("locked"), slot.locked},
            {QStringLiteral("isPlayerSlot"), slot.isPlayerSlot},
            {QStringLiteral("computer"), slot.computer},
            {QStringLiteral("ai"), slot.ai},
            {QStringLiteral("online"), slot.online},
            {QStringLiteral("latencyMs"), slot.latencyMs}};
}

QString text(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

QJsonArray texts(const std::vector<std::string>& list) {
    QJsonArray array;
    for (const std::string& item : list) {
        array.append(text(item));
    }
    return array;
}

QJsonObject toJson(const NetPlay::MapSlot& slot) {
    return {{QStringLiteral("slot"), slot.slot},
            {QStringLiteral("playerId"), slot.playerId},
            {QStringLiteral("team"), text(slot.team)},
            {QStringLiteral("locked"), slot.locked},
            {QStringLiteral("selectType"), text(slot.selectType)},
            {QStringLiteral("isPlayerSlot"), slot.isPlayerSlot},
            {QStringLiteral("slotLabel"), text(slot.slotLabel)}};
}

QJsonObject toJson(const RoomChatMessage& message) {
    return {{QStringLiteral("id"), message.id},
            {QStringLiteral("time"), message.time},
            {QStringLiteral("from"), message.from},
            {QStringLiteral("text"), message.text},
            {QStringLiteral("type"), message.type}};
}

template<typename Record>
QJsonArray listToJson(const QVector<Record>& records) {
    QJsonArray array;
    for (const Record& record : records) {
        array.append(toJson(record));
    }
    return array;
}

// Reads one JSON value into one field; false when the value does not fit.
using FieldReader = std::function<bool(const QJsonValue&)>;

FieldReader textField(std::u16string& field) {
    return [&field](const QJsonValue& value) {
        field = value.toString().toStdU16String();
        return value.isString();
    };
}

FieldReader boolField(bool& field) {
    return [&field](const QJsonValue& value) {
        field = value.toBool();
        return value.isBool();
    };
}

template<typename Integer>
bool readInteger(const QJsonValue& value, Integer& field) {
    const double number = value.toDouble(std::nan(""));
    if (!(number >= static_cast<double>(std::numeric_limits<Integer>::min()) &&
          number <= static_cast<double>(std::numeric_limits<Integer>::max()) && number == std::trunc(number))) {
        return false;
    }
    field = static_cast<Integer>(number);
    return true;
}

template<typename Integer>
FieldReader numberField(Integer& field) {
    return [&field](const QJsonValue& value) {
        return readInteger(value, field);
    };
}

FieldReader pairsField(std::vector<std::pair<std::int32_t, std::int32_t>>& field) {
    return [&field](const QJsonValue& value) {
        for (const QJsonValue element : value.toArray()) {
            const QJsonArray pair = element.toArray();
            std::pair<std::int32_t, std::int32_t> numbers;
            if (pair.size() != 2 || !readInteger(pair.at(0), numbers.first) ||
                !readInteger(pair.at(1), numbers.second)) {
                return false;
            }
            field.push_back(numbers);
        }
        return value.isArray();
    };
}

std::map<QString, FieldReader> fieldReaders(GameLaunchRequest& request) {
    return {{QStringLiteral("clientRoot"), textField(request.clientRoot)},
            {QStringLiteral("dataRoot"), textField(request.dataRoot)},
            {QStringLiteral("gameHost"), textField(request.gameHost)},
            {QStringLiteral("gamePort"), numberField(request.gamePort)},
            {QStringLiteral("mapName"), textField(request.mapName)},
            {QStringLiteral("mapScriptPath"), textField(request.mapScriptPath)},
            {QStringLiteral("slot"), numberField(request.slot)},
            {QStringLiteral("userId"), numberField(request.userId)},
            {QStringLiteral("playerName"), textField(request.playerName)},
            {QStringLiteral("sessionId"), numberField(request.sessionId)},
            {QStringLiteral("restartExisting"), boolField(request.restartExisting)},
            {QStringLiteral("windowX"), numberField(request.windowX)},
            {QStringLiteral("windowY"), numberField(request.windowY)},
            {QStringLiteral("windowWidth"), numberField(request.windowWidth)},
            {QStringLiteral("windowHeight"), numberField(request.windowHeight)},
            {QStringLiteral("settingWidth"), numberField(request.settingWidth)},
            {QStringLiteral("settingHeight"), numberField(request.settingHeight)},
            {QStringLiteral("displayMode"), numberField(request.displayMode)},
            {QStringLiteral("reservedFlag"), boolField(request.reservedFlag)},
            {QStringLiteral("patchGameSetting"), boolField(request.patchGameSetting)},
            {QStringLiteral("compatibilityMode"), boolField(request.compatibilityMode)},
            {QStringLiteral("dpiAware"), boolField(request.dpiAware)},
            {QStringLiteral("mapOptionDisplay"), numberField(request.mapOptionDisplay)},
            {QStringLiteral("mapOptions"), pairsField(request.mapOptions)}};
}

}  // namespace

QJsonArray toJson(const QVector<MapOptionIndex>& pairs) {
    QJsonArray array;
    for (const MapOptionIndex& pair : pairs) {
        array.append(QJsonArray{pair.option, pair.value});
    }
    return array;
}

QJsonObject toJson(const RoomInfo& room) {
    QJsonObject options;
    for (auto option = room.mapOptions.begin(); option != room.mapOptions.end(); ++option) {
        options.insert(option.key(), option.value());
    }
    return {{QStringLiteral("id"), room.id},
            {QStringLiteral("name"), room.name},
            {QStringLiteral("status"), room.status},
            {QStringLiteral("mapId"), room.mapId},
            {QStringLiteral("mapName"), room.mapName},
            {QStringLiteral("mapFile"), room.mapFile},
            {QStringLiteral("mapFingerprint"), room.mapFingerprint},
            {QStringLiteral("mapFingerprintAlgo"), room.mapFingerprintAlgo},
            {QStringLiteral("mode"), room.mode},
            {QStringLiteral("players"), room.players},
            {QStringLiteral("owner"), room.owner},
            {QStringLiteral("host"), room.host},
            {QStringLiteral("createdAt"), room.createdAt},
            {QStringLiteral("playerNames"), QJsonArray::fromStringList(room.playerNames)},
            {QStringLiteral("playerSlots"), listToJson(room.playerSlots)},
            {QStringLiteral("slotMeta"), listToJson(room.slotMeta)},
            {QStringLiteral("messages"), listToJson(room.messages)},
            {QStringLiteral("mapOptions"), options},
            {QStringLiteral("mapOptionIndexes"), toJson(room.mapOptionIndexes)},
            {QStringLiteral("pmHost"), room.pmHost},
            {QStringLiteral("pmPort"), room.pmPort},
            {QStringLiteral("sessionId"), room.sessionId},
            {QStringLiteral("launchDelayMs"), room.launchDelayMs},
            {QStringLiteral("lobbySlot"), room.lobbySlot},
            {QStringLiteral("gameSlot"), room.gameSlot},
            {QStringLiteral("gameUserId"), room.gameUserId},
            {QStringLiteral("playerCount"), room.playerCount},
            {QStringLiteral("maxPlayers"), room.maxPlayers},
            {QStringLiteral("slotCount"), room.slotCount},
            {QStringLiteral("isPrivate"), room.isPrivate},
            {QStringLiteral("hasPassword"), room.hasPassword}};
}

QJsonObject toJson(const NetPlay::MapInfo& map) {
    QJsonArray mapSlots;
    for (const NetPlay::MapSlot& slot : map.slots) {
        mapSlots.append(toJson(slot));
    }
    QJsonObject values;
    for (const auto& [option, list] : map.optionValues) {
        values.insert(text(option), texts(list));
    }
    QJsonObject labels;
    for (const auto& [option, label] : map.optionLabels) {
        labels.insert(text(option), text(label));
    }
    return {{QStringLiteral("name"), text(map.name)},
            {QStringLiteral("displayName"), text(map.displayName)},
            {QStringLiteral("folderPath"), text(platform::pathToUtf8(map.folderPath))},
            {QStringLiteral("mapFilePath"), text(platform::pathToUtf8(map.mapFilePath))},
            {QStringLiteral("oFilePath"), text(platform::pathToUtf8(map.oFilePath))},
            {QStringLiteral("mapFileSize"), static_cast<qint64>(map.mapFileSize)},
            {QStringLiteral("oFileSize"), static_cast<qint64>(map.oFileSize)},
            {QStringLiteral("mapFileHash"), text(map.mapFileHash)},
            {QStringLiteral("oFileHash"), text(map.oFileHash)},
            {QStringLiteral("fingerprint"), text(map.fingerprint)},
            {QStringLiteral("fingerprintAlgo"), text(map.fingerprintAlgo)},
            {QStringLiteral("maxPlayers"), map.maxPlayers},
            {QStringLiteral("slotCount"), map.slotCount},
            {QStringLiteral("slots"), mapSlots},
            {QStringLiteral("sides"), texts(map.sides)},
            {QStringLiteral("optionIds"), texts(map.optionIds)},
            {QStringLiteral("optionValues"), values},
            {QStringLiteral("optionLabels"), labels},
            {QStringLiteral("lastModified"), static_cast<qint64>(map.lastModified)}};
}

bool fromJson(const QJsonObject& object, GameLaunchRequest& request, QString& error) {
    const std::map<QString, FieldReader> readers = fieldReaders(request);
    for (auto field = object.begin(); field != object.end(); ++field) {
        const auto reader = readers.find(field.key());
        if (reader == readers.end()) {
            error = QStringLiteral("unknown field: %1").arg(field.key());
            return false;
        }
        if (!reader->second(field.value())) {
            error = QStringLiteral("unusable value of %1").arg(field.key());
            return false;
        }
    }
    return true;
}
