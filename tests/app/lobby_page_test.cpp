// The lobby page: search, selection under polls, private rooms, the map gate.
#include "support/test_registry.h"
#include "window_fixture.h"

#include <QApplication>
#include <QInputDialog>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTextDocument>
#include <QTimer>

class LobbyPageTest : public QObject {
    Q_OBJECT

    QJsonArray manyRooms(const WindowFixture& fixture, int count) const {
        QJsonArray rooms;
        for (int i = 0; i < count; ++i) {
            QJsonObject room = fixture.room("host");
            room.insert(QStringLiteral("id"), QStringLiteral("r%1").arg(i));
            room.insert(QStringLiteral("name"), QStringLiteral("房间 %1").arg(i));
            rooms.append(room);
        }
        return rooms;
    }

private Q_SLOTS:
    void search() {
        WindowFixture fixture;
        fixture.server.rooms = manyRooms(fixture, 12);
        fixture.signIn();
        QTest::keyClicks(fixture.edit("搜索房间、地图、房主或玩家"), QStringLiteral("1"));
        QCOMPARE(fixture.roomTable()->rowCount(), 12);  // "10078" has a 1
        QTest::keyClicks(fixture.edit("搜索房间、地图、房主或玩家"), QStringLiteral("1"));
        QCOMPARE(fixture.roomTable()->rowCount(), 1);
        fixture.roomTable()->selectRow(0);
        QVERIFY(fixture.button("进入房间")->isEnabled());
        QTest::keyClick(fixture.edit("搜索房间、地图、房主或玩家"), Qt::Key_Z);
        QVERIFY(fixture.roomTable()->rowCount() == 0 && !fixture.button("进入房间")->isEnabled());
        fixture.edit("搜索房间、地图、房主或玩家")->clear();
        QCOMPARE(fixture.roomTable()->rowCount(), 12);
    }

    // A hundred polls that bring nothing new leave everything as it is.
    void quietPolls() {
        WindowFixture fixture;
        fixture.server.rooms = manyRooms(fixture, 60);
        fixture.signIn();
        fixture.window->findChild<QTimer*>(QStringLiteral("roomPollTimer"))->stop();
        QTableWidget* table = fixture.roomTable();
        table->selectRow(40);
        table->verticalScrollBar()->setValue(17);
        fixture.edit("搜索房间、地图、房主或玩家")->setFocus();
        for (int row = 0; row < table->rowCount(); ++row) {
            table->item(row, 3)->setData(Qt::UserRole + 9, row + 1);
        }
        QSignalSpy inserted(table->model(), &QAbstractItemModel::rowsInserted);
        QSignalSpy removed(table->model(), &QAbstractItemModel::rowsRemoved);
        QSignalSpy changed(table->model(), &QAbstractItemModel::dataChanged);
        QSignalSpy selected(table, &QTableWidget::itemSelectionChanged);
        QSignalSpy focused(qApp, &QApplication::focusChanged);
        QSignalSpy scrolled(table->verticalScrollBar(), &QScrollBar::valueChanged);
        for (int i = 0; i < 100; ++i) {
            fixture.poll(manyRooms(fixture, 60));
            QCoreApplication::processEvents();
        }
        QCOMPARE(inserted.size() + removed.size() + changed.size() + selected.size() + focused.size() + scrolled.size(),
                 0);
        for (int row = 0; row < table->rowCount(); ++row) {
            QCOMPARE(table->item(row, 3)->data(Qt::UserRole + 9).toInt(), row + 1);
        }
        QVERIFY(table->currentRow() == 40 && fixture.button("进入房间")->isEnabled());
        fixture.poll(manyRooms(fixture, 59));
        QVERIFY(table->rowCount() == 59 && !fixture.button("进入房间")->isEnabled());
    }

