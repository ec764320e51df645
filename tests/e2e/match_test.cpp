// Matches of two real windows against a real lobby server, with real game processes.
#include "app/theme.h"
#include "e2e/match_fixture.h"
#include "platform/files.h"
#include "platform/process.h"
#include "support/test_registry.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QTableWidget>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

namespace {

constexpr char kGameHost[] = "GameHost=127.0.0.7\nGamePort=40007\n";

// Hands connections on to a server, or drops them while it is closed.
class Gate : public QTcpServer {
public:
    explicit Gate(const QString& target) : target_(target) { listen(QHostAddress::LocalHost); }
    QString url() const { return QStringLiteral("http://127.0.0.1:%1").arg(serverPort()); }
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

struct PollCount {
    explicit PollCount(const Player& player) {
        auto* client = player.window->findChild<LobbyClient*>();
        QObject::connect(client, &LobbyClient::roomsUpdated, &listener, [this] { ++count; });
    }
    QObject listener;
    int count = 0;
};

}  // namespace

// What `./dev demo` shows.
class WholeMatchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void twiceInOneRoom() {
        qApp->setStyleSheet(applicationStyleSheet());
        colorPlaceholders(*qApp);
        Lobby lobby({QStringLiteral("--launch-delay-ms"), QStringLiteral("500")});
        Player host(kHost, lobby.url(), kGameHost);
        Player guest(kGuest, lobby.url());
        host.signIn();
        guest.signIn();
        host.createRoom(QStringLiteral("10078"), [](QDialog& dialog) {
            findShown<QComboBox>(dialog, [](const auto& box) { return box.count() == 3; })->setCurrentIndex(2);
        });
        guest.joinRoom();
        for (const int match : {1, 2}) {
            startMatch(host, guest);
            const QString handout = QStringLiteral("10078 127.0.0.7 40007 %1 %1 %2 1000%1 %3 [[0,2],[1,0]]");
            QTRY_COMPARE_WITH_TIMEOUT(host.handout(), handout.arg(1).arg(match).arg(kHost), kPatienceMs);
            QTRY_COMPARE_WITH_TIMEOUT(guest.handout(), handout.arg(2).arg(match).arg(kGuest), kPatienceMs);
            for (Player* player : {&host, &guest}) {
                TRY(player->starts() == match);
                player->picture(*player->window);
                player->letGamesEnd(true);
                TRY(player->told(QStringLiteral("游戏已退出，正在刷新房间...")) == match);
            }
            // The room still plays: that starts no game again.
            PollCount polls(guest);
            TRY(polls.count >= 3 && findButton(*guest.window, QStringLiteral("返回大厅")) != nullptr);
            lobby.endMatch();
            for (Player* player : {&host, &guest}) {
                TRY(findButton(*player->window, QStringLiteral("退出房间")) != nullptr);
                player->picture(*player->window);
                player->letGamesEnd(false);
                QCOMPARE(player->starts(), match);
            }
        }
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
        const auto row = [](const char* name, const char* file, const char* words) {
            QTest::newRow(name) << QString::fromUtf8(file) << QString::fromUtf8(words);
        };
        row("no game", "gametest/core/game.exe", "game.exe not found: ");
        row("no map", "gametest/map/10078/10078.o", "map file not found: ");
        row("config in use", "", "could not acquire config lock: ");
    }
    void obstacles() {
        QFETCH(const QString, file);
        QFETCH(const QString, words);
        Lobby lobby;
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        meet(host, guest);
        const QString lock = guest.path(QStringLiteral("gametest/config.lua.lock"));
        std::optional<platform::ExclusiveFile> held;
        if (file.isEmpty()) {
            held = platform::ExclusiveFile::tryOpen(lock.toStdU16String());
            QVERIFY(held);
        } else {
            QVERIFY(QFile::rename(guest.path(file), guest.path(QStringLiteral("aside"))));
        }
        startMatch(host, guest);
        const QString path = file.isEmpty() ? lock : guest.path(file);
        TRY(guest.told(QStringLiteral("启动失败:") + words + path) > 0);
        TRY(host.starts() == 1 && guest.starts() == 0);
        guest.press(QStringLiteral("返回大厅"));
        TRY(guest.told(QStringLiteral("已返回大厅。")) == 1);
        lobby.endMatch();
        guest.joinRoom();  // the seat is still the guest's
        host.letGamesEnd(true);
        startMatch(host, guest);
        TRY(guest.told(QStringLiteral("启动失败:") + words + path) > 1);
        held.reset();
        QVERIFY(file.isEmpty() || QFile::rename(guest.path(QStringLiteral("aside")), guest.path(file)));
        TRY(guest.starts() == 1);
    }

