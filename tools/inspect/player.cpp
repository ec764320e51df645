#include "inspect/player.h"

#include "inspect/record_json.h"
#include "maps/catalog.h"
#include "maps/fingerprint.h"
#include "maps/map_finders.h"
#include "platform/files.h"
#include "platform/process.h"
#include "room/create_room_rules.h"
#include "room/lobby_rules.h"
#include "room/map_gate.h"
#include "room/room_rules.h"

#include <QtConcurrent>

#include <algorithm>

namespace {

constexpr int kPollMs = 2000;
constexpr int kWatchMs = 200;

// What the lobby is told of the map of a new room.
void describeMap(const NetPlay::MapInfo& map, CreateRoomRequest& request) {
    request.mapName = QString::fromStdString(map.displayName);
    request.mapFingerprint = QString::fromStdString(map.fingerprint);
    request.mapFingerprintAlgo = QString::fromStdString(map.fingerprintAlgo);
    request.maxPlayers = map.maxPlayers;
    request.slotCount = map.slotCount;
    request.slotMeta = createRoomSlots(map);
    for (const MapOptionIndex& pair : request.mapOptionIndexes) {
        const auto option = static_cast<std::size_t>(pair.option);
        const auto value = static_cast<std::size_t>(pair.value);
        const auto values =
            option < map.optionIds.size() ? map.optionValues.find(map.optionIds[option]) : map.optionValues.end();
        if (values != map.optionValues.end() && value < values->second.size()) {
            request.mapOptions.insert(QString::fromStdString(values->first),
                                      QString::fromStdString(values->second[value]));
        }
    }
}

}  // namespace

Player::Player(PlayerOptions options, std::function<void(const QJsonObject&)> report)
    : options_(std::move(options)), report_(std::move(report)), client_(options_.lobby) {
    connect(&client_, &LobbyClient::loginResult, this, &Player::onLoginResult);
    connect(&client_, &LobbyClient::roomsUpdated, this, &Player::onRoomsUpdated);
    connect(&client_, &LobbyClient::roomDetailUpdated, this, &Player::onRoomDetailUpdated);
    connect(&client_, &LobbyClient::roomCreated, this,
            [this](bool ok, const RoomInfo& room, const QVector<RoomInfo>&, const QString& error) {
                onRoomCreated(ok, room, error);
            });
    connect(&client_, &LobbyClient::roomActionResult, this,
            [this](const QString& action, bool ok, const RoomInfo& room, const QVector<RoomInfo>&,
                   const QString& error) { onRoomActionResult(action, ok, room, error); });
    connect(&launchWatcher_, &QFutureWatcher<bool>::finished, this, &Player::onLaunchFinished);
    connect(&pollTimer_, &QTimer::timeout, this, &Player::poll);
    connect(&watchTimer_, &QTimer::timeout, this, &Player::watchGame);
}

// The launch task works on this object's launcher.
Player::~Player() {
    launchWatcher_.waitForFinished();
}

void Player::start() {
    const std::filesystem::path dataRoot = platform::toPath(options_.dataRoot.toStdU16String());
    catalog_ = NetPlay::scanMapCatalog(dataRoot / "map", {});
    client_.login(options_.user, options_.password);
}

void Player::onLoginResult(bool ok, const QString& message) {
    if (!ok) {
        fail(message);
        return;
    }
    event(QStringLiteral("signed-in"), {{QStringLiteral("message"), message}});
    if (options_.createName.isEmpty()) {
        poll();
    } else {
        createRoom();
    }
    pollTimer_.start(kPollMs);
}

void Player::createRoom() {
    CreateRoomRequest request;
    request.name = options_.createName;
    request.mapId = options_.mapId;
    request.maxPlayers = std::max(options_.startWith, 8);
    request.mapOptionIndexes = options_.mapOptions;
    request.isPrivate = !options_.roomPassword.isEmpty();
    request.password = options_.roomPassword;
    const auto map = std::find_if(catalog_.begin(), catalog_.end(), [this](const NetPlay::MapInfo& m) {
        return QString::fromStdString(m.name) == options_.mapId;
    });
    if (map != catalog_.end() && NetPlay::computeMapFingerprint(*map, {})) {
        describeMap(*map, request);
    }
    client_.createRoom(request);
}

void Player::onRoomCreated(bool ok, const RoomInfo& room, const QString& error) {
    if (ok) {
        enterRoom(room, QStringLiteral("room-created"));
    } else {
        fail(error);
    }
}

