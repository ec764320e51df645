// Signing in and out, and what becomes of replies that come too late.
#include "support/test_registry.h"
#include "window_fixture.h"

#include <QJsonDocument>
#include <QTimer>

class SignInTest : public QObject {
    Q_OBJECT

    QVector<QTimer*> runningTimers(const WindowFixture& fixture) const {
        QVector<QTimer*> running;
        for (const char* name : {"roomPollTimer", "gameWatchTimer"}) {
            auto* timer = fixture.window->findChild<QTimer*>(QString::fromUtf8(name));
            if (timer->isActive()) {
                running += timer;
            }
        }
        return running;
    }

private Q_SLOTS:
    void byReturn() {
        WindowFixture fixture;
        fixture.open();
        QCOMPARE(fixture.statusBarText(), QStringLiteral("请输入账号密码。"));
        QCOMPARE(fixture.window->focusWidget(), fixture.edit("账号"));
        QVERIFY(runningTimers(fixture).isEmpty() && fixture.edit("账号")->text() == QStringLiteral("me"));
        QTest::keyClick(fixture.edit("账号"), Qt::Key_Return);  // does nothing here
        fixture.edit("密码")->setText(QStringLiteral(" two words "));
        QTest::keyClick(fixture.edit("密码"), Qt::Key_Return);
        QVERIFY(fixture.shows("正在连接服务器...") && fixture.button("登录")->isEnabled() == false);
        TRY(fixture.shows("已登录：me"));
        QCOMPARE(fixture.server.sent("login").size(), 1);
        QCOMPARE(fixture.server.sent("login").first().value(QStringLiteral("password")),
                 QJsonValue(QStringLiteral(" two words ")));
        TRY(fixture.statusBarText() == QStringLiteral("房间已刷新:0 个") ||
            fixture.statusBarText() == QStringLiteral("地图已加载:1 张，可以创建游戏。"));
        QCOMPARE(runningTimers(fixture).size(), 1);
    }

    void refusedForms_data() {
        QTest::addColumn<QString>("message");
        QTest::newRow("log in||secret") << QStringLiteral("请输入账号和密码。");
        QTest::newRow("log in|me|") << QStringLiteral("请输入账号和密码。");
        QTest::newRow("log in|me|wrong") << QStringLiteral("登录失败:wrong password");
        QTest::newRow("register|  |secret|secret") << QStringLiteral("请输入用户名。");
        QTest::newRow("register|me||") << QStringLiteral("请输入密码。");
        QTest::newRow("register|me|secret|Secret") << QStringLiteral("两次输入的密码不一致。");
        QTest::newRow("register|m|secret|secret") << QStringLiteral("注册失败:too short");
    }
    void refusedForms() {
        QFETCH(QString, message);
        const QStringList fields = QString::fromUtf8(QTest::currentDataTag()).split(QLatin1Char('|'));
        WindowFixture fixture;
        fixture.server.answers = {{"login", refusal("wrong password")}, {"register", refusal("too short")}};
        fixture.open();
        const bool registers = fields[0] == QLatin1String("register");
        if (registers) {
            QTest::mouseClick(fixture.button("没有账户？去注册"), Qt::LeftButton);
            QVERIFY(fixture.shows("请输入用户名和密码，由服务器创建或验证账户。"));
            QCOMPARE(fixture.edit("用户名 (2-15个字符)")->text(), QStringLiteral("me"));
            fixture.edit("确认密码")->setText(fields[3]);
        }
        fixture.edit(registers ? "用户名 (2-15个字符)" : "账号")->setText(fields[1]);
        fixture.edit(registers ? "密码 (至少4个字符)" : "密码")->setText(fields[2]);
        QTest::keyClick(fixture.edit(registers ? "确认密码" : "密码"), Qt::Key_Return);
        TRY(fixture.shows(message.toUtf8().constData()));
        QVERIFY(fixture.statusBarText() == message && fixture.button(registers ? "注册" : "登录")->isEnabled());
        QCOMPARE(fixture.server.requests.size(), message.contains(QLatin1Char(':')) ? 1 : 0);
    }

