#include "maps/map_files.h"

#include "maps/map_records.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <system_error>

namespace NetPlay {

namespace {

constexpr std::array<std::string_view, 5> kWorkingCopyMarks{".bak", "before_", "broken_", ".tmp", ".old"};

bool isWorkingCopy(std::string_view lowerName) {
    return std::any_of(kWorkingCopyMarks.begin(), kWorkingCopyMarks.end(),
                       [lowerName](std::string_view mark) { return lowerName.find(mark) != lowerName.npos; });
}

}  // namespace

LocatedFile locateFile(const std::filesystem::path& folder, const std::string& name, const std::string& extension) {
    std::filesystem::path exact = folder / platform::pathFromUtf8(name + extension);
    if (const auto status = platform::fileStatus(exact); status && status->isRegularFile) {
        return {std::move(exact), *status};
    }
    const auto entries = platform::listFolder(folder);
    if (!entries && platform::fileStatus(folder)) {
        throw std::filesystem::filesystem_error("directory_iterator::operator++", folder,
                                                std::make_error_code(std::errc::io_error));
    }
    std::string best;
    std::filesystem::path bestName;
    for (const platform::FolderEntry& entry : entries.value_or(std::vector<platform::FolderEntry>())) {
        const std::string lower = toLowerAscii(platform::pathToUtf8(entry.name));
        const bool fits = entry.isRegularFile && lower.ends_with(extension) && !isWorkingCopy(lower);
        if (fits && (bestName.empty() || lower < best || (lower == best && entry.name < bestName))) {
            best = lower;
            bestName = entry.name;
        }
    }
    if (bestName.empty()) {
        return {};
    }
    std::filesystem::path found = folder / bestName;
    const auto status = platform::fileStatus(found);
    return {std::move(found), status.value_or(platform::FileStatus{false, true, -1, 0})};
}

std::filesystem::path locateMapFile(const std::filesystem::path& folder, const std::string& name,
                                    const std::string& extension) {
    return locateFile(folder, name, extension).path;
}

std::int64_t writeStamp(std::int64_t writeTicks) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(writeTicks) * 100U);
}

std::int64_t fileWriteStamp(const std::filesystem::path& path) {
    const auto status = platform::fileStatus(path);
    return status ? writeStamp(status->writeTicks) : 0;
}

std::optional<platform::FileStatus> matchingStatus(const std::filesystem::path& path, std::int64_t size,
                                                   std::int64_t stamp) {
    auto status = platform::fileStatus(path);
    const bool matches = status && status->size == size && writeStamp(status->writeTicks) == stamp;
    return matches ? status : std::nullopt;
}

bool fileMatchesRecord(const std::filesystem::path& path, std::int64_t size, std::int64_t stamp) {
    return matchingStatus(path, size, stamp).has_value();
}

std::int64_t lastModifiedTicks(std::int64_t newestWriteTicks) {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    constexpr std::int64_t kTicksFrom1601To1970 = 116'444'736'000'000'000;
    constexpr std::int64_t kTicksPerSecond = 10'000'000;
    const std::int64_t now =
        std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()).count();
    // Unsigned, so that the lowest of all times wraps instead of being undefined.
    const auto distance = static_cast<std::int64_t>(static_cast<std::uint64_t>(newestWriteTicks) -
                                                    static_cast<std::uint64_t>(now + kTicksFrom1601To1970));
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(now) +
                                     static_cast<std::uint64_t>(distance / kTicksPerSecond * kTicksPerSecond));
}

}  // namespace NetPlay
