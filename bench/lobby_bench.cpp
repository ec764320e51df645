// Decoding a room list, against parsing the same bytes.
#include "lobby/room_decoder.h"
#include "room_list.h"

#include <benchmark/benchmark.h>

namespace {

void parseRoomList(benchmark::State& state) {
    const QByteArray reply = roomListReply();
    for (auto _ : state) {
        benchmark::DoNotOptimize(QJsonDocument::fromJson(reply));
    }
}

void decodeRoomList(benchmark::State& state) {
    const QJsonDocument document = QJsonDocument::fromJson(roomListReply());
    for (auto _ : state) {
        benchmark::DoNotOptimize(decodeRoomsDocument(document, QStringLiteral("player 77")));
    }
    state.counters["bound"] = 2;
}

BENCHMARK(parseRoomList)->Name("decode 500 rooms/baseline");
BENCHMARK(decodeRoomList)->Name("decode 500 rooms/ours");

}  // namespace
