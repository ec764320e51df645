// What a server may send to a player in a room, and what comes of it on the player's disk and in the game.
#include "app/window_fixture.h"
#include "e2e/match_fixture.h"
#include "support/test_registry.h"

#include <QDirIterator>
#include <QJsonDocument>
#include <QStatusBar>
#include <QTimer>

class BadInputTest : public QObject {
    Q_OBJECT

    static void row(const char* name, const QString& fields, const QString& words, const QString& game = {}) {
        QTest::newRow(name) << fields << words << game;
    }

private Q_SLOTS:
    // `fields` go over those of a good room in play. `words` begin the status bar's text; a started game got `game`.
    void startOfMatch_data() {
        QTest::addColumn<QString>("fields");
        QTest::addColumn<QString>("words");
        QTest::addColumn<QString>("game");
        const QString refused = QStringLiteral("启动失败:invalid map name (path/separators/control chars rejected): ");
        const QString started = QStringLiteral("已启动游戏:");
        row("path", QStringLiteral(R"("map_id":"../../game/map/10078")"), refused + QStringLiteral("../../game"));
        row("backslash", QStringLiteral(R"("map_id":"..\\10078")"), refused + QStringLiteral("..\\10078"));
        row("dot", QStringLiteral(R"("map_id":"10078.x")"), refused + QStringLiteral("10078.x"));
        row("control", QStringLiteral(R"("map_id":"1\u00010078")"), refused + QStringLiteral("1\u00010078"));
        row("300", QStringLiteral(R"("map_id":"%1")").arg(QString(300, u'7')),
            QStringLiteral("启动失败:map file not found: "));
        row("host", QStringLiteral(R"("pm_host":"no-such-host.invalid")"),
            QStringLiteral("启动失败:Unable to resolve IPv4 host: no-such-host.invalid ("));
        row("name", QStringLiteral(R"("user":"abcdefghijklmnop")"),
            QStringLiteral("启动失败:PlayerName too long (max 15): abcdefghijklmnop"));
        row("port", QStringLiteral(R"("pm_port":70000)"), started, QStringLiteral("port=40001 sessionId=5 options=2"));
        row("session", QStringLiteral(R"("session_id":4294967297)"), started,
            QStringLiteral("port=40009 sessionId=2147483647 options=2"));
        row("delay -1", QStringLiteral(R"("launch_delay_ms":-1)"), started,
            QStringLiteral("port=40009 sessionId=5 options=2"));
        row("hour", QStringLiteral(R"("launch_delay_ms":3600000)"), started,
            QStringLiteral("port=40009 sessionId=5 options=2"));
        QStringList pairs;
        for (int i = 0; i < 5000; ++i) {
            pairs += QStringLiteral(R"({"option":%1,"value":1})").arg(i);
        }
        row("options", QStringLiteral(R"("map_id":"late","map_option_indexes":[%1])").arg(pairs.join(u',')), started,
            QStringLiteral("port=40009 sessionId=5 options=5000"));
    }
    void startOfMatch() {
        QFETCH(const QString, fields);
        QFETCH(const QString, words);
        QFETCH(const QString, game);
        const QJsonObject changes = QJsonDocument::fromJson('{' + fields.toUtf8() + '}').object();
        const QString user = changes.value(QLatin1String("user")).toString(QStringLiteral("me"));
        WindowFixture fixture;
        fixture.server.answers.insert("login", jsonReply({{QStringLiteral("ok"), true},
                                                          {QStringLiteral("auth_token"), QStringLiteral("token")},
                                                          {QStringLiteral("username"), user}}));
        const QString root = fixture.folder.filePath(QStringLiteral("game/"));
        QVERIFY(QDir().mkpath(root + QStringLiteral("core")) &&
                QFile::copy(QCoreApplication::applicationDirPath() + QStringLiteral("/game.exe"),
                            root + QStringLiteral("core/game.exe")));
        writeFile(root + QStringLiteral("config.lua"), "");
        qputenv("STANDIN_GAME_REPORT", "report.json");
        qputenv("STANDIN_GAME_RUN_MS", "0");
        const QByteArray seats = "host " + user.toUtf8();
        fixture.enterRoom(fixture.room(seats.constData()));
        writeFile(root + QStringLiteral("map/late/late.o"), "not in the catalog");
        QJsonObject room = fixture.room(seats.constData(), "playing");
        const QByteArray launch =
            R"({"pm_host":"127.0.0.1","pm_port":40009,"session_id":5,"pm_launch_slots":[{"slot":2,"user_id":9}]})";
        for (const QJsonObject& object : {QJsonDocument::fromJson(launch).object(), changes}) {
            for (auto field = object.begin(); field != object.end(); ++field) {
                room.insert(field.key(), field.value());
            }
        }
        bool told = false;
        connect(fixture.window->statusBar(), &QStatusBar::messageChanged, this,
                [&](const QString& text) { told = told || text.startsWith(words); });
        fixture.server.rooms = {room};
        fixture.window->findChild<QTimer*>(QStringLiteral("roomPollTimer"))->setInterval(200);
        TRY(told);
        QFile file(root + QStringLiteral("report.json"));
        QVERIFY(!game.isEmpty() || !file.exists());
        if (!game.isEmpty()) {
            TRY(file.exists());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QJsonObject report = QJsonDocument::fromJson(file.readAll()).object();
            QCOMPARE(QStringLiteral("port=%1 sessionId=%2 options=%3")
                         .arg(report.value(QLatin1String("port")).toInt())
                         .arg(report.value(QLatin1String("sessionId")).toInt())
                         .arg(report.value(QLatin1String("mapOptions")).toArray().size()),
                     game);
        }
        // Whatever was sent, the player can go, and nothing was written but where it belongs.
        TRY(fixture.button("返回大厅") != nullptr && fixture.button("返回大厅")->isEnabled());
        fixture.button("返回大厅")->click();
        TRY(fixture.roomTable()->isVisible());
        for (QDirIterator it(fixture.folder.path(), QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
            const QString path = QDir(fixture.folder.path()).relativeFilePath(it.next());
            QVERIFY2(path.startsWith(QLatin1String("game/")) || path.startsWith(QLatin1String("client/Cache/")) ||
                         path == QLatin1String("config/Server.ini"),
                     qUtf8Printable(path));
        }
    }
};

NETPLAY_TEST(BadInputTest);
#include "bad_input_test.moc"
