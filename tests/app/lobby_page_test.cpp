// The lobby page: search, selection under polls, private rooms, the map gate.
#include "support/test_registry.h"
#include "window_fixture.h"

#include <QInputDialog>
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

    void unreadableMap() {
        WindowFixture fixture;
        QVERIFY(QFile::remove(fixture.path("gametest/map/10078/10078.o")));
        fixture.server.rooms = {fixture.room("host")};
        fixture.signIn();
        fixture.roomTable()->selectRow(0);
        fixture.press("进入房间");
        TRY(fixture.shows("地图文件不完整或无法读取，不能进入房间。"));
        QVERIFY(fixture.enabled("进入房间") && fixture.server.sent("join").isEmpty());
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
