// What replies and polls lead to, and whether a room's map lets a player in, as tables.
#include "room/map_gate.h"
#include "room/poll_rules.h"
#include "room/room_clock.h"
#include "room/rows.h"
#include "room/session_rules.h"
#include "room/standing_troubles.h"
#include "support/test_registry.h"

namespace {

// Action => text, flags: a told on any page, r rooms are fetched, o the options are confirmed.
const char kActions[] = R"(join => 已进入房间。 ar
move-slot =>  r
map-options =>  ro
chat => 消息已发送。 r
kick => 房间设置已更新。 r
transfer-host => 房间设置已更新。 r
lock-slot => 房间设置已更新。 r
unlock-slot => 房间设置已更新。 r
slot-meta => 房间设置已更新。 r
ready => 已取消准备。 r
ready set => 已准备。 r
start => 已开始游戏，正在为房间玩家自动启动。 o
launch-done =>  r
leave => [leave] 操作成功 a)";

// The room's fingerprint, its algorithm and its map => whether it may be joined.
const char kGates[] = R"(,md5,one => 房间缺少地图校验信息，请房主重新创建房间。
sha256:1:2,SHA256-map-o-v1,none => 房间地图校验算法不支持，请更新客户端。
sha256:1:2,sha256-map-o-v1,none => 本地缺少该地图。
SHA256:1:2,sha256-map-o-v1,one => 地图版本不一致，请更新为房主地图版本。
sha256:1:2,sha256-map-o-v1,two => 地图文件不完整或无法读取，不能校验联机版本。
sha256:1:2,sha256-map-o-v1,one => open
sha256:1:2,,one => open)";

// What the room told and tells, "id,marks,newest message's sender", for "me" => calls or not. Marks: p in play, h "me"
// is the host, a all are ready.
const char kCalls[] = R"(1,,>1,p, => calls
1,p,>1,p, => no
1,,>2,p, => no
1,h,>1,ha, => calls
1,ha,>1,ha, => no
1,,>1,a, => no
1,,>1,,you => calls
1,,you>1,,you => no
1,,>1,,ME => no
1,,you>1,, => no)";

}  // namespace

class PollRulesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void mapGate() {
        std::vector<NetPlay::MapInfo> catalog(2);
        catalog[0].name = "one";
        catalog[0].fingerprint = "sha256:1:2";
        catalog[0].mapFileHash = "1";
        catalog[0].oFileHash = "2";
        catalog[1].name = "two";
        QString scanning;
        QVERIFY(!roomMapMatchesLocal(RoomInfo(), catalog, false, {}, scanning));
        QCOMPARE(scanning, text("正在扫描本地地图，请稍后再进入房间。"));
        forEachRow(kGates, [&catalog](const QString& facts) {
            RoomInfo room;
            room.mapFingerprint = facts.section(u',', 0, 0);
            room.mapFingerprintAlgo = facts.section(u',', 1, 1);
            room.mapId = facts.section(u',', 2);
            QString message;
            const bool matches = roomMapMatchesLocal(room, catalog, true, {}, message);
            return QString(u' ' + (matches ? text("open") : message));
        });
    }

    void actionOutcomes() {
        forEachRow(kActions, [](const QString& facts) {
            const ActionOutcome outcome = actionOutcome(facts.section(u' ', 0, 0), facts.endsWith(text(" set")));
            return QString(u' ' + outcome.text + u' ' + text(outcome.tellsOnAnyPage ? "a" : "") +
                           text(outcome.refreshesRooms ? "r" : "") + text(outcome.confirmsOptions ? "o" : ""));
        });
    }

    void expiredLogins() {
        for (const char* error : {"LOGIN Expired", "Please login", "error 401", "x4015", "Unauthorized", "请先登录"}) {
            QVERIFY2(isLoginExpiredError(QString::fromUtf8(error)), error);
        }
        for (const char* error : {"", "missing auth_token", "40 1", "not in room"}) {
            QVERIFY2(!isLoginExpiredError(QString::fromUtf8(error)), error);
        }
    }

    void rooms() {
        RoomInfo room;
        room.id = QStringLiteral("7");
        room.status = QStringLiteral("PLAYING");
        room.playerNames = QStringList{QStringLiteral("Me")};
        RoomInfo over = room;
        over.status = QStringLiteral("waiting");
        const auto judge = [](const QVector<RoomInfo>& rooms, const char* user) {
            const RoomUpdate update = judgeRoomUpdate(text("7"), rooms, QString::fromUtf8(user));
            return QString(QString::number(static_cast<int>(update.outcome)) +
                           text(update.wantsDetail ? " detail" : ""));
        };
        QCOMPARE(judge({}, "me"), text("0"));
        QCOMPARE(judge({room}, "you"), text("1"));
        QCOMPARE(judge({room}, "me"), text("2 detail"));
        QCOMPARE(judge({over, room}, "me"), text("2"));
    }

    void troubles() {
        // Whether the game's folder, the game and a map are there, and how many polls in a row failed.
        const char* const rows =
            "000 9 => 没有找到游戏文件夹 root 服务器没有回应 每 2 \n101 0 => 没有找到 game.exe game\n"
            "110 1 => 地图文件夹里没有地图 maps\n111 1 =>\n111 2 => 服务器没有回应 每 2 ";
        forEachRow(rows, [](const QString& facts) {
            QString told;
            const auto is = [&facts](int place) {
                return facts[place] == u'1';
            };
            for (const StandingTrouble& trouble : standingTroubles(
                     {is(0), is(1), is(2), facts.mid(4).toInt(), text("root"), text("game"), text("maps")})) {
                told += u' ' + trouble.text + u' ' + trouble.tip.left(4);
            }
            return told;
        });
    }

    void whatCallsThePlayer() {
        const auto roomOf = [](const QString& facts) {
            RoomInfo room;
            room.id = facts.section(u',', 0, 0);
            const QString marks = facts.section(u',', 1, 1);
            room.status = text(has(marks, 'p') ? "playing" : "waiting");
            room.host = text(has(marks, 'h') ? "me" : "you");
            room.playerCount = 2;
            room.playerSlots.resize(2);
            room.playerSlots[0].name = text("me");
            room.playerSlots[1].name = text("you");
            room.playerSlots[0].ready = room.playerSlots[1].ready = has(marks, 'a');
            room.messages.resize(1);
            room.messages[0].from = facts.section(u',', 2);
            return room;
        };
        forEachRow(kCalls, [&roomOf](const QString& facts) {
            const bool calls =
                callsPlayer(roomOf(facts.section(u'>', 0, 0)), roomOf(facts.section(u'>', 1)), text("me"));
            return text(calls ? " calls" : " no");
        });
    }

    // In a room "7" since request 5: the list that asked as 3 is late, and so is all that was under way when, behind
    // request 8, the room changed.
    void whatIsOlder() {
        RoomClock clock;
        const auto speaks = [&clock](quint64 number) {
            return clock.speaks({number, {}});
        };
        const auto stays = [&clock](quint64 number, const char* room) {
            return clock.replyIsForThisStay({number, text(room)}, text("7"));
        };
        QVERIFY(speaks(1) && speaks(0));
        clock.moved(5);
        QVERIFY(!speaks(3) && !speaks(5) && speaks(6) && speaks(0));
        QVERIFY(!stays(5, "7") && stays(6, "7") && !stays(6, "8") && stays(0, "8"));
        clock.changed(8);
        QVERIFY(!speaks(8) && speaks(9) && stays(6, "7"));
    }
};

NETPLAY_TEST(PollRulesTest);
#include "poll_rules_test.moc"
