#include "devlobby/lobby.h"

#include <QJsonDocument>

#include <algorithm>

namespace devlobby {

namespace {

constexpr std::size_t kMostRooms = 64;
constexpr int kMostBytes = 1 << 20;  // of a body

LobbyReply refused(const QString& error, int status = 200) {
    return {status, {{QStringLiteral("ok"), false}, {QStringLiteral("error"), error}}};
}

LobbyReply accepted(QJsonObject body = {}) {
    body.insert(QStringLiteral("ok"), true);
    return {200, body};
}

QString text(const QJsonObject& object, const char* key) {
    return object.value(QLatin1String(key)).toString();
}

bool isLoopback(const QString& host) {
    return host.startsWith(QLatin1String("127.")) || host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0;
}

// Who may take an action, and when; whoever takes one is in the room already.
struct ActionRule {
    const char* word;
    bool hostOnly;
    bool waitingOnly;
};

constexpr ActionRule kActions[] = {
    {"leave", false, false},       {"ready", false, true},     {"chat", false, false},      {"heartbeat", false, false},
    {"launch-done", false, false}, {"move-slot", false, true}, {"start", true, true},       {"kick", true, true},
    {"transfer-host", true, true}, {"lock-slot", true, true},  {"unlock-slot", true, true}, {"slot-meta", true, true},
    {"map-options", true, true},   {"end", true, false}};

}  // namespace

QString endpointOf(const LobbyRequest& request) {
    const QString word = request.path.section(QLatin1Char('/'), -1);
    return word == QLatin1String("rooms") && request.method == QLatin1String("POST") ? QStringLiteral("create") : word;
}

QStringList endpoints() {
    QStringList names;
    for (const char* name : {"health", "login", "register", "logout", "rooms", "create", "detail", "join"}) {
        names += QLatin1String(name);
    }
    for (const ActionRule& rule : kActions) {
        names += QLatin1String(rule.word);
    }
    return names;
}

LobbyReply Lobby::handle(const LobbyRequest& request, qint64 now) {
    endOverdueMatches(now);
    dropSilentPlayers(now);
    const QStringList path = request.path.split(QLatin1Char('/'));  // "", "api", "lobby", ...
    const QString endpoint = path.mid(3).join(QLatin1Char('/'));
    if (!request.path.startsWith(QLatin1String("/api/lobby/"))) {
        return refused(QStringLiteral("no such endpoint"), 404);
    }
    if (request.method == QLatin1String("GET")) {
        if (endpoint == QLatin1String("health")) {
            return accepted();
        }
        return endpoint == QLatin1String("rooms") ? accepted({{QStringLiteral("rooms"), roomsToJson(now)}})
                                                  : refused(QStringLiteral("no such endpoint"), 404);
    }
    const QJsonDocument document =
        request.body.size() > kMostBytes ? QJsonDocument() : QJsonDocument::fromJson(request.body);
    if (!document.isObject()) {
        return refused(QStringLiteral("the body is not a JSON object"), 400);
    }
    QJsonObject body = document.object();
    const QString gameHost = QStringLiteral("pm_host");
    if (isLoopback(body.value(gameHost).toString()) && !request.sender.isEmpty() && !isLoopback(request.sender)) {
        // Such an address would lead every other player's game to that player's own machine.
        body[gameHost] = request.sender;
    }
    if (endpoint == QLatin1String("login") || endpoint == QLatin1String("register")) {
        return signIn(body, endpoint == QLatin1String("register"), now);
    }
    const Account* const account = accounts_.find(text(body, "username"), text(body, "auth_token"), now);
    if (!account) {
        return refused(QStringLiteral("login expired"), 401);
    }
    if (endpoint == QLatin1String("logout")) {
        return signOut(*account, body);
    }
    const Player player{account->name, account->userId};
    if (endpoint == QLatin1String("rooms")) {
        return createRoom(player, body.value(QLatin1String("room")).toObject(), now);
    }
    if (path.size() != 6 || path.at(3) != QLatin1String("rooms")) {
        return refused(QStringLiteral("no such endpoint"), 404);
    }
    Room* const room = findRoom(path.at(4));
    return room ? actInRoom(player, *room, path.at(5), body, now) : refused(QStringLiteral("room not found"), 404);
}

LobbyReply Lobby::signIn(const QJsonObject& body, bool makeAccount, qint64 now) {
    const QString name = text(body, "username");
    const QString password = text(body, "password");
    if (makeAccount) {
        if (const QString refusal = accounts_.add(name, password); !refusal.isEmpty()) {
            return refused(refusal);
        }
    }
    const Account* const account = accounts_.signIn(name, password, now);
    if (!account) {
        return refused(QStringLiteral("wrong username or password"));
    }
    return accepted({{QStringLiteral("auth_token"), account->sessions.last().token},
                     {QStringLiteral("username"), account->name},
                     {QStringLiteral("user_id"), account->userId}});
}

LobbyReply Lobby::signOut(const Account& account, const QJsonObject& body) {
    leaveAllRooms({account.name, account.userId}, nullptr);
    accounts_.signOut(account.name, text(body, "auth_token"));
    return accepted();
}

LobbyReply Lobby::createRoom(const Player& player, const QJsonObject& body, qint64 now) {
    if (rooms_.size() >= kMostRooms) {
        return refused(QStringLiteral("too many rooms"));
    }
    QString error;
    const QString id = QString::number(lastRoomNumber_ + 1);
    std::optional<Room> room = Room::create(id, body, player, now, error);
    if (!room) {
        return refused(error);
    }
    ++lastRoomNumber_;
    leaveAllRooms(player, nullptr);
    rooms_.push_back(std::make_unique<Room>(std::move(*room)));
    return accepted(
        {{QStringLiteral("room"), rooms_.back()->toJson(now)}, {QStringLiteral("rooms"), roomsToJson(now)}});
}

LobbyReply Lobby::actInRoom(const Player& player, Room& room, const QString& action, const QJsonObject& body,
                            qint64 now) {
    if (Slot* const own = room.slotOf(player.name)) {
        own->occupant->lastSeen = now;
    }
    QString refusal;
    if (action == QLatin1String("join")) {
        refusal = room.join(player, body, now);
        if (refusal.isEmpty()) {
            leaveAllRooms(player, &room);
        }
    } else if (action != QLatin1String("detail")) {
        const auto rule =
            std::find_if(std::begin(kActions), std::end(kActions),
                         [&action](const ActionRule& candidate) { return action == QLatin1String(candidate.word); });
        if (rule == std::end(kActions)) {
            return refused(QStringLiteral("no such action"), 404);
        }
        if (!room.slotOf(player.name)) {
            return refused(QStringLiteral("not in room"));
        }
        if (rule->hostOnly && !room.isHost(player.name)) {
            return refused(QStringLiteral("only the host may do that"));
        }
        if (rule->waitingOnly && room.isPlaying()) {
            return refused(QStringLiteral("game already started"));
        }
        refusal = act(player, room, action, body, now);
    }
    if (!refusal.isEmpty()) {
        return refused(refusal);
    }
    const QJsonObject record = room.toJson(now);
    if (room.isEmpty()) {
        rooms_.erase(
            std::find_if(rooms_.begin(), rooms_.end(), [&room](const auto& other) { return &room == &*other; }));
    }
    if (action == QLatin1String("leave")) {
        return accepted({{QStringLiteral("rooms"), roomsToJson(now)}});
    }
    return action == QLatin1String("heartbeat") ? accepted() : accepted({{QStringLiteral("room"), record}});
}

QString Lobby::act(const Player& player, Room& room, const QString& action, const QJsonObject& body, qint64 now) {
    const auto is = [&action](const char* word) {
        return action == QLatin1String(word);
    };
    if (is("start")) {
        const QString refusal = room.start(player, body, lastSessionId_ + 1, options_.launchDelayMs, now);
        lastSessionId_ += refusal.isEmpty() ? 1 : 0;
        return refusal;
    }
    if (is("end")) {
        room.endMatch(now);
        return QString();
    }
    return is("leave")           ? room.leave(player)
           : is("ready")         ? room.setReady(player, body)
           : is("chat")          ? room.chat(player, body, now)
           : is("heartbeat")     ? room.heartbeat(player, body, now)
           : is("launch-done")   ? room.launchDone(player, body)
           : is("move-slot")     ? room.moveSlot(player, body)
           : is("kick")          ? room.kick(player, body)
           : is("transfer-host") ? room.transferHost(player, body)
           : is("slot-meta")     ? room.setSlotMode(body)
           : is("map-options")   ? room.setMapOptions(body)
                                 : room.setLocked(body, is("lock-slot"));
}

void Lobby::endMatch(const QString& roomId, qint64 now) {
    if (Room* const room = findRoom(roomId)) {
        room->endMatch(now);
    }
}

void Lobby::endOverdueMatches(qint64 now) {
    for (const auto& room : rooms_) {
        if (options_.matchSeconds > 0 && room->isPlaying() &&
            now - room->match()->startedAt >= options_.matchSeconds * 1000) {
            room->endMatch(now);
        }
    }
}

void Lobby::dropSilentPlayers(qint64 now) {
    for (const auto& room : rooms_) {
        if (options_.dropSeconds > 0 && !room->isPlaying()) {
            room->dropSilent(now - options_.dropSeconds * 1000);
        }
    }
    std::erase_if(rooms_, [](const auto& room) { return room->isEmpty(); });
}

void Lobby::leaveAllRooms(const Player& player, const Room* except) {
    for (const auto& room : rooms_) {
        if (&*room != except && room->slotOf(player.name)) {
            room->leave(player);
        }
    }
    std::erase_if(rooms_, [](const auto& room) { return room->isEmpty(); });
}

Room* Lobby::findRoom(const QString& id) {
    const auto room =
        std::find_if(rooms_.begin(), rooms_.end(), [&id](const auto& other) { return other->id() == id; });
    return room == rooms_.end() ? nullptr : room->get();
}

QJsonArray Lobby::roomsToJson(qint64 now) const {
    QJsonArray json;
    for (const auto& room : rooms_) {
        json.append(room->toJson(now));
    }
    return json;
}

}  // namespace devlobby