    void byTheCommandLine() {
        WindowFixture fixture;
        fixture.open({QStringLiteral("--user=阿明"), QStringLiteral("--auto-login")});
        QVERIFY(fixture.server.requests.isEmpty());
        TRY(fixture.shows("已登录：阿明"));
    }

    // The words of a dead session count in the rooms' reply, not in a heartbeat's.
    void deadSession() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("me you"));
        fixture.server.answers = {{"heartbeat", refusal("Unauthorized")}};
        for (const char* dot : {"● 重连中...", "● 重连中...", "● 连接断开"}) {
            const int before = fixture.server.sent("heartbeat").size();
            Q_EMIT fixture.client()->heartbeatResult(false);
            QVERIFY(fixture.shows(dot) && fixture.slotTable()->isVisible());
            QCOMPARE(fixture.server.sent("heartbeat").size(), before);
        }
        Q_EMIT fixture.client()->heartbeatResult(true);
        QVERIFY(fixture.shows("● 已连接"));
        Q_EMIT fixture.client()->roomsUpdated({}, QStringLiteral("error 401: who?"));
        QVERIFY(fixture.shows("登录已过期，请重新登录。 服务端返回: error 401: who?"));
        QVERIFY(runningTimers(fixture).isEmpty() && fixture.client()->authToken().isEmpty());
        QVERIFY(fixture.server.sent("logout").isEmpty() && fixture.button("登录")->isEnabled());
        fixture.server.answers.clear();
        QTest::mouseClick(fixture.button("登录"), Qt::LeftButton);
        TRY(fixture.roomTable()->isVisible() && fixture.roomTable()->rowCount() == 1);
    }

    void lateReplies() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("me you"));
        const RoomInfo room = [] {
            RoomInfo info;
            info.id = QStringLiteral("7");
            return info;
        }();
        QTest::mouseClick(fixture.button("退出房间"), Qt::LeftButton);
        TRY(fixture.shows("退出登录") || fixture.button("退出登录") != nullptr);
        TRY(fixture.button("退出登录")->isEnabled());
        QTest::mouseClick(fixture.button("退出登录"), Qt::LeftButton);
        QVERIFY(fixture.shows("已退出登录，请重新登录。"));
        TRY(fixture.server.sent("logout").size() == 1);
        QCOMPARE(fixture.server.sent("logout").first().value(QStringLiteral("auth_token")),
                 QJsonValue(QStringLiteral("token")));
        LobbyClient* client = fixture.client();
        Q_EMIT client->roomActionResult(QStringLiteral("join"), true, room, {room}, QString());
        Q_EMIT client->roomActionResult(QStringLiteral("join"), false, {}, {}, QStringLiteral("401"));
        Q_EMIT client->actionResult(QStringLiteral("join"), true, QStringLiteral("ok"));
        Q_EMIT client->roomCreated(true, room, {room}, QString());
        Q_EMIT client->roomDetailUpdated(true, room, QString());
        Q_EMIT client->roomsUpdated({room}, QString());
        QVERIFY(fixture.shows("已退出登录，请重新登录。") && fixture.roomTable()->rowCount() == 0);
        QCOMPARE(fixture.statusBarText(), QStringLiteral("已退出登录，请重新登录。"));

        // A window that goes while its requests are on their way.
        fixture.server.answers = {{"rooms", Script()}};
        QTest::mouseClick(fixture.button("登录"), Qt::LeftButton);
        TRY(fixture.roomTable()->isVisible());
        fixture.window.reset();
    }

    // Bounded, however silent the server is.
    void closing_data() {
        QTest::addColumn<int>("leaves");
        QTest::newRow("waiting") << 1;
        QTest::newRow("PLAYING") << 0;
    }
    void closing() {
        QFETCH(int, leaves);
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("you me"));
        fixture.poll({fixture.room("you me", QTest::currentDataTag())});
        fixture.server.answers = {{"leave", Script()}};
        QVERIFY(fixture.window->close());
        QCOMPARE(fixture.server.sent("leave").size(), leaves);
        fixture.window.reset();
    }
};

NETPLAY_TEST(SignInTest);
#include "sign_in_test.moc"