void Player::poll() {
    if (!room_.id.isEmpty() && !isRoomPlaying(room_)) {
        client_.sendHeartbeat(room_.id, {});
    }
    client_.fetchRooms();
}

void Player::onRoomsUpdated(const QVector<RoomInfo>& rooms, const QString& error) {
    if (client_.authToken().isEmpty()) {
        fail(QStringLiteral("the session has ended"));
    } else if (!error.isEmpty()) {
        event(QStringLiteral("poll-failed"), {{QStringLiteral("error"), error}});
    } else if (!room_.id.isEmpty()) {
        followRoom(rooms);
    } else if (options_.createName.isEmpty()) {
        seekRoom(rooms);
    }
}

void Player::seekRoom(const QVector<RoomInfo>& rooms) {
    const auto wanted = std::find_if(rooms.begin(), rooms.end(), [this](const RoomInfo& room) {
        return options_.joinId.isEmpty() ? !isRoomPlaying(room) && !isRoomFull(room) : room.id == options_.joinId;
    });
    if (wanted == rooms.end() || actionInFlight_) {
        return;
    }
    if (!wanted->mapFingerprint.isEmpty() && !passesMapGate(*wanted)) {
        return;
    }
    QJsonObject extra;
    if (wanted->isPrivate || wanted->hasPassword) {
        extra.insert(QStringLiteral("password"), options_.roomPassword);
    }
    actionInFlight_ = true;
    client_.roomAction(wanted->id, QStringLiteral("join"), extra);
}

// A refusal ends the player: the map on this machine will not change by waiting.
bool Player::passesMapGate(const RoomInfo& room) {
    MapGate gate = judgeRoomMap(room, catalog_, true);
    if (gate.outcome == MapGate::Outcome::needsFingerprint) {
        NetPlay::MapInfo& map = catalog_[static_cast<std::size_t>(gate.map - catalog_.data())];
        if (!NetPlay::computeMapFingerprint(map, {})) {
            fail(QStringLiteral("地图文件不完整或无法读取，不能进入房间。"));
            return false;
        }
        gate = judgeRoomMap(room, catalog_, true);
    }
    if (gate.outcome == MapGate::Outcome::refused) {
        fail(gate.message);
    }
    return gate.outcome == MapGate::Outcome::open;
}

void Player::followRoom(const QVector<RoomInfo>& rooms) {
    const auto room = std::find_if(rooms.begin(), rooms.end(), [this](const RoomInfo& r) { return r.id == room_.id; });
    if (room == rooms.end()) {
        fail(QStringLiteral("the room was closed"));
    } else if (!isRoomMember(*room, client_.userName())) {
        fail(QStringLiteral("removed from the room"));
    } else {
        room_ = *room;
        act();
    }
}

void Player::enterRoom(const RoomInfo& room, const QString& eventName) {
    room_ = room;
    event(eventName, {{QStringLiteral("room"), toJson(room)}});
    act();
}

// The one place that decides what to do next in the room as it stands.
void Player::act() {
    if (actionInFlight_ || ended_) {
        return;
    }
    if (isRoomPlaying(room_)) {
        // The list may lack launch data: the detail brings it.
        if (!detailInFlight_ && launchKey(room_.id, room_.sessionId, client_.userName()) != attemptedKey_) {
            detailInFlight_ = true;
            client_.fetchRoomDetail(room_.id);
        }
        return;
    }
    const RoomSlot* own = findOwnSlot(room_, client_.userName());
    if (isRoomHost(room_, client_.userName())) {
        if (room_.playerCount >= options_.startWith && canStartRoom(room_, true, client_.userName(), nullptr)) {
            QJsonObject extra{{QStringLiteral("pm_host"), options_.gameHost},
                              {QStringLiteral("pm_port"), options_.gamePort}};
            sendAction(QStringLiteral("start"), extra);
        }
    } else if (own != nullptr && !own->ready) {
        sendAction(QStringLiteral("ready"), {{QStringLiteral("ready"), true}});
    }
}

void Player::sendAction(const QString& action, const QJsonObject& extra) {
    actionInFlight_ = true;
    client_.roomAction(room_.id, action, extra);
}

