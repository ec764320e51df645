#include "room/launch_plan.h"
#include "support/test_registry.h"

#include <QTest>

Q_DECLARE_METATYPE(MapOptionIndex)

namespace {

using Pairs = QVector<MapOptionIndex>;

RoomInfo playingRoom() {
    RoomInfo room;
    room.id = QStringLiteral("r1");
    room.mapId = QStringLiteral("10081");
    RoomSlot own;
    own.slot = 3;
    own.name = QStringLiteral("ALICE");
    room.playerSlots.append(own);
    room.sessionId = 7;
    room.gameSlot = 4;
    room.gameUserId = 20004;
    room.pmHost = QStringLiteral("26.1.2.3");
    room.pmPort = 40005;
    room.mapOptionIndexes = Pairs{{9, 9}};
    return room;
}

NetPlay::MapInfo mapWithOptions() {
    NetPlay::MapInfo map;
    map.oFilePath = std::filesystem::path(u"root/地图/地图.o");
    map.optionIds = {"speed", "nothing", "难度"};
    map.optionValues = {{"speed", {"slow", "fast"}}, {"难度", {"易", "难"}}, {"extra", {"a", "b"}}, {"bonus", {"x"}}};
    map.optionLabels = {{"难度", "难"}, {"extra", "zzz"}};
    return map;
}

const QString kUser = QStringLiteral("alice");

}  // namespace

class LaunchPlanTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void keyCountsSessionsFromOne() {
        QCOMPARE(launchKey(QStringLiteral("%2"), 12, QStringLiteral("%1")), QStringLiteral("%2:12:%1"));
        QCOMPARE(launchKey(QStringLiteral("r"), -3, QStringLiteral("u")), QStringLiteral("r:1:u"));
    }

    void delayIsClamped() {
        QCOMPARE(launchDelay(-1), 0);
        QCOMPARE(launchDelay(1500), 1500);
        QCOMPARE(launchDelay(3'600'000), 5000);
    }

    void optionPairs_data() {
        QTest::addColumn<QMap<QString, QString>>("selections");
        QTest::addColumn<bool>("mapKnown");
        QTest::addColumn<Pairs>("pairs");
        const QString speed = QStringLiteral("speed");
        const QString difficulty = QStringLiteral("难度");
        const QString extra = QStringLiteral("extra");
        const QMap<QString, QString> chosen{{speed, QStringLiteral("fast")}, {difficulty, QStringLiteral("易")}};
        QTest::newRow("chosen texts become positions") << chosen << true << Pairs{{0, 1}, {2, 0}};
        QTest::newRow("initial value where nothing is chosen") << QMap<QString, QString>{} << true << Pairs{{2, 1}};
        QTest::newRow("options outside the list follow in key order")
            << QMap<QString, QString>{{extra, QStringLiteral("b")}, {QStringLiteral("bonus"), QStringLiteral("x")}}
            << true << Pairs{{2, 1}, {3, 0}, {4, 1}};
        QTest::newRow("nothing can be placed")
            << QMap<QString, QString>{{difficulty, QStringLiteral("?")}, {speed, QStringLiteral("FAST")}} << true
            << Pairs{{9, 9}};
        QTest::newRow("map unknown") << chosen << false << Pairs{{9, 9}};
    }
    void optionPairs() {
        QFETCH(const bool, mapKnown);
        using Selections = QMap<QString, QString>;
        QFETCH(const Selections, selections);
        const NetPlay::MapInfo map = mapWithOptions();
        QTEST(mapOptionPairs(playingRoom(), selections, mapKnown ? &map : nullptr), "pairs");
    }

    void requestIsFilledFromTheRoom() {
        LaunchDefaults defaults;
        defaults.clientRoot = QStringLiteral("C:\\client");
        defaults.displayPreset = 3;
        defaults.dpiAware = true;
        const NetPlay::MapInfo map = mapWithOptions();
        const LaunchPlan plan =
            planLaunch(playingRoom(), kUser, defaults, {{QStringLiteral("speed"), QStringLiteral("fast")}}, &map);
        QCOMPARE(plan.error, QString());
        const GameLaunchRequest& request = plan.request;
        QVERIFY(request.clientRoot == u"C:\\client" && request.dataRoot.empty());
        QVERIFY(request.gameHost == u"26.1.2.3" && request.gamePort == 40005);
        QVERIFY(request.mapName == u"10081");
        QCOMPARE(QString::fromStdU16String(request.mapScriptPath).replace(QLatin1Char('\\'), QLatin1Char('/')),
                 QStringLiteral("root/地图/地图.o"));
        QVERIFY(request.slot == 4 && request.userId == 20004 && request.sessionId == 7u);
        QVERIFY(request.playerName == u"alice");
        QVERIFY(!request.restartExisting && !request.patchGameSetting && request.dpiAware &&
                !request.compatibilityMode);
        QVERIFY(request.windowX == -1 && request.windowY == -1);
        QCOMPARE(request.mapOptionDisplay, 0);
        QVERIFY((request.mapOptions == std::vector<std::pair<std::int32_t, std::int32_t>>{{0, 1}, {2, 1}}));
    }

    void settingsStandInForWhatTheRoomLacks() {
        RoomInfo room = playingRoom();
        room.pmHost.clear();
        room.mapId.clear();
        LaunchDefaults defaults;
        defaults.gameHost = QStringLiteral("10.0.0.9");
        defaults.gamePort = 41000;
        defaults.compatibilityMode = true;
        for (const int port : {0, -1, 65536, 2'000'000'000}) {
            room.pmPort = port;
            const LaunchPlan plan = planLaunch(room, kUser, defaults, {}, nullptr);
            QVERIFY(plan.request.gameHost == u"10.0.0.9" && plan.request.gamePort == 41000);
            QVERIFY(plan.request.mapName == u"10078" && plan.request.mapScriptPath.empty());
            QVERIFY(plan.request.restartExisting);
        }
    }

    void refusals_data() {
        QTest::addColumn<int>("session");
        QTest::addColumn<int>("slot");
        QTest::addColumn<int>("userId");
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("error");
        const QString identity = QStringLiteral("启动失败:房间启动身份不完整，请重新进入房间。");
        const QString seat = QStringLiteral("启动失败:当前账号不在房间槽位中。");
        QTest::newRow("session") << 0 << 1 << 1 << kUser << identity;
        QTest::newRow("slot") << 1 << 0 << 1 << kUser << identity;
        QTest::newRow("user id") << 1 << 1 << 0 << kUser << identity;
        QTest::newRow("no seat comes first") << 0 << 0 << 0 << QStringLiteral("bob") << seat;
        QTest::newRow("no name") << 1 << 1 << 1 << QString() << seat;
    }
    void refusals() {
        QFETCH(const int, session);
        QFETCH(const int, slot);
        QFETCH(const int, userId);
        QFETCH(const QString, user);
        RoomInfo room = playingRoom();
        room.playerSlots.prepend(RoomSlot());
        room.sessionId = session;
        room.gameSlot = slot;
        room.gameUserId = userId;
        QTEST(planLaunch(room, user, LaunchDefaults(), {}, nullptr).error, "error");
    }
};

NETPLAY_TEST(LaunchPlanTest);
#include "launch_plan_test.moc"
