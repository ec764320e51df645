#include "inspect/player.h"

#include "inspect/record_json.h"
#include "maps/catalog.h"
#include "maps/map_records.h"
#include "platform/files.h"
#include "platform/process.h"
#include "room/create_room_rules.h"
#include "room/lobby_rules.h"
#include "room/map_gate.h"
#include "room/poll_rules.h"
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
    giveUpTimer_.setSingleShot(true);
    giveUpTimer_.setInterval(options_.giveUpSeconds * 1000);
    connect(&giveUpTimer_, &QTimer::timeout, this,
            [this] { fail(QStringLiteral("no good answer of the server for %1 s").arg(options_.giveUpSeconds)); });
}

// The launch task works on this object's launcher.
Player::~Player() {
    launchWatcher_.waitForFinished();
}

void Player::start() {
    const std::filesystem::path dataRoot = platform::toPath(options_.dataRoot.toStdU16String());
    catalog_ = NetPlay::scanMapCatalog(dataRoot / "map", {});
    giveUpTimer_.start();
    client_.login(options_.user, options_.password);
}

void Player::onLoginResult(bool ok, const QString& message) {
    if (!ok) {
        fail(message);
        return;
    }
    event(QStringLiteral("signed-in"), {{QStringLiteral("message"), message}});
    pollTimer_.start(kPollMs);
    if (options_.createName.isEmpty()) {
        poll();
    } else {
        createRoom();
    }
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
    actionRequest_ = client_.createRoom(request);
}

void Player::onRoomCreated(bool ok, const RoomInfo& room, const QString& error) {
    actionRequest_ = 0;
    if (ok) {
        enterRoom(room, QStringLiteral("room-created"));
    } else {
        fail(error);
    }
}

void Player::poll() {
    if (listRequest_ != 0 || !pollTimer_.isActive()) {
        return;
    }
    if (!room_.id.isEmpty() && !isRoomPlaying(room_)) {
        client_.sendHeartbeat(room_.id, {});
    }
    listRequest_ = client_.fetchRooms();
}

