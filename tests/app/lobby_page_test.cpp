// The lobby page: search, selection under polls, private rooms, the map gate.
#include "app/create_room_dialog.h"
#include "lobby/room_decoder.h"
#include "support/test_registry.h"
#include "window_fixture.h"

#include <QInputDialog>
#include <QPushButton>
#include <QScrollBar>

class LobbyPageTest : public QObject {
    Q_OBJECT

    QJsonArray manyRooms(const WindowFixture& fixture, int count) const {
        QJsonArray rooms;
        for (int i = 0; i < count; ++i) {
            rooms.append(fixture.room("host", text(R"("id":"r%1","name":"房间 %1")").arg(i).toUtf8()));
        }
        return rooms;
    }

private Q_SLOTS:
    void quietPollsAndSearch() {
        WindowFixture fixture;
        fixture.server.rooms = manyRooms(fixture, 60);
        fixture.signIn();
        QTableWidget* table = fixture.roomTable();
        table->selectRow(40);
        table->verticalScrollBar()->setValue(17);
        QLineEdit* search = fixture.edit("搜索房间、地图、房主或玩家");
        search->setFocus();
        QCOMPARE(fixture.changesUnderPolls(table, table->verticalScrollBar(), manyRooms(fixture, 60)), 0);
        QVERIFY(table->currentRow() == 40 && fixture.enabled("进入房间"));
        fixture.poll(manyRooms(fixture, 59));
        QVERIFY(table->rowCount() == 59 && !fixture.enabled("进入房间"));
        QCOMPARE(table->verticalScrollBar()->value(), 17);
        // The keyboard may be at a row that is not selected.
        table->setCurrentCell(3, 0, QItemSelectionModel::NoUpdate);
        fixture.poll(manyRooms(fixture, 59));
        QVERIFY(!fixture.enabled("进入房间"));
        QTest::keyClicks(search, text("R58"));
        QCOMPARE(table->rowCount(), 1);
        table->selectRow(0);
        QVERIFY(fixture.enabled("进入房间"));
        search->clear();
        QVERIFY(table->rowCount() == 59 && !fixture.enabled("进入房间"));
    }

    // A search by keys in the table goes on over a poll that brings a change, and the row under the pointer stays one.
    void typingInTheTable() {
        WindowFixture fixture;
        const auto named = [&](const char* more) {
            QJsonArray rooms;
            for (int i = 0; i < 30; ++i) {
                const QString fields = text(R"("id":"r%1","name":"room %1","map_name":"map %2")");
                rooms.append(fixture.room("host", fields.arg(i).arg(text(more)).toUtf8()));
            }
            return rooms;
        };
        fixture.server.rooms = named("");
        fixture.signIn();
        fixture.stopPolls();
        QApplication::setKeyboardInputInterval(10 * kPatienceMs);
        QTableWidget* table = fixture.roomTable();
        const QPersistentModelIndex hovered = table->model()->index(5, 0);
        table->setFocus();
        QTest::keyClicks(table, text("room 1"));
        QCOMPARE(table->currentRow(), 1);
        fixture.poll(named("again"));
        QVERIFY(table->item(5, 3)->text().contains(text("again")) && hovered.isValid());
        QTest::keyClicks(table, text("7"));
        QCOMPARE(table->currentRow(), 17);
        QVERIFY(fixture.enabled("进入房间"));
    }

