// The map catalog on 5,000 and on 50,000 maps, against loops of plain system calls over the same files in the page
// cache; and map files made to hurt, against an ordinary one of the same size.
#include "mapgen/map_writer.h"
#include "maps/catalog.h"
#include "maps/map_files.h"
#include "maps/map_script.h"
#include "platform/files.h"

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t kHashedBytes = 300'000'000;

// About a gigabyte, so it is written once and shared.
class SampleFiles {
public:
    SampleFiles(std::size_t maps, std::size_t mapBytes)
        : count(maps), bytes(mapBytes),
          folder_(std::filesystem::temp_directory_path() / ("netplay-maps-bench-" + std::to_string(maps))) {
        std::filesystem::remove_all(folder_);
        mapgen::MapSet set;
        set.count = count;
        set.bytes = bytes;
        set.oddities = false;
        std::string error;
        std::filesystem::create_directories(root());
        if (!mapgen::writeMaps(root(), set, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::exit(1);
        }
        // Writing back must not fall into the measurements.
        ::sync();
    }
    ~SampleFiles() { std::filesystem::remove_all(folder_); }
    SampleFiles(const SampleFiles&) = delete;
    SampleFiles& operator=(const SampleFiles&) = delete;

    std::filesystem::path root() const { return folder_ / "map"; }
    std::filesystem::path cacheDir() const { return folder_ / "cache"; }
    std::filesystem::path folder() const { return folder_; }

    const std::size_t count;
    const std::size_t bytes;  // of a .map file

private:
    std::filesystem::path folder_;
};

const SampleFiles& samples(bool many = false) {
    if (many) {
        static const SampleFiles files(50'000, 20'000);
        return files;
    }
    static const SampleFiles files(5000, 200'000);
    return files;
}

std::string joined(std::string folder, const std::string& name) {
    folder += '/';
    return folder += name;
}

template<typename Visit>
void forEachName(const std::string& folder, Visit visit) {
    DIR* const directory = ::opendir(folder.c_str());
    while (const dirent* const entry = directory != nullptr ? ::readdir(directory) : nullptr) {
        if (entry->d_name[0] != '.') {
            visit(std::string(entry->d_name));
        }
    }
    if (directory != nullptr) {
        ::closedir(directory);
    }
}

std::size_t readWhole(const std::string& path, std::vector<char>& buffer) {
    std::size_t total = 0;
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    for (ssize_t count = 0; (count = ::read(file, buffer.data(), buffer.size())) > 0;) {
        total += static_cast<std::size_t>(count);
    }
    ::close(file);
    return total;
}

void readEveryMap(benchmark::State& state, bool many) {
    const SampleFiles& files = samples(many);
    const std::string root = files.root();
    for (auto _ : state) {
        std::vector<std::string> names;
        forEachName(root, [&names](std::string name) { names.push_back(std::move(name)); });
        std::atomic<std::size_t> next = 0;
        std::atomic<std::size_t> bytes = 0;
        const auto loop = [&] {
            std::vector<char> buffer(2 * files.bytes);
            for (std::size_t i = next++; i < names.size(); i = next++) {
                bytes += readWhole(joined(joined(root, names[i]), names[i]) + ".map", buffer);
            }
        };
        {
            std::vector<std::jthread> threads;
            while (threads.size() < std::thread::hardware_concurrency()) {
                threads.emplace_back(loop);
            }
        }
        if (bytes < files.count * files.bytes) {
            state.SkipWithError("files are missing");
        }
    }
}

void scanCold(benchmark::State& state, bool many) {
    const SampleFiles& files = samples(many);
    for (auto _ : state) {
        if (NetPlay::scanMapCatalog(files.root(), {}).size() != files.count) {
            state.SkipWithError("maps are missing");
        }
    }
    state.counters["bound"] = 3;
}

void askEveryFile(benchmark::State& state, bool many) {
    const SampleFiles& sampled = samples(many);
    const std::string root = sampled.root();
    for (auto _ : state) {
        std::size_t files = 0;
        std::int64_t sum = 0;
        forEachName(root, [&](const std::string& name) {
            const std::string folder = joined(root, name);
            forEachName(folder, [&](const std::string& file) {
                struct stat status {};
                files += ::stat(joined(folder, file).c_str(), &status) == 0 ? 1 : 0;
                sum += status.st_size + status.st_mtim.tv_nsec;
            });
        });
        benchmark::DoNotOptimize(sum);
        if (files != 2 * sampled.count) {
            state.SkipWithError("files are missing");
        }
    }
}

void scanUnchanged(benchmark::State& state, bool many) {
    const SampleFiles& files = samples(many);
    NetPlay::scanMapCatalog(files.root(), files.cacheDir());
    for (auto _ : state) {
        if (NetPlay::scanMapCatalog(files.root(), files.cacheDir()).size() != files.count) {
            state.SkipWithError("maps are missing");
        }
    }
    state.counters["bound"] = 1.5;
}

void startFast(benchmark::State& state, bool many) {
    const SampleFiles& files = samples(many);
    NetPlay::scanMapCatalog(files.root(), files.cacheDir());
    for (auto _ : state) {
        if (NetPlay::loadCachedCatalog(files.root(), files.cacheDir()).size() != files.count) {
            state.SkipWithError("maps are missing");
        }
    }
    state.counters["bound"] = 1.2;
}

const std::filesystem::path& hashedFile() {
    static const std::filesystem::path file = [] {
        std::filesystem::path path = samples().folder() / "large";
        const std::string piece = mapgen::makeMap({.bytes = 1'000'000, .oddities = false}, 0).files.front().bytes;
        for (std::size_t written = 0; written < kHashedBytes; written += piece.size()) {
            platform::appendToFile(path, piece);
        }
        ::sync();
        return path;
    }();
    return file;
}

void hashByOpenssl(benchmark::State& state) {
    std::string program = "openssl";
    std::string command = "dgst";
    std::string algorithm = "-sha256";
    std::string output = "-out";
    std::string nowhere = "/dev/null";
    std::string file = hashedFile();
    char* const arguments[] = {program.data(), command.data(), algorithm.data(), output.data(),
                               nowhere.data(), file.data(),    nullptr};
    for (auto _ : state) {
        pid_t child = 0;
        int status = -1;
        if (::posix_spawnp(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
            ::waitpid(child, &status, 0) != child || status != 0) {
            state.SkipWithError("openssl failed");
        }
    }
}

void hashFile(benchmark::State& state) {
    const std::filesystem::path& file = hashedFile();
    for (auto _ : state) {
        if (NetPlay::sha256File(file).empty()) {
            state.SkipWithError("hashing failed");
        }
    }
    state.counters["bound"] = 1.1;
}

// A file of about that size; but for the ordinary one, a thing is repeated that some search stops at.
std::string mapFileBytes(const std::string& shape, std::size_t size) {
    const auto repeated = [](const std::string& piece, std::size_t bytes) {
        std::string text;
        while (text.size() < bytes) {
            text += piece;
        }
        return text;
    };
    return shape == "ordinary" ? mapgen::makeMap({.bytes = size, .oddities = false}, 0).files.front().bytes
           : shape == "lists ahead of Chinese"
               ? "#T#a#L\n@1#x\n" + repeated("@1#x", size / 2) + repeated("地", size / 2) + "\n"
           : shape == "lists"          ? "#T#a#L\n@1#x\n" + repeated("@1#x\n", size)
           : shape == "unclosed names" ? repeated("bar1_name=\"", size) + "\xFF"
           : shape == "options"        ? repeated("#T#a#b", size) + "\n"
           : shape == "GBK"            ? "#T#" + repeated("\xB1\xB1\xB7\xBD", size) + "#T#\xFF"
                                       : "PLAYER_NUM=22 side1_num=22 side1_name=\"" + repeated("x", size) + "\"";
}
constexpr std::array kHostileShapes{
    "lists ahead of Chinese", "lists", "unclosed names", "options", "GBK", "a long name"};

void readMapFile(benchmark::State& state, const std::string& shape, std::size_t size) {
    const std::filesystem::path file = std::filesystem::temp_directory_path() / "netplay-maps-bench.map";
    if (!platform::writeWholeFile(file, mapFileBytes(shape, size))) {
        state.SkipWithError("the file cannot be written");
    }
    for (auto _ : state) {
        NetPlay::MapInfo map;
        try {
            NetPlay::parseMapFile(file, map);
        } catch (const NetPlay::MapFormatError&) {
            // as good as any other end
        }
        benchmark::DoNotOptimize(map.slotCount);
    }
    state.counters["bound"] = 10;
    std::filesystem::remove(file);
}

// The child begins with this process's memory, so it is measured before anything else has run.
void scanMemory(benchmark::State& state, bool many, bool fast) {
    const SampleFiles& files = samples(many);
    for (auto _ : state) {
        const pid_t child = ::fork();
        if (child == 0) {
            const auto maps = fast ? NetPlay::loadCachedCatalog(files.root(), files.cacheDir())
                                   : NetPlay::scanMapCatalog(files.root(), files.cacheDir());
            ::_exit(maps.size() == files.count ? 0 : 1);
        }
        int status = -1;
        rusage usage{};
        if (::wait4(child, &status, 0, &usage) != child || status != 0) {
            state.SkipWithError("the child failed");
        }
        state.SetLabel("peak " + std::to_string(usage.ru_maxrss / 1024) + " MiB");
    }
}

void timed(benchmark::internal::Benchmark* bench) {
    bench->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(0.5)->Repetitions(5);
}

void registerCatalog(bool many) {
    const std::string maps = many ? "50000" : "5000";
    const auto add = [&](const std::string& name, auto function) {
        benchmark::RegisterBenchmark(name.c_str(), function, many)->Apply(timed)->Repetitions(many ? 3 : 5);
    };
    for (const auto& [name, fast] :
         {std::pair("cold scan", false), {"scan of unchanged maps", false}, {"fast start", true}}) {
        benchmark::RegisterBenchmark((maps + " maps, memory of a " + name).c_str(), scanMemory, many, fast)
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
    add("cold scan of " + maps + " maps/baseline", readEveryMap);
    add("cold scan of " + maps + " maps/ours", scanCold);
    add("scan of " + maps + " unchanged maps/baseline", askEveryFile);
    add("scan of " + maps + " unchanged maps/ours", scanUnchanged);
    add("fast start with " + maps + " maps/baseline", askEveryFile);
    add("fast start with " + maps + " maps/ours", startFast);
}

void registerHostileFiles() {
    for (const std::size_t megabytes : {1, 2, 4, 8}) {
        const std::size_t size = megabytes * 1'000'000;
        for (const std::string shape : kHostileShapes) {
            const std::string name = "map file of " + std::to_string(megabytes) + " MB, " + shape;
            for (const auto& [side, shown] : {std::pair("/baseline", std::string("ordinary")), {"/ours", shape}}) {
                benchmark::RegisterBenchmark((name + side).c_str(), readMapFile, shown, size)
                    ->UseRealTime()
                    ->Unit(benchmark::kMillisecond)
                    ->MinTime(0.05)
                    ->Repetitions(5);
            }
        }
    }
}

const bool kRegistered = [] {
    registerCatalog(false);
    registerCatalog(true);
    registerHostileFiles();
    return true;
}();

BENCHMARK(hashByOpenssl)->Name("SHA-256 of 300 MB/baseline")->Apply(timed);
BENCHMARK(hashFile)->Name("SHA-256 of 300 MB/ours")->Apply(timed);

}  // namespace
