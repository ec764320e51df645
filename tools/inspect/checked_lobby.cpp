#include "inspect/checked_lobby.h"

#include "inspect/record_json.h"
#include "lobby/room_decoder.h"
#include "room/lobby_rules.h"
#include "room/room_rules.h"
#include "room/session_rules.h"

#include <algorithm>
#include <utility>

namespace {

struct Rule {
    const char* name;
    const char* text;
};

constexpr Rule kRules[] = {
    {"replies", "every reply comes in time, is JSON, and is no redirect and no server error"},
    {"health", "GET health answers {\"ok\":true}"},
    {"accounts", "names are unique ignoring case and at most 15 units long; a wrong password is refused"},
    {"tokens", "an unknown token is refused with 401 or \"login expired\", so is another's and one signed out"},
    {"refusals", "the player reads why, in words that sign nobody out; only a stranger is told \"not in room\""},
    {"full-list", "the list works without an account and tells of a room all that its detail tells"},
    {"room-ids", "ids can stand in a path: none of ? # / % \\, no blanks"},
    {"create", "a new room is as it was asked for, its creator sits in it; its password goes to nobody"},
    {"join", "a guest gets a free seat, not ready; full by seats or max_players, or a wrong password: nobody gets in"},
    {"membership", "who is in a room stands in player_slots, who left or was kicked does not"},
    {"one-room", "who makes or joins another room leaves the one before, even one in play"},
    {"empty-rooms", "a room that everybody left is gone from the list"},
    {"host", "owner and host name the host of now; when the host leaves, another player is it"},
    {"host-only", "only the host starts, kicks, hands over and changes slots and options"},
    {"slots", "lock-slot, unlock-slot, slot-meta and move-slot change what their table says"},
    {"ready", "ready sets and clears the own flag"},
    {"chat", "a message comes back in the list with its sender and a time that shows hours and minutes"},
    {"map-options", "the host's choices come back as they were sent"},
    {"heartbeat", "a player's heartbeat is accepted"},
    {"action-replies", "a room in an action's reply is as the list shows it right after"},
    {"start", "a room starts when all guests are ready, not before; then nobody joins"},
    {"launch-data", "session_id from 1 on, a launch table with all players' slots and user ids, a delay up to 5 s"},
    {"game-host", "pm_host and pm_port are the host's; 127.0.0.1 becomes an address that others can reach"},
    {"match-end", "when all games have ended the room waits again, nobody ready"},
    {"new-session", "the next match has another session_id"},
};

QString key(const char* name) {
    return QString::fromLatin1(name);
}

bool standsInPaths(const QString& id) {
    return id != QLatin1String(".") && id != QLatin1String("..") && std::none_of(id.begin(), id.end(), [](QChar c) {
               return c.isSpace() || c.category() == QChar::Other_Control || QStringLiteral("?#/%\\").contains(c);
           });
}

RoomInfo findRoom(const QVector<RoomInfo>& rooms, const QString& id) {
    const auto room = std::find_if(rooms.begin(), rooms.end(), [&id](const RoomInfo& one) { return one.id == id; });
    return room == rooms.end() ? RoomInfo() : *room;
}

// What `fault` names of the room's fields, as they stand in the reply.
QJsonObject namedFields(const QJsonDocument& reply, const QString& id, const QString& fault) {
    const QJsonObject answer = reply.object();
    QJsonArray records = reply.isArray() ? reply.array() : answer.value(key("rooms")).toArray();
    records.append(answer.value(key("room")));
    QJsonObject fields;
    for (const QJsonValue record : qAsConst(records)) {
        const QJsonObject one = record.toObject();
        for (auto field = one.begin(); one.value(key("id")) == id && field != one.end(); ++field) {
            if (fault.contains(field.key())) {
                fields.insert(field.key(), field.value());
            }
        }
    }
    return fields;
}

}  // namespace

QJsonObject lastingRecord(RoomInfo room) {
    for (QVector<RoomSlot>* list : {&room.playerSlots, &room.slotMeta}) {
        for (RoomSlot& slot : *list) {
            slot.online = true;
            slot.latencyMs = -1;
        }
    }
    return toJson(room);
}

