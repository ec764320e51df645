// The room page: actions, quiet polls, and the ways out of a room.
#include "support/test_registry.h"
#include "window_fixture.h"

#include <QApplication>
#include <QComboBox>
#include <QMenu>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTextDocument>
#include <QTextEdit>
#include <QTimer>

class RoomPageTest : public QObject {
    Q_OBJECT

    // The box of the map's first option; null for the moment until a new one is on screen.
    QComboBox* difficulty(const WindowFixture& fixture) const {
        for (auto* combo : fixture.window->findChildren<QComboBox*>()) {
            if (combo->isVisible() && combo->findText(QStringLiteral("困难")) >= 0) {
                return combo;
            }
        }
        return nullptr;
    }

    QString chosenDifficulty(const WindowFixture& fixture) const {
        const QComboBox* combo = difficulty(fixture);
        return combo == nullptr ? QString() : combo->currentText();
    }

    QJsonObject busyRoom(const WindowFixture& fixture) const {
        QJsonObject room = fixture.room("me you+ him");
        QJsonArray messages;
        for (int i = 0; i < 40; ++i) {
            messages.append(QJsonObject{{QStringLiteral("text"), QStringLiteral("第 %1 句").arg(i)}});
        }
        room.insert(QStringLiteral("messages"), messages);
        return room;
    }

private Q_SLOTS:
    void actions() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("host me"));
        QCOMPARE(fixture.statusBarText(), QStringLiteral("已进入房间。"));
        TRY(!fixture.server.sent("heartbeat").isEmpty());
        QVERIFY(fixture.button("开始游戏") == nullptr);
        fixture.server.rooms = {fixture.room("host me+")};
        QTest::mouseClick(fixture.button("准备"), Qt::LeftButton);
        TRY(fixture.button("取消准备") != nullptr && fixture.button("取消准备")->isEnabled());
        QCOMPARE(fixture.server.sent("ready").first().value(QStringLiteral("ready")), QJsonValue(true));
        QVERIFY(!fixture.button("退出房间")->isEnabled());
        QCOMPARE(fixture.button("退出房间")->toolTip(), QStringLiteral("已准备时不能退出，先取消准备。"));
        QMetaObject::invokeMethod(fixture.window.get(), "onBackToLobby");
        QCOMPARE(fixture.statusBarText(), QStringLiteral("已准备时不能退出，请先取消准备。"));

        QTest::keyClicks(fixture.edit("输入聊天内容"), QStringLiteral("  hi  "));
        QTest::keyClick(fixture.edit("输入聊天内容"), Qt::Key_Return);
        QVERIFY(fixture.edit("输入聊天内容")->text().isEmpty() && !fixture.edit("输入聊天内容")->isEnabled());
        TRY(fixture.statusBarText() == QStringLiteral("消息已发送。"));
        QCOMPARE(fixture.server.sent("chat").first().value(QStringLiteral("text")), QJsonValue(QStringLiteral("hi")));

        fixture.server.rooms = {fixture.room("host me")};
        fixture.server.answers = {{"leave", refusal("try later")}};
        TRY(fixture.button("取消准备") != nullptr && fixture.button("取消准备")->isEnabled());
        QTest::mouseClick(fixture.button("取消准备"), Qt::LeftButton);
        TRY(fixture.button("准备") != nullptr && fixture.button("退出房间")->isEnabled());
        QTest::mouseClick(fixture.button("退出房间"), Qt::LeftButton);
        TRY(fixture.statusBarText() == QStringLiteral("[leave] try later"));
        fixture.server.answers = {{"leave", refusal("You are NOT IN ROOM 7")}};
        QTest::mouseClick(fixture.button("退出房间"), Qt::LeftButton);
        TRY(fixture.roomTable()->isVisible());
        QVERIFY(fixture.slotTable()->rowCount() == 2 && fixture.server.sent("leave").size() == 2);
    }

    // A hundred polls that bring nothing new leave everything as it is, an open drop-down too.
    void quietPolls() {
        WindowFixture fixture;
        const QJsonObject room = busyRoom(fixture);
        fixture.enterRoom(room);
        fixture.window->findChild<QTimer*>(QStringLiteral("roomPollTimer"))->stop();
        fixture.poll({room});
        QTableWidget* table = fixture.slotTable();
        table->selectRow(1);
        table->item(1, 2)->setData(Qt::UserRole + 9, 1);
        auto* chat = fixture.window->findChild<QTextEdit*>();
        chat->verticalScrollBar()->setValue(5);
        QTest::keyClicks(fixture.edit("输入聊天内容"), QStringLiteral("half a sen"));
        TRY(difficulty(fixture) != nullptr);
        QComboBox* combo = difficulty(fixture);
        combo->showPopup();
        TRY(combo->view()->isVisible());
        QSignalSpy changed(table->model(), &QAbstractItemModel::dataChanged);
        QSignalSpy selected(table, &QTableWidget::itemSelectionChanged);
        QSignalSpy focused(qApp, &QApplication::focusChanged);
        QSignalSpy scrolled(chat->verticalScrollBar(), &QScrollBar::valueChanged);
        QSignalSpy edited(chat->document(), &QTextDocument::contentsChanged);
        for (int i = 0; i < 100; ++i) {
            fixture.poll({busyRoom(fixture)});
            QCoreApplication::processEvents();
        }
        QCOMPARE(changed.size() + selected.size() + focused.size() + scrolled.size() + edited.size(), 0);
        QVERIFY(combo->view()->isVisible() && table->currentRow() == 1);
        QCOMPARE(table->item(1, 2)->data(Qt::UserRole + 9).toInt(), 1);
        QCOMPARE(fixture.edit("输入聊天内容")->text(), QStringLiteral("half a sen"));
        combo->hidePopup();

        // News of one player keeps the selection by its slot, and the rest.
        fixture.poll({fixture.room("me you him+")});
        QVERIFY(table->currentRow() == 1 && table->item(1, 3)->text() == QStringLiteral("未准备"));
        QCOMPARE(fixture.edit("输入聊天内容")->text(), QStringLiteral("half a sen"));
    }

    // A choice stands while the server still reports the old one, until it has confirmed it.
    void optionsUnderPolls() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("me you"));
        fixture.window->findChild<QTimer*>(QStringLiteral("roomPollTimer"))->stop();
        TRY(chosenDifficulty(fixture) == QStringLiteral("普通"));
        fixture.server.answers = {{"map-options", Script()}};
        QTest::keyClick(difficulty(fixture), Qt::Key_Down);
        fixture.poll({fixture.room("me you")});
        fixture.poll({fixture.room("me you him")});
        TRY(chosenDifficulty(fixture) == QStringLiteral("困难"));
        TRY(fixture.server.sent("map-options").size() == 1);
        const QJsonObject sent = fixture.server.sent("map-options").first();
        QCOMPARE(sent.value(QStringLiteral("map_options")).toObject().value(QStringLiteral("难度")).toString(),
                 QStringLiteral("困难"));
        QVERIFY(fixture.edit("输入聊天内容")->isEnabled());
        fixture.server.rooms = {fixture.room("you me")};
        Q_EMIT fixture.client()->roomActionResult(QStringLiteral("map-options"), true, {}, {}, QString());
        TRY(chosenDifficulty(fixture) == QStringLiteral("普通") && !difficulty(fixture)->isEnabled());
    }

    void hostMenu() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("me you"));
        fixture.window->findChild<QTimer*>(QStringLiteral("roomPollTimer"))->stop();
        QTableWidget* table = fixture.slotTable();
        QStringList enabled;
        QTimer choosing;
        connect(&choosing, &QTimer::timeout, this, [&] {
            if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
                choosing.stop();
                for (QAction* action : menu->actions()) {
                    if (action->isEnabled() && !action->isSeparator()) {
                        enabled += action->text();
                    }
                    if (action->text() == QStringLiteral("踢人")) {
                        action->trigger();
                    }
                }
                menu->close();
            }
        });
        choosing.start(20);
        Q_EMIT table->customContextMenuRequested(table->visualItemRect(table->item(1, 2)).center());
        QCOMPARE(enabled, QStringList({QStringLiteral("踢人"), QStringLiteral("换房主")}));
        TRY(fixture.statusBarText() == QStringLiteral("房间设置已更新。"));
        QCOMPARE(fixture.server.sent("kick").first().value(QStringLiteral("target_slot")).toInt(), 2);
        Q_EMIT table->cellDoubleClicked(1, 0);
        QCOMPARE(fixture.statusBarText(), QStringLiteral("这个位置已经有人，不能换过去。"));
    }

    void takenOut_data() {
        QTest::addColumn<QString>("message");
        QTest::newRow("") << QStringLiteral("房间已关闭，已返回大厅。");
        QTest::newRow("you him") << QStringLiteral("你已被移出房间。");
    }
    void takenOut() {
        QFETCH(QString, message);
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("you me"));
        const char* seats = QTest::currentDataTag();
        fixture.poll(*seats == 0 ? QJsonArray() : QJsonArray{fixture.room(seats)});
        QVERIFY(fixture.shows(message.toUtf8().constData()) && fixture.roomTable()->isVisible());
        QVERIFY(fixture.window->close() && fixture.server.sent("leave").isEmpty());
    }

    // A room in play is left without a word to the server.
    void backFromAMatch() {
        WindowFixture fixture;
        fixture.enterRoom(fixture.room("you me+"));
        fixture.poll({fixture.room("you me+", "playing")});
        QVERIFY(!fixture.button("游戏中")->isEnabled());
        QTest::mouseClick(fixture.button("返回大厅"), Qt::LeftButton);
        QVERIFY(fixture.roomTable()->isVisible() && fixture.server.sent("leave").isEmpty());
    }

    void hugeRoom() {
        WindowFixture fixture;
        QJsonObject room = fixture.room("you me");
        QJsonArray slots;
        QJsonArray messages;
        for (int i = 1; i <= 5000; ++i) {
            slots.append(
                QJsonObject{{QStringLiteral("slot"), i}, {QStringLiteral("slot_label"), QStringLiteral("<b>格")}});
            messages.append(QJsonObject{{QStringLiteral("text"), QString(200, QLatin1Char('x'))}});
        }
        room.insert(QStringLiteral("slot_meta"), slots);
        room.insert(QStringLiteral("messages"), messages);
        room.insert(QStringLiteral("name"), QString(10'000, QLatin1Char('n')));
        room.insert(QStringLiteral("mode"), QStringLiteral("<b>").repeated(1000));
        fixture.enterRoom(room);
        QCOMPARE(fixture.slotTable()->rowCount(), 5000);
        fixture.poll({room});
        QVERIFY(fixture.window->minimumSizeHint().width() <= 820 && fixture.window->width() <= 940);
        for (const auto* label : fixture.window->findChildren<QLabel*>()) {
            QVERIFY(label->textFormat() == Qt::PlainText || !Qt::mightBeRichText(label->text()));
        }
    }
};

NETPLAY_TEST(RoomPageTest);
#include "room_page_test.moc"
