#include "inspect/server_check.h"

#include "inspect/checked_lobby.h"
#include "lobby/room_decoder.h"
#include "room/launch_plan.h"
#include "room/room_rules.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTimer>
#include <QUrl>

#include <utility>

namespace {

constexpr int kPollMs = 2000;
constexpr int kGamePort = 40123;
constexpr int kCreatorSlot = 2;
constexpr int kComputerSlot = 4;

// Slot 1 is closed, 4 a computer's, the others are for players; the game knows slot 2 as 12.
const char kRoom[] = R"({"name":"check-server","map_id":"10078","map_name":"检查","map_file":"10078.map",
"map_fingerprint":"00ff","map_fingerprint_algo":"sha256-map-o-v1","mode":"对战","max_players":3,"slot_count":5,
"map_options":{"难度":"0"},"map_option_indexes":[{"option":0,"value":0}],"slot_meta":[
{"slot":1,"player_id":1,"control_id":1,"team":"","locked":true,"select_type":"","is_player_slot":false,"slot_label":""},
{"slot":2,"player_id":12,"control_id":12,"team":"魏","locked":false,"select_type":"5","is_player_slot":true,"slot_label":""},
{"slot":3,"player_id":3,"control_id":3,"team":"蜀","locked":false,"select_type":"5","is_player_slot":true,"slot_label":""},
{"slot":4,"player_id":4,"control_id":4,"team":"computer","locked":false,"select_type":"2","is_player_slot":false,
 "slot_label":"守军","computer":true},
{"slot":5,"player_id":5,"control_id":5,"team":"吴","locked":false,"select_type":"5","is_player_slot":true,"slot_label":""}]})";

QString key(const char* name) {
    return QString::fromLatin1(name);
}

QJsonObject target(const char* name, int slot) {
    return {{key(name), slot}};
}

QJsonObject readiness(bool ready) {
    return {{key("ready"), ready}};
}

// Of no machine: RFC 5737.
QString gameHost() {
    return QStringLiteral("192.0.2.7");
}

QJsonObject startOn(const QString& address, int option) {
    return {{key("pm_host"), address},
            {key("pm_port"), kGamePort},
            {key("map_options"), QJsonObject{{QStringLiteral("难度"), QString::number(option)}}},
            {key("map_option_indexes"), QJsonArray{QJsonObject{{key("option"), 0}, {key("value"), option}}}}};
}

// At least eight units.
QString randomText() {
    return QString::number(QRandomGenerator::system()->generate64(), 36).rightJustified(13, QLatin1Char('0'));
}

bool isLoopback(const QString& host) {
    return host.startsWith(QLatin1String("127.")) || host == QLatin1String("localhost") || host == QLatin1String("::1");
}

class Walk : private CheckedLobby {
public:
    explicit Walk(const CheckOptions& options) : CheckedLobby(options), options_(options) {}

    QVector<CheckedRule> run() {
        get(key("health"));
        expect("health", last.ok && last.document.object().value(key("ok")).toBool(), QStringLiteral("it does not"));
        if (look() && signIn() && makeRoom()) {
            fillRoom();
            changeSlots();
            keepGuestsOut();
            talk();
            handOver();
            playTwice();
        }
        cleanUp();
        return rules;
    }

private:
    bool signIn() {
        for (CheckPlayer& player : players_) {
            const int index = static_cast<int>(&player - players_);
            const bool given = !options_.accounts.isEmpty();
            player.name =
                given ? options_.accounts[index].first : QStringLiteral("测试C%1").arg(randomText().right(11));
            player.password = given ? options_.accounts[index].second : randomText();
            keepSecret(player.password);
            if (!enter(player, given ? key("login") : key("register"))) {
                return false;
            }
        }
        staleToken_ = host_.token;
        if (enter(host_, key("login")) && host_.token != staleToken_) {
            signOut(host_.name, staleToken_);
        }
        const auto refused = [this](const char* how, const QString& name) {
            post(key(how), {{key("username"), name}, {key("password"), key("of nobody")}});
            expect("accounts", !last.ok && !last.refusal.isEmpty(),
                   QStringLiteral("that is to be refused, with a text"));
        };
        refused("login", host_.name);
        refused("register", host_.name.toUpper());
        refused("register", randomText() + QStringLiteral("123"));
        return true;
    }

    void signOut(const QString& name, const QString& token) {
        post(key("logout"), {{key("username"), name}, {key("auth_token"), token}});
    }

