// Where a map's files are, what the file system says of them, and their digests.
#pragma once

#include "maps/map_info.h"
#include "platform/files.h"

#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace NetPlay {

// The file `name` + `extension` of the folder; without it, the first file in lower-cased order that has the extension
// and is no working copy. `extension` is ".map" or ".o". An empty path when there is none. `status` gets what the file
// system says of the file, with size -1 when it does not. Throws std::filesystem::filesystem_error when the search
// cannot list the whole folder: another file might be the one.
std::filesystem::path locateMapFile(const std::filesystem::path& folder, const std::string& name,
                                    std::string_view extension, platform::FileStatus* status = nullptr);

// A last-write time as the cache compares it: the ticks of 100 ns since 1601-01-01 UTC times 100, wrapped to 64 bits. 0
// for a file that cannot be asked.
std::int64_t fileWriteStamp(const platform::FileStatus& status);
std::int64_t fileWriteStamp(const std::filesystem::path& path);

// Whether the file has this size and stamp; `status` gets what the file system says of it then.
bool fileMatchesRecord(const std::filesystem::path& path, std::int64_t size, std::int64_t stamp,
                       platform::FileStatus* status = nullptr);

// The latest last-write time of a map's folder, .map file and .o file as ticks of the system clock since 1970, cut to
// whole seconds of distance from now. Nothing depends on it.
std::int64_t lastModifiedTicks(const std::optional<platform::FileStatus>& folder, const platform::FileStatus& mapFile,
                               const platform::FileStatus& oFile);

// SHA-256 of the file's whole content as 64 lower-case hexadecimal digits; empty on any failure, and when a stop is
// requested before its end. Reads in blocks, and looks at `stop` before each.
std::string sha256File(const std::filesystem::path& path, const std::stop_token& stop = {});

}  // namespace NetPlay
