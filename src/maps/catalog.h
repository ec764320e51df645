// The catalog of local maps: one record for each folder of the map root that holds a map.
#pragma once

#include "maps/catalog_cache.h"
#include "maps/map_info.h"

#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

namespace NetPlay {

// Builds the record of one map folder: from its cache line while both files are unchanged, otherwise by parsing. False
// when the folder does not exist or holds neither file. With `computeFingerprint` both digests are made sure of. A
// complete map's line is moved out of `cache` and goes to `updated`; both may be null, or the same table. A map whose
// script cannot be read, or has too much for the cache, is listed with what is known, gets no line, and leaves one
// warning in the log. False, too, when a stop is requested meanwhile; then nothing goes to `updated`. Throws
// std::filesystem::filesystem_error when the folder cannot be listed to its end.
bool loadMapEntry(const std::filesystem::path& folder, const std::string& name, MapInfo& map,
                  const std::filesystem::path& cacheDir, MapCatalogCache* cache, MapCatalogCache* updated,
                  bool computeFingerprint, const std::stop_token& stop = {});

// Makes sure that `map` carries a fingerprint, taking it from the cache or hashing the files, and writes it to the
// cache. True when the record has it at the end; otherwise the record is as it was. A record that already has one is
// believed. For any thread; takes seconds for a large map. When a stop is requested meanwhile, it soon gives false and
// leaves the record and the cache as they were.
bool computeMapFingerprint(MapInfo& map, const std::filesystem::path& cacheDir, const std::stop_token& stop = {});

// All maps of the root, sorted by lower-cased name, checked against the disk on all cores. Rewrites the cache at the
// end, if that changes it. A root that is missing or cannot be listed to its end gives an empty list and leaves the
// cache; a map's folder that cannot be listed is left out, and its line stays as it was. When a stop is requested
// meanwhile, the scan and its helper threads soon end, even in the middle of a file, with an empty list and the cache
// as it was. For any thread but the window's.
std::vector<MapInfo> scanMapCatalog(const std::filesystem::path& mapRoot, const std::filesystem::path& cacheDir,
                                    const std::stop_token& stop = {});

// The maps that the cache alone can vouch for, in the same order. Quick enough for the window's thread.
std::vector<MapInfo> loadCachedCatalog(const std::filesystem::path& mapRoot, const std::filesystem::path& cacheDir);

}  // namespace NetPlay