    void privateRoom() {
        WindowFixture fixture;
        QJsonObject room = fixture.room("host");
        room.insert(QStringLiteral("has_password"), true);
        room.insert(QStringLiteral("name"), QStringLiteral("<b>房间</b>"));
        fixture.server.rooms = {room};
        fixture.server.answers = {{"join", refusal("wrong password")}};
        fixture.signIn();
        for (const bool accepts : {false, true}) {
            fixture.roomTable()->selectRow(0);
            TRY(fixture.button("进入房间")->isEnabled());
            bool asked = false;
            QTimer answering;
            connect(&answering, &QTimer::timeout, this, [&] {
                if (auto* dialog = qobject_cast<QInputDialog*>(QApplication::activeModalWidget())) {
                    asked = dialog->windowTitle() == QStringLiteral("私有房间") &&
                            dialog->labelText() == QStringLiteral("房间《<b>房间</b>》需要密码：") &&
                            dialog->findChild<QLabel*>()->textFormat() == Qt::PlainText;
                    QTest::keyClicks(dialog->findChild<QLineEdit*>(), QStringLiteral("pass"));
                    answering.stop();
                    accepts ? dialog->accept() : dialog->reject();
                }
            });
            answering.start(20);
            const QRect row = fixture.roomTable()->visualItemRect(fixture.roomTable()->item(0, 2));
            QTest::mouseClick(fixture.roomTable()->viewport(), Qt::LeftButton, {}, row.center());
            QTest::mouseDClick(fixture.roomTable()->viewport(), Qt::LeftButton, {}, row.center());
            TRY(asked && !answering.isActive());
            QCOMPARE(fixture.server.sent("join").size() <= (accepts ? 1 : 0), true);
        }
        TRY(fixture.shows("[join] wrong password"));
        QCOMPARE(fixture.server.sent("join").first().value(QStringLiteral("password")),
                 QJsonValue(QStringLiteral("pass")));
        QVERIFY(fixture.button("进入房间")->isEnabled());
    }

    void mapGate_data() {
        QTest::addColumn<QString>("message");
        QTest::newRow("map_fingerprint=") << QStringLiteral("房间缺少地图校验信息，请房主重新创建房间。");
        QTest::newRow("map_fingerprint=sha256:0:0") << QStringLiteral("地图版本不一致，请更新为房主地图版本。");
        QTest::newRow("map_fingerprint_algo=md5") << QStringLiteral("房间地图校验算法不支持，请更新客户端。");
        QTest::newRow("map_id=other") << QStringLiteral("本地缺少该地图。");
    }
    void mapGate() {
        QFETCH(QString, message);
        WindowFixture fixture;
        const QStringList change = QString::fromUtf8(QTest::currentDataTag()).split(QLatin1Char('='));
        QJsonObject room = fixture.room("host");
        room.insert(change[0], change[1]);
        fixture.server.rooms = {room};
        fixture.signIn();
        fixture.roomTable()->selectRow(0);
        QTest::mouseClick(fixture.button("进入房间"), Qt::LeftButton);
        TRY(fixture.shows(message.toUtf8().constData()));
        QVERIFY(fixture.button("进入房间")->isEnabled() && fixture.server.sent("join").isEmpty());
    }

    void incompleteMap() {
        WindowFixture fixture;
        QVERIFY(QFile::remove(fixture.folder.filePath(QStringLiteral("game/map/10078/10078.o"))));
        fixture.server.rooms = {fixture.room("host")};
        fixture.signIn();
        fixture.roomTable()->selectRow(0);
        QTest::mouseClick(fixture.button("进入房间"), Qt::LeftButton);
        TRY(fixture.shows("地图文件不完整或无法读取，不能进入房间。"));
        QVERIFY(fixture.button("进入房间")->isEnabled());
    }

    // Whatever the server calls things, the window keeps its shape and shows letters.
    void hostileTexts() {
        WindowFixture fixture;
        QJsonArray rooms = manyRooms(fixture, 5000);
        for (const char* name : {"<img src=x>", "two\nlines\r\n", "\u202Eright to left", "😀"}) {
            QJsonObject room = fixture.room("host");
            const QString text = QString::fromUtf8(name).repeated(500);
            room.insert(QStringLiteral("name"), text);
            room.insert(QStringLiteral("map_name"), text);
            room.insert(QStringLiteral("status"), text);
            rooms.prepend(room);
        }
        fixture.server.rooms = rooms;
        fixture.signIn();
        const QSize size = fixture.window->size();
        Q_EMIT fixture.client()->actionResult(QStringLiteral("<b>x"), false, QString(10'000, QLatin1Char('x')));
        Q_EMIT fixture.client()->roomActionResult(QStringLiteral("join"), false, {}, {},
                                                  QString(10'000, QLatin1Char('x')));
        QCoreApplication::processEvents();
        QVERIFY(fixture.window->size() == size && fixture.window->minimumSizeHint().width() <= 820);
        QCOMPARE(fixture.roomTable()->rowHeight(0), fixture.roomTable()->rowHeight(100));
        QVERIFY(!fixture.roomTable()->horizontalScrollBar()->isVisible());
        for (const auto* label : fixture.window->findChildren<QLabel*>()) {
            QVERIFY(label->textFormat() == Qt::PlainText || !Qt::mightBeRichText(label->text()));
        }
    }
};

NETPLAY_TEST(LobbyPageTest);
#include "lobby_page_test.moc"
