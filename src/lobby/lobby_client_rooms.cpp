// The room operations of LobbyClient.
#include "lobby/json_readers.h"
#include "lobby/lobby_client.h"
#include "lobby/room_decoder.h"

#include <QEventLoop>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QScopedValueRollback>
#include <QTimer>

#include <algorithm>

namespace {

constexpr int kStartTimeoutMs = 15000;  // the server may wait for the host's preparation
constexpr int kHeartbeatTimeoutMs = 5000;
constexpr int kShortestBlockingWaitMs = 100;
constexpr int kFewestPlayers = 2;
constexpr int kMostPlayers = 22;

QString notSignedIn() {
    return QStringLiteral("请先登录");
}

QString noRoomChosen() {
    return QStringLiteral("请先选择房间");
}

// The id goes in as it stands. It lies behind the path's first slash, so it cannot name another host.
QString roomPath(const QString& roomId, const QString& action) {
    return QStringLiteral("/api/lobby/rooms/") + roomId + QLatin1Char('/') + action;
}

QString orElse(const QString& text, const QString& fallback) {
    return text.isEmpty() ? fallback : text;
}

void insertAll(QJsonObject& body, const QJsonObject& extra) {
    for (auto it = extra.begin(); it != extra.end(); ++it) {
        body.insert(it.key(), it.value());
    }
}

QJsonObject encodeMapOptions(const QMap<QString, QString>& options) {
    QJsonObject result;
    for (auto it = options.begin(); it != options.end(); ++it) {
        result.insert(it.key(), it.value());
    }
    return result;
}

QJsonArray encodeSlotMeta(const QVector<RoomSlot>& slotMeta) {
    QJsonArray result;
    for (const RoomSlot& slot : slotMeta) {
        const int playerId = slot.playerId > 0 ? slot.playerId : slot.slot;
        QJsonObject object{{QStringLiteral("slot"), slot.slot},
                           {QStringLiteral("player_id"), playerId},
                           {QStringLiteral("control_id"), playerId},
                           {QStringLiteral("team"), slot.team},
                           {QStringLiteral("locked"), slot.locked},
                           {QStringLiteral("select_type"), slot.selectType},
                           {QStringLiteral("is_player_slot"), slot.isPlayerSlot},
                           {QStringLiteral("slot_label"), slot.slotLabel}};
        if (slot.computer) {
            object.insert(QStringLiteral("computer"), true);
        }
        if (slot.ai) {
            object.insert(QStringLiteral("ai"), true);
        }
        result.append(object);
    }
    return result;
}

// The creator takes the first slot that a player may take.
int creatorSlot(const QVector<RoomSlot>& slotMeta) {
    const auto found = std::find_if(slotMeta.begin(), slotMeta.end(),
                                    [](const RoomSlot& slot) { return slot.isPlayerSlot && !slot.locked; });
    return found == slotMeta.end() ? 1 : std::max(1, found->slot);
}

void insertOptionalKeys(QJsonObject& room, const CreateRoomRequest& request) {
    if (!request.mapFingerprint.isEmpty()) {
        room.insert(QStringLiteral("map_fingerprint"), request.mapFingerprint);
        room.insert(QStringLiteral("map_fingerprint_algo"),
                    orElse(request.mapFingerprintAlgo, QStringLiteral("sha256-map-o-v1")));
    }
    if (!request.mode.isEmpty()) {
        room.insert(QStringLiteral("mode"), request.mode);
    }
    if (!request.mapOptions.isEmpty()) {
        room.insert(QStringLiteral("map_options"), encodeMapOptions(request.mapOptions));
    }
    if (!request.mapOptionIndexes.isEmpty()) {
        room.insert(QStringLiteral("map_option_indexes"), encodeMapOptionIndexes(request.mapOptionIndexes));
    }
    if (!request.slotMeta.isEmpty()) {
        room.insert(QStringLiteral("slot_meta"), encodeSlotMeta(request.slotMeta));
    }
    if (request.isPrivate && !request.password.isEmpty()) {
        room.insert(QStringLiteral("password"), request.password);
    }
}

QJsonObject encodeRoom(const CreateRoomRequest& request, const QString& userName) {
    const QString mapId = orElse(request.mapId, QStringLiteral("10078"));
    const int maxPlayers = std::clamp(request.maxPlayers, kFewestPlayers, kMostPlayers);
    QJsonObject room{{QStringLiteral("name"), orElse(request.name, QStringLiteral("Local Room"))},
                     {QStringLiteral("map_id"), mapId},
                     {QStringLiteral("map_name"), orElse(request.mapName, mapId)},
                     {QStringLiteral("map_file"), QString(mapId + QLatin1String(".map"))},
                     {QStringLiteral("max_players"), maxPlayers},
                     {QStringLiteral("slot_count"), request.slotCount > 0 ? request.slotCount : maxPlayers}};
    insertOptionalKeys(room, request);
    const QJsonObject creator{{QStringLiteral("slot"), creatorSlot(request.slotMeta)},
                              {QStringLiteral("name"), userName},
                              {QStringLiteral("ready"), true}};
    room.insert(QStringLiteral("player_slots"), QJsonArray{creator});
    return room;
}

}  // namespace

QJsonObject LobbyClient::roomCredentials() const {
    return {{QStringLiteral("username"), userName_},
            {QStringLiteral("player_name"), userName_},
            {QStringLiteral("auth_token"), authToken_}};
}

