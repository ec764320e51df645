// The fingerprint by which two players tell whether they have the same map.
#pragma once

#include "maps/map_info.h"

#include <stop_token>
#include <string>

namespace NetPlay {

// SHA-256 of the file's whole content as 64 lower-case hexadecimal digits; empty on any failure, and when a stop is
// requested before its end. Reads in blocks, and looks at `stop` before each.
std::string sha256File(const std::filesystem::path& path, const std::stop_token& stop = {});

// Sets the record's digests and fingerprint from its two files: "sha256:", the digest of the .map file, ":", the digest
// of the .o file. Digests that the record has are not computed anew, but one alone is. Without both, no fingerprint is
// set.
void setFingerprint(MapInfo& map, const std::stop_token& stop = {});

// Makes sure that `map` carries a fingerprint, taking it from the cache or hashing the files, and writes it to the
// cache. True when the record has it at the end; otherwise the record is as it was. A record that already has one is
// believed. For any thread; takes seconds for a large map. When a stop is requested meanwhile, it soon gives false and
// leaves the record and the cache as they were.
bool computeMapFingerprint(MapInfo& map, const std::filesystem::path& cacheDir, const std::stop_token& stop = {});

}  // namespace NetPlay
