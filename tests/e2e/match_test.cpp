// Matches of two real windows against a real lobby server, with real game processes.
#include "app/create_room_dialog.h"
#include "e2e/match_fixture.h"
#include "platform/files.h"
#include "platform/process.h"
#include "support/test_registry.h"
#include "widgets/theme.h"

#include <QApplication>
#include <QDirIterator>
#include <QInputMethodEvent>
#include <QSet>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

namespace {

// Hands connections on to a server, or drops them while it is closed.
class Gate : public QTcpServer {
public:
    explicit Gate(const QString& target) : target_(target) { listen(QHostAddress::LocalHost); }
    QString url() const { return text("http://127.0.0.1:%1").arg(serverPort()); }
    void shut() {
        open_ = false;
        // A connection that is kept for the next request goes too.
        for (auto* near : findChildren<QTcpSocket*>(QString(), Qt::FindDirectChildrenOnly)) {
            near->abort();
        }
    }
    void reopen() { open_ = true; }

protected:
    void incomingConnection(qintptr descriptor) override {
        auto* near = new QTcpSocket(this);
        near->setSocketDescriptor(descriptor);
        if (!open_) {
            near->abort();
            near->deleteLater();
            return;
        }
        auto* far = new QTcpSocket(near);
        far->connectToHost(target_.host(), static_cast<quint16>(target_.port()));
        connect(near, &QTcpSocket::readyRead, far, [=] { far->write(near->readAll()); });
        connect(far, &QTcpSocket::readyRead, near, [=] { near->write(far->readAll()); });
        connect(far, &QTcpSocket::disconnected, near, &QTcpSocket::disconnectFromHost);
        connect(near, &QTcpSocket::disconnected, near, &QObject::deleteLater);
    }

private:
    const QUrl target_;
    bool open_ = true;
};

// Tab until the widget has the focus, then this key on it.
void press(Player& player, QWidget* widget, Qt::Key key) {
    player.window->activateWindow();
    for (int stops = 0; player.window->focusWidget() != widget && stops < 40; ++stops) {
        QTest::keyClick(player.window->focusWidget(), Qt::Key_Tab);
    }
    TRY(QApplication::focusWidget() == widget && widget->isEnabled());
    QTest::keyClick(widget, key);
}

QSet<QString> filesOf(const Player& player) {
    const QDir folder(player.path(""));
    QSet<QString> files;
    for (QDirIterator it(folder.path(), QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
        files += folder.relativeFilePath(it.next());
    }
    return files;
}

}  // namespace

// What `./dev demo` shows.
class WholeMatchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void twiceInOneRoom() {
        qApp->setStyleSheet(applicationStyleSheet());
        colorPlaceholders(*qApp);
        Lobby lobby(text("--launch-delay-ms 500"));
        Player host(kHost, lobby.url(), "GameHost=127.0.0.7\nGamePort=40007\n");
        Player guest(kGuest, lobby.url(), "[Client]\nGameDpiAware=true\nGameDisplayPreset=2\n");
        const QSet<QString> before = filesOf(host);
        meet(host, guest);
        for (const int match : {1, 2}) {
            startMatch(host, guest);
            const QString handout = text("10078 127.0.0.7 40007 %1 %1 %2 1000%1 %3 [[0,2],[1,0]] %4");
            // The guest's layer is in this process's environment for a moment, where the host's game may see it, too.
            TRY(host.handout().startsWith(handout.arg(1).arg(match).arg(kHost, text("0 "))));
            TRY_COMPARE(guest.handout(), handout.arg(2).arg(match).arg(kGuest, text("2 HIGHDPIAWARE")));
            for (Player* player : {&host, &guest}) {
                TRY(player->starts() == match);
                player->picture(*player->window);
                player->letGamesEnd(true);
                TRY(player->told("游戏已退出，正在刷新房间...") == match);
            }
            // The room still plays: that starts no game again.
            QSignalSpy polls(guest.client(), &LobbyClient::roomsUpdated);
            TRY(polls.count() >= 3 && guest.button("返回大厅") != nullptr);
            lobby.endMatch();
            for (Player* player : {&host, &guest}) {
                TRY(player->button("退出房间") != nullptr);
                player->picture(*player->window);
                player->letGamesEnd(false);
                QCOMPARE(player->starts(), match);
            }
        }
        // The client writes what docs/packaging.md says; the report is the game's own.
        QCOMPARE(filesOf(host) - before,
                 QSet<QString>({text("client/Cache/map_cache/map_catalog_cache.json"), text("gametest/config.lua.lock"),
                                text("gametest/report.json")}));
    }