quint64 LobbyClient::postToRoom(const QString& roomId, const QString& action, const QJsonObject& body,
                                ReplyCallback callback, int timeoutMs) {
    return awaitReply(sendJson(roomPath(roomId, action), body), roomId, std::move(callback), timeoutMs);
}

quint64 LobbyClient::fetchRooms() {
    return getJson(
        QStringLiteral("/api/lobby/rooms"),
        [this](bool ok, const QJsonDocument&, const QString& error) {
            Q_EMIT roomsUpdated(ok ? roomAnswer_.rooms : QVector<RoomInfo>(), error);
        },
        0);
}

quint64 LobbyClient::fetchRoomDetail(const QString& roomId) {
    if (authToken_.isEmpty() || roomId.isEmpty()) {
        const QScopedValueRollback<LobbyRequest> unsent(answered_, {});
        Q_EMIT roomDetailUpdated(false, RoomInfo(), authToken_.isEmpty() ? notSignedIn() : noRoomChosen());
        return 0;
    }
    const auto finish = [this](bool ok, const QJsonDocument&, const QString& error) {
        if (!ok) {
            Q_EMIT roomDetailUpdated(false, RoomInfo(), error);
            return;
        }
        const RoomInfo room = roomAnswer_.room;
        const bool found = !room.id.isEmpty();
        Q_EMIT roomDetailUpdated(found, room, found ? QString() : QStringLiteral("房间详情为空"));
    };
    return postToRoom(roomId, QStringLiteral("detail"), roomCredentials(), finish, 0);
}

quint64 LobbyClient::createRoom(const CreateRoomRequest& request) {
    if (authToken_.isEmpty()) {
        const QScopedValueRollback<LobbyRequest> unsent(answered_, {});
        reportCreate(false, notSignedIn(), {}, {});
        return 0;
    }
    const QJsonObject body{{QStringLiteral("username"), userName_},
                           {QStringLiteral("auth_token"), authToken_},
                           {QStringLiteral("room"), encodeRoom(request, userName_)}};
    const auto finish = [this](bool ok, const QJsonDocument&, const QString& error) {
        if (!ok) {
            reportCreate(false, error, {}, {});
            return;
        }
        RoomAnswer answer = roomAnswer_;
        if (answer.room.id.isEmpty() && !answer.rooms.isEmpty()) {
            answer.room = answer.rooms.first();
        }
        const bool created = !answer.room.id.isEmpty();
        reportCreate(created, created ? QStringLiteral("房间已创建") : QStringLiteral("创建成功但缺少房间信息"),
                     answer.room, answer.rooms);
    };
    return postJson(QStringLiteral("/api/lobby/rooms"), body, finish, 0);
}

void LobbyClient::reportCreate(bool ok, const QString& message, const RoomInfo& room, const QVector<RoomInfo>& rooms) {
    Q_EMIT actionResult(QStringLiteral("create"), ok, message);
    Q_EMIT roomCreated(ok, room, rooms, ok ? QString() : message);
}

quint64 LobbyClient::roomAction(const QString& roomId, const QString& action, const QJsonObject& extra) {
    if (authToken_.isEmpty() || roomId.isEmpty()) {
        const QScopedValueRollback<LobbyRequest> unsent(answered_, {});
        reportFailedAction(action, authToken_.isEmpty() ? notSignedIn() : noRoomChosen());
        return 0;
    }
    QJsonObject body = roomCredentials();
    insertAll(body, extra);
    const auto finish = [this, action](bool ok, const QJsonDocument&, const QString& error) {
        if (!ok) {
            reportFailedAction(action, error);
            return;
        }
        const RoomAnswer answer = roomAnswer_;
        Q_EMIT actionResult(action, true, QStringLiteral("操作成功"));
        Q_EMIT roomActionResult(action, true, answer.room, answer.rooms, QString());
    };
    return postToRoom(roomId, action, body, finish, action == QLatin1String("start") ? kStartTimeoutMs : 0);
}

void LobbyClient::reportFailedAction(const QString& action, const QString& error) {
    Q_EMIT actionResult(action, false, error);
    Q_EMIT roomActionResult(action, false, RoomInfo(), {}, error);
}

void LobbyClient::sendHeartbeat(const QString& roomId, const QJsonObject& extra) {
    if (authToken_.isEmpty() || roomId.isEmpty()) {
        return;
    }
    QJsonObject body = roomCredentials();
    body.insert(QStringLiteral("client_state"), QStringLiteral("room"));
    insertAll(body, extra);
    postToRoom(
        roomId, QStringLiteral("heartbeat"), body,
        [this](bool ok, const QJsonDocument&, const QString&) { Q_EMIT heartbeatResult(ok); }, kHeartbeatTimeoutMs);
}

bool LobbyClient::leaveRoomBlocking(const QString& roomId, int timeoutMs) {
    if (authToken_.isEmpty() || roomId.isEmpty()) {
        return false;
    }
    QNetworkReply* reply = sendJson(roomPath(roomId, QStringLiteral("leave")), roomCredentials());
    armReplyTimeout(reply, 0);
    QEventLoop loop;
    connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(std::max(kShortestBlockingWaitMs, timeoutMs), &loop, &QEventLoop::quit);
    loop.exec();
    if (!reply->isFinished()) {
        reply->abort();
    }
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const bool left = reply->error() == QNetworkReply::NoError && status >= 200 && status <= 299;
    reply->deleteLater();
    return left;
}