    bool makeRoom() {
        roomPassword_ = randomText();
        keepSecret(roomPassword_);
        QJsonObject asked = QJsonDocument::fromJson(kRoom).object();
        const RoomInfo wanted = decodeRoom(asked, QString());
        asked[key("password")] = roomPassword_;
        id = create(host_, asked).id;
        look();
        if (id.isEmpty() || room.id.isEmpty()) {
            expect("full-list", id.isEmpty(), QStringLiteral("the new room does not stand in it"));
            return false;
        }
        expect("create", !last.received.contains(roomPassword_.toUtf8()), QStringLiteral("the password stands in it"));
        RoomInfo found = room;
        for (RoomSlot& one : found.slotMeta) {
            one.name.clear();
            one.ready = false;
        }
        QStringList kept;
        for (const char* field : {"name", "mapId", "mapName", "mapFile", "mapFingerprint", "mapFingerprintAlgo", "mode",
                                  "maxPlayers", "slotCount", "slotMeta", "mapOptions", "mapOptionIndexes"}) {
            kept += key(field);
        }
        const QString differing = differences(lastingRecord(wanted), lastingRecord(found), kept);
        expect("create", differing.isEmpty(), QStringLiteral("not as asked for: ") + differing);
        expect("create", seat(host_) != nullptr && seat(host_)->slot == kCreatorSlot && seat(host_)->ready,
               QStringLiteral("player_slots does not hold the creator, ready, in slot 2"));
        expect("create", room.playerCount == 1 && room.hasPassword && !isRoomPlaying(room),
               QStringLiteral("player_count is not 1, has_password not true, or the room does not wait"));
        expect("host", isHost(host_), QStringLiteral("owner and host do not both name the creator"));
        readDetail(host_);
        const auto signedOut = [this](const QString& name, const QString& token) {
            act({name, QString(), token}, "detail");
            expect("tokens", !last.ok && signsOut(), QStringLiteral("that token is no end of the session"));
        };
        signedOut(host_.name, QStringLiteral("0123456789abcdef"));
        signedOut(guest_.name, host_.token);
        if (staleToken_ != host_.token) {
            signedOut(host_.name, staleToken_);
        }
        // With a list that does not tell who is in the room nothing that follows could be judged.
        return seat(host_) != nullptr;
    }

    bool join(const CheckPlayer& player) {
        const bool joined = accepts("join", player, "join", {{key("password"), roomPassword_}});
        expectMember(player, true);
        return joined;
    }

    void expectMember(const CheckPlayer& player, bool member) {
        expect("membership", member ? seat(player) != nullptr : !isMember(player),
               player.name + (member ? QStringLiteral(" does not stand in player_slots")
                                     : QStringLiteral(" still stands in player_slots or player_names")));
    }

    void fillRoom() {
        refuses("join", guest_, "join", {{key("password"), key("of nobody")}});
        refuses("membership", guest_, "chat", {{key("text"), key("hello")}});
        join(guest_);
        guestSlot_ = seat(guest_) != nullptr && seat(guest_)->slot == 5 ? 5 : 3;
        thirdSlot_ = 8 - guestSlot_;
        const auto expectGuestSeated = [this](const QString& fault) {
            expect("join",
                   seat(guest_) != nullptr && seat(guest_)->slot == guestSlot_ && !seat(guest_)->ready &&
                       room.playerCount == 2,
                   fault);
        };
        expectGuestSeated(QStringLiteral("the guest is not in slot 3 or 5, or ready, or player_count is not 2"));
        join(guest_);
        expectGuestSeated(QStringLiteral("a player of the room who joins again does not keep the seat"));
        accepts("slots", host_, "lock-slot", target("slot", thirdSlot_));
        expect("slots", slot(thirdSlot_) != nullptr && slot(thirdSlot_)->locked,
               QStringLiteral("the slot is not locked"));
        refuses("join", third_, "join", {{key("password"), roomPassword_}});
        accepts("slots", host_, "unlock-slot", target("slot", thirdSlot_));
        expect("slots", slot(thirdSlot_) != nullptr && !slot(thirdSlot_)->locked && slot(thirdSlot_)->isPlayerSlot,
               QStringLiteral("the slot is not a player's again"));
        join(third_);
        readDetail(guest_);
    }

    void changeSlots() {
        const auto become = [this](const char* mode, bool player, bool computer) {
            accepts("slots", host_, "slot-meta", {{key("slot"), kComputerSlot}, {key("mode"), key(mode)}});
            const RoomSlot* changed = slot(kComputerSlot);
            expect("slots", changed != nullptr && changed->isPlayerSlot == player && isComputer(*changed) == computer,
                   QStringLiteral("slot 4 is not as the mode \"%1\" makes it").arg(key(mode)));
        };
        become("observer", false, false);
        become("player", true, false);
        accepts("slots", third_, "move-slot", target("target_slot", kComputerSlot));
        expect("slots", seat(third_) != nullptr && seat(third_)->slot == kComputerSlot && room.playerCount == 3,
               QStringLiteral("the player has not moved to slot 4"));
        refuses("slots", guest_, "move-slot", target("target_slot", 1));
        refuses("slots", guest_, "move-slot", target("target_slot", kCreatorSlot));
        accepts("slots", third_, "move-slot", target("target_slot", thirdSlot_));
        become("computer", false, true);
    }

