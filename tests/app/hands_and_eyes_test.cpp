// The window by the keyboard alone, and what is in view of it.
#include "app/create_room_dialog.h"
#include "support/test_registry.h"
#include "widgets/theme.h"
#include "window_fixture.h"

#include <QApplication>
#include <QComboBox>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTextEdit>

class HandsAndEyesTest : public QObject {
    Q_OBJECT

    static QString nameOf(const QWidget* widget) {
        for (const char* property : {"placeholderText", "text", "currentText"}) {
            const QString name = widget->property(property).toString();
            if (!name.isEmpty()) {
                return name;
            }
        }
        return text(widget->metaObject()->className());
    }

    // What Tab goes through, beginning behind `first`, until it comes round.
    static QString tabOrder(QWidget* window, QWidget* first) {
        first->setFocus();
        QStringList names;
        do {
            QTest::keyClick(window->focusWidget(), Qt::Key_Tab);
            names += nameOf(window->focusWidget());
        } while (window->focusWidget() != first && names.size() < 40);
        return names.join(u' ');
    }

    static bool isInView(const QTableWidget* table, int row) {
        return table->viewport()->rect().contains(table->visualItemRect(table->item(row, 0)));
    }

    static void pressByKey(QWidget* button, Qt::Key key) {
        button->setFocus();
        QTest::keyClick(button, key);
    }

private Q_SLOTS:
    void initTestCase() {
        qApp->setStyleSheet(applicationStyleSheet());
        colorPlaceholders(*qApp);
    }
    void cleanupTestCase() { qApp->setStyleSheet({}); }

    void tabFollowsTheEye() {
        WindowFixture fixture;
        fixture.open();
        QCOMPARE(tabOrder(fixture.window.get(), fixture.edit("账号")), text("密码 登录 没有账户？去注册 设置 账号"));
        fixture.press("没有账户？去注册");
        QCOMPARE(tabOrder(fixture.window.get(), fixture.edit("用户名 (2-15个字符)")),
                 text("密码 (至少4个字符) 确认密码 注册 已有账户？去登录 设置 用户名 (2-15个字符)"));
        fixture.window.reset();

        fixture.enterRoom(fixture.room("me you+"));
        QCOMPARE(tabOrder(fixture.window.get(), fixture.edit("输入聊天内容")),
                 text("普通 1000 开始游戏 退出房间 QTableWidget QTextEdit 输入聊天内容"));
        fixture.press("退出房间");
        TRY(fixture.roomTable()->isVisible() && fixture.enabled("刷新"));
        fixture.roomTable()->selectRow(0);
        QCOMPARE(tabOrder(fixture.window.get(), fixture.roomTable()),
                 text("进入房间 设置 退出登录 刷新 ＋ 创建游戏 搜索房间、地图、房主或玩家 QTableWidget"));
        QString inDialog;
        fixture.whenShown<CreateRoomDialog>([&](CreateRoomDialog& dialog) {
            inDialog = tabOrder(&dialog, dialog.findChild<QLineEdit*>());
            dialog.reject();
        });
        fixture.press("＋ 创建游戏");
        TRY_COMPARE(inDialog, text("QListWidget 设置密码 游戏名称 普通 1000 创建游戏 退出 搜索地图"));
    }

