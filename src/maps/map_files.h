// Where a map's files are, and what the file system says of them.
#pragma once

#include "maps/map_info.h"
#include "platform/files.h"

#include <cstdint>
#include <optional>
#include <string>

namespace NetPlay {

struct LocatedFile {
    std::filesystem::path path;  // empty: not found
    platform::FileStatus status;
};

// The file `name` + `extension` of the folder; without it, the first file in lower-cased order that has the extension
// and is no working copy. `extension` is ".map" or ".o". An empty path when there is none. Throws
// std::filesystem::filesystem_error when that search cannot list the whole folder: another file might be the one.
LocatedFile locateFile(const std::filesystem::path& folder, const std::string& name, const std::string& extension);
std::filesystem::path locateMapFile(const std::filesystem::path& folder, const std::string& name,
                                    const std::string& extension);

// A last-write time as the cache compares it: the ticks of 100 ns since 1601-01-01 UTC times 100, wrapped to 64 bits.
std::int64_t writeStamp(std::int64_t writeTicks);
// The same of a file; 0 when the file cannot be asked.
std::int64_t fileWriteStamp(const std::filesystem::path& path);

// The file's status if its size and stamp are as given; empty otherwise.
std::optional<platform::FileStatus> matchingStatus(const std::filesystem::path& path, std::int64_t size,
                                                   std::int64_t stamp);
bool fileMatchesRecord(const std::filesystem::path& path, std::int64_t size, std::int64_t stamp);

// The latest of the given last-write ticks as ticks of the system clock since 1970, cut to whole seconds of distance
// from now. Nothing depends on it.
std::int64_t lastModifiedTicks(std::int64_t newestWriteTicks);

}  // namespace NetPlay
