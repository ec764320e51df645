// What a player reads: in Chinese, to its end, and for as long as it is true.
#include "app/translations.h"
#include "support/test_registry.h"
#include "window_fixture.h"

#include <QApplication>
#include <QInputDialog>
#include <QMenu>
#include <QTranslator>

class TextsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { installTranslations(*qApp); }
    void cleanupTestCase() { qDeleteAll(qApp->findChildren<QTranslator*>()); }

    void networkErrors() {
        const std::tuple<const char*, Script, const char*> rows[] = {
            {"", {"HTTP/1.1 200 OK\r\nContent-Length: 8388609\r\n\r\n{"}, "登录失败:服务器没有及时回应"},
            {"", {{}, true}, "登录失败:服务器中断了连接"},
            {"", ScriptedServer::reply("", "401 Oops"), "登录失败:服务器要求登录"},
            {"http://127.0.0.1:1", {}, "登录失败:连接被拒绝"},
            {"lobby://h", {}, "登录失败:大厅地址不能用（不支持“lobby”），请在设置里检查 Lobby 地址"}};
        for (const auto& [address, answer, told] : rows) {
            WindowFixture fixture;
            fixture.server.answers = {{"login", answer}};
            fixture.open();
            fixture.client()->setBaseUrl(*address == '\0' ? fixture.server.url() : text(address));
            fixture.press("登录");
            TRY_COMPARE(fixture.status(), text(told));
        }
    }

    // The status alone says it: there is no body, and Qt's text for it is in no language that is looked for.
    void lostSessions() {
        for (const char* word : {"rooms", "heartbeat", "ready"}) {
            WindowFixture fixture;
            fixture.enterRoom(fixture.room("you me"));
            fixture.server.answers = {{word, ScriptedServer::reply("", "401 Oops")}};
            fixture.press("准备");
            fixture.timer("roomPollTimer")->start(1);
            TRY(fixture.enabled("登录"));
            QVERIFY2(fixture.status().startsWith(text("登录已过期，请重新登录。")), qPrintable(fixture.status()));
        }
    }

    void promptsAndMenus() {
        WindowFixture fixture;
        fixture.server.rooms = {fixture.room("host", R"("is_private":true)")};
        fixture.signIn();
        fixture.roomTable()->selectRow(0);
        QStringList captions;
        fixture.whenShown<QInputDialog>([&](QInputDialog& dialog) {
            for (const auto* button : dialog.findChildren<QAbstractButton*>()) {
                captions += button->text();
            }
            const std::unique_ptr<QMenu> menu(dialog.findChild<QLineEdit*>()->createStandardContextMenu());
            captions += menu->actions().first()->text().section(u'\t', 0, 0);
            captions += fixture.status();  // the check of the map is over
            dialog.reject();
        });
        fixture.press("进入房间");
        TRY_COMPARE(captions.join(u' '), text("确定 取消 撤消(&U) "));
    }

    void toTheirEnd() {
        WindowFixture fixture;
        fixture.signIn();
        const QString message = text("<b>") + text("很长的话").repeated(100);
        Q_EMIT fixture.client()->roomActionResult(text("join"), false, {}, {}, message);
        auto* label = fixture.find<QLabel>("text", QString(text("[join] ") + message));
        QVERIFY(label != nullptr && label->textInteractionFlags().testFlag(Qt::TextSelectableByMouse));
        for (const QWidget* cut : std::initializer_list<const QWidget*>{label, fixture.window->statusBar()}) {
            QVERIFY2(cut->toolTip().contains(text("&lt;b&gt;") + message.mid(3)), qPrintable(cut->toolTip()));
        }
        // Its beginning is in view, a short text in the middle of its row.
        QVERIFY(label->height() < label->heightForWidth(label->width()) && label->alignment().testFlag(Qt::AlignTop));
    }

    void standingTroubles() {
        WindowFixture fixture;
        fixture.open();
        const auto* place = fixture.find<QLabel>("objectName", text("StandingTrouble"));
        QCOMPARE(place->text(), text("没有找到 game.exe"));
        QVERIFY(place->toolTip().contains(text("game.exe")) && place->toolTip().contains(text("core")));
        fixture.write("gametest/core/game.exe", {});
        fixture.press("登录");
        TRY(place->text().isEmpty() && place->toolTip().isEmpty() && fixture.told("地图已加载") == 1);
        fixture.stopPolls();
        const QString told = fixture.status();
        for (const char* expected : {"", "服务器没有回应", "服务器没有回应"}) {
            Q_EMIT fixture.client()->roomsUpdated({}, text("no answer"));
            QCOMPARE(place->text() + fixture.status(), text(expected) + told);
        }
        fixture.poll({});
        QCOMPARE(place->text(), QString());
    }
};

NETPLAY_TEST(TextsTest);
#include "texts_test.moc"
