#include "room/launch_plan.h"
#include "support/test_registry.h"

#include <QTest>

namespace {

RoomInfo playingRoom() {
    RoomInfo room;
    room.playerSlots = {{3, 3, QStringLiteral("ALICE"), {}, {}, {}}};
    room.sessionId = room.gameSlot = room.gameUserId = 1;
    room.mapOptionIndexes = {{9, 9}};
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

// What was chosen, and the pairs that go to the game: positions, the initial value where nothing is chosen, options
// outside the list in the order of their keys; or the room's own pairs when nothing can be placed.
const std::pair<const char*, const char*> kSelections[] = {
    {"speed=fast 难度=易", "0:1 2:0"}, {"", "2:1"}, {"extra=b bonus=x", "2:1 3:0 4:1"}, {"难度=? speed=FAST", "9:9"}};

// Session, slot, user id, who asks, what is missing.
const std::tuple<int, int, int, const char*, const char*> kRefusals[] = {
    {0, 1, 1, "alice", "房间启动身份不完整，请重新进入房间。"},
    {1, 0, 1, "alice", "房间启动身份不完整，请重新进入房间。"},
    {1, 1, 0, "alice", "房间启动身份不完整，请重新进入房间。"},
    {0, 0, 0, "bob", "当前账号不在房间槽位中。"},
    {1, 1, 1, "", "当前账号不在房间槽位中。"}};

const QString kUser = QStringLiteral("alice");

}  // namespace

class LaunchPlanTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void keyCountsSessionsFromOne() {
        QCOMPARE(launchKey(QStringLiteral("%2"), 12, QStringLiteral("%1")), QStringLiteral("%2:12:%1"));
        QCOMPARE(launchKey(QStringLiteral("r"), -3, QStringLiteral("u")), QStringLiteral("r:1:u"));
    }

    void optionPairs() {
        const NetPlay::MapInfo map = mapWithOptions();
        for (const auto& [selections, expected] : kSelections) {
            QMap<QString, QString> chosen;
            for (const QString& word : QString::fromUtf8(selections).split(u' ', Qt::SkipEmptyParts)) {
                chosen.insert(word.section(u'=', 0, 0), word.section(u'=', 1));
            }
            QStringList pairs;
            for (const MapOptionIndex& pair : mapOptionPairs(playingRoom(), chosen, &map)) {
                pairs += QStringLiteral("%1:%2").arg(pair.option).arg(pair.value);
            }
            QCOMPARE(pairs.join(u' '), QLatin1String(expected));
            QCOMPARE(mapOptionPairs(playingRoom(), chosen, nullptr), (QVector<MapOptionIndex>{{9, 9}}));
        }
    }

    // What no played match shows: the settings' part, and the script's path.
    void requestTakesTheSettings() {
        LaunchDefaults defaults;
        defaults.displayPreset = 3;
        defaults.dpiAware = true;
        const NetPlay::MapInfo map = mapWithOptions();
        const GameLaunchRequest request = planLaunch(playingRoom(), kUser, defaults, {}, &map).request;
        QCOMPARE(QString::fromStdU16String(request.mapScriptPath).replace(QLatin1Char('\\'), QLatin1Char('/')),
                 QStringLiteral("root/地图/地图.o"));
        QVERIFY(request.dpiAware && !request.compatibilityMode && !request.restartExisting);
        QVERIFY(!request.patchGameSetting && request.mapOptionDisplay == 0);
    }

    void settingsStandInForWhatTheRoomLacks() {
        RoomInfo room = playingRoom();
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

    void refusals() {
        for (const auto& [session, slot, userId, user, missing] : kRefusals) {
            RoomInfo room = playingRoom();
            room.playerSlots.prepend(RoomSlot());
            room.sessionId = session;
            room.gameSlot = slot;
            room.gameUserId = userId;
            QCOMPARE(planLaunch(room, QLatin1String(user), LaunchDefaults(), {}, nullptr).error,
                     QStringLiteral("启动失败:") + QString::fromUtf8(missing));
        }
    }
};

NETPLAY_TEST(LaunchPlanTest);
#include "launch_plan_test.moc"