QString differences(const QJsonObject& left, const QJsonObject& right, QStringList fields) {
    fields = fields.isEmpty() ? left.keys() : fields;
    fields.erase(std::remove_if(fields.begin(), fields.end(),
                                [&](const QString& field) { return left.value(field) == right.value(field); }),
                 fields.end());
    return fields.join(QStringLiteral(", "));
}

CheckedLobby::CheckedLobby(const CheckOptions& options) : exchanges_(options.lobby, options.timeoutMs) {
    for (const Rule& rule : kRules) {
        rules.append({key(rule.name), QString::fromUtf8(rule.text)});
    }
}

CheckedRule& CheckedLobby::rule(const char* name) {
    return *std::find_if(rules.begin(), rules.end(),
                         [name](const CheckedRule& one) { return one.name == QLatin1String(name); });
}

void CheckedLobby::expect(const char* ruleName, bool holds, const QString& fault) {
    CheckedRule& entry = rule(ruleName);
    ++entry.checks;
    if (!holds) {
        const QJsonObject part = namedFields(last.document, id, fault);
        entry.failures += fault + QLatin1Char('\n') + exchanges_.description(last, part);
    }
}

const Exchange& CheckedLobby::take(const Exchange& exchange) {
    last = exchange;
    expect("replies", last.problem.isEmpty(), last.problem);
    return last;
}

const Exchange& CheckedLobby::get(const QString& path) {
    return take(exchanges_.get(QStringLiteral("/api/lobby/") + path));
}

const Exchange& CheckedLobby::post(const QString& path, const QJsonObject& body) {
    return take(exchanges_.post(QStringLiteral("/api/lobby/") + path, body));
}

QString CheckedLobby::roomPath(const char* action) const {
    return QStringLiteral("rooms/%1/%2").arg(id, key(action));
}

const Exchange& CheckedLobby::act(const CheckPlayer& player, const char* action, const QJsonObject& extra) {
    return post(roomPath(action), withCredentials(player, extra));
}

void CheckedLobby::tryToAct(const CheckPlayer& player, const char* action) {
    last = exchanges_.post(QStringLiteral("/api/lobby/") + roomPath(action), withCredentials(player, {}));
}

QJsonObject CheckedLobby::withCredentials(const CheckPlayer& player, QJsonObject body) {
    body[key("username")] = player.name;
    body[key("player_name")] = player.name;
    body[key("auth_token")] = player.token;
    return body;
}

bool CheckedLobby::look() {
    get(key("rooms"));
    const QJsonObject answer = last.document.object();
    const bool isList = last.ok && (last.document.isArray() || answer.value(key("rooms")).isArray() ||
                                    answer.value(key("value")).isArray());
    expect("full-list", isList, QStringLiteral("no list of rooms"));
    rooms = decodeRoomsDocument(last.document, QString());
    room = id.isEmpty() ? RoomInfo() : findRoom(rooms, id);
    for (const RoomInfo& one : qAsConst(rooms)) {
        expect("room-ids", standsInPaths(one.id), QStringLiteral("\"%1\" breaks the paths of its room").arg(one.id));
    }
    return isList;
}

bool CheckedLobby::enter(CheckPlayer& player, const QString& how) {
    post(how, {{key("username"), player.name}, {key("password"), player.password}});
    const QJsonObject answer = last.document.object();
    const QString token = last.ok ? answer.value(key("auth_token")).toString() : QString();
    const QString name = answer.value(key("username")).toString();
    keepSecret(token);
    expect("accounts", !token.isEmpty() && (name.isEmpty() || isSameName(name, player.name)),
           QStringLiteral("no text auth_token, or another's username"));
    player.token = token.isEmpty() ? player.token : token;
    return !token.isEmpty();
}

