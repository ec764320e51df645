// Replies that overtake each other, come after the player has gone on, or come from a session that has died. The order
// is forced: the server makes its answer when it is asked and holds it back.
#include "app/create_room_dialog.h"
#include "lobby/room_decoder.h"
#include "platform/files.h"
#include "platform/process.h"
#include "support/test_registry.h"
#include "window_fixture.h"

#include <QComboBox>
#include <QInputDialog>
#include <QScopeGuard>
#include <QSemaphore>
#include <QSignalSpy>
#include <QtConcurrentRun>

namespace {

const Script kDead = ScriptedServer::reply(R"({"error":"who are you?"})", "401 Unauthorized");
const char kPlaying[] = R"("status":"playing","launch_delay_ms":5000)";

}  // namespace

class LateRepliesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // A list that was on its way while the room changed says nothing of the room, and the rooms are asked for anew.
    void aListOlderThanTheRoom_data() {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("press");
        QTest::addColumn<QByteArray>("after");
        QTest::addColumn<QByteArray>("shown");
        QTest::newRow("join") << QByteArray() << QByteArray("进入房间") << QByteArray("host me") << QByteArray("准备");
        QTest::newRow("ready") << QByteArray("host me") << QByteArray("准备") << QByteArray("host me+")
                               << QByteArray("取消准备");
        QTest::newRow("leave") << QByteArray("host me") << QByteArray("退出房间") << QByteArray("host")
                               << QByteArray("进入房间");
    }
    void aListOlderThanTheRoom() {
        QFETCH(const QByteArray, before);
        QFETCH(const QByteArray, press);
        QFETCH(const QByteArray, after);
        QFETCH(const QByteArray, shown);
        WindowFixture fixture;
        if (before.isEmpty()) {
            fixture.server.rooms = {fixture.room("host")};
            fixture.signIn();
            fixture.roomTable()->selectRow(0);
        } else {
            fixture.enterRoom(fixture.room(before));
        }
        fixture.stopPolls();
        fixture.server.holds = {"rooms"};
        fixture.askForRooms();
        const int asked = fixture.server.sent("rooms").size();
        fixture.server.rooms = {fixture.room(after)};
        fixture.press(press);
        TRY(fixture.button(shown) != nullptr && !fixture.timer("roomPollTimer")->isActive());
        fixture.server.holds.clear();
        fixture.server.release();
        TRY(fixture.lists == asked + 1);
        QVERIFY(fixture.button(shown) != nullptr && fixture.server.sent("rooms").size() == asked + 1);
        QCOMPARE(fixture.told("你已被移出房间。") + fixture.told("房间已关闭，已返回大厅。"), 0);
        QVERIFY(fixture.window->close());
        QCOMPARE(fixture.server.sent("leave").size(), 1);
    }

    // A detail from before the room's last change, or older than the list that told the match's end, starts nothing.
    void aDetailOlderThanTheRoom_data() {
        QTest::addColumn<bool>("matchEnds");
        QTest::newRow("match over") << true;
        QTest::newRow("room changed") << false;
    }
    void aDetailOlderThanTheRoom() {
        QFETCH(const bool, matchEnds);
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("host me"));
        fixture.stopPolls();
        fixture.server.rooms = {fixture.room("host me", kPlaying)};
        fixture.server.holds = {"detail"};
        fixture.askForRooms();
        TRY(fixture.server.sent("detail").size() == 1);
        const char kWaits[] = "已开始游戏，等待同步启动...";
        QCOMPARE(fixture.told(kWaits), 1);
        const int lists = fixture.lists;
        fixture.server.rooms = {
            fixture.room("host me", matchEnds ? "" : R"("status":"playing","messages":[{"text":"hi"}])")};
        if (matchEnds) {
            fixture.askForRooms();
        } else {
            fixture.edit("输入聊天内容")->setText(text("hi"));
            fixture.press("发送");
        }
        TRY(fixture.lists > lists);
        QSignalSpy details(fixture.client(), &LobbyClient::roomDetailUpdated);
        fixture.server.holds.clear();
        fixture.server.release();
        TRY(!details.isEmpty());
        QCOMPARE(fixture.told(kWaits), 1);
        QVERIFY(fixture.button(matchEnds ? "准备" : "返回大厅") != nullptr);
        if (!matchEnds) {
            TRY(details.size() >= 2);
        }
    }

    // What a launch lacks may come with the detail; only then is it missing.
    void aListWithoutLaunchData() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("host me"));
        fixture.stopPolls();
        fixture.server.rooms = {fixture.room("host me", R"("status":"playing")")};
        fixture.server.holds = {"detail"};
        fixture.askForRooms();
        TRY(fixture.button("返回大厅") != nullptr && fixture.server.sent("detail").size() == 1);
        const int lists = fixture.lists;
        fixture.askForRooms();
        TRY(fixture.lists > lists);
        QCOMPARE(fixture.told("启动失败:") + fixture.server.sent("detail").size(), 1);
        fixture.server.release();
        TRY(fixture.told("启动失败:房间启动身份不完整，请重新进入房间。") > 0);
    }

    // A reply without a room leaves the room as it was known; the words follow what was asked for.
    void aReplyWithoutARoom() {
        for (const char* status : {"200 OK", "204 No Content"}) {
            WindowFixture fixture;
            fixture.enterRoom(fixture.room("host me"));
            fixture.stopPolls();
            fixture.server.answers = {{"ready", ScriptedServer::reply("", status)}};
            fixture.press("准备");
            TRY(fixture.told("已准备。") == 1);
            QVERIFY(fixture.told("已取消准备。") == 0 && fixture.button("准备") != nullptr);
        }
    }

    // An action's reply means nothing once the player has left the room that it was sent for.
    void aReplyAfterTheRoom() {
        for (const bool toldRoom : {true, false}) {
            WindowFixture fixture;
            fixture.enterRoom(fixture.room("me you"));
            TRY(fixture.find<QComboBox>("currentText", text("普通")) != nullptr);
            fixture.server.holds = {"map-options"};
            if (!toldRoom) {
                fixture.server.answers = {{"map-options", ScriptedServer::reply(R"({"ok":true})")}};
            }
            QTest::keyClick(fixture.find<QComboBox>("currentText", text("普通")), Qt::Key_Down);
            TRY(fixture.server.sent("map-options").size() == 1);
            fixture.press("退出房间");
            TRY(fixture.told("房间已刷新:1 个") == 2);
            fixture.roomTable()->selectRow(0);
            QSignalSpy results(fixture.client(), &LobbyClient::roomActionResult);
            fixture.server.release();
            TRY(!results.isEmpty());
            QVERIFY(fixture.window->close());
            QCOMPARE(fixture.server.sent("leave").size(), 1);
        }
    }

    // Nor once the player has come back.
    void aRefusalFromAnEarlierStay() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("me you"));
        fixture.server.holds = {"chat"};
        fixture.server.answers = {{"chat", refusal("not in room")}};
        fixture.edit("输入聊天内容")->setText(text("hi"));
        fixture.press("发送");
        TRY(fixture.server.sent("chat").size() == 1);
        fixture.poll({});
        QVERIFY(fixture.roomTable()->isVisible());
        fixture.poll({fixture.room("me you")});
        fixture.roomTable()->selectRow(0);
        fixture.press("进入房间");
        TRY(fixture.slotTable()->isVisible());
        QSignalSpy results(fixture.client(), &LobbyClient::roomActionResult);
        fixture.server.release();
        TRY(!results.isEmpty());
        QVERIFY(fixture.slotTable()->isVisible() && fixture.told("你已被移出房间。") == 0);
    }

    // Of two actions on their way, the later one's answer is the newer word, and the earlier one's locks nothing up.
    void twoActionsAtOnce() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("me you"));
        fixture.stopPolls();
        fixture.server.holds = {"map-options", "rooms"};
        QTest::keyClick(fixture.find<QComboBox>("currentText", text("普通")), Qt::Key_Down);
        TRY(fixture.server.sent("map-options").size() == 1);
        fixture.server.rooms = {fixture.room("me you him")};
        fixture.edit("输入聊天内容")->setText(text("hi"));
        fixture.press("发送");
        TRY(fixture.enabled("退出房间"));
        const auto seats = [&] {
            return fixture.slotTable()->item(2, 2)->text();
        };
        QCOMPARE(seats(), text("him"));
        QSignalSpy results(fixture.client(), &LobbyClient::roomActionResult);
        fixture.server.holds.clear();
        fixture.server.release();
        TRY(results.size() == 1);
        QCOMPARE(seats(), text("him"));

        fixture.stopPolls();
        TRY(fixture.find<QComboBox>("currentText", text("普通")) != nullptr);
        fixture.server.holds = {"chat"};
        fixture.edit("输入聊天内容")->setText(text("hi"));
        fixture.press("发送");
        QTest::keyClick(fixture.find<QComboBox>("currentText", text("普通")), Qt::Key_Down);
        TRY(results.size() == 2 && !fixture.enabled("退出房间"));
    }

    void aListOfAnEarlierSession() {
        WindowFixture fixture;
        fixture.server.rooms = {fixture.room("host")};
        fixture.signIn();
        fixture.stopPolls();
        fixture.server.holds = {"rooms"};
        fixture.askForRooms();
        fixture.server.holds.clear();
        fixture.server.rooms = {};
        fixture.press("退出登录");
        fixture.press("登录");
        TRY(fixture.roomTable()->isVisible() && fixture.enabled("刷新") && fixture.roomTable()->rowCount() == 0);
        fixture.timer("roomPollTimer")->stop();
        const int lists = fixture.lists;
        fixture.server.release();
        TRY(fixture.lists > lists);
        QCOMPARE(fixture.roomTable()->rowCount(), 0);
    }

    void aReplyToAnEarlierSession() {
        WindowFixture fixture;
        fixture.server.holds = {"heartbeat"};
        fixture.server.answers = {{"heartbeat", kDead}};
        fixture.enterRoom(fixture.room("host me"));
        TRY(!fixture.server.sent("heartbeat").isEmpty());
        fixture.press("退出房间");
        fixture.press("退出登录");
        fixture.press("登录");
        TRY(fixture.roomTable()->isVisible() && fixture.enabled("刷新"));
        QSignalSpy beats(fixture.client(), &LobbyClient::heartbeatResult);
        fixture.server.release();
        TRY(beats.size() > 0);
        QVERIFY(!fixture.client()->authToken().isEmpty() && fixture.roomTable()->isVisible());
    }

    // Whoever hears first that the session is gone, the player is at sign-in, not in a page with nothing to press.
    void aDeadSession_data() {
        QTest::addColumn<QByteArray>("word");
        for (const char* word : {"heartbeat", "detail", "chat", "rooms", "create", "tick", "dialog", "password"}) {
            QTest::newRow(word) << QByteArray(word);
        }
    }
    void aDeadSession() {
        QFETCH(const QByteArray, word);
        WindowFixture fixture;
        const bool inLobby = word == "create" || word == "dialog" || word == "password";
        if (inLobby) {
            fixture.server.rooms = {fixture.room("host", R"("has_password":true)")};
            fixture.signIn();
        } else {
            fixture.enterRoom(fixture.room("host me"));
        }
        fixture.server.answers = {{word, kDead}};
        if (word == "chat") {
            fixture.edit("输入聊天内容")->setText(text("hi"));
            fixture.press("发送");
        } else if (word == "tick") {
            fixture.client()->clearSession();
            fixture.timer("roomPollTimer")->start(1);
        } else if (word == "password") {
            fixture.roomTable()->selectRow(0);
            fixture.whenShown<QInputDialog>([&](QInputDialog& dialog) {
                fixture.client()->clearSession();
                dialog.accept();
            });
            fixture.press("进入房间");
        } else if (inLobby) {
            fixture.whenShown<CreateRoomDialog>([&](CreateRoomDialog& dialog) {
                if (word == "dialog") {
                    fixture.client()->clearSession();
                }
                dialog.accept();
            });
            fixture.press("＋ 创建游戏");
        } else {
            fixture.server.rooms = {fixture.room("host me", kPlaying)};
            fixture.timer("roomPollTimer")->start(1);
        }
        TRY(fixture.enabled("登录"));
        QVERIFY(fixture.status().startsWith(text("登录已过期，请重新登录。")));
        QVERIFY(fixture.told("你已被移出房间。") == 0 && fixture.client()->authToken().isEmpty());
        QVERIFY(!fixture.timer("roomPollTimer")->isActive());
    }

    // A check of the map that ends when its session is over lets nobody in, and a second one waits for it.
    void aCheckForAnotherPlayer() {
        WindowFixture fixture;
        fixture.server.rooms = {fixture.room("host")};
        fixture.signIn();
        fixture.stopPolls();
        QSemaphore go;
        QThreadPool* pool = QThreadPool::globalInstance();
        pool->waitForDone();
        for (int thread = 0; thread < pool->maxThreadCount(); ++thread) {
            QtConcurrent::run([&go] { go.acquire(); });
        }
        const auto ends = qScopeGuard([&] {
            go.release(pool->maxThreadCount());
            pool->waitForDone();
        });
        fixture.roomTable()->selectRow(0);
        fixture.press("进入房间");
        QCOMPARE(fixture.status(), text("正在校验地图版本..."));
        Q_EMIT fixture.client()->roomsUpdated({}, text("401"));
        fixture.press("登录");
        TRY(fixture.roomTable()->isVisible() && fixture.enabled("刷新"));
        fixture.roomTable()->selectRow(0);
        fixture.press("进入房间");
        QCOMPARE(fixture.status(), text("正在校验地图版本，请稍后。"));
        go.release(pool->maxThreadCount());
        QVERIFY(pool->waitForDone(kPatienceMs));
        QCoreApplication::processEvents();
        QVERIFY(fixture.server.sent("join").isEmpty() && fixture.enabled("进入房间"));
    }

    void noHeartbeatBehindALeave() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("host me"));
        fixture.stopPolls();
        fixture.server.holds = {"leave"};
        fixture.press("退出房间");
        TRY(fixture.server.sent("leave").size() == 1);
        const int beats = fixture.server.sent("heartbeat").size();
        fixture.askForRooms();
        QCOMPARE(fixture.server.sent("heartbeat").size(), beats);
    }

    // The lobby stays locked until the request that locked it is answered, whatever polls bring meanwhile.
    void aPollDuringAJoin() {
        WindowFixture fixture;
        fixture.server.rooms = {fixture.room("host")};
        fixture.signIn();
        fixture.roomTable()->selectRow(0);
        fixture.server.holds = {"join"};
        fixture.press("进入房间");
        TRY(fixture.server.sent("join").size() == 1);
        fixture.stopPolls();
        const int lists = fixture.lists;
        fixture.askForRooms();
        TRY(fixture.lists > lists);
        QVERIFY(!fixture.enabled("进入房间") && !fixture.enabled("＋ 创建游戏") && !fixture.enabled("刷新"));
        fixture.server.rooms = {fixture.room("host me")};
        fixture.server.answers = {{"join", refusal("try later")}};
        fixture.server.release();
        TRY(fixture.slotTable()->isVisible());
    }

    // While the window waits for its leave to be answered nothing else happens, and nothing comes behind.
    void closing() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("host me"));
        fixture.stopPolls();
        fixture.server.rooms = {fixture.room("host me", R"("status":"playing")")};
        fixture.server.answers = {{"leave", Script()}};
        fixture.server.holds = {"rooms"};
        fixture.askForRooms();
        fixture.timer("roomPollTimer")->start(1);
        // The rooms come while the window waits.
        QTimer waits;
        QObject::connect(&waits, &QTimer::timeout, [&fixture] {
            if (!fixture.server.sent("leave").isEmpty()) {
                fixture.server.release();
            }
        });
        waits.start(1);
        QVERIFY(fixture.window->close());
        TRY(fixture.server.sent("leave").size() == 1);
        QVERIFY(fixture.server.requests.last().target.endsWith("/leave"));
        QVERIFY(fixture.server.sent("detail").isEmpty());
    }

    // A launch that ends when the player is in the next match says nothing there, and holds its start up no longer.
    void aLaunchForTheRoomBefore() {
        WindowFixture fixture;
        fixture.installGame();
        fixture.enterRoom(fixture.room("host me"));
        fixture.stopPolls();
        const QByteArray starts = R"("status":"playing","session_id":1,"pm_launch_slots":[
            {"player_name":"me","slot":2,"user_id":9}])";
        auto lock = platform::ExclusiveFile::tryOpen(fixture.path("gametest/config.lua.lock").toStdU16String());
        fixture.poll({fixture.room("host me", starts)});
        TRY(fixture.told("自动启动游戏中:") == 1);
        fixture.poll({});
        const QJsonObject next = fixture.room("host me", R"("id":"8",)" + starts);
        fixture.server.rooms = {next};
        Q_EMIT fixture.client()->roomCreated(true, decodeRoom(next, text("me")), {}, QString());
        QVERIFY(lock && fixture.told("自动启动游戏中:") == 1);
        lock.reset();
        TRY(fixture.told("已启动游戏:") == 2);
        QCOMPARE(fixture.told("游戏已退出，正在刷新房间..."), 0);
        TRY(!fixture.server.sent("launch-done").isEmpty());
        QCOMPARE(fixture.server.sent("launch-done").size(), 1);
        fixture.window.reset();
        platform::stopProcessesByPath(u"game.exe", fixture.path("gametest/core/game.exe").toStdU16String());
    }

    // A choice in a slot's menu is for the player and the room that it was opened for.
    void aMenuOverAnotherPlayer() {
        for (const char* change : {"", "another player", "another room"}) {
            WindowFixture fixture;
            fixture.enterRoom(fixture.room("me you"));
            fixture.chooseInMenu(1, "踢人", {}, [&] {
                const bool moves = text(change) == text("another room");
                const char* seats = text(change) == text("another player") ? "me him" : "me you";
                const QJsonObject room = fixture.room(seats, moves ? R"("id":"8")" : "");
                if (moves) {
                    Q_EMIT fixture.client()->roomCreated(true, decodeRoom(room, text("me")), {}, QString());
                    fixture.slotTable()->selectRow(1);
                }
                fixture.poll({room});
            });
            TRY(fixture.enabled("退出房间"));
            QCOMPARE(fixture.server.sent("kick").size(), *change == '\0' ? 1 : 0);
        }
    }

    void aFreeSlotOfARoomInPlay() {
        WindowFixture fixture;
        const QByteArray slots = R"(,"slot_meta":[{"slot":1},{"slot":2},{"slot":3}])";
        fixture.enterRoom(fixture.room("host me", slots.mid(1)));
        fixture.poll({fixture.room("host me", kPlaying + slots)});
        Q_EMIT fixture.slotTable()->cellDoubleClicked(2, 0);
        QCOMPARE(fixture.told("换位置中..."), 0);
        fixture.poll({fixture.room("host me", slots.mid(1))});
        Q_EMIT fixture.slotTable()->cellDoubleClicked(2, 0);
        TRY(!fixture.server.sent("move-slot").isEmpty());
        QCOMPARE(fixture.told("换位置中..."), 1);
    }
};

NETPLAY_TEST(LateRepliesTest);
#include "late_replies_test.moc"