    void keepGuestsOut() {
        refuses("host-only", guest_, "start", startOn(gameHost(), 1));
        refuses("host-only", guest_, "kick", target("target_slot", kCreatorSlot));
        refuses("host-only", guest_, "transfer-host", target("target_slot", thirdSlot_));
        refuses("host-only", guest_, "lock-slot", target("slot", kComputerSlot));
        refuses("host-only", guest_, "unlock-slot", target("slot", 1));
        refuses("host-only", guest_, "slot-meta", {{key("slot"), kComputerSlot}, {key("mode"), key("player")}});
        refuses("host-only", guest_, "map-options", startOn(gameHost(), 1));
        refuses("slots", host_, "kick", target("target_slot", kCreatorSlot));
    }

    void talk() {
        const QString text = QStringLiteral("你好 <b>\"😀\"</b>");
        accepts("chat", guest_, "chat", {{key("text"), text}});
        const RoomChatMessage message = room.messages.isEmpty() ? RoomChatMessage() : room.messages.last();
        expect("chat", message.text == text && isSameName(message.from, guest_.name),
               QStringLiteral("the last message is not the one just sent"));
        static const QRegularExpression clock(QStringLiteral("^(\\d{4}-\\d\\d-\\d\\d[T ])?\\d\\d:\\d\\d"));
        expect("chat", clock.match(message.time).hasMatch(),
               QStringLiteral("a time like \"2026-01-02 13:45:00\" is wanted, not ") + message.time);
        accepts("map-options", host_, "map-options", startOn(gameHost(), 2));
        expectOption(2);
        accepts("heartbeat", guest_, "heartbeat", {{key("client_state"), key("room")}});
    }

    void expectOption(int value) {
        expect("map-options",
               room.mapOptions.value(QStringLiteral("难度")) == QString::number(value) &&
                   room.mapOptionIndexes == QVector<MapOptionIndex>{{0, value}},
               QStringLiteral("map_options or map_option_indexes is not as it was sent"));
    }

    void handOver() {
        accepts("host", host_, "transfer-host", target("target_slot", guestSlot_));
        expect("host", isHost(guest_), QStringLiteral("owner and host do not both name the new host"));
        accepts("host", guest_, "transfer-host", target("target_slot", kCreatorSlot));
        accepts("membership", host_, "kick", target("target_slot", thirdSlot_));
        expectMember(third_, false);
        refuses("membership", third_, "ready", readiness(true));
        join(third_);
    }

    void playTwice() {
        if (!startMatch(gameHost())) {
            return;
        }
        const int session = room.sessionId;
        if (!endMatch()) {
            return;
        }
        loseHost();
        if (startMatch(QStringLiteral("127.0.0.1"))) {
            readDetail(guest_);
            expect("new-session", room.sessionId != session, QStringLiteral("it is the first match's"));
            changeRooms();
        }
    }

    void setReady(const CheckPlayer& player, bool ready) {
        accepts("ready", player, "ready", readiness(ready));
        expect("ready", seat(player) != nullptr && seat(player)->ready == ready,
               QStringLiteral("ready is not as the player set it"));
    }

    bool startMatch(const QString& address) {
        const CheckPlayer& starter = isHost(guest_) ? guest_ : host_;
        refuses("start", starter, "start", startOn(address, 1));
        setReady(&starter == &guest_ ? host_ : guest_, true);
        setReady(third_, true);
        setReady(third_, false);
        setReady(third_, true);
        const Exchange started = act(starter, "start", startOn(address, 1));
        expect("start", started.ok, QStringLiteral("the host cannot start though all are ready"));
        const RoomInfo told = decodeRoomAnswer(started.document, starter.name).room;
        expect(
            "launch-data", hasLaunchIdentity(told) && isRoomPlaying(told),
            QStringLiteral("the reply to \"start\" holds no room in play with the host's session, slot and user id"));
        look();
        expect("start", isRoomPlaying(room), QStringLiteral("the status is not \"playing\""));
        if (!isRoomPlaying(room)) {
            return false;
        }
        expectOption(1);
        const bool named = room.pmHost == address || (isLoopback(address) && !isLoopback(room.pmHost));
        const bool local = isLoopback(QUrl(options_.lobby).host());
        expect("game-host", room.pmPort == kGamePort && named && (local || !isLoopback(room.pmHost)),
               QStringLiteral("pm_host and pm_port do not lead the others to who sent ") + address);
        if (local) {
            rule("game-host").untried =
                QStringLiteral("the server sees this machine as 127.0.0.1: check it from another one");
        }
        expectLaunchData();
        refuses("start", starter, "start", startOn(address, 1));
        return true;
    }

