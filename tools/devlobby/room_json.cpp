// How a room is read from the request that makes it, and how it goes over the wire.
#include "devlobby/fields.h"
#include "devlobby/room.h"

#include <QDateTime>

#include <algorithm>

namespace devlobby {

namespace {

constexpr int kLongestText = 256;  // UTF-16 units of a name, a label, an option or a fingerprint
constexpr int kMostOptions = 128;
constexpr qint64 kMostOptionNumber = 100000;
constexpr qint64 kSilenceMs = 8000;  // a player silent for longer counts as offline

QString key(const char* name) {
    return QString::fromLatin1(name);
}

QString textOr(const QJsonObject& object, const char* name, const QString& fallback) {
    const QString text = textField(object, name, kLongestText);
    return text.isEmpty() ? fallback : text;
}

QString timeText(qint64 time) {
    return QDateTime::fromMSecsSinceEpoch(time).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

Slot plainSlot(int number) {
    Slot slot;
    slot.slot = number;
    slot.playerId = number;
    return slot;
}

std::optional<Slot> readSlot(const QJsonObject& object) {
    const std::optional<qint64> number = numberField(object, "slot", 1, kMostSlots);
    if (!number) {
        return std::nullopt;
    }
    Slot slot = plainSlot(static_cast<int>(*number));
    slot.playerId = static_cast<int>(numberField(object, "player_id", 1, 0x7FFFFFFF).value_or(slot.slot));
    slot.team = textField(object, "team", kLongestText);
    slot.mapTeam = slot.team;
    slot.selectType = textField(object, "select_type", kLongestText);
    slot.slotLabel = textField(object, "slot_label", kLongestText);
    slot.locked = boolField(object, "locked").value_or(false);
    slot.isPlayerSlot = boolField(object, "is_player_slot").value_or(true);
    slot.computer = boolField(object, "computer").value_or(false);
    slot.ai = boolField(object, "ai").value_or(false);
    return slot;
}

}  // namespace

QString Room::readSlots(const QJsonObject& request) {
    const QJsonArray meta = request.value(QLatin1String("slot_meta")).toArray();
    if (meta.isEmpty()) {
        const int count = static_cast<int>(numberField(request, "slot_count", 1, 1000).value_or(maxPlayers_));
        for (int number = 1; number <= std::min(count, kMostSlots); ++number) {
            slots_.push_back(plainSlot(number));
        }
        return QString();
    }
    for (const QJsonValue& element : meta) {
        std::optional<Slot> slot = readSlot(element.toObject());
        const bool known = slot && std::any_of(slots_.begin(), slots_.end(),
                                               [&slot](const Slot& other) { return other.slot == slot->slot; });
        if (!slot || known) {
            return QStringLiteral("slot_meta must name different slots from 1 to %1").arg(kMostSlots);
        }
        slots_.push_back(std::move(*slot));
    }
    return QString();
}

std::optional<Room> Room::create(const QString& id, const QJsonObject& request, const Player& creator, qint64 now,
                                 QString& error) {
    Room room;
    room.id_ = id;
    room.name_ = textOr(request, "name", id);
    room.password_ = request.value(QLatin1String("password")).toString();
    room.mapId_ = textField(request, "map_id", kLongestText);
    room.mapName_ = textOr(request, "map_name", room.mapId_);
    room.mapFile_ = textOr(request, "map_file", room.mapId_ + QStringLiteral(".map"));
    room.mapFingerprint_ = textField(request, "map_fingerprint", kLongestText);
    room.mapFingerprintAlgo_ = textField(request, "map_fingerprint_algo", kLongestText);
    room.mode_ = textField(request, "mode", kLongestText);
    room.host_ = creator.name;
    room.createdAt_ = now;
    room.maxPlayers_ = static_cast<int>(numberField(request, "max_players", 2, kMostSlots).value_or(0));
    if (room.mapId_.isEmpty() || room.maxPlayers_ == 0) {
        error = QStringLiteral("map_id or max_players is missing");
        return std::nullopt;
    }
    if (room.password_.size() > kLongestText) {
        error = QStringLiteral("the password is too long");
        return std::nullopt;
    }
    error = room.readSlots(request);
    if (error.isEmpty()) {
        error = room.setMapOptions(request);
    }
    if (!error.isEmpty()) {
        return std::nullopt;
    }
    const QJsonObject seat = request.value(QLatin1String("player_slots")).toArray().at(0).toObject();
    Slot* const own = room.slotNamed(seat, "slot");
    if (!own || !own->isFree()) {
        error = QStringLiteral("the creator's slot is not free");
        return std::nullopt;
    }
    own->occupant = Occupant{creator, boolField(seat, "ready").value_or(false), now};
    return room;
}

QString Room::setMapOptions(const QJsonObject& request) {
    const QJsonObject options = request.value(QLatin1String("map_options")).toObject(mapOptions_);
    const QJsonArray indexes = request.value(QLatin1String("map_option_indexes")).toArray(mapOptionIndexes_);
    bool usable = options.size() <= kMostOptions && indexes.size() <= kMostOptions;
    for (auto option = options.begin(); usable && option != options.end(); ++option) {
        usable = option.key().size() <= kLongestText && option.value().isString() &&
                 option.value().toString().size() <= kLongestText;
    }
    for (int i = 0; usable && i < indexes.size(); ++i) {
        const QJsonObject pair = indexes.at(i).toObject();
        usable = numberField(pair, "option", 0, kMostOptionNumber) && numberField(pair, "value", 0, kMostOptionNumber);
    }
    if (!usable) {
        return QStringLiteral("map_options or map_option_indexes is wrong");
    }
    mapOptions_ = options;
    mapOptionIndexes_ = QJsonArray();
    for (const QJsonValue& pair : indexes) {
        mapOptionIndexes_.append(QJsonObject{{key("option"), pair.toObject().value(QLatin1String("option"))},
                                             {key("value"), pair.toObject().value(QLatin1String("value"))}});
    }
    return QString();
}

QJsonObject Room::slotToJson(const Slot& slot, qint64 now) const {
    QJsonObject json{{key("slot"), slot.slot},
                     {key("player_id"), slot.playerId},
                     {key("control_id"), slot.playerId},
                     {key("name"), QString()},
                     {key("team"), slot.team},
                     {key("select_type"), slot.selectType},
                     {key("slot_label"), slot.slotLabel},
                     {key("ready"), false},
                     {key("locked"), slot.locked},
                     {key("is_player_slot"), slot.isPlayerSlot},
                     {key("computer"), slot.computer},
                     {key("ai"), slot.ai}};
    if (slot.occupant) {
        json[key("name")] = slot.occupant->player.name;
        json[key("user_id")] = slot.occupant->player.userId;
        json[key("ready")] = slot.occupant->ready;
        json[key("online")] = isPlaying() || now - slot.occupant->lastSeen <= kSilenceMs;
        json[key("latency_ms")] = slot.occupant->latencyMs;
    }
    return json;
}

QJsonArray Room::launchTableToJson() const {
    QJsonArray json;
    for (const LaunchEntry& entry : match_->launchTable) {
        json.append(QJsonObject{{key("name"), entry.player.name},
                                {key("slot"), entry.slot},
                                {key("lobby_slot"), entry.slot},
                                {key("game_slot"), entry.gameSlot},
                                {key("user_id"), entry.player.userId},
                                {key("pid"), static_cast<double>(entry.pid)}});
    }
    return json;
}

QJsonObject Room::toJson(qint64 now) const {
    QJsonArray names;
    QJsonArray occupied;
    QJsonArray meta;
    for (const Slot& slot : slots_) {
        meta.append(slotToJson(slot, now));
        if (slot.occupant) {
            names.append(slot.occupant->player.name);
            occupied.append(slotToJson(slot, now));
        }
    }
    QJsonArray messages;
    for (const ChatMessage& message : messages_) {
        messages.append(QJsonObject{{key("id"), QString::number(message.id)},
                                    {key("ts"), timeText(message.time)},
                                    {key("from"), message.from},
                                    {key("text"), message.text},
                                    {key("type"), key("chat")}});
    }
    QJsonObject json{{key("id"), id_},
                     {key("name"), name_},
                     {key("status"), key(isPlaying() ? "playing" : "waiting")},
                     {key("map_id"), mapId_},
                     {key("map_name"), mapName_},
                     {key("map_file"), mapFile_},
                     {key("map_fingerprint"), mapFingerprint_},
                     {key("map_fingerprint_algo"), mapFingerprintAlgo_},
                     {key("mode"), mode_},
                     {key("owner"), host_},
                     {key("host"), host_},
                     {key("created_at"), timeText(createdAt_)},
                     {key("player_count"), playerCount()},
                     {key("max_players"), maxPlayers_},
                     {key("slot_count"), static_cast<int>(slots_.size())},
                     {key("players"), QStringLiteral("%1/%2").arg(playerCount()).arg(maxPlayers_)},
                     {key("player_names"), names},
                     {key("player_slots"), occupied},
                     {key("slot_meta"), meta},
                     {key("messages"), messages},
                     {key("map_options"), mapOptions_},
                     {key("map_option_indexes"), mapOptionIndexes_},
                     {key("has_password"), !password_.isEmpty()},
                     {key("is_private"), !password_.isEmpty()}};
    if (match_) {
        json[key("session_id")] = match_->sessionId;
        json[key("launch_delay_ms")] = match_->launchDelayMs;
        json[key("pm_host")] = match_->gameHost;
        json[key("pm_port")] = match_->gamePort;
        json[key("pm_launch_slots")] = launchTableToJson();
    }
    return json;
}

}  // namespace devlobby