void Player::onRoomsUpdated(const QVector<RoomInfo>& rooms, const QString& error) {
    listRequest_ = 0;
    if (client_.authToken().isEmpty()) {
        fail(QStringLiteral("the session has ended"));
        return;
    }
    if (!error.isEmpty()) {
        event(QStringLiteral("poll-failed"), {{QStringLiteral("error"), error}});
        return;
    }
    if (giveUpTimer_.isActive()) {
        giveUpTimer_.start();
    }
    if (!clock_.speaks(client_.answered())) {
        poll();  // the room has changed since the list was asked for
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
    if (wanted == rooms.end() || actionRequest_ != 0) {
        return;
    }
    QString refusal;
    if (!wanted->mapFingerprint.isEmpty() && !roomMapMatchesLocal(*wanted, catalog_, true, {}, refusal)) {
        fail(refusal);  // the map on this machine will not change by waiting
        return;
    }
    QJsonObject extra;
    if (wanted->isPrivate || wanted->hasPassword) {
        extra.insert(QStringLiteral("password"), options_.roomPassword);
    }
    joining_ = *wanted;
    actionRequest_ = client_.roomAction(wanted->id, QStringLiteral("join"), extra);
}

void Player::followRoom(const QVector<RoomInfo>& rooms) {
    const RoomUpdate update = judgeRoomUpdate(room_.id, rooms, client_.userName());
    if (update.outcome == RoomUpdate::Outcome::missing) {
        fail(QStringLiteral("the room was closed"));
    } else if (update.outcome == RoomUpdate::Outcome::removed) {
        fail(QStringLiteral("removed from the room"));
    } else {
        if (isRoomPlaying(*update.room) != isRoomPlaying(room_)) {
            clock_.changed(client_.requestsSent());
        }
        if (update.wantsDetail && detailRequest_ == 0) {
            // The list may lack launch data. After the game the server may see by this that the player is back.
            detailRequest_ = client_.fetchRoomDetail(room_.id);
        }
        updateRoom(*update.room);
        act();
    }
}

void Player::enterRoom(const RoomInfo& room, const QString& eventName) {
    clock_.moved(client_.requestsSent());
    updateRoom(room);
    event(eventName, {{QStringLiteral("room"), toJson(room)}});
    act();
}

void Player::updateRoom(const RoomInfo& fresh) {
    if (!isRoomPlaying(fresh)) {
        forgetMatch(launchMemory_, fresh.id);
    }
    room_ = fresh;
}

// The one place that decides what to do next in a room that waits.
void Player::act() {
    if (actionRequest_ != 0 || ended_ || isRoomPlaying(room_)) {
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
    actionRequest_ = client_.roomAction(room_.id, action, extra);
}

void Player::onRoomActionResult(const QString& action, bool ok, RoomInfo room, const QString& error) {
    if (action == QLatin1String("launch-done")) {
        event(ok ? QStringLiteral("launch-reported") : QStringLiteral("report-failed"),
              {{QStringLiteral("error"), error}});
        return;
    }
    actionRequest_ = 0;
    const bool joins = action == QLatin1String("join");
    if (!ok) {
        event(QStringLiteral("action-failed"), {{QStringLiteral("action"), action}, {QStringLiteral("error"), error}});
        if (joins && !options_.joinId.isEmpty()) {
            fail(error);
        }
        return;
    }
    if (joins) {
        enterRoom(room.id.isEmpty() ? joining_ : room, QStringLiteral("joined"));
        return;
    }
    event(action);
    if (room.id == room_.id && clock_.speaks(client_.answered())) {
        clock_.changed(client_.requestsSent());
        updateRoom(room);
        maybeLaunch();
    }
}

void Player::onRoomDetailUpdated(bool ok, const RoomInfo& room, const QString& error) {
    detailRequest_ = 0;
    if (!ok) {
        event(QStringLiteral("detail-failed"), {{QStringLiteral("error"), error}});
    } else if (room.id == room_.id && clock_.speaks(client_.answered())) {
        clock_.changed(client_.requestsSent());
        updateRoom(room);
        maybeLaunch();
    }
}

LaunchFacts Player::launchFacts() const {
    return {room_, client_.userName(), !client_.authToken().isEmpty(), !room_.id.isEmpty(),
            actionRequest_ != 0 || launchWatcher_.isRunning()};
}

void Player::maybeLaunch() {
    const AutoLaunch decision = ended_ ? AutoLaunch() : decideAutoLaunch(launchMemory_, launchFacts());
    if (decision.outcome == AutoLaunch::Outcome::nothing) {
        return;
    }
    event(QStringLiteral("launching"), {{QStringLiteral("delayMs"), decision.delayMs}});
    if (decision.outcome == AutoLaunch::Outcome::now) {
        launchGame();
        return;
    }
    QTimer::singleShot(decision.delayMs, Qt::PreciseTimer, this, [this, key = decision.key] {
        if (!ended_ && takeScheduledLaunch(launchMemory_, key, launchFacts())) {
            launchGame();
        }
    });
}

void Player::launchGame() {
    LaunchDefaults defaults;
    defaults.gameHost = options_.gameHost;
    defaults.gamePort = options_.gamePort;
    const NetPlay::MapInfo* map = NetPlay::findMapForRoom(catalog_, room_.mapId, room_.mapName);
    plan_ = planLaunch(room_, client_.userName(), defaults, room_.mapOptions, map);
    if (!plan_.error.isEmpty()) {
        forgetAttemptedKey(launchMemory_);
        if (detailRequest_ == 0) {
            fail(plan_.error);
        }
        return;
    }
    plan_.request.dataRoot = options_.dataRoot.toStdU16String();
    launchedKey_ = launchKey(room_.id, room_.sessionId, client_.userName());
    pollTimer_.stop();
    giveUpTimer_.stop();
    launchWatcher_.setFuture(QtConcurrent::run([this, request = plan_.request] { return launcher_.launch(request); }));
}

void Player::onLaunchFinished() {
    if (!launchWatcher_.result()) {
        fail(QStringLiteral("启动失败:") + QString::fromStdU16String(launcher_.lastError()));
        return;
    }
    rememberLaunch(launchMemory_, launchFacts(), launchedKey_, room_.id);
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
    GameExit exit;
    exit.clean = probe.exitCode == 0U;
    takeGameExit(launchMemory_, launchFacts(), exit);
    if (++matchesPlayed_ < options_.matches) {
        giveUpTimer_.start();
        pollTimer_.start(kPollMs);
        poll();
        return;
    }
    ended_ = true;
    if (!isRoomPlaying(room_)) {
        client_.leaveRoomBlocking(room_.id, 800);
    }
    event(QStringLiteral("done"), {{QStringLiteral("matches"), matchesPlayed_}});
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
    giveUpTimer_.stop();
    event(QStringLiteral("failed"), {{QStringLiteral("error"), error}});
    Q_EMIT finished(1);
}
