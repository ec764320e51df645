// What replies and polls lead to, as tables.
#include "room/poll_rules.h"
#include "room/session_rules.h"
#include "support/test_registry.h"

#include <QTest>

class PollRulesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // action => text; flags: a told on any page, r rooms are fetched, o the options are confirmed
    void actionOutcomes() {
        const QString rows = QStringLiteral(R"(join => 已进入房间。 ar
move-slot =>  r
map-options =>  ro
chat => 消息已发送。 r
kick => 房间设置已更新。 r
transfer-host => 房间设置已更新。 r
lock-slot => 房间设置已更新。 r
unlock-slot => 房间设置已更新。 r
slot-meta => 房间设置已更新。 r
ready => 已取消准备。 r
start => 已开始游戏，正在为房间玩家自动启动。 o
launch-done =>  r
leave => [leave] 操作成功 a)");
        for (const QString& row : rows.split(QLatin1Char('\n'))) {
            const QString action = row.section(QLatin1Char(' '), 0, 0);
            const ActionOutcome outcome = actionOutcome(action, false);
            const QString flags = QLatin1String(outcome.tellsOnAnyPage ? "a" : "") +
                                  QLatin1String(outcome.refreshesRooms ? "r" : "") +
                                  QLatin1String(outcome.confirmsOptions ? "o" : "");
            QCOMPARE(action + QStringLiteral(" => ") + outcome.text + QLatin1Char(' ') + flags, row);
        }
        QCOMPARE(actionOutcome(QStringLiteral("ready"), true).text, QStringLiteral("已准备。"));
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
        const auto judge = [](const RoomInfo& now, const QVector<RoomInfo>& rooms, const char* user) {
            const RoomUpdate update = judgeRoomUpdate(now, rooms, QString::fromUtf8(user));
            return QStringLiteral("%1%2%3")
                .arg(static_cast<int>(update.outcome))
                .arg(update.matchEnded)
                .arg(update.wantsDetail);
        };
        QCOMPARE(judge(room, {}, "me"), QStringLiteral("000"));
        QCOMPARE(judge(room, {room}, "you"), QStringLiteral("100"));
        QCOMPARE(judge(room, {room}, "me"), QStringLiteral("201"));
        QCOMPARE(judge(over, {room}, "me"), QStringLiteral("201"));
        QCOMPARE(judge(room, {over}, "me"), QStringLiteral("210"));
        QCOMPARE(judge(over, {over}, "me"), QStringLiteral("200"));
    }
};

NETPLAY_TEST(PollRulesTest);
#include "poll_rules_test.moc"