RoomInfo CheckedLobby::create(const CheckPlayer& player, QJsonObject asked) {
    look();
    const QVector<RoomInfo> before = rooms;
    asked[key("player_slots")] =
        QJsonArray{QJsonObject{{key("slot"), 2}, {key("name"), player.name}, {key("ready"), true}}};
    post(key("rooms"), {{key("username"), player.name}, {key("auth_token"), player.token}, {key("room"), asked}});
    const RoomAnswer answer = decodeRoomAnswer(last.document, player.name);
    const RoomInfo created = answer.room.id.isEmpty() ? answer.rooms.value(0) : answer.room;
    // Never a room that was there before: it is somebody else's.
    const bool isNew = last.ok && !created.id.isEmpty() && findRoom(before, created.id).id.isEmpty();
    expect("create", isNew, QStringLiteral("no new room in room, or first in rooms"));
    if (!isNew) {
        return {};
    }
    made += created.id;
    return created;
}

bool CheckedLobby::accepts(const char* rule, const CheckPlayer& player, const char* action, const QJsonObject& extra) {
    const Exchange done = act(player, action, extra);
    expect(rule, done.ok, QStringLiteral("\"%1\" is not carried out").arg(key(action)));
    const RoomInfo told = decodeRoomAnswer(done.document, QString()).room;
    look();
    if (done.ok && !told.id.isEmpty() && !room.id.isEmpty()) {
        const QString differing = differences(lastingRecord(told), lastingRecord(room));
        const Exchange list = std::exchange(last, done);
        expect("action-replies", differing.isEmpty(), QStringLiteral("the list then differs in ") + differing);
        last = list;
    }
    return done.ok;
}

void CheckedLobby::refuses(const char* rule, const CheckPlayer& player, const char* action, const QJsonObject& extra) {
    act(player, action, extra);
    expect(rule, !last.ok, QStringLiteral("\"%1\" is carried out").arg(key(action)));
    if (last.ok || !last.problem.isEmpty()) {
        return;
    }
    const QString& text = last.refusal;
    expect("refusals", !text.isEmpty(), QStringLiteral("neither error nor message holds a text"));
    expect("refusals", !signsOut(), QStringLiteral("this signs the player out: ") + text);
    const bool stranger = !isMember(player) && QLatin1String(action) != QLatin1String("join");
    const bool isTold = text.contains(QLatin1String("not in room"), Qt::CaseInsensitive);
    expect("refusals", isTold == stranger,
           stranger ? QStringLiteral("a player outside is not told \"not in room\" but: ") + text
                    : QStringLiteral("this puts the player out of the room: ") + text);
}

RoomInfo CheckedLobby::readDetail(const CheckPlayer& player) {
    look();
    const Exchange list = last;
    const RoomInfo listed = findRoom(decodeRoomsDocument(list.document, player.name), id);
    act(player, "detail");
    const RoomInfo detail = decodeRoomAnswer(last.document, player.name).room;
    expect("full-list", last.ok && detail.id == id, QStringLiteral("the detail holds no room of this id"));
    const Exchange whole = std::exchange(last, list);
    const QString differing = differences(lastingRecord(detail), lastingRecord(listed));
    expect("full-list", differing.isEmpty(), QStringLiteral("the detail tells more, or other: ") + differing);
    last = whole;
    return detail;
}

bool CheckedLobby::signsOut() const {
    return last.status == 401 || isLoginExpiredError(last.refusal) ||
           last.refusal.contains(QLatin1String("auth"), Qt::CaseInsensitive);
}

bool CheckedLobby::isMember(const CheckPlayer& player) const {
    return isRoomMember(room, player.name);
}

bool CheckedLobby::isHost(const CheckPlayer& player) const {
    return isSameName(room.host, player.name) && isSameName(room.owner, player.name);
}

const RoomSlot* CheckedLobby::seat(const CheckPlayer& player) const {
    return findOwnSlot(room, player.name);
}

const RoomSlot* CheckedLobby::slot(int number) const {
    const auto found = std::find_if(room.slotMeta.begin(), room.slotMeta.end(),
                                    [number](const RoomSlot& one) { return one.slot == number; });
    return found == room.slotMeta.end() ? nullptr : &*found;
}