    void byKeysAlone() {
        Lobby lobby(text("--launch-delay-ms 1"));
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        for (Player* player : {&host, &guest}) {
            QTest::keyClick(player->window->focusWidget(), Qt::Key_A, Qt::ControlModifier);
            QInputMethodEvent name;
            name.setCommitString(player->name());
            QCoreApplication::sendEvent(player->window->focusWidget(), &name);
            press(*player, player->edit("密码"), Qt::Key_Home);
            QTest::keyClicks(player->edit("密码"), text("secret"));
            QTest::keyClick(player->edit("密码"), Qt::Key_Return);
            TRY(player->enabled("＋ 创建游戏"));
        }
        host.whenShown<CreateRoomDialog>([&host](CreateRoomDialog&) {
            QTest::keyClick(host.edit("搜索地图"), Qt::Key_Tab);
            QTest::keyClick(host.edit("游戏名称"), Qt::Key_Return);
        });
        press(host, host.button("＋ 创建游戏"), Qt::Key_Return);
        TRY(host.button("退出房间") != nullptr && guest.roomTable()->rowCount() == 1);
        press(guest, guest.roomTable(), Qt::Key_Down);
        press(guest, guest.roomTable(), Qt::Key_Return);
        TRY(guest.enabled("准备"));
        QTest::keyClicks(guest.window->focusWidget(), text("hi"));
        QTest::keyClick(guest.edit("输入聊天内容"), Qt::Key_Return);
        TRY(guest.told("消息已发送。") == 1 && guest.enabled("准备"));
        press(guest, guest.button("准备"), Qt::Key_Enter);
        TRY(host.enabled("开始游戏"));
        press(host, host.button("开始游戏"), Qt::Key_Space);
        TRY(host.starts() == 1 && guest.starts() == 1);
    }
};

class MatchTroubleTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { qunsetenv("STANDIN_GAME_EXIT_CODE"); }

    // A game that cannot start says why, the player may go, and it starts as soon as it can.
    void obstacles_data() {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("words");
        QTest::newRow("no game") << text("core/game.exe") << text("game.exe not found: ");
        QTest::newRow("config in use") << text("config.lua.lock") << text("could not acquire config lock: ");
    }
    void obstacles() {
        QFETCH(const QString, file);
        QFETCH(const QString, words);
        Lobby lobby;
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        meet(host, guest);
        const QString path = guest.path(text("gametest/") + file);
        std::optional<platform::ExclusiveFile> held;
        const bool exists = QFile::rename(path, guest.path("aside"));
        if (!exists) {
            held = platform::ExclusiveFile::tryOpen(path.toStdU16String());
        }
        QVERIFY(exists || held);
        startMatch(host, guest);
        TRY(guest.told(text("启动失败:") + words + path) > 0);
        TRY(host.starts() == 1 && guest.starts() == 0);
        guest.press("返回大厅");
        TRY(guest.told("已返回大厅。") == 1);
        lobby.endMatch();
        guest.joinRoom();  // the seat is still the guest's
        host.letGamesEnd(true);
        startMatch(host, guest);
        TRY(guest.told(text("启动失败:") + words + path) > 1);
        held.reset();
        QVERIFY(!exists || QFile::rename(guest.path("aside"), path));
        TRY(guest.starts() == 1);
    }

    // Only what a player started by hand is started again, and as often as the settings say.
    void crash_data() {
        QTest::addColumn<int>("relaunches");
        QTest::newRow("automatic") << 0;
        QTest::newRow("by hand") << 2;
    }
    void crash() {
        QFETCH(const int, relaunches);
        const bool byHand = relaunches > 0;
        qputenv("STANDIN_GAME_EXIT_CODE", "7");
        Lobby lobby(text("--launch-delay-ms %1").arg(byHand ? 5000 : 1));
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url(), "[Client]\nReconnectOnCrash=true\nReconnectMaxAttempts=2\n");
        meet(host, guest);
        guest.letGamesEnd(true);
        startMatch(host, guest);
        TRY(guest.told("已开始游戏，等待同步启动...") == 1);
        if (byHand) {
            QMetaObject::invokeMethod(guest.window.get(), "onLaunch");
        }
        TRY(guest.told("游戏已退出，正在刷新房间...") == 1);
        QCOMPARE(guest.told("游戏意外退出，正在尝试重连…"), relaunches);
        QCOMPARE(guest.told("游戏意外退出，正在尝试重连…（剩余 0 次）"), byHand ? 1 : 0);
        QCOMPARE(guest.starts(), 1 + relaunches);
        TRY(host.starts() == 1);  // and the guest's own delay is over as well
        guest.press("返回大厅");
        TRY(guest.told("已返回大厅。") == 1 && guest.starts() == 1 + relaunches);
    }

    // A match that ends before its delay is over starts no game; the next one does.
    void endDuringDelay() {
        Lobby lobby(text("--launch-delay-ms 5000"));
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        meet(host, guest);
        for (const int match : {1, 2}) {
            startMatch(host, guest);
            TRY(host.told("已开始游戏，等待同步启动...") == match &&
                guest.told("已开始游戏，等待同步启动...") == match);
            if (match == 1) {
                lobby.endMatch();
                TRY(host.told("已开始游戏") > 0);
            }
        }
        TRY(host.starts() == 1 && guest.starts() == 1);
        TRY(host.handout().contains(text(" 1 1 2 10001 ")));
    }

    // A player at a console takes part by the same rules, and gives up when the server is gone.
    void consolePlayer() {
        const QTemporaryDir folder;
        const QString trace = folder.filePath(text("trace"));
        auto lobby = std::make_unique<Lobby>(text("--trace ") + trace);
        Player host(kHost, lobby->url());
        Player guest(kGuest, lobby->url());  // for its folders
        guest.letGamesEnd(true);
        host.signIn();
        host.createRoom("10078");
        QProcess console;
        const QString words = text("play --join-first --matches 2 --give-up 3 --user %1 --password secret --lobby %2");
        console.start(QCoreApplication::applicationDirPath() + text("/netplay-inspect"),
                      words.arg(kGuest, lobby->url()).split(u' ') << text("--data-root") << guest.path("gametest"));
        host.press("开始游戏");
        TRY(host.starts() == 1 && guest.handout().startsWith(text("10078 127.0.0.1 40001 2 2 1 10002 ")));
        QByteArray events;
        TRY((events += console.readAll()).contains("game-ended"));
        // The room still plays: the server is to see that this player is back.
        const auto details = [&trace] {
            QFile file(trace);
            return file.open(QIODevice::ReadOnly) ? file.readAll().count("/detail\",\"user\":\"客人\"") : 0;
        };
        const int before = details();
        TRY(details() > before);
        lobby.reset();
        const bool ended = console.waitForFinished(kPatienceMs);
        QVERIFY(ended && console.exitCode() == 1);
        events += console.readAll();
        QVERIFY2(events.contains("no good answer of the server for 3 s"), events);
    }

    // Who is gone while the game is being started hears nothing of it; a game that starts all the same is watched, and
    // one whose window closes does not start.
    void goneDuringTheLaunch_data() {
        QTest::addColumn<bool>("closes");
        QTest::newRow("session lost") << false;
        QTest::newRow("window closed") << true;
    }
    void goneDuringTheLaunch() {
        QFETCH(const bool, closes);
        Lobby lobby;
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        meet(host, guest);
        auto lock = platform::ExclusiveFile::tryOpen(guest.path("gametest/config.lua.lock").toStdU16String());
        startMatch(host, guest);
        TRY(guest.told("自动启动游戏中:") == 1);
        if (closes) {
            QVERIFY(lock && guest.window->close());
            guest.window.reset();
            lock.reset();
            QCOMPARE(guest.gamePid(), 0);
            return;
        }
        Q_EMIT guest.client()->roomsUpdated({}, text("401"));
        lock.reset();
        TRY(guest.timer("gameWatchTimer")->isActive() && guest.gamePid() > 0);
        QVERIFY(guest.enabled("登录") && guest.starts() == 0 && guest.status().startsWith(text("登录已过期")));
    }

    void signOutDuringMatch() {
        Lobby lobby;
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        meet(host, guest);
        startMatch(host, guest);
        TRY(host.starts() == 1 && guest.starts() == 1 && guest.gamePid() > 0);
        const auto game = static_cast<platform::ProcessId>(guest.gamePid());
        guest.press("返回大厅");
        guest.press("退出登录");
        TRY(guest.told("已退出登录，请重新登录。") == 1);
        QVERIFY(!guest.timer("gameWatchTimer")->isActive());
        guest.signIn();
        QCOMPARE(platform::probeProcess(game).state, platform::ProcessProbe::State::running);
        host.letGamesEnd(true);
        lobby.endMatch();
        guest.joinRoom();
        startMatch(host, guest);
        // The game that still ran makes way for the new one.
        TRY(guest.starts() == 2 && host.starts() == 2);
        QVERIFY(platform::probeProcess(game).state != platform::ProcessProbe::State::running);
        TRY(guest.handout().contains(text(" 2 2 2 10002 ")));
    }

    void serverGone() {
        Lobby lobby;
        Gate gate(lobby.url());
        Player host(kHost, lobby.url());
        Player guest(kGuest, gate.url());
        meet(host, guest);
        for (const int match : {1, 2}) {
            startMatch(host, guest);
            TRY(host.starts() == match && guest.told("[launch-done] 操作成功") == match);
            gate.shut();
            host.letGamesEnd(true);
            guest.letGamesEnd(true);
            TRY(guest.told("刷新失败:") == match);
            QSignalSpy polls(guest.client(), &LobbyClient::roomsUpdated);
            TRY(polls.count() >= 3);
            lobby.endMatch();
            gate.reopen();
            TRY(guest.button("准备") != nullptr);
            // The same in a room that waits.
            gate.shut();
            TRY(guest.shows("● 连接断开"));
            gate.reopen();
            TRY(guest.shows("● 已连接"));
            host.letGamesEnd(false);
            guest.letGamesEnd(false);
        }
    }

    void fullTable() {
        Lobby lobby;
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        meet(host, guest, "22");
        TRY(host.slotTable()->rowCount() == 22 && host.enabled("退出房间"));
        for (int row = 2; row < 22; ++row) {
            host.slotTable()->selectRow(row);
            QMetaObject::invokeMethod(host.window.get(), "onSetSlotComputer");
            TRY(host.told("房间设置已更新。") == row - 1);
        }
        startMatch(host, guest);
        TRY(host.handout().startsWith(text("22 127.0.0.1 40001 1 1 1 10001 ")));
        TRY(guest.handout().startsWith(text("22 127.0.0.1 40001 2 2 1 10002 ")));
    }
};

NETPLAY_TEST(WholeMatchTest);
NETPLAY_TEST(MatchTroubleTest);
#include "match_test.moc"