    void privateRoom() {
        WindowFixture fixture;
        fixture.server.rooms = {fixture.room("host", R"("has_password":true,"name":"<b>房间</b>")")};
        fixture.server.answers = {{"join", refusal("wrong password")}};
        fixture.signIn();
        QTableWidget* table = fixture.roomTable();
        for (const bool accepts : {false, true}) {
            table->selectRow(0);
            TRY(fixture.enabled("进入房间"));
            QString asked;
            fixture.whenShown<QInputDialog>([&](QInputDialog& dialog) {
                const bool plain = dialog.findChild<QLabel*>()->textFormat() == Qt::PlainText;
                asked = dialog.windowTitle() + dialog.labelText() + text(plain ? "" : "rich");
                QTest::keyClicks(dialog.findChild<QLineEdit*>(), text("pass"));
                accepts ? dialog.accept() : dialog.reject();
            });
            const QPoint row = table->visualItemRect(table->item(0, 2)).center();
            QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, row);
            QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, row);
            TRY_COMPARE(asked, text("私有房间房间《<b>房间</b>》需要密码："));
        }
        TRY(fixture.shows("[join] wrong password"));
        QCOMPARE(fixture.server.sent("join").size(), 1);
        QCOMPARE(fixture.server.sent("join")[0].value(text("password")), QJsonValue(text("pass")));
        QVERIFY(fixture.enabled("进入房间"));
    }

    // Nobody gets into a room, nor makes one, without the map; nothing is sent. The room's fields, what is gone from
    // the map folder, and what the player reads on joining or, with "+", on creating.
    void gates_data() {
        QTest::addColumn<QByteArray>("fields");
        QTest::addColumn<QString>("gone");
        const auto row = [](const char* words, const char* fields, const char* gone = "") {
            QTest::newRow(words) << QByteArray(fields) << text(gone);
        };
        row("地图版本不一致，请更新为房主地图版本。", R"("map_fingerprint":"sha256:other:map")");
        row("地图文件不完整或无法读取，不能进入房间。", "", "10078/10078.o");
        row("+地图文件不完整或无法读取，不能创建房间。", "", "10078/10078.o");
        row("+本地找不到所选地图，不能创建房间。", "", "10078");
    }
    void gates() {
        QFETCH(const QByteArray, fields);
        QFETCH(const QString, gone);
        const QString words = text(QTest::currentDataTag());
        WindowFixture fixture;
        const QString path = fixture.path(text("gametest/map/") + gone);
        QVERIFY(gone.isEmpty() || QFile::remove(path) || QDir(path).removeRecursively());
        fixture.server.rooms = {fixture.room("host", fields)};
        fixture.open();
        fixture.press("登录");
        TRY(fixture.told("地图已加载:") == 1 && fixture.roomTable()->rowCount() == 1 && fixture.enabled("刷新"));
        fixture.stopPolls();
        // The second time the map's fingerprint is known.
        for (const char* time : {"first", "second"}) {
            fixture.roomTable()->selectRow(0);
            if (words.startsWith(u'+')) {
                fixture.whenShown<CreateRoomDialog>(
                    [](CreateRoomDialog& dialog) { dialog.findChild<QPushButton*>(text("primary"))->click(); });
            }
            fixture.press(words.startsWith(u'+') ? "＋ 创建游戏" : "进入房间");
            const QString expected = words.mid(words.startsWith(u'+') ? 1 : 0);
            TRY(fixture.status() == expected);
            QVERIFY2(fixture.enabled("进入房间") && fixture.enabled("＋ 创建游戏"), time);
        }
        QVERIFY(fixture.server.sent("join").isEmpty() && fixture.server.sent("create").isEmpty());
    }

    void startsFromTheCache() {
        WindowFixture fixture;
        fixture.signIn();
        TRY(fixture.told("地图已加载:1 张，可以创建游戏。") == 1);
        fixture.open();
        fixture.press("登录");
        TRY(fixture.told("地图缓存已加载:1 张，后台继续检查更新。") == 1);
    }

    // A new room is in the list once, whether or not the reply tells of all rooms.
    void aNewRoomIsListedOnce() {
        for (const int told : {0, 1}) {
            WindowFixture fixture;
            fixture.signIn();
            fixture.stopPolls();
            const RoomInfo room = decodeRoom(fixture.room("me"), text("me"));
            Q_EMIT fixture.client()->roomCreated(true, room, QVector<RoomInfo>(told, room), QString());
            QCOMPARE(fixture.roomTable()->rowCount(), 1);
        }
    }

    // Whatever the server calls things, the window keeps its shape and shows letters.
    void hostileTexts() {
        WindowFixture fixture;
        fixture.server.rooms = manyRooms(fixture, 5000);
        for (const char* name : {"<img src=x>", R"(two\nlines\r\n)", "\u202Eright to left", "😀"}) {
            const QString fields = text(R"("id":"%1","name":"%1","map_name":"%1","status":"%1")");
            fixture.server.rooms.prepend(fixture.room("host", fields.arg(text(name).repeated(500)).toUtf8()));
        }
        fixture.signIn();
        const QSize size = fixture.window->size();
        const QString longText(10'000, QLatin1Char('x'));
        Q_EMIT fixture.client()->actionResult(text("<b>x"), false, longText);
        Q_EMIT fixture.client()->roomActionResult(text("join"), false, {}, {}, longText);
        QCoreApplication::processEvents();
        QVERIFY(fixture.isUnspoilt() && fixture.window->size() == size);
        QCOMPARE(fixture.roomTable()->rowHeight(0), fixture.roomTable()->rowHeight(100));
        QVERIFY(!fixture.roomTable()->horizontalScrollBar()->isVisible());
    }
};

NETPLAY_TEST(LobbyPageTest);
#include "lobby_page_test.moc"
