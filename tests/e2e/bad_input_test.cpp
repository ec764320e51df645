// What a server may send to a player in a room, and what comes of it on the player's disk and in the game.
#include "app/window_fixture.h"
#include "support/test_registry.h"

#include <QDirIterator>
#include <QJsonDocument>

class BadInputTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // `fields` go over those of a good room in play. `words` begin what the status bar says; a started game got `game`.
    void startOfMatch_data() {
        QTest::addColumn<QByteArray>("fields");
        QTest::addColumn<QString>("words");
        QTest::addColumn<QString>("game");
        const auto refused = [](const char* name, const QByteArray& fields, const char* words) {
            QTest::newRow(name) << fields << text("启动失败:") + text(words) << QString();
        };
        const auto started = [](const char* name, const QByteArray& fields, const char* game) {
            QTest::newRow(name) << fields << text("已启动游戏:") << text(game);
        };
        const QString map = text(R"("map_id":"%1")");
        for (const char* name : {"../../game/map/10078", R"(..\\10078)", "10078.x", R"(1\u00010078)"}) {
            refused(name, map.arg(text(name)).toUtf8(), "invalid map name (path/separators/control chars rejected): ");
        }
        started("port", R"("pm_port":70000)", "port=40001 sessionId=5 options=2");
        started("session", R"("session_id":4294967297)", "port=40009 sessionId=2147483647 options=2");
        started("delay -1", R"("launch_delay_ms":-1)", "port=40009 sessionId=5 options=2");
        started("hour", R"("launch_delay_ms":3600000)", "port=40009 sessionId=5 options=2");
        const QByteArray pairs = QByteArray(R"({"option":1,"value":1},)").repeated(5000).chopped(1);
        started("options", R"("map_id":"late","map_option_indexes":[)" + pairs + ']',
                "port=40009 sessionId=5 options=5000");
    }
    void startOfMatch() {
        QFETCH(const QByteArray, fields);
        QFETCH(const QString, words);
        QFETCH(const QString, game);
        WindowFixture fixture;
        fixture.installGame();
        fixture.write("gametest/config.lua", "");
        qputenv("STANDIN_GAME_REPORT", "report.json");
        qputenv("STANDIN_GAME_RUN_MS", "0");
        fixture.enterRoom(fixture.room("host me"));
        fixture.write("gametest/map/late/late.o", "not in the catalog");
        const QByteArray launch = R"("status":"playing","pm_host":"127.0.0.1","pm_port":40009,"session_id":5,
            "pm_launch_slots":[{"slot":2,"user_id":9}],)";
        fixture.server.rooms = {fixture.room("host me", launch + fields)};
        fixture.timer("roomPollTimer")->setInterval(200);
        TRY(fixture.told(QDir::fromNativeSeparators(words)) > 0);
        QFile file(fixture.path("gametest/report.json"));
        QVERIFY(!game.isEmpty() || !file.exists());
        if (!game.isEmpty()) {
            TRY(file.exists());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QJsonObject report = QJsonDocument::fromJson(file.readAll()).object();
            QCOMPARE(text("port=%1 sessionId=%2 options=%3")
                         .arg(report.value(text("port")).toInt())
                         .arg(report.value(text("sessionId")).toInt())
                         .arg(report.value(text("mapOptions")).toArray().size()),
                     game);
        }
        // Whatever was sent, the player can go, and nothing was written but where it belongs.
        fixture.press("返回大厅");
        TRY(fixture.roomTable()->isVisible());
        for (QDirIterator it(fixture.folder.path(), QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
            const QString path = QDir(fixture.folder.path()).relativeFilePath(it.next());
            QVERIFY2(path.startsWith(text("gametest/")) || path.startsWith(text("client/Cache/")) ||
                         path == text("client/config/Server.ini"),
                     qUtf8Printable(path));
        }
    }
};

NETPLAY_TEST(BadInputTest);
#include "bad_input_test.moc"
