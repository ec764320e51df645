#include "e2e/match_fixture.h"

#include "app/create_room_dialog.h"
#include "mapgen/map_writer.h"
#include "platform/process.h"

#include <QComboBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QListWidget>

#include <cstdio>

Lobby::Lobby(const QString& options) {
    const QString words = text("--port 0 --exit-with-stdin --account %1:secret --account %2:secret ") + options;
    process_.start(QCoreApplication::applicationDirPath() + text("/devlobby"),
                   words.arg(kHost, kGuest).split(u' ', Qt::SkipEmptyParts));
    TRY(process_.canReadLine());
    url_ = QString::fromLatin1(process_.readLine()).section(u' ', -1).trimmed();
    referee_ = std::make_unique<LobbyClient>(url_);
    referee_->login(kHost, text("secret"));
    TRY(!referee_->authToken().isEmpty());
}

Lobby::~Lobby() {
    process_.closeWriteChannel();
    process_.waitForFinished(kPatienceMs);
}

void Lobby::endMatch() {
    bool ended = false;
    const QObject listener;
    QObject::connect(referee_.get(), &LobbyClient::roomActionResult, &listener, [&](auto, bool ok) { ended = ok; });
    QObject::connect(referee_.get(), &LobbyClient::roomsUpdated, &listener, [this](const QVector<RoomInfo>& rooms) {
        referee_->roomAction(rooms.value(0).id, text("end"), {});
    });
    referee_->fetchRooms();
    TRY(ended);
}

Player::Player(const QString& name, const QString& lobbyUrl, const QByteArray& settings) : name_(name) {
    installGame();
    write("gametest/config.lua", "mine = 1\r\n");
    write("gametest/map/22/22.map", "PLAYER_NUM=22");
    write("gametest/map/22/22.o", "script");
    std::string error;
    const bool made = mapgen::writeMaps(path("gametest/map").toStdU16String(), {3, 7, 20'000, 10078, false}, error);
    QVERIFY2(made, error.c_str());
    // Both in the working directory, which is each game's own data root. The time is for a test that dies.
    qputenv("STANDIN_GAME_REPORT", "report.json");
    qputenv("STANDIN_GAME_END_FILE", "end");
    qputenv("STANDIN_GAME_RUN_MS", "600000");
    open(lobbyUrl, settings);
}

Player::~Player() {
    window.reset();
    letGamesEnd(true);
    const auto pid = static_cast<platform::ProcessId>(gamePid());
    TRY(platform::probeProcess(pid).state != platform::ProcessProbe::State::running);
    // One that has just been started has not written its report yet, and would outlive the folder with its end file.
    platform::stopProcessesByPath(u"game.exe", path("gametest/core/game.exe").toStdU16String());
}

void Player::signIn() {
    picture(*window);
    edit("账号")->setText(name_);
    edit("密码")->setText(text("secret"));
    press("登录");
    TRY(told("房间已刷新:") > 0 && told("地图已加载:") > 0);
    quicken();
}

void Player::quicken() {
    for (const char* name : {"roomPollTimer", "gameWatchTimer"}) {
        timer(name)->setInterval(200);
    }
}

void Player::createRoom(const char* mapTitle) {
    whenShown<CreateRoomDialog>([this, mapTitle](CreateRoomDialog& dialog) {
        auto* maps = dialog.findChild<QListWidget*>();
        maps->setCurrentItem(maps->findItems(text(mapTitle), Qt::MatchContains).value(0));
        if (auto* difficulty = find<QComboBox>("count", 3)) {
            difficulty->setCurrentIndex(2);
        }
        picture(dialog);
        press("创建游戏");
    });
    press("＋ 创建游戏");
    TRY(button("退出房间") != nullptr);
}

void Player::joinRoom() {
    const auto joinable = [this] {
        roomTable()->selectRow(0);
        return roomTable()->isVisible() && enabled("进入房间");
    };
    TRY(joinable());
    quicken();
    picture(*window);
    press("进入房间");
}

QJsonObject Player::report() const {
    QFile file(path("gametest/report.json"));
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

QString Player::handout() const {
    const QJsonObject game = report();
    QStringList words;
    for (const char* key : {"mapName", "host", "port", "slot", "controlId", "sessionId", "userId", "playerName"}) {
        words += game.value(text(key)).toVariant().toString();
    }
    const QJsonDocument options(game.value(text("mapOptions")).toArray());
    words += QString::fromLatin1(options.toJson(QJsonDocument::Compact));
    for (const char* key : {"mapOptionDisplay", "compatLayer"}) {
        words += game.value(text(key)).toVariant().toString();
    }
    return words.join(u' ');
}

qint64 Player::gamePid() const {
    return report().value(text("pid")).toVariant().toLongLong();
}

void Player::letGamesEnd(bool end) {
    end ? write("gametest/end", "") : void(QFile::remove(path("gametest/end")));
}

void Player::say(const QString& words) const {
    if (!qEnvironmentVariableIsEmpty("NETPLAY_DEMO_PICTURES") && !words.isEmpty()) {
        std::printf("%s  %s\n", qUtf8Printable(name_), qUtf8Printable(words));
        std::fflush(stdout);
    }
}

void Player::picture(QWidget& shown) const {
    const QString pictures = qEnvironmentVariable("NETPLAY_DEMO_PICTURES");
    if (!pictures.isEmpty()) {
        const int number = QDir(pictures).entryList(QDir::Files).size() + 1;
        const QString file = text("%1-%2.png").arg(number, 2, 10, QLatin1Char('0')).arg(name_);
        const bool saved = shown.grab().save(QDir(pictures).filePath(file));
        QVERIFY2(saved, qUtf8Printable(file));
    }
}

void meet(Player& host, Player& guest, const char* mapTitle) {
    host.signIn();
    guest.signIn();
    host.createRoom(mapTitle);
    guest.joinRoom();
    TRY(guest.told("已进入房间。") > 0);
}

void startMatch(Player& host, Player& guest) {
    guest.press("准备");
    host.press("开始游戏");
}
