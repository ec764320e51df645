// A poll that brings nothing new to the lobby page, against parsing its bytes; the program's start until its window is
// painted, against an empty window with the same style sheet; and the dialog for a new room on 5,000 maps.
#include "app/create_room_dialog.h"
#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "lobby/room_decoder.h"
#include "mapgen/map_writer.h"
#include "maps/map_script.h"
#include "offscreen_application.h"
#include "room_list.h"
#include "widgets/theme.h"

#include <benchmark/benchmark.h>

#include <QLineEdit>
#include <QProcess>
#include <QTimer>

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

const std::vector<NetPlay::MapInfo>& catalog() {
    static const std::vector<NetPlay::MapInfo> maps = [] {
        std::vector<NetPlay::MapInfo> made(5000);
        for (std::size_t i = 0; i < made.size(); ++i) {
            const mapgen::SampleMap sample = mapgen::makeMap({.oddities = false}, i);
            made[i].name = sample.name;
            NetPlay::parseMapBytes(sample.files.front().bytes, made[i]);
        }
        return made;
    }();
    return maps;
}

// Until it has been painted: at most 50 ms.
void openCreateDialog(benchmark::State& state) {
    offscreenApplication().setStyleSheet(applicationStyleSheet());
    for (auto _ : state) {
        CreateRoomDialog dialog(QStringLiteral("player"), catalog(), nullptr);
        dialog.show();
        QCoreApplication::processEvents();
    }
}

// Without the pause that waits for the next key: at most 16 ms.
void typeInSearch(benchmark::State& state) {
    offscreenApplication().setStyleSheet(applicationStyleSheet());
    CreateRoomDialog dialog(QStringLiteral("player"), catalog(), nullptr);
    dialog.show();
    QCoreApplication::processEvents();
    auto* search = dialog.findChild<QLineEdit*>();
    QTimer* pause = nullptr;
    for (QTimer* timer : dialog.findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly)) {
        pause = timer->isSingleShot() ? timer : pause;
    }
    for (auto _ : state) {
        for (const char* text : {"1", "10", "100", "之", ""}) {
            search->setText(QString::fromUtf8(text));
            pause->stop();
            QMetaObject::invokeMethod(pause, "timeout");
            QCoreApplication::processEvents();
        }
    }
}

BENCHMARK(parseRoomList)->Name("quiet poll of 500 rooms/baseline")->Repetitions(5);
BENCHMARK(pollLobbyPage)->Name("quiet poll of 500 rooms/ours")->Repetitions(5);
BENCHMARK(openCreateDialog)->Name("dialog on 5000 maps, first paint")->Unit(benchmark::kMillisecond)->Repetitions(3);
BENCHMARK(typeInSearch)->Name("dialog on 5000 maps, five keys")->Unit(benchmark::kMillisecond)->Repetitions(3);
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