    // From sign-in into a room of one's own, and out of one into another.
    void keysAlone() {
        WindowFixture fixture;
        fixture.server.rooms = {fixture.room("host me")};
        fixture.open();
        QTest::keyClick(fixture.edit("密码"), Qt::Key_Return);
        TRY(fixture.roomTable()->rowCount() == 1 && fixture.enabled("＋ 创建游戏"));
        pressByKey(fixture.button("设置"), Qt::Key_Return);
        TRY(fixture.button("保存") != nullptr);
        QTest::keyClick(fixture.window->focusWidget(), Qt::Key_Escape);
        TRY(fixture.roomTable()->isVisible());
        fixture.whenShown<CreateRoomDialog>(
            [&](CreateRoomDialog&) { QTest::keyClick(fixture.edit("游戏名称"), Qt::Key_Return); });
        pressByKey(fixture.button("＋ 创建游戏"), Qt::Key_Enter);
        TRY(fixture.slotTable()->isVisible());
        QCOMPARE(fixture.server.sent("create").size(), 1);
        QCOMPARE(fixture.window->focusWidget(), fixture.edit("输入聊天内容"));
        fixture.edit("输入聊天内容")->setText(text("half a wo"));
        fixture.slotTable()->selectRow(1);
        fixture.stopPolls();
        fixture.poll({});
        QVERIFY(fixture.roomTable()->isVisible());
        fixture.server.rooms = {fixture.room("host", R"("id":"8")")};
        fixture.press("刷新");
        TRY(fixture.roomTable()->rowCount() == 1 && fixture.enabled("刷新"));
        fixture.server.rooms = {fixture.room("host me", R"("id":"8")")};
        fixture.window->activateWindow();
        fixture.roomTable()->setFocus();
        TRY(QApplication::focusWidget() == fixture.roomTable());
        QTest::keyClick(fixture.roomTable(), Qt::Key_Down);
        QTest::keyClick(fixture.roomTable(), Qt::Key_Return);
        TRY(fixture.slotTable()->isVisible());
        QCOMPARE(fixture.window->focusWidget(), fixture.edit("输入聊天内容"));
        QVERIFY(fixture.edit("输入聊天内容")->text().isEmpty() && fixture.slotTable()->selectedItems().isEmpty());
    }

    void inViewWhereItIsSmall() {
        WindowFixture fixture;
        QByteArray seats = "host";
        for (int seat = 2; seat <= 11; ++seat) {
            seats += " p" + QByteArray::number(seat);
        }
        QJsonObject room = fixture.room(seats + " me");
        QJsonArray messages;
        for (int i = 0; i < 30; ++i) {
            messages.append(QJsonObject{{text("from"), text("host")}, {text("text"), QString::number(i)}});
        }
        room.insert(text("messages"), messages);
        fixture.enterRoom(room);
        fixture.stopPolls();
        const QTableWidget* table = fixture.slotTable();
        TRY(isInView(table, 11));
        fixture.window->resize(820, 520);
        const QTextEdit* chat = fixture.window->findChild<QTextEdit*>();
        TRY(chat->height() < 150);
        QCOMPARE(chat->verticalScrollBar()->value(), chat->verticalScrollBar()->maximum());
        QVERIFY(chat->height() >= 92);
        fixture.slotTable()->scrollToTop();
        QVERIFY(isInView(table, 0) && isInView(table, 5));
        fixture.window->resize(940, 600);
        fixture.press("退出房间");
        fixture.press("设置");
        const auto* area = fixture.find<QScrollArea>("visible", true);
        QVERIFY(fixture.shows("兼容性"));
        const auto* heading = fixture.find<QLabel>("text", text("兼容性"));
        QVERIFY(area->viewport()->rect().contains(QRect(heading->mapTo(area->viewport(), QPoint()), heading->size())));
    }

    // The screen of the tests is smaller than the window and the dialog would be.
    void noLargerThanTheScreen() {
        const QSize screen = QGuiApplication::primaryScreen()->availableSize();
        WindowFixture fixture;
        fixture.signIn();
        QVERIFY(fixture.window->width() <= screen.width() && fixture.window->height() <= screen.height());
        QSize size;
        fixture.whenShown<CreateRoomDialog>([&size](CreateRoomDialog& dialog) {
            size = dialog.size();
            dialog.reject();
        });
        fixture.press("＋ 创建游戏");
        TRY(!size.isEmpty());
        QVERIFY(size.width() <= screen.width() && size.height() <= screen.height());
    }
};

NETPLAY_TEST(HandsAndEyesTest);
#include "hands_and_eyes_test.moc"