    void expectLaunchData() {
        QSet<int> userIds;
        for (const CheckPlayer& player : players_) {
            const RoomInfo detail = readDetail(player);
            const RoomSlot* own = findOwnSlot(detail, player.name);
            expect("launch-data",
                   hasLaunchIdentity(detail) && own != nullptr && detail.lobbySlot == own->slot &&
                       detail.gameSlot == own->playerId && detail.launchDelayMs <= kMaxLaunchDelayMs,
                   QStringLiteral("no session_id, a delay above 5000, or no entry in pm_launch_slots with the player's "
                                  "name, slot, user_id and, as game_slot, the slot's player_id"));
            userIds += detail.gameUserId;
            act(player, "launch-done", {{key("user_id"), detail.gameUserId}, {key("pid"), 4711}});
            expect("launch-data", last.ok, QStringLiteral("\"launch-done\" with this user_id is refused"));
        }
        expect("launch-data", userIds.size() == 3, QStringLiteral("two players have the same user_id"));
    }

    // A server for tests lets the host end it; else the players do what clients do once their games have ended.
    bool endMatch() {
        tryToAct(host_, "end");
        look();
        for (int waited = 0; isRoomPlaying(room) && waited < options_.endSeconds * 1000; waited += kPollMs) {
            QEventLoop pause;
            QTimer::singleShot(kPollMs, &pause, &QEventLoop::quit);
            pause.exec();
            for (const CheckPlayer& player : players_) {
                act(player, "detail");
            }
            look();
        }
        const bool ended = !room.id.isEmpty() && !isRoomPlaying(room);
        expect("match-end", ended,
               QStringLiteral("the room is gone or still in play %1 s after the games").arg(options_.endSeconds));
        for (const CheckPlayer& player : players_) {
            expectMember(player, true);
            expect("match-end", isHost(player) || (seat(player) != nullptr && !seat(player)->ready),
                   player.name + QStringLiteral(" is ready without having said so"));
        }
        return ended;
    }

    // The second match is the guest's.
    void loseHost() {
        accepts("membership", host_, "leave");
        expectMember(host_, false);
        expect("host", isHost(guest_) || isHost(third_),
               QStringLiteral("owner and host do not both name one of those who stayed"));
        if (isHost(third_)) {
            accepts("host", third_, "transfer-host", target("target_slot", guestSlot_));
        }
        join(host_);
    }

    // A client that goes back to the lobby from a room in play sends no "leave".
    void changeRooms() {
        QJsonObject asked = QJsonDocument::fromJson(kRoom).object();
        asked[key("max_players")] = 2;
        const QString other = create(third_, asked).id;
        look();
        expect("one-room", !other.isEmpty() && !isMember(third_),
               QStringLiteral("who made another room still has the seat in the one before"));
        refuses("start", third_, "join", {{key("password"), roomPassword_}});
        if (other.isEmpty()) {
            return;
        }
        const QString first = std::exchange(id, other);
        accepts("one-room", guest_, "join");
        refuses("join", host_, "join");  // a slot is free, but max_players are there
        id = first;
        look();
        expect("one-room", !isMember(guest_), QStringLiteral("who joined another room still has the seat in this one"));
        id = other;
        accepts("membership", guest_, "leave");
        expectMember(guest_, false);
        accepts("membership", third_, "leave");
        expect("empty-rooms", room.id.isEmpty(), QStringLiteral("the room still stands in the list"));
    }

    void cleanUp() {
        for (const QString& own : qAsConst(made)) {
            id = own;
            for (const CheckPlayer& player : players_) {
                tryToAct(player, "leave");
            }
        }
        if (!made.isEmpty()) {
            look();
        }
        for (const RoomInfo& one : qAsConst(rooms)) {
            expect("empty-rooms", !made.contains(one.id), QStringLiteral("a room of this check is left: ") + one.id);
        }
        for (const CheckPlayer& player : players_) {
            if (!player.token.isEmpty()) {
                signOut(player.name, player.token);
            }
        }
    }

    CheckOptions options_;
    CheckPlayer players_[3];
    CheckPlayer& host_ = players_[0];  // of the first match
    CheckPlayer& guest_ = players_[1];
    CheckPlayer& third_ = players_[2];
    QString staleToken_;  // of the host's session before the one of now
    QString roomPassword_;
    int guestSlot_ = 0;
    int thirdSlot_ = 0;
};

}  // namespace

QVector<CheckedRule> checkServer(const CheckOptions& options) {
    return Walk(options).run();
}
