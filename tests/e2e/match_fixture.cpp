#include "e2e/match_fixture.h"

#include "mapgen/map_writer.h"
#include "platform/process.h"
#include "room/create_room_dialog.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QListWidget>
#include <QStatusBar>
#include <QTableWidget>
#include <QTimer>

#include <cstdio>

namespace {

const mapgen::MapSet kMaps{3, 7, 20'000, 10078, false};

QString program(const QString& name) {
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
}

QJsonObject report(const Player& player) {
    QFile file(player.path(QStringLiteral("gametest/report.json")));
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

void quicken(const MainWindow& window) {
    for (const char* timer : {"roomPollTimer", "gameWatchTimer"}) {
        window.findChild<QTimer*>(QString::fromLatin1(timer))->setInterval(200);
    }
}

}  // namespace

bool eventually(const std::function<bool()>& condition, const QString& what) {
    const bool held = !QTest::currentTestFailed() && QTest::qWaitFor(condition, kPatienceMs);
    [&] {
        QVERIFY2(held, qUtf8Printable(what));
    }();
    return held;
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    const bool opened = QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly);
    QVERIFY2(opened && file.write(bytes) == bytes.size(), qUtf8Printable(path));
}

Lobby::Lobby(const QStringList& options) {
    QStringList words{QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--exit-with-stdin")};
    for (const QString& name : {kHost, kGuest}) {
        words << QStringLiteral("--account") << name + QStringLiteral(":secret");
    }
    process_.start(program(QStringLiteral("devlobby")), words + options);
    eventually([&] { return process_.canReadLine(); }, QStringLiteral("devlobby starts"));
    url_ = QString::fromLatin1(process_.readLine()).section(u' ', -1).trimmed();
    referee_ = std::make_unique<LobbyClient>(url_);
    referee_->login(kHost, QStringLiteral("secret"));
    eventually([&] { return !referee_->authToken().isEmpty(); }, QStringLiteral("referee signed in"));
}

Lobby::~Lobby() {
    process_.closeWriteChannel();
    process_.waitForFinished(kPatienceMs);
}

void Lobby::endMatch() {
    bool ended = false;
    const QObject listener;
    QObject::connect(referee_.get(), &LobbyClient::roomActionResult, &listener, [&](auto, bool ok) { ended = ok; });
    referee_->roomAction(QStringLiteral("1"), QStringLiteral("end"), {});
    eventually([&] { return ended; }, QStringLiteral("match ended"));
}

Player::Player(const QString& name, const QString& lobbyUrl, const QByteArray& settings) : name_(name) {
    writeFile(path(QStringLiteral("client/config/Server.ini")),
              "[Server]\nLobbyHttp=" + lobbyUrl.toUtf8() + "\n" + settings);
    writeFile(path(QStringLiteral("gametest/core/readme.txt")), "");
    writeFile(path(QStringLiteral("gametest/config.lua")), "mine = 1\r\n");
    writeFile(path(QStringLiteral("gametest/map/22/22.map")), "PLAYER_NUM=22");
    writeFile(path(QStringLiteral("gametest/map/22/22.o")), "script");
    std::string error;
    const bool made =
        QFile::copy(program(QStringLiteral("game.exe")), path(QStringLiteral("gametest/core/game.exe"))) &&
        mapgen::writeMaps(path(QStringLiteral("gametest/map")).toStdU16String(), kMaps, error);
    QVERIFY2(made, error.c_str());
    // Both in the working directory, which is each game's own data root. The time is for a test that dies.
    qputenv("STANDIN_GAME_REPORT", "report.json");
    qputenv("STANDIN_GAME_END_FILE", "end");
    qputenv("STANDIN_GAME_RUN_MS", "600000");
    window = std::make_unique<MainWindow>(discoverClientPaths(path(QStringLiteral("client/bin")).toStdU16String()),
                                          QStringList{QStringLiteral("test")});
    QObject::connect(window->statusBar(), &QStatusBar::messageChanged, window.get(), [this](const QString& text) {
        told_ += QDir::fromNativeSeparators(text);
        say(text);
    });
    window->show();
}

Player::~Player() {
    window.reset();
    letGamesEnd(true);
    const auto pid = static_cast<platform::ProcessId>(gamePid());
    eventually([&] { return platform::probeProcess(pid).state != platform::ProcessProbe::State::running; },
               QStringLiteral("last game ended"));
}

void Player::signIn() {
    picture(*window);
    findEdit(*window, QStringLiteral("账号"))->setText(name_);
    findEdit(*window, QStringLiteral("密码"))->setText(QStringLiteral("secret"));
    press(QStringLiteral("登录"));
    eventually([&] { return told(QStringLiteral("房间已刷新:")) > 0 && told(QStringLiteral("地图已加载:")) > 0; },
               QStringLiteral("rooms and maps"));
    quicken(*window);
}

void Player::createRoom(const QString& title, const std::function<void(QDialog&)>& change) {
    QTimer driver;
    QObject::connect(&driver, &QTimer::timeout, window.get(), [&] {
        auto* dialog = window->findChild<CreateRoomDialog*>();
        if (dialog != nullptr && dialog->isVisible()) {
            driver.stop();
            auto* maps = dialog->findChild<QListWidget*>();
            maps->setCurrentItem(maps->findItems(title, Qt::MatchContains).value(0));
            if (change) {
                change(*dialog);
            }
            picture(*dialog);
            press(QStringLiteral("创建游戏"));
        }
    });
    driver.start(20);
    press(QStringLiteral("＋ 创建游戏"));
    eventually([&] { return findButton(*window, QStringLiteral("退出房间")) != nullptr; },
               QStringLiteral("in the room"));
}

void Player::joinRoom() {
    const auto selectRoom = [&] {
        auto* table = findShown<QTableWidget>(
            *window, [](const auto& one) { return one.columnCount() == 4 && one.rowCount() > 0; });
        if (table != nullptr) {
            table->selectRow(0);
        }
        return table != nullptr && findButton(*window, QStringLiteral("进入房间"))->isEnabled();
    };
    if (eventually(selectRoom, QStringLiteral("a room to join"))) {
        quicken(*window);
        picture(*window);
        press(QStringLiteral("进入房间"));
    }
}

void Player::press(const QString& button) {
    const auto pressable = [&] {
        const QAbstractButton* found = findButton(*window, button);
        return found != nullptr && found->isEnabled();
    };
    if (eventually(pressable, name_ + QStringLiteral(" presses ") + button)) {
        say(QStringLiteral("[%1]").arg(button));
        findButton(*window, button)->click();
    }
}

int Player::told(const QString& text) const {
    return static_cast<int>(
        std::count_if(told_.begin(), told_.end(), [&](const QString& one) { return one.startsWith(text); }));
}

QString Player::handout() const {
    const QJsonObject game = report(*this);
    QStringList words;
    for (const char* key : {"mapName", "host", "port", "slot", "controlId", "sessionId", "userId", "playerName"}) {
        words += game.value(QLatin1String(key)).toVariant().toString();
    }
    const QJsonDocument options(game.value(QLatin1String("mapOptions")).toArray());
    return words.join(u' ') + u' ' + QString::fromLatin1(options.toJson(QJsonDocument::Compact));
}

qint64 Player::gamePid() const {
    return report(*this).value(QLatin1String("pid")).toVariant().toLongLong();
}

void Player::letGamesEnd(bool end) {
    const QString file = path(QStringLiteral("gametest/end"));
    end ? writeFile(file, "") : void(QFile::remove(file));
}

void Player::say(const QString& text) const {
    if (!qEnvironmentVariableIsEmpty("NETPLAY_DEMO_PICTURES") && !text.isEmpty()) {
        std::printf("%s  %s\n", qUtf8Printable(name_), qUtf8Printable(text));
        std::fflush(stdout);
    }
}

void Player::picture(QWidget& shown) const {
    const QString folder = qEnvironmentVariable("NETPLAY_DEMO_PICTURES");
    if (!folder.isEmpty()) {
        const int number = QDir(folder).entryList(QDir::Files).size() + 1;
        const QString file = QStringLiteral("%1-%2.png").arg(number, 2, 10, QLatin1Char('0')).arg(name_);
        const bool saved = shown.grab().save(QDir(folder).filePath(file));
        QVERIFY2(saved, qUtf8Printable(file));
    }
}

void meet(Player& host, Player& guest, const QString& mapTitle) {
    host.signIn();
    guest.signIn();
    host.createRoom(mapTitle);
    guest.joinRoom();
    eventually([&] { return guest.told(QStringLiteral("已进入房间。")) > 0; }, QStringLiteral("guest in the room"));
}

void startMatch(Player& host, Player& guest) {
    guest.press(QStringLiteral("准备"));
    host.press(QStringLiteral("开始游戏"));
}
