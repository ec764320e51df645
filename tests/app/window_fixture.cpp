#include "window_fixture.h"

#include "lobby/room_decoder.h"
#include "mapgen/map_writer.h"
#include "maps/catalog.h"

#include <QDir>
#include <QJsonDocument>
#include <QSettings>
#include <QStackedWidget>
#include <QStatusBar>

namespace {

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) || file.write(bytes) < 0) {
        qFatal("cannot write %s", qPrintable(path));
    }
}

}  // namespace

Script jsonReply(const QJsonObject& object, const QByteArray& status) {
    return ScriptedServer::reply(QJsonDocument(object).toJson(), status);
}

Script refusal(const char* text) {
    return jsonReply({{QStringLiteral("ok"), false}, {QStringLiteral("error"), QString::fromUtf8(text)}});
}

LobbyScript::LobbyScript() : ScriptedServer([this](const ScriptedRequest& request) { return answer(request); }) {}

Script LobbyScript::answer(const ScriptedRequest& request) const {
    const QByteArray word = request.target.mid(request.target.lastIndexOf('/') + 1);
    if (answers.contains(word)) {
        return answers.value(word);
    }
    QJsonObject answer{{QStringLiteral("ok"), true}};
    if (word == "login" || word == "register") {
        answer.insert(QStringLiteral("auth_token"), QStringLiteral("token"));
    } else if (request.method == "GET") {
        answer.insert(QStringLiteral("rooms"), rooms);
    } else if (word != "heartbeat" && !rooms.isEmpty()) {
        answer.insert(QStringLiteral("room"), rooms.first());
    }
    return jsonReply(answer);
}

QVector<QJsonObject> LobbyScript::sent(const QByteArray& word) const {
    QVector<QJsonObject> bodies;
    for (const ScriptedRequest& request : requests) {
        if (request.target.endsWith('/' + word)) {
            bodies += QJsonDocument::fromJson(request.body).object();
        }
    }
    return bodies;
}

WindowFixture::WindowFixture() {
    std::string error;
    if (!mapgen::writeMaps(folder.filePath(QStringLiteral("game/map")).toStdU16String(), {1, 7, 20'000, 10078, false},
                           error)) {
        qFatal("%s", error.c_str());
    }
    NetPlay::MapInfo map;
    NetPlay::loadMapEntry(folder.filePath(QStringLiteral("game/map/10078")).toStdU16String(), "10078", map, {}, nullptr,
                          nullptr, true);
    fingerprint = QString::fromStdString(map.fingerprint);
}

void WindowFixture::open(const QStringList& arguments) {
    window.reset();
    ClientPaths paths;
    paths.clientRoot = folder.filePath(QStringLiteral("client")).toStdU16String();
    paths.configDir = folder.filePath(QStringLiteral("config")).toStdU16String();
    paths.dataRoot = folder.filePath(QStringLiteral("game")).toStdU16String();
    write(folder.filePath(QStringLiteral("config/Server.ini")),
          "[Server]\nLobbyHttp=" + server.url().toUtf8() + "\n[Client]\nDefaultUsername=me\nDefaultPassword=secret\n");
    window = std::make_unique<MainWindow>(paths, QStringList{QStringLiteral("test")} + arguments);
    window->show();
}

void WindowFixture::signIn() {
    open();
    QTest::mouseClick(button("登录"), Qt::LeftButton);
    // The catalog as well, so that the gates are open.
    TRY(shows("地图已加载:1 张，可以创建游戏。") || statusBarText().startsWith(QStringLiteral("房间已刷新")));
    TRY(button("＋ 创建游戏") != nullptr && button("＋ 创建游戏")->isEnabled());
    TRY(roomTable()->rowCount() == server.rooms.size());
}

void WindowFixture::enterRoom(const QJsonObject& room) {
    server.rooms = {room};
    signIn();
    roomTable()->selectRow(0);
    TRY(button("进入房间")->isEnabled());
    QTest::mouseClick(button("进入房间"), Qt::LeftButton);
    TRY(slotTable()->isVisible() && !button("发送")->isEnabled() && edit("输入聊天内容")->isEnabled());
}

void WindowFixture::poll(const QJsonArray& rooms) {
    server.rooms = rooms;
    Q_EMIT client()->roomsUpdated(decodeRoomList({{QStringLiteral("rooms"), rooms}}, client()->userName()), QString());
}

QJsonObject WindowFixture::room(const char* seats, const char* status) const {
    QJsonArray slots;
    for (QString name : QString::fromUtf8(seats).split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const bool ready = name.endsWith(QLatin1Char('+'));
        slots.append(QJsonObject{{QStringLiteral("slot"), slots.size() + 1},
                                 {QStringLiteral("name"), name.remove(QLatin1Char('+'))},
                                 {QStringLiteral("ready"), ready}});
    }
    const QString host = slots.at(0).toObject().value(QStringLiteral("name")).toString();
    return {{QStringLiteral("id"), QStringLiteral("7")},
            {QStringLiteral("name"), QStringLiteral("测试房间")},
            {QStringLiteral("status"), QString::fromUtf8(status)},
            {QStringLiteral("map_id"), QStringLiteral("10078")},
            {QStringLiteral("map_fingerprint"), fingerprint},
            {QStringLiteral("owner"), host},
            {QStringLiteral("host"), host},
            {QStringLiteral("player_count"), slots.size()},
            {QStringLiteral("max_players"), 8},
            {QStringLiteral("player_slots"), slots}};
}

QAbstractButton* WindowFixture::button(const char* text) const {
    return findButton(*window, QString::fromUtf8(text));
}

QLineEdit* WindowFixture::edit(const char* placeholder) const {
    return findEdit(*window, QString::fromUtf8(placeholder));
}

QTableWidget* WindowFixture::table(int columns) const {
    for (auto* candidate : window->findChildren<QTableWidget*>()) {
        if (candidate->columnCount() == columns) {
            return candidate;
        }
    }
    return nullptr;
}

QString WindowFixture::statusBarText() const {
    return window->statusBar()->currentMessage();
}

bool WindowFixture::shows(const char* text) const {
    return findShown<QLabel>(*window, [&](const auto& label) { return label.text() == QString::fromUtf8(text); });
}
