#include "maps/map_files.h"

#include "maps/map_records.h"
#include "platform/code_page.h"
#include "platform/sha256.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <system_error>

namespace NetPlay {

namespace {

bool isWorkingCopy(std::string_view lowerName) {
    const auto marks = {".bak", "before_", "broken_", ".tmp", ".old"};
    return std::any_of(marks.begin(), marks.end(),
                       [lowerName](std::string_view mark) { return lowerName.find(mark) != lowerName.npos; });
}

}  // namespace

std::filesystem::path locateMapFile(const std::filesystem::path& folder, const std::string& name,
                                    std::string_view extension, platform::FileStatus* status) {
    platform::FileStatus unwanted;
    platform::FileStatus& found = status != nullptr ? *status : unwanted;
    std::filesystem::path exact = folder / platform::pathFromUtf8(name + std::string(extension));
    found = platform::fileStatus(exact).value_or(platform::FileStatus());
    if (found.isRegularFile) {
        return exact;
    }
    const auto entries = platform::listFolder(folder);
    if (!entries && platform::fileStatus(folder)) {
        throw std::filesystem::filesystem_error("directory_iterator::operator++", folder,
                                                std::make_error_code(std::errc::io_error));
    }
    std::string best;
    for (const platform::FolderEntry& entry : entries.value_or(std::vector<platform::FolderEntry>())) {
        const std::string file = platform::pathToUtf8(entry.name);
        std::string lower = file;
        std::transform(lower.begin(), lower.end(), lower.begin(), platform::toLowerAscii);
        const bool fits = entry.isRegularFile && lower.ends_with(extension) && !isWorkingCopy(lower);
        if (fits && (best.empty() || catalogOrder(file, best))) {
            best = file;
        }
    }
    found = platform::FileStatus();
    if (best.empty()) {
        return {};
    }
    std::filesystem::path path = folder / platform::pathFromUtf8(best);
    found = platform::fileStatus(path).value_or(platform::FileStatus{.size = -1});
    return path;
}

std::int64_t fileWriteStamp(const platform::FileStatus& status) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(status.writeTicks) * 100U);
}

std::int64_t fileWriteStamp(const std::filesystem::path& path) {
    const auto status = platform::fileStatus(path);
    return status ? fileWriteStamp(*status) : 0;
}

bool fileMatchesRecord(const std::filesystem::path& path, std::int64_t size, std::int64_t stamp,
                       platform::FileStatus* status) {
    const auto found = platform::fileStatus(path);
    const bool matches = found && found->size == size && fileWriteStamp(*found) == stamp;
    if (matches && status != nullptr) {
        *status = *found;
    }
    return matches;
}

std::int64_t lastModifiedTicks(const std::optional<platform::FileStatus>& folder, const platform::FileStatus& mapFile,
                               const platform::FileStatus& oFile) {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    constexpr std::uint64_t kTicksFrom1601To1970 = 116'444'736'000'000'000;
    constexpr std::int64_t kTicksPerSecond = 10'000'000;
    const std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    const std::int64_t newest = std::max({folder ? folder->writeTicks : lowest, mapFile.writeTicks, oFile.writeTicks});
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    // Unsigned, so that the lowest of all times wraps instead of being undefined.
    const auto now = static_cast<std::uint64_t>(std::chrono::duration_cast<Ticks>(sinceEpoch).count());
    const auto distance = static_cast<std::int64_t>(static_cast<std::uint64_t>(newest) - now - kTicksFrom1601To1970);
    return static_cast<std::int64_t>(now + static_cast<std::uint64_t>(distance / kTicksPerSecond * kTicksPerSecond));
}

std::string sha256File(const std::filesystem::path& path, const std::stop_token& stop) {
    platform::Sha256 hash;
    const bool complete = platform::readFileInBlocks(
        path, [&](std::string_view block) { return !stop.stop_requested() && hash.update(block); });
    return complete ? hash.finish() : std::string();
}

}  // namespace NetPlay
