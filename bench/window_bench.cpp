// A poll that brings nothing new to the lobby page, against parsing its bytes; and the program's start until its window
// is painted, against an empty window with the same style sheet.
#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "lobby/room_decoder.h"
#include "offscreen_application.h"
#include "room_list.h"

#include <benchmark/benchmark.h>

#include <QProcess>

namespace {

void parseRoomList(benchmark::State& state) {
    const QByteArray reply = roomListReply();
    for (auto _ : state) {
        benchmark::DoNotOptimize(QJsonDocument::fromJson(reply));
    }
}

void pollLobbyPage(benchmark::State& state) {
    offscreenApplication();
    MainWindow window(ClientPaths(), {QStringLiteral("window_bench")});
    window.show();
    auto* client = window.findChild<LobbyClient*>();
    Q_EMIT client->loginResult(true, QString());
    const QByteArray reply = roomListReply();
    for (auto _ : state) {
        const QJsonDocument document = QJsonDocument::fromJson(reply);
        Q_EMIT client->roomsUpdated(decodeRoomsDocument(document, QStringLiteral("player 77")), QString());
    }
    state.counters["bound"] = 3;
}

// A cold process each time, until its window has been painted.
void start(benchmark::State& state, const char* kind) {
    const QString probe = offscreenApplication().applicationDirPath() + QStringLiteral("/startup_probe");
    for (auto _ : state) {
        if (QProcess::execute(probe, {QString::fromUtf8(kind)}) != 0) {
            state.SkipWithError("startup_probe failed");
        }
    }
    state.counters["bound"] = 1.3;
}

BENCHMARK(parseRoomList)->Name("quiet poll of 500 rooms/baseline")->Repetitions(5);
BENCHMARK(pollLobbyPage)->Name("quiet poll of 500 rooms/ours")->Repetitions(5);
BENCHMARK_CAPTURE(start, empty, "empty")
    ->Name("start to first paint/baseline")
    ->UseRealTime()
    ->Iterations(3)
    ->Repetitions(8);
BENCHMARK_CAPTURE(start, client, "client")
    ->Name("start to first paint/ours")
    ->UseRealTime()
    ->Iterations(3)
    ->Repetitions(8);

}  // namespace
