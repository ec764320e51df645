// What the client learned about complete maps, kept between runs in one file.
#pragma once

#include "maps/map_info.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

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

// Copies or moves what parsing a .map file gives, between a record and a line.
template<typename From, typename To>
void takeParsedFields(From&& from, To& to) {
    to.displayName = std::forward<From>(from).displayName;
    to.maxPlayers = from.maxPlayers;
    to.slotCount = from.slotCount;
    to.slots = std::forward<From>(from).slots;
    to.sides = std::forward<From>(from).sides;
    to.optionIds = std::forward<From>(from).optionIds;
    to.optionValues = std::forward<From>(from).optionValues;
    to.optionLabels = std::forward<From>(from).optionLabels;
}

// What a cache may hold. The reader takes a larger file for a foreign one and skips a longer line; the writer leaves
// out what would not fit.
inline constexpr std::size_t kMaxCacheLineBytes = 256U << 10U;
inline constexpr std::size_t kMaxCacheBytes = 128U << 20U;
inline constexpr std::size_t kMaxCacheSeparators = 16'000'000;  // between lines, fields and items: each takes memory

// The text of a cache file, line by line.
class CatalogCacheText {
public:
    // False, and nothing is added, for an entry that does not fit.
    bool add(const MapCacheEntry& entry);
    const std::string& text() const { return text_; }

    // Writes the cache of the folder, creating that, so that a reader sees the old file or the new one. Failures are
    // silent and leave the old file; an empty `cacheDir` writes nothing.
    void write(const std::filesystem::path& cacheDir) const;

private:
    std::string text_ = "# map catalog cache v3\n";
    std::size_t separators_ = 1;
};

// The table in the bytes of a cache file. Lines that cannot be read are skipped and counted in one warning; a later
// line of the same key wins. `isCurrent` tells whether each line of the file is in the table.
MapCatalogCache parseCatalogCache(std::string_view bytes, bool* isCurrent = nullptr);

// The cache of the folder. A missing, unreadable or foreign file and an empty `cacheDir` give an empty table.
MapCatalogCache readCatalogCache(const std::filesystem::path& cacheDir, bool* isCurrent = nullptr);

// Writes what fits of the table.
void writeCatalogCache(const std::filesystem::path& cacheDir, const MapCatalogCache& table);

// Whether a line has what a record needs: a title, counts of at least 1, slots that don't contradict themselves.
bool isUsable(const MapCacheEntry& entry);

// Sets the record's digests and fingerprint from a line that has all of them; from any other line, none.
void takeFingerprint(const MapCacheEntry& entry, MapInfo& map);

// A record from a line alone, if both files are still as the line says and lie in a folder directly below `mapRoot`;
// otherwise false, and the record gets no name. Asks the file system three times.
bool mapInfoFromCacheEntry(const std::filesystem::path& mapRoot, MapCacheEntry entry, MapInfo& map);

}  // namespace NetPlay
