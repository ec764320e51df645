// Patching config.lua, against one read and one replacement of the same file; and what it costs that a replacement is
// flushed to the disk.
#include "launch/config_patcher.h"
#include "platform/files.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

namespace {

class DataRoot {
public:
    DataRoot() : folder(std::filesystem::temp_directory_path() / "netplay-launch-bench") {
        std::filesystem::create_directories(folder);
        std::string text;
        for (int i = 0; i < 500; ++i) {
            text += "Setting" + std::to_string(i) + " = " + std::to_string(i) + "\r\n";
        }
        platform::writeWholeFile(folder / "config.lua", text);
    }
    ~DataRoot() { std::filesystem::remove_all(folder); }
    std::filesystem::path folder;
};

void readAndReplace(benchmark::State& state) {
    const DataRoot root;
    for (auto _ : state) {
        std::string text;
        platform::readWholeFile(root.folder / "config.lua", text);
        benchmark::DoNotOptimize(platform::replaceContent(root.folder / "config.lua", text));
    }
}

void readAndRename(benchmark::State& state) {
    const DataRoot root;
    for (auto _ : state) {
        std::string text;
        platform::readWholeFile(root.folder / "config.lua", text);
        platform::writeWholeFile(root.folder / "config.lua.tmp", text);
        std::filesystem::rename(root.folder / "config.lua.tmp", root.folder / "config.lua");
    }
}

void patchConfig(benchmark::State& state) {
    const DataRoot root;
    std::u16string error;
    int slot = 0;
    for (auto _ : state) {
        slot = slot % 22 + 1;
        if (!patchConfigLua(root.folder, slot, 0, {{0, 1}, {2, 3}}, error)) {
            state.SkipWithError("patching failed");
        }
    }
    state.counters["bound"] = 1.5;
}

// By the wall clock: the disk's time is nobody's CPU time.
BENCHMARK(readAndReplace)->Name("patch config.lua/baseline")->UseRealTime()->Repetitions(5);
BENCHMARK(patchConfig)->Name("patch config.lua/ours")->UseRealTime()->Repetitions(5);
BENCHMARK(readAndRename)->Name("flushed replacement/baseline")->UseRealTime()->Repetitions(5);
BENCHMARK(readAndReplace)->Name("flushed replacement/ours")->UseRealTime()->Repetitions(5);

}  // namespace