    // Only what a player started by hand is started again, and as often as the settings say.
    void crash_data() {
        QTest::addColumn<QByteArray>("settings");
        QTest::addColumn<bool>("byHand");
        QTest::addColumn<int>("relaunches");
        QTest::newRow("automatic") << QByteArray("[Client]\nReconnectOnCrash=true\n") << false << 0;
        QTest::newRow("by hand") << QByteArray("[Client]\nReconnectOnCrash=true\nReconnectMaxAttempts=2\n") << true
                                 << 2;
    }
    void crash() {
        QFETCH(const bool, byHand);
        QFETCH(const int, relaunches);
        QFETCH(const QByteArray, settings);
        qputenv("STANDIN_GAME_EXIT_CODE", "7");
        Lobby lobby({QStringLiteral("--launch-delay-ms"), QString::number(byHand ? 5000 : 1)});
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url(), settings);
        meet(host, guest);
        guest.letGamesEnd(true);
        startMatch(host, guest);
        TRY(guest.told(QStringLiteral("已开始游戏，等待同步启动...")) == 1);
        if (byHand) {
            QMetaObject::invokeMethod(guest.window.get(), "onLaunch");
        }
        TRY(guest.told(QStringLiteral("游戏已退出，正在刷新房间...")) == 1);
        QCOMPARE(guest.told(QStringLiteral("游戏意外退出，正在尝试重连…")), relaunches);
        QCOMPARE(guest.told(QStringLiteral("游戏意外退出，正在尝试重连…（剩余 0 次）")), relaunches > 0 ? 1 : 0);
        QCOMPARE(guest.starts(), 1 + relaunches);
        TRY(host.starts() == 1);  // and the guest's own delay is over as well
        guest.press(QStringLiteral("返回大厅"));
        TRY(guest.told(QStringLiteral("已返回大厅。")) == 1 && guest.starts() == 1 + relaunches);
    }

    // A match that ends before its delay is over starts no game; the next one does.
    void endDuringDelay() {
        Lobby lobby({QStringLiteral("--launch-delay-ms"), QStringLiteral("5000")});
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        meet(host, guest);
        for (const int match : {1, 2}) {
            startMatch(host, guest);
            TRY(host.told(QStringLiteral("已开始游戏，等待同步启动...")) == match &&
                guest.told(QStringLiteral("已开始游戏，等待同步启动...")) == match);
            if (match == 1) {
                lobby.endMatch();
                TRY(host.told(QStringLiteral("已开始游戏")) > 0);
            }
        }
        TRY(host.starts() == 1 && guest.starts() == 1);
        QTRY_VERIFY_WITH_TIMEOUT(host.handout().contains(QStringLiteral(" 1 1 2 10001 ")), kPatienceMs);
    }

    void signOutDuringMatch() {
        Lobby lobby;
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        meet(host, guest);
        startMatch(host, guest);
        TRY(host.starts() == 1 && guest.starts() == 1 && guest.gamePid() > 0);
        const auto game = static_cast<platform::ProcessId>(guest.gamePid());
        guest.press(QStringLiteral("返回大厅"));
        guest.press(QStringLiteral("退出登录"));
        TRY(guest.told(QStringLiteral("已退出登录，请重新登录。")) == 1);
        guest.signIn();
        QCOMPARE(platform::probeProcess(game).state, platform::ProcessProbe::State::running);
        host.letGamesEnd(true);
        lobby.endMatch();
        guest.joinRoom();
        startMatch(host, guest);
        // The game that still ran makes way for the new one.
        TRY(guest.starts() == 2 && host.starts() == 2);
        QVERIFY(platform::probeProcess(game).state != platform::ProcessProbe::State::running);
        TRY(guest.handout().contains(QStringLiteral(" 2 2 2 10002 ")));
    }

    void serverGone() {
        Lobby lobby;
        Gate gate(lobby.url());
        Player host(kHost, lobby.url());
        Player guest(kGuest, gate.url());
        meet(host, guest);
        for (const int match : {1, 2}) {
            startMatch(host, guest);
            TRY(host.starts() == match && guest.told(QStringLiteral("[launch-done] 操作成功")) == match);
            gate.shut();
            host.letGamesEnd(true);
            guest.letGamesEnd(true);
            TRY(guest.told(QStringLiteral("刷新失败:")) == match);
            PollCount polls(guest);
            TRY(polls.count >= 3);
            lobby.endMatch();
            gate.reopen();
            TRY(findButton(*guest.window, QStringLiteral("准备")) != nullptr);
            // The same in a room that waits.
            gate.shut();
            const auto dot = [&](const char* text) {
                return findShown<QLabel>(*guest.window,
                                         [=](auto& one) { return one.text() == QString::fromUtf8(text); });
            };
            TRY(dot("● 连接断开") != nullptr);
            gate.reopen();
            TRY(dot("● 已连接") != nullptr);
            host.letGamesEnd(false);
            guest.letGamesEnd(false);
        }
    }

    void fullTable() {
        Lobby lobby;
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        meet(host, guest, QStringLiteral("22"));
        auto* table = findShown<QTableWidget>(*host.window, [](const auto& one) { return one.columnCount() == 5; });
        TRY(table->rowCount() == 22 && findButton(*host.window, QStringLiteral("退出房间"))->isEnabled());
        for (int row = 2; row < 22; ++row) {
            table->selectRow(row);
            QMetaObject::invokeMethod(host.window.get(), "onSetSlotComputer");
            TRY(host.told(QStringLiteral("房间设置已更新。")) == row - 1);
        }
        startMatch(host, guest);
        TRY(host.handout().startsWith(QStringLiteral("22 127.0.0.1 40001 1 1 1 10001 ")));
        TRY(guest.handout().startsWith(QStringLiteral("22 127.0.0.1 40001 2 2 1 10002 ")));
    }

    void otherMap() {
        Lobby lobby;
        Player host(kHost, lobby.url());
        Player guest(kGuest, lobby.url());
        writeFile(guest.path(QStringLiteral("gametest/map/10078/10078.o")), "changed");
        host.signIn();
        guest.signIn();
        host.createRoom(QStringLiteral("10078"));
        guest.joinRoom();
        TRY(guest.told(QStringLiteral("地图版本不一致，请更新为房主地图版本。")) == 1);
        guest.createRoom(QStringLiteral("10079"));
    }
};

NETPLAY_TEST(WholeMatchTest);
NETPLAY_TEST(MatchTroubleTest);
#include "match_test.moc"
