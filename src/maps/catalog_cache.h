// What the client learned about complete maps, kept between runs in one file.
#pragma once

#include "maps/map_info.h"
#include "platform/files.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace NetPlay {

// One line of the cache.
struct MapCacheEntry {
    std::string name;
    std::string mapFilePathText;  // UTF-8
    std::uint64_t mapFileSize = 0;
    std::int64_t mapFileStamp = 0;
    std::string oFilePathText;  // UTF-8
    std::uint64_t oFileSize = 0;
    std::int64_t oFileStamp = 0;
    std::string mapFileHash;
    std::string oFileHash;
    std::string fingerprint;
    std::string displayName;
    std::int32_t maxPlayers = 0;
    std::int32_t slotCount = 0;
    std::vector<MapSlot> slots;
    std::vector<std::string> sides;
    std::vector<std::string> optionIds;
    std::map<std::string, std::vector<std::string>> optionValues;
    std::map<std::string, std::string> optionLabels;
};

// By name, "|" and the path text of the .map file.
using MapCatalogCache = std::unordered_map<std::string, MapCacheEntry>;
std::string cacheKey(const std::string& name, const std::string& mapFilePathText);

// The table in the bytes of a cache file, and the bytes of a table. Bytes of another kind, or with far more lines or
// items than maps have, give an empty table. Lines that cannot be read are skipped and counted in one warning; a later
// line of the same key wins.
MapCatalogCache parseCatalogCache(std::string_view bytes);
std::string catalogCacheText(const MapCatalogCache& table);

// The cache of the folder. A missing, unreadable or foreign file and an empty `cacheDir` give an empty table.
MapCatalogCache readCatalogCache(const std::filesystem::path& cacheDir);

// Writes the table, creating the folder, so that a reader sees the old file or the new one. Failures are silent and
// leave the old file; an empty `cacheDir` writes nothing.
void writeCatalogCache(const std::filesystem::path& cacheDir, const MapCatalogCache& table);

// The part of a record that comes from parsing the .map file, and its fingerprint, taken from a line.
void takeParsedFields(MapCacheEntry entry, MapInfo& map);

// Whether a line has what a record needs: a title, counts of at least 1, slots that don't contradict themselves.
bool isUsable(const MapCacheEntry& entry);

// A record from a line alone, if both files are still as the line says and lie in a folder directly below `mapRoot`.
// Asks the file system twice.
bool mapInfoFromCacheEntry(const std::filesystem::path& mapRoot, MapCacheEntry entry, MapInfo& map);

}  // namespace NetPlay
