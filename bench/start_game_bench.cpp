// From the arrival of a room's detail to the first instruction of the game, against creating that process with the same
// words plus one read and one flushed, atomic replacement of the same config.lua.
#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "mapgen/map_writer.h"
#include "offscreen_application.h"
#include "platform/files.h"
#include "platform/process.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A client's folders with a game that reports its start through a FIFO.
class Folders {
public:
    Folders() {
        const QString core = folder.filePath(QStringLiteral("gametest/core"));
        std::string error;
        if (!QDir().mkpath(core) || !mapgen::writeMaps(root() / "map", {1, 7, 20'000, 10078, false}, error) ||
            !platform::writeWholeFile(root() / "config.lua", std::string(20'000, '\n')) ||
            !QFile::copy(offscreenApplication().applicationDirPath() + QStringLiteral("/first_instruction"),
                         core + QStringLiteral("/game.exe")) ||
            mkfifo(fifoPath().constData(), 0600) != 0) {
            qFatal("cannot set up %s", qPrintable(folder.path()));
        }
        qputenv("BENCH_STARTED", fifoPath());
        fifo = open(fifoPath().constData(), O_RDWR | O_CLOEXEC);
    }
    ~Folders() { close(fifo); }

    std::filesystem::path root() const { return folder.filePath(QStringLiteral("gametest")).toStdString(); }
    void waitForGame() const {
        char byte = 0;
        if (read(fifo, &byte, 1) != 1) {
            qFatal("the game did not start");
        }
    }
    ClientPaths paths() const {
        ClientPaths paths;
        paths.clientRoot = folder.filePath(QStringLiteral("client")).toStdU16String();
        paths.dataRoot = folder.filePath(QStringLiteral("gametest")).toStdU16String();
        return paths;
    }

private:
    QByteArray fifoPath() const { return folder.filePath(QStringLiteral("started")).toUtf8(); }

    const QTemporaryDir folder;
    int fifo = -1;
};

// Signs everybody in and refuses everything else, so that the rooms stay what the benchmark says.
class Lobby : public QTcpServer {
public:
    Lobby() {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket* socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [socket] {
                const bool login = socket->readAll().contains("/login");
                const QByteArray body = login ? R"({"ok":true,"auth_token":"t"})" : R"({"ok":false,"error":"no"})";
                socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " +
                              QByteArray::number(body.size()) + "\r\n\r\n" + body);
                socket->disconnectFromHost();
            });
        });
    }
};

RoomInfo playingRoom() {
    RoomInfo room;
    room.id = QStringLiteral("7");
    room.status = QStringLiteral("playing");
    room.mapId = QStringLiteral("10078");
    room.pmHost = QStringLiteral("127.0.0.1");
    room.gameSlot = room.gameUserId = 1;
    RoomSlot own;
    own.slot = 1;
    own.name = QStringLiteral("me");
    room.playerSlots = {own};
    return room;
}

void createProcess(benchmark::State& state) {
    const Folders folders;
    const std::filesystem::path config = folders.root() / "config.lua";
    platform::ProcessStart start;
    start.executable = platform::toWideText(folders.root() / "core" / "game.exe");
    start.commandLine = u"\"game.exe\"";
    start.workingDirectory = platform::toWideText(folders.root());
    for (auto _ : state) {
        std::string text;
        if (!platform::readWholeFile(config, text) || !platform::replaceContent(config, text)) {
            state.SkipWithError("config.lua");
        }
        platform::ProcessStartResult game = platform::startProcess(start);
        folders.waitForGame();
        state.PauseTiming();
        game.process.waitForEnd(std::chrono::seconds(5));
        state.ResumeTiming();
    }
}

void launchFromWindow(benchmark::State& state) {
    const Folders folders;
    const Lobby lobby;
    MainWindow window(folders.paths(), {QStringLiteral("start_game_bench")});
    auto* client = window.findChild<LobbyClient*>();
    client->setBaseUrl(QStringLiteral("http://127.0.0.1:%1").arg(lobby.serverPort()));
    client->login(QStringLiteral("me"), QStringLiteral("secret"));
    while (client->authToken().isEmpty()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    RoomInfo room = playingRoom();
    room.status = QStringLiteral("waiting");
    Q_EMIT client->roomActionResult(QStringLiteral("join"), true, room, {}, QString());
    room = playingRoom();
    for (auto _ : state) {
        ++room.sessionId;
        Q_EMIT client->roomDetailUpdated(true, room, QString());
        folders.waitForGame();
        state.PauseTiming();
        // The next start waits until this one has been taken in: its report to the lobby comes last.
        bool reported = false;
        const auto watch = QObject::connect(client, &LobbyClient::roomActionResult, client, [&] { reported = true; });
        while (!reported) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        QObject::disconnect(watch);
        state.ResumeTiming();
    }
    state.counters["bound"] = 1.5;
}

BENCHMARK(createProcess)->Name("start of the game/baseline")->UseRealTime()->Repetitions(5);
BENCHMARK(launchFromWindow)->Name("start of the game/ours")->UseRealTime()->Repetitions(5);

}  // namespace
