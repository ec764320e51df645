// Signing in and out, and what becomes of replies that come too late.
#include "support/test_registry.h"
#include "window_fixture.h"

class SignInTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void byReturn() {
        WindowFixture fixture;
        fixture.open();
        QCOMPARE(fixture.status(), text("请输入账号密码。"));
        QCOMPARE(fixture.window->focusWidget(), fixture.edit("账号"));
        QVERIFY(!fixture.timer("roomPollTimer")->isActive() && fixture.edit("账号")->text() == text("me"));
        QTest::keyClick(fixture.edit("账号"), Qt::Key_Return);  // does nothing here
        fixture.edit("密码")->setText(text(" two words "));
        QTest::keyClick(fixture.edit("密码"), Qt::Key_Return);
        QVERIFY(fixture.shows("正在连接服务器...") && !fixture.enabled("登录"));
        TRY(fixture.shows("已登录：me"));
        QCOMPARE(fixture.server.sent("login").size(), 1);
        QCOMPARE(fixture.server.sent("login")[0].value(text("password")), QJsonValue(text(" two words ")));
        TRY(fixture.told("房间已刷新:0 个") + fixture.told("地图已加载:1 张，可以创建游戏。") > 0);
        QVERIFY(fixture.timer("roomPollTimer")->isActive() && !fixture.timer("gameWatchTimer")->isActive());
    }

    void refusedForms_data() {
        QTest::addColumn<QString>("message");
        QTest::newRow("log in||secret") << text("请输入账号和密码。");
        QTest::newRow("log in|me|") << text("请输入账号和密码。");
        QTest::newRow("log in|me|wrong") << text("登录失败:wrong password");
        QTest::newRow("register|  |secret|secret") << text("请输入用户名。");
        QTest::newRow("register|me||") << text("请输入密码。");
        QTest::newRow("register|me|secret|Secret") << text("两次输入的密码不一致。");
        QTest::newRow("register|m|secret|secret") << text("注册失败:too short");
    }
    void refusedForms() {
        QFETCH(const QString, message);
        const QStringList fields = text(QTest::currentDataTag()).split(u'|');
        WindowFixture fixture;
        fixture.server.answers = {{"login", refusal("wrong password")}, {"register", refusal("too short")}};
        fixture.open();
        const bool registers = fields.size() == 4;
        if (registers) {
            fixture.press("没有账户？去注册");
            QVERIFY(fixture.shows("请输入用户名和密码，由服务器创建或验证账户。"));
            QCOMPARE(fixture.edit("用户名 (2-15个字符)")->text(), text("me"));
            fixture.edit("确认密码")->setText(fields[3]);
        }
        fixture.edit(registers ? "用户名 (2-15个字符)" : "账号")->setText(fields[1]);
        fixture.edit(registers ? "密码 (至少4个字符)" : "密码")->setText(fields[2]);
        QTest::keyClick(fixture.edit(registers ? "确认密码" : "密码"), Qt::Key_Return);
        TRY(fixture.shows(message.toUtf8().constData()));
        QVERIFY(fixture.status() == message && fixture.enabled(registers ? "注册" : "登录"));
        QCOMPARE(fixture.server.requests.size(), message.contains(u':') ? 1 : 0);
    }

    void byTheCommandLine() {
        WindowFixture fixture;
        fixture.open({text("--user=阿明"), text("--auto-login")});
        QVERIFY(fixture.server.requests.isEmpty());
        TRY(fixture.shows("已登录：阿明"));
    }

    // The words of a dead session count in the rooms' reply, not in a heartbeat's.
    void deadSession() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("me you"));
        fixture.server.answers = {{"heartbeat", refusal("Unauthorized")}};
        const int before = fixture.server.sent("heartbeat").size();
        for (const char* dot : {"● 重连中...", "● 重连中...", "● 连接断开"}) {
            Q_EMIT fixture.client()->heartbeatResult(false);
            QVERIFY(fixture.shows(dot) && fixture.slotTable()->isVisible());
        }
        QCOMPARE(fixture.server.sent("heartbeat").size(), before);
        Q_EMIT fixture.client()->heartbeatResult(true);
        QVERIFY(fixture.shows("● 已连接"));
        Q_EMIT fixture.client()->roomsUpdated({}, text("error 401: who?"));
        QVERIFY(fixture.shows("登录已过期，请重新登录。 服务端返回: error 401: who?"));
        QVERIFY(!fixture.timer("roomPollTimer")->isActive() && fixture.client()->authToken().isEmpty());
        QVERIFY(fixture.server.sent("logout").isEmpty() && fixture.enabled("登录"));
        fixture.server.answers.clear();
        fixture.press("登录");
        TRY(fixture.roomTable()->isVisible() && fixture.roomTable()->rowCount() == 1);
    }

    void lateReplies() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("me you"));
        RoomInfo room;
        room.id = text("7");
        fixture.press("退出房间");
        fixture.press("退出登录");
        const char kSignedOut[] = "已退出登录，请重新登录。";
        QVERIFY(fixture.shows(kSignedOut));
        TRY(fixture.server.sent("logout").size() == 1);
        QCOMPARE(fixture.server.sent("logout")[0].value(text("auth_token")), QJsonValue(text("token")));
        LobbyClient* client = fixture.client();
        Q_EMIT client->roomActionResult(text("join"), true, room, {room}, QString());
        Q_EMIT client->roomActionResult(text("join"), false, {}, {}, text("401"));
        Q_EMIT client->actionResult(text("join"), true, text("ok"));
        Q_EMIT client->roomCreated(true, room, {room}, QString());
        Q_EMIT client->roomDetailUpdated(true, room, QString());
        Q_EMIT client->roomsUpdated({room}, QString());
        QVERIFY(fixture.shows(kSignedOut) && fixture.roomTable()->rowCount() == 0);
        QCOMPARE(fixture.status(), text(kSignedOut));

        // A window that goes while its requests are on their way.
        fixture.server.answers = {{"rooms", Script()}};
        fixture.press("登录");
        TRY(fixture.roomTable()->isVisible());
    }

    // A room in play is not left; otherwise a silent server holds up the end only for a moment.
    void closing() {
        for (const int leaves : {0, 1}) {
            WindowFixture fixture;
            fixture.enterRoom(fixture.room("you me"));
            fixture.poll({fixture.room("you me", leaves == 0 ? R"("status":"PLAYING")" : "")});
            fixture.server.answers = {{"leave", Script()}};
            QVERIFY(fixture.window->close());
            QCOMPARE(fixture.server.sent("leave").size(), leaves);
        }
    }
};

NETPLAY_TEST(SignInTest);
#include "sign_in_test.moc"