void Player::onRoomActionResult(const QString& action, bool ok, const RoomInfo& room, const QString& error) {
    if (action == QLatin1String("launch-done")) {
        event(ok ? QStringLiteral("launch-reported") : QStringLiteral("report-failed"),
              {{QStringLiteral("error"), error}});
        return;
    }
    actionInFlight_ = false;
    if (!ok) {
        event(QStringLiteral("action-failed"), {{QStringLiteral("action"), action}, {QStringLiteral("error"), error}});
        if (action == QLatin1String("join") && !options_.joinId.isEmpty()) {
            fail(error);
        }
    } else if (action == QLatin1String("join")) {
        enterRoom(room, QStringLiteral("joined"));
    } else {
        event(action);
        room_ = room.id.isEmpty() ? room_ : room;
        if (action == QLatin1String("start")) {
            maybeLaunch();
        }
    }
}

void Player::onRoomDetailUpdated(bool ok, const RoomInfo& room, const QString& error) {
    detailInFlight_ = false;
    if (!ok) {
        event(QStringLiteral("detail-failed"), {{QStringLiteral("error"), error}});
    } else if (room.id == room_.id) {
        room_ = room;
        maybeLaunch();
    }
}

void Player::maybeLaunch() {
    const QString key = launchKey(room_.id, room_.sessionId, client_.userName());
    if (ended_ || !isRoomPlaying(room_) || key == attemptedKey_) {
        return;
    }
    attemptedKey_ = key;
    const int delay = launchDelay(room_.launchDelayMs);
    event(QStringLiteral("launching"), {{QStringLiteral("delayMs"), delay}});
    QTimer::singleShot(delay, this, [this, key] { launchGame(key); });
}

void Player::launchGame(const QString& key) {
    if (ended_ || !isRoomPlaying(room_) || key != launchKey(room_.id, room_.sessionId, client_.userName())) {
        attemptedKey_.clear();
        return;
    }
    LaunchDefaults defaults;
    defaults.gameHost = options_.gameHost;
    defaults.gamePort = options_.gamePort;
    const NetPlay::MapInfo* map = NetPlay::findMapForRoom(catalog_, room_.mapId, room_.mapName);
    plan_ = planLaunch(room_, client_.userName(), defaults, room_.mapOptions, map);
    if (!plan_.error.isEmpty()) {
        fail(plan_.error);
        return;
    }
    plan_.request.dataRoot = options_.dataRoot.toStdU16String();
    pollTimer_.stop();
    launchWatcher_.setFuture(QtConcurrent::run([this, request = plan_.request] { return launcher_.launch(request); }));
}

void Player::onLaunchFinished() {
    if (!launchWatcher_.result()) {
        fail(QStringLiteral("启动失败:") + QString::fromStdU16String(launcher_.lastError()));
        return;
    }
    const auto pid = static_cast<qint64>(launcher_.pid());
    event(QStringLiteral("launched"), {{QStringLiteral("pid"), pid},
                                       {QStringLiteral("map"), plan_.mapName},
                                       {QStringLiteral("host"), plan_.host},
                                       {QStringLiteral("port"), plan_.port},
                                       {QStringLiteral("slot"), plan_.request.slot},
                                       {QStringLiteral("userId"), plan_.request.userId},
                                       {QStringLiteral("session"), static_cast<qint64>(plan_.request.sessionId)}});
    client_.roomAction(room_.id, QStringLiteral("launch-done"),
                       {{QStringLiteral("user_id"), plan_.request.userId}, {QStringLiteral("pid"), pid}});
    watchTimer_.start(kWatchMs);
}

void Player::watchGame() {
    const platform::ProcessProbe probe = platform::probeProcess(launcher_.pid());
    if (probe.state == platform::ProcessProbe::State::running) {
        return;
    }
    watchTimer_.stop();
    launcher_.closeProcess();
    event(QStringLiteral("game-ended"),
          {{QStringLiteral("exitCode"),
            probe.exitCode ? QJsonValue(static_cast<qint64>(*probe.exitCode)) : QJsonValue()}});
    if (++matchesPlayed_ < options_.matches) {
        pollTimer_.start(kPollMs);
        poll();
        return;
    }
    client_.leaveRoomBlocking(room_.id, 800);
    event(QStringLiteral("done"), {{QStringLiteral("matches"), matchesPlayed_}});
    ended_ = true;
    Q_EMIT finished(0);
}

void Player::event(const QString& name, QJsonObject details) {
    details.insert(QStringLiteral("event"), name);
    details.insert(QStringLiteral("user"), options_.user);
    report_(details);
}

void Player::fail(const QString& error) {
    if (ended_) {
        return;
    }
    ended_ = true;
    pollTimer_.stop();
    watchTimer_.stop();
    event(QStringLiteral("failed"), {{QStringLiteral("error"), error}});
    Q_EMIT finished(1);
}
