// Signing in and out, and what becomes of replies that come too late.
#include "support/test_registry.h"
#include "window_fixture.h"

#include <QSpinBox>

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

    void refusedForms() {
        // What is filled in, for a registration with the password once more; what the player reads.
        const std::pair<const char*, const char*> rows[] = {{"|secret", "请输入账号和密码。"},
                                                            {"me|", "请输入账号和密码。"},
                                                            {"me|wrong", "登录失败:wrong password"},
                                                            {"  |secret|secret", "请输入用户名。"},
                                                            {"me||", "请输入密码。"},
                                                            {"me|secret|Secret", "两次输入的密码不一致。"},
                                                            {"0123456789abcde|a|a", "注册失败:too short"}};
        for (const auto& [form, message] : rows) {
            const QStringList fields = text(form).split(u'|');
            WindowFixture fixture;
            fixture.server.answers = {{"login", refusal("wrong password")}, {"register", refusal("too short")}};
            fixture.open();
            const bool registers = fields.size() == 3;
            if (registers) {
                fixture.press("没有账户？去注册");
                QCOMPARE(fixture.edit("用户名 (2-15个字符)")->text(), text("me"));
                fixture.edit("确认密码")->setText(fields[2]);
            }
            fixture.edit(registers ? "用户名 (2-15个字符)" : "账号")->setText(fields[0]);
            fixture.edit(registers ? "密码 (至少4个字符)" : "密码")->setText(fields[1]);
            QTest::keyClick(fixture.edit(registers ? "确认密码" : "密码"), Qt::Key_Return);
            TRY(fixture.shows(message));
            QVERIFY(fixture.status() == text(message) && fixture.enabled(registers ? "注册" : "登录"));
            QCOMPARE(fixture.server.requests.size(), text(message).contains(u':') ? 1 : 0);
            QVERIFY(qobject_cast<QLineEdit*>(fixture.window->focusWidget()) != nullptr);
        }
    }

    // A refusal that comes while the player types elsewhere leaves the focus there.
    void refusedBehindTheSettings() {
        WindowFixture fixture;
        fixture.open();
        fixture.press("设置");
        QWidget* port = fixture.window->findChild<QSpinBox*>();
        port->setFocus();
        Q_EMIT fixture.client()->loginResult(false, text("too late"));
        QCOMPARE(fixture.window->focusWidget(), port);
    }

    void byTheCommandLine() {
        WindowFixture fixture;
        fixture.open({text("--user=阿明"), text("--auto-login")});
        QVERIFY(fixture.server.requests.isEmpty());
        TRY(fixture.shows("已登录：阿明"));
    }

    void deadSession() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("me you"));
        for (const char* dot : {"● 重连中...", "● 重连中...", "● 连接断开"}) {
            Q_EMIT fixture.client()->heartbeatResult(false);
            QVERIFY(fixture.shows(dot) && fixture.slotTable()->isVisible());
        }
        Q_EMIT fixture.client()->heartbeatResult(true);
        QVERIFY(fixture.shows("● 已连接"));
        Q_EMIT fixture.client()->roomsUpdated({}, text("error 401: who?"));
        QVERIFY(fixture.shows("登录已过期，请重新登录。 服务端返回: error 401: who?"));
        QVERIFY(!fixture.timer("roomPollTimer")->isActive() && fixture.client()->authToken().isEmpty());
        QVERIFY(fixture.server.sent("logout").isEmpty() && fixture.enabled("登录"));
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
        TRY(fixture.server.sent("logout").size() == 1);
        QCOMPARE(fixture.server.sent("logout")[0].value(text("auth_token")), QJsonValue(text("token")));
        LobbyClient* client = fixture.client();
        Q_EMIT client->roomActionResult(text("join"), true, room, {room}, QString());
        Q_EMIT client->roomActionResult(text("join"), false, {}, {}, text("401"));
        Q_EMIT client->actionResult(text("join"), true, text("ok"));
        Q_EMIT client->roomCreated(true, room, {room}, QString());
        Q_EMIT client->roomDetailUpdated(true, room, QString());
        Q_EMIT client->roomsUpdated({room}, QString());
        QVERIFY(fixture.shows(kSignedOut) && fixture.status() == text(kSignedOut));
        QCOMPARE(fixture.roomTable()->rowCount(), 0);

        // A window that goes while its requests are on their way.
        fixture.server.answers = {{"rooms", Script()}};
        fixture.press("登录");
        TRY(fixture.roomTable()->isVisible());
    }

    // A room in play is never left, by no way out; otherwise a silent server holds up the end only for a moment.
    void closing() {
        for (const char* way : {"back", "close", "leave"}) {
            WindowFixture fixture;
            fixture.enterRoom(fixture.room("you me"));
            const bool leaves = text(way) == text("leave");
            fixture.poll({fixture.room("you me", leaves ? "" : R"("status":"PLAYING")")});
            QVERIFY(leaves || (fixture.button("游戏中") != nullptr && !fixture.enabled("游戏中")));
            fixture.server.answers = {{"leave", Script()}};
            if (text(way) == text("back")) {
                fixture.press("返回大厅");
            }
            QVERIFY(fixture.window->close());
            QCOMPARE(fixture.server.sent("leave").size(), leaves ? 1 : 0);
        }
    }
};

NETPLAY_TEST(SignInTest);
#include "sign_in_test.moc"
