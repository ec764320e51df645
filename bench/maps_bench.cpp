// The map catalog on 5,000 maps, against loops of plain system calls over the same files in the page cache.
#include "mapgen/map_writer.h"
#include "maps/catalog.h"
#include "maps/fingerprint.h"
#include "platform/files.h"

#include <benchmark/benchmark.h>

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

constexpr std::size_t kMaps = 5000;
constexpr std::size_t kMapBytes = 200'000;
constexpr std::size_t kHashedBytes = 300'000'000;

// About a gigabyte, so it is written once and shared.
class SampleFiles {
public:
    SampleFiles() : folder_(std::filesystem::temp_directory_path() / "netplay-maps-bench") {
        std::filesystem::remove_all(folder_);
        mapgen::MapSet set;
        set.count = kMaps;
        set.bytes = kMapBytes;
        set.oddities = false;
        std::string error;
        std::filesystem::create_directories(root());
        if (!mapgen::writeMaps(root(), set, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::exit(1);
        }
        const std::string piece = mapgen::makeMap(set, 0).files.front().bytes;
        for (std::size_t written = 0; written < kHashedBytes; written += piece.size()) {
            platform::appendToFile(hashedFile(), piece);
        }
        // Writing back must not fall into the measurements.
        ::sync();
    }
    ~SampleFiles() { std::filesystem::remove_all(folder_); }
    SampleFiles(const SampleFiles&) = delete;
    SampleFiles& operator=(const SampleFiles&) = delete;

    std::filesystem::path root() const { return folder_ / "map"; }
    std::filesystem::path cacheDir() const { return folder_ / "cache"; }
    std::filesystem::path hashedFile() const { return folder_ / "large"; }

private:
    std::filesystem::path folder_;
};

const SampleFiles& samples() {
    static const SampleFiles files;
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

void readEveryMap(benchmark::State& state) {
    const std::string root = samples().root();
    for (auto _ : state) {
        std::vector<std::string> names;
        forEachName(root, [&names](std::string name) { names.push_back(std::move(name)); });
        std::atomic<std::size_t> next = 0;
        std::atomic<std::size_t> bytes = 0;
        const auto loop = [&] {
            std::vector<char> buffer(2 * kMapBytes);
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
        if (bytes < kMaps * kMapBytes) {
            state.SkipWithError("files are missing");
        }
    }
}

void scanCold(benchmark::State& state) {
    const SampleFiles& files = samples();
    for (auto _ : state) {
        if (NetPlay::scanMapCatalog(files.root(), {}).size() != kMaps) {
            state.SkipWithError("maps are missing");
        }
    }
    state.counters["bound"] = 6;
}

void askEveryFile(benchmark::State& state) {
    const std::string root = samples().root();
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
        if (files != 2 * kMaps) {
            state.SkipWithError("files are missing");
        }
    }
}

void scanUnchanged(benchmark::State& state) {
    const SampleFiles& files = samples();
    NetPlay::scanMapCatalog(files.root(), files.cacheDir());
    for (auto _ : state) {
        if (NetPlay::scanMapCatalog(files.root(), files.cacheDir()).size() != kMaps) {
            state.SkipWithError("maps are missing");
        }
    }
    state.counters["bound"] = 5;
}

void startFast(benchmark::State& state) {
    const SampleFiles& files = samples();
    NetPlay::scanMapCatalog(files.root(), files.cacheDir());
    for (auto _ : state) {
        if (NetPlay::loadCachedCatalog(files.root(), files.cacheDir()).size() != kMaps) {
            state.SkipWithError("maps are missing");
        }
    }
    state.counters["bound"] = 3;
}

void hashByOpenssl(benchmark::State& state) {
    std::string program = "openssl";
    std::string command = "dgst";
    std::string algorithm = "-sha256";
    std::string output = "-out";
    std::string nowhere = "/dev/null";
    std::string file = samples().hashedFile();
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
    const std::filesystem::path file = samples().hashedFile();
    for (auto _ : state) {
        if (NetPlay::sha256File(file).empty()) {
            state.SkipWithError("hashing failed");
        }
    }
    state.counters["bound"] = 1.1;
}

// The child begins with this process's memory, so it is measured before anything else has run.
void scanMemory(benchmark::State& state) {
    const SampleFiles& files = samples();
    for (auto _ : state) {
        const pid_t child = ::fork();
        if (child == 0) {
            const bool whole = NetPlay::scanMapCatalog(files.root(), files.cacheDir()).size() == kMaps;
            ::_exit(whole ? 0 : 1);
        }
        int status = -1;
        rusage usage{};
        if (::wait4(child, &status, 0, &usage) != child || status != 0) {
            state.SkipWithError("the child failed");
        }
        state.SetLabel("peak " + std::to_string(usage.ru_maxrss / 1024) + " MiB (bound: 200 MB)");
    }
    std::filesystem::remove_all(files.cacheDir());
}

void timed(benchmark::internal::Benchmark* bench) {
    bench->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(0.5)->Repetitions(5);
}

BENCHMARK(scanMemory)->Name("cold scan of 5000 maps, memory")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(readEveryMap)->Name("cold scan of 5000 maps/baseline")->Apply(timed);
BENCHMARK(scanCold)->Name("cold scan of 5000 maps/ours")->Apply(timed);
BENCHMARK(askEveryFile)->Name("scan of 5000 unchanged maps/baseline")->Apply(timed);
BENCHMARK(scanUnchanged)->Name("scan of 5000 unchanged maps/ours")->Apply(timed);
BENCHMARK(askEveryFile)->Name("fast start with 5000 maps/baseline")->Apply(timed);
BENCHMARK(startFast)->Name("fast start with 5000 maps/ours")->Apply(timed);
BENCHMARK(hashByOpenssl)->Name("SHA-256 of 300 MB/baseline")->Apply(timed);
BENCHMARK(hashFile)->Name("SHA-256 of 300 MB/ours")->Apply(timed);

}  // namespace
