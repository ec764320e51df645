// The room page: actions, quiet polls, and the ways out of a room.
#include "lobby/room_decoder.h"
#include "support/test_registry.h"
#include "window_fixture.h"

#include <QComboBox>
#include <QJsonDocument>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextEdit>
#include <QTextLayout>

class RoomPageTest : public QObject {
    Q_OBJECT

    // The box of the map's first option once it shows this value; while it is made anew there is none.
    QComboBox* difficulty(const WindowFixture& fixture, const char* value) const {
        return fixture.find<QComboBox>("currentText", text(value));
    }

private Q_SLOTS:
    void actions() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("host me"));
        QCOMPARE(fixture.status(), text("已进入房间。"));
        TRY(!fixture.server.sent("heartbeat").isEmpty());
        QVERIFY(fixture.button("开始游戏") == nullptr);
        fixture.server.rooms = {fixture.room("host me+")};
        fixture.press("准备");
        TRY(fixture.enabled("取消准备"));
        QCOMPARE(fixture.server.sent("ready")[0].value(text("ready")), QJsonValue(true));
        QVERIFY(!fixture.enabled("退出房间"));
        QCOMPARE(fixture.button("退出房间")->toolTip(), text("已准备时不能退出，先取消准备。"));
        QMetaObject::invokeMethod(fixture.window.get(), "onBackToLobby");
        QCOMPARE(fixture.status(), text("已准备时不能退出，请先取消准备。"));

        QLineEdit* chat = fixture.edit("输入聊天内容");
        QTest::keyClicks(chat, text("  hi  "));
        QTest::keyClick(chat, Qt::Key_Return);
        QVERIFY(chat->text().isEmpty() && !chat->isEnabled());
        // What is typed on meanwhile presses no button.
        QVERIFY(qobject_cast<QAbstractButton*>(fixture.window->focusWidget()) == nullptr);
        TRY(fixture.status() == text("消息已发送。"));
        QCOMPARE(fixture.window->focusWidget(), chat);
        QCOMPARE(fixture.server.sent("chat")[0].value(text("text")), QJsonValue(text("hi")));

        fixture.server.rooms = {fixture.room("host me")};
        fixture.server.answers = {{"leave", refusal("try later")}};
        fixture.press("取消准备");
        TRY(fixture.enabled("准备"));
        fixture.press("退出房间");
        TRY(fixture.status() == text("[leave] try later"));
        fixture.server.answers = {{"leave", refusal("You are NOT IN ROOM 7")}};
        fixture.press("退出房间");
        TRY(fixture.roomTable()->isVisible());
        QVERIFY(fixture.slotTable()->rowCount() == 2 && fixture.server.sent("leave").size() == 2);
    }

    // Polls that bring nothing new leave everything as it is, an open drop-down too.
    void quietPolls() {
        WindowFixture fixture;
        // The first wraps: behind its blanks nothing begins a line as another's message does.
        const QString blanks(300, u' ');
        const QString lines =
            text(R"(,{"text":"hi"})").repeated(40).prepend(text(R"({"text":"%1you: hi"})").arg(blanks));
        const QJsonObject room = fixture.room("me you+ him", text(R"("messages":[%1])").arg(lines).toUtf8());
        fixture.enterRoom(room);
        QTableWidget* table = fixture.slotTable();
        table->selectRow(1);
        auto* chat = fixture.window->findChild<QTextEdit*>();
        const QTextLayout* wrapped = chat->document()->firstBlock().layout();
        QVERIFY(wrapped->lineAt(0).naturalTextRect().left() < wrapped->lineAt(1).naturalTextRect().left());
        chat->verticalScrollBar()->setValue(5);
        QTest::keyClicks(fixture.edit("输入聊天内容"), text("half a sen"));
        TRY(difficulty(fixture, "普通") != nullptr);
        QComboBox* combo = difficulty(fixture, "普通");
        combo->showPopup();
        TRY(combo->view()->isVisible());
        QSignalSpy edited(chat->document(), &QTextDocument::contentsChanged);
        QCOMPARE(fixture.changesUnderPolls(table, chat->verticalScrollBar(), {room}) + edited.size(), 0);
        QVERIFY(combo->view()->isVisible() && table->currentRow() == 1);
        combo->hidePopup();

        // News of one player keeps the selection by its slot, and the rest.
        fixture.poll({fixture.room("me you him+")});
        QVERIFY(table->currentRow() == 1 && table->item(1, 3)->text() == text("未准备"));
        QCOMPARE(fixture.edit("输入聊天内容")->text(), text("half a sen"));
    }

    // A choice stands while the server still reports the old one, until it has confirmed it.
    void optionsUnderPolls() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("me you"));
        fixture.stopPolls();
        TRY(difficulty(fixture, "普通") != nullptr);
        fixture.server.answers = {{"map-options", Script()}};
        QTest::keyClick(difficulty(fixture, "普通"), Qt::Key_Down);
        fixture.poll({fixture.room("me you")});
        fixture.poll({fixture.room("me you him")});
        TRY(difficulty(fixture, "困难") != nullptr && fixture.server.sent("map-options").size() == 1);
        const QJsonObject sent = fixture.server.sent("map-options")[0].value(text("map_options")).toObject();
        QCOMPARE(sent.value(text("难度")).toString(), text("困难"));
        QVERIFY(fixture.edit("输入聊天内容")->isEnabled());

        // Another room knows nothing of it.
        fixture.press("退出房间");
        TRY(fixture.roomTable()->isVisible());
        const QJsonObject other = fixture.room("me you", R"("id":"8")");
        Q_EMIT fixture.client()->roomCreated(true, decodeRoom(other, text("me")), {}, QString());
        fixture.poll({other});
        fixture.stopPolls();
        TRY(difficulty(fixture, "普通") != nullptr);
        QTest::keyClick(difficulty(fixture, "普通"), Qt::Key_Down);
        fixture.server.rooms = {fixture.room("you me", R"("id":"8")")};
        Q_EMIT fixture.client()->roomActionResult(text("map-options"), true, {}, {}, QString());
        TRY(difficulty(fixture, "普通") != nullptr && !difficulty(fixture, "普通")->isEnabled());
    }

    // A slot's number, the entry and what the player reads at once; the action's word and its body, and what is read
    // then.
    void hostMenu_data() {
        QTest::addColumn<int>("slot");
        QTest::addColumn<QByteArray>("word");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("told");
        const auto row = [](const char* entry, int slot, const char* word, const char* body, const char* told) {
            QTest::newRow(entry) << slot << QByteArray(word) << QByteArray(body) << text(told);
        };
        row("换到此槽位", 3, "move-slot", R"({"target_slot":3})", "换位置中...|");
        row("踢人", 2, "kick", R"({"target_slot":2})", "正在踢出玩家...|房间设置已更新。");
        row("换房主", 2, "transfer-host", R"({"target_slot":2})", "正在移交房主...|房间设置已更新。");
        row("关闭槽位", 3, "lock-slot", R"({"slot":3})", "正在关闭槽位...|房间设置已更新。");
        row("打开槽位", 4, "unlock-slot", R"({"slot":4})", "正在打开槽位...|房间设置已更新。");
        row("添加电脑", 3, "slot-meta", R"({"mode":"computer","slot":3})", "正在添加电脑...|房间设置已更新。");
        row("设为观战槽位", 3, "slot-meta", R"({"mode":"observer","slot":3})", "正在设置为观战槽...|房间设置已更新。");
    }
    void hostMenu() {
        QFETCH(const int, slot);
        QFETCH(const QByteArray, word);
        QFETCH(const QByteArray, body);
        QFETCH(const QString, told);
        WindowFixture fixture;
        fixture.enterRoom(
            fixture.room("me you", R"("slot_meta":[{"slot":1},{"slot":2},{"slot":3},{"slot":4,"locked":true}])"));
        fixture.stopPolls();
        QString atOnce;
        fixture.chooseInMenu(slot - 1, QTest::currentDataTag(), [&] { atOnce = fixture.status(); });
        TRY(fixture.server.sent(word).size() == 1 && fixture.enabled("退出房间"));
        QJsonObject sent = fixture.server.sent(word)[0];
        for (const char* credential : {"username", "player_name", "auth_token"}) {
            sent.remove(text(credential));
        }
        QCOMPARE(QJsonDocument(sent).toJson(QJsonDocument::Compact), body);
        QCOMPARE(atOnce + u'|' + fixture.status(), told);
        Q_EMIT fixture.slotTable()->cellDoubleClicked(1, 0);
        QCOMPARE(fixture.status(), text("这个位置已经有人，不能换过去。"));
    }

    // The room is gone, or the seat.
    void takenOut() {
        for (const char* seats : {"", "you him"}) {
            WindowFixture fixture;
            fixture.enterRoom(fixture.room("you me"));
            const bool gone = *seats == '\0';
            fixture.poll(gone ? QJsonArray() : QJsonArray{fixture.room(seats)});
            const char* message = gone ? "房间已关闭，已返回大厅。" : "你已被移出房间。";
            QVERIFY(fixture.shows(message) && fixture.roomTable()->isVisible());
            QVERIFY(fixture.window->close() && fixture.server.sent("leave").isEmpty());
        }
    }

    void hugeRoom() {
        WindowFixture fixture;
        const QString slots = text(R"({"slot_label":"<b>格"},)").repeated(5000).chopped(1);
        const QString lines = text(R"({"text":"%1"},)").arg(QString(200, u'x')).repeated(5000).chopped(1);
        const QString fields =
            text(R"("slot_meta":[%1],"messages":[%2],"name":"%3","mode":"%4","map_options":{"k":"a\u202E\nb"})");
        const QString filled = fields.arg(slots, lines, QString(10'000, u'n'), text("<b>").repeated(1000));
        const QJsonObject room = fixture.room("you me", filled.toUtf8());
        fixture.enterRoom(room);
        QCOMPARE(fixture.slotTable()->rowCount(), 256);
        fixture.poll({room});
        // What a choice is shown as is not what it is.
        TRY(difficulty(fixture, "a b") != nullptr);
        QCOMPARE(difficulty(fixture, "a b")->currentData(), QVariant(text("a\u202E\nb")));
        QVERIFY(fixture.isUnspoilt());
    }
};

NETPLAY_TEST(RoomPageTest);
#include "room_page_test.moc"
