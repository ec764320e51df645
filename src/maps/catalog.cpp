#include "maps/catalog.h"

#include "maps/fingerprint.h"
#include "maps/map_files.h"
#include "maps/map_records.h"
#include "maps/map_script.h"

#include <QtGlobal>

#include <algorithm>
#include <atomic>
#include <exception>
#include <optional>
#include <set>
#include <system_error>
#include <thread>

namespace NetPlay {

namespace {

// What the disk says of a map's files beside what is in its record, and what becomes of its line.
struct FileStamps {
    std::int64_t mapFile = 0;
    std::int64_t oFile = 0;
};
enum class Line { none, reused, fresh };

MapCacheEntry makeLine(const MapInfo& map, const FileStamps& stamps) {
    MapCacheEntry line;
    line.name = map.name;
    line.mapFilePathText = platform::pathToUtf8(map.mapFilePath);
    line.mapFileSize = static_cast<std::uint64_t>(map.mapFileSize);
    line.mapFileStamp = stamps.mapFile;
    line.oFilePathText = platform::pathToUtf8(map.oFilePath);
    line.oFileSize = static_cast<std::uint64_t>(map.oFileSize);
    line.oFileStamp = stamps.oFile;
    line.mapFileHash = map.mapFileHash;
    line.oFileHash = map.oFileHash;
    line.fingerprint = map.fingerprint;
    takeParsedFields(map, line);
    return line;
}

// Takes over the map's line in the cache, if both files are as it says. A cache that may be changed is emptied of it.
template<typename Cache>
bool reuseLine(Cache& cache, const FileStamps& stamps, MapInfo& map) {
    const std::string mapFileText = platform::pathToUtf8(map.mapFilePath);
    const auto found = cache.find(cacheKey(map.name, mapFileText));
    if (found == cache.end()) {
        return false;
    }
    auto& entry = found->second;
    if (entry.mapFilePathText != mapFileText || entry.mapFileStamp != stamps.mapFile ||
        entry.mapFileSize != static_cast<std::uint64_t>(map.mapFileSize) ||
        entry.oFilePathText != platform::pathToUtf8(map.oFilePath) || entry.oFileStamp != stamps.oFile ||
        entry.oFileSize != static_cast<std::uint64_t>(map.oFileSize) || !isUsable(entry)) {
        return false;
    }
    takeFingerprint(entry, map);
    takeParsedFields(std::move(entry), map);
    return true;
}

bool parseLogged(MapInfo& map, const std::stop_token& stop) {
    try {
        parseMapFile(map.mapFilePath, map, stop);
        return true;
    } catch (const MapFormatError& error) {
        qWarning("map %s: %s", map.name.c_str(), error.what());
        return false;
    }
}

// A record that the cache has no room for keeps its title and counts: a catalog of such maps must fit the memory too.
bool fitsCache(MapInfo& map, const FileStamps& stamps) {
    if (CatalogCacheText().add(makeLine(map, stamps))) {
        return true;
    }
    qWarning("map %s: too much for the cache", map.name.c_str());
    map.slots.clear();
    map.slots.shrink_to_fit();
    map.sides.clear();
    map.optionIds.clear();
    map.optionValues.clear();
    map.optionLabels.clear();
    return false;
}

// loadMapEntry, but for the making of the line.
template<typename Cache>
bool loadRecord(const std::filesystem::path& folder, const std::string& name, Cache* cache, bool computeFingerprint,
                const std::stop_token& stop, MapInfo& map, FileStamps& stamps, Line& line) {
    const auto folderStatus = platform::fileStatus(folder);
    if (!folderStatus) {
        return false;
    }
    map = MapInfo();
    map.name = name;
    map.folderPath = folder;
    platform::FileStatus mapFile;
    platform::FileStatus oFile;
    map.mapFilePath = locateMapFile(folder, name, ".map", &mapFile);
    map.oFilePath = locateMapFile(folder, name, ".o", &oFile);
    if (map.mapFilePath.empty() && map.oFilePath.empty()) {
        return false;
    }
    const bool complete = !map.mapFilePath.empty() && !map.oFilePath.empty();
    map.mapFileSize = mapFile.size;
    map.oFileSize = oFile.size;
    map.lastModified = lastModifiedTicks(folderStatus, mapFile, oFile);
    stamps = {fileWriteStamp(mapFile), fileWriteStamp(oFile)};

    const bool reused = cache != nullptr && complete && reuseLine(*cache, stamps, map);
    if (computeFingerprint && complete) {
        setFingerprint(map, stop);
    }
    const bool parsed = reused || map.mapFilePath.empty() || parseLogged(map, stop);
    if (stop.stop_requested()) {
        return false;
    }
    map.maxPlayers = map.maxPlayers < 1 ? 6 : map.maxPlayers;
    map.slotCount = map.slotCount < 1 ? map.maxPlayers : map.slotCount;
    if (map.displayName.empty()) {
        map.displayName = deriveDisplayName(name, folder);
    }
    const bool fits = reused || fitsCache(map, stamps);
    line = reused ? Line::reused : complete && parsed && fits ? Line::fresh : Line::none;
    return true;
}

// What one folder of the root gave.
struct ScannedFolder {
    std::optional<MapInfo> map;
    FileStamps stamps;
    Line line = Line::none;
    std::exception_ptr error;
};

ScannedFolder scanFolder(const std::filesystem::path& folder, const std::string& name, MapCatalogCache& cache,
                         const std::stop_token& stop) {
    ScannedFolder scanned;
    try {
        MapInfo map;
        if (loadRecord(folder, name, &cache, false, stop, map, scanned.stamps, scanned.line)) {
            scanned.map = std::move(map);
        }
    } catch (...) {
        scanned.error = std::current_exception();  // all else may throw again, on a thread where nobody catches it
    }
    return scanned;
}

// One map must not take the others with it. True when nothing is known of its folder: what the cache says of it may
// still be true.
bool settleError(ScannedFolder& scanned, const std::filesystem::path& folder, const std::string& name) {
    try {
        std::rethrow_exception(scanned.error);
    } catch (const std::filesystem::filesystem_error& error) {
        qWarning("map %s: %s", name.c_str(), error.what());
        return true;
    } catch (const std::exception& error) {
        // Out of memory, say.
        qWarning("map %s: %s", name.c_str(), error.what());
        scanned.map.emplace();
        scanned.map->name = name;
        scanned.map->folderPath = folder;
        scanned.map->displayName = deriveDisplayName(name, folder);
        return false;
    }
}

// The root's folders, sorted; empty when it cannot be listed.
std::optional<std::vector<std::string>> folderNames(const std::filesystem::path& mapRoot) {
    const auto entries = platform::listFolder(mapRoot);
    if (!entries) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    for (const platform::FolderEntry& entry : *entries) {
        if (entry.isDirectory) {
            names.push_back(platform::pathToUtf8(entry.name));
        }
    }
    std::sort(names.begin(), names.end(), catalogOrder);
    return names;
}

// Calls `work` with each number below `count`, on all cores, until a stop is requested. The first exception of a call
// is thrown again here, once no call is running.
template<typename Work>
void forEachOnAllCores(std::size_t count, const std::stop_token& stop, Work work) {
    std::atomic<std::size_t> next = 0;
    std::atomic<bool> failed = false;
    std::exception_ptr error;
    const auto loop = [&] {
        try {
            for (std::size_t i = next++; i < count && !failed && !stop.stop_requested(); i = next++) {
                work(i);
            }
        } catch (...) {
            if (!failed.exchange(true)) {
                error = std::current_exception();
            }
        }
    };
    {
        std::vector<std::jthread> helpers;
        try {
            const std::size_t threads = std::min<std::size_t>(std::thread::hardware_concurrency(), count);
            while (helpers.size() + 1 < threads) {
                helpers.emplace_back(loop);
            }
        } catch (const std::system_error&) {
            // As many as there are: this thread alone does it too.
        }
        loop();
    }
    if (error) {
        std::rethrow_exception(error);
    }
}

}  // namespace

bool loadMapEntry(const std::filesystem::path& folder, const std::string& name, MapInfo& map,
                  const std::filesystem::path&, const MapCatalogCache* cache, MapCatalogCache* updated,
                  bool computeFingerprint, const std::stop_token& stop) {
    FileStamps stamps;
    Line line = Line::none;
    if (!loadRecord(folder, name, cache, computeFingerprint, stop, map, stamps, line)) {
        return false;
    }
    if (updated != nullptr && line != Line::none) {
        MapCacheEntry entry = makeLine(map, stamps);
        std::string key = cacheKey(entry.name, entry.mapFilePathText);
        (*updated)[std::move(key)] = std::move(entry);
    }
    return true;
}

std::vector<MapInfo> scanMapCatalog(const std::filesystem::path& mapRoot, const std::filesystem::path& cacheDir,
                                    const std::stop_token& stop) {
    const auto names = mapRoot.empty() ? std::nullopt : folderNames(mapRoot);
    if (!names) {
        return {};
    }
    bool unchanged = false;
    MapCatalogCache cache = readCatalogCache(cacheDir, &unchanged);
    std::vector<ScannedFolder> folders(names->size());
    const auto pathOf = [&](std::size_t i) {
        return mapRoot / platform::pathFromUtf8((*names)[i]);
    };
    forEachOnAllCores(names->size(), stop,
                      [&](std::size_t i) { folders[i] = scanFolder(pathOf(i), (*names)[i], cache, stop); });
    if (stop.stop_requested()) {
        return {};
    }
    std::set<std::string> unknown;  // of these, the lines stay
    std::size_t reused = 0;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        if (folders[i].error && settleError(folders[i], pathOf(i), (*names)[i])) {
            unknown.insert((*names)[i]);
        }
        unchanged = unchanged && folders[i].line != Line::fresh;
        reused += folders[i].line == Line::reused ? 1 : 0;
    }
    if (!cacheDir.empty() && (!unchanged || reused != cache.size())) {
        CatalogCacheText text;
        bool whole = true;
        for (const ScannedFolder& folder : folders) {
            whole = (folder.line == Line::none || text.add(makeLine(*folder.map, folder.stamps))) && whole;
        }
        for (const auto& [key, entry] : cache) {
            whole = (unknown.count(entry.name) == 0 || text.add(entry)) && whole;
        }
        if (!whole) {
            qWarning("map cache: not all maps fit");
        }
        text.write(cacheDir);
    }
    std::vector<MapInfo> maps;
    maps.reserve(folders.size());
    for (ScannedFolder& folder : folders) {
        if (folder.map) {
            maps.push_back(std::move(*folder.map));
        }
    }
    return maps;
}

std::vector<MapInfo> loadCachedCatalog(const std::filesystem::path& mapRoot, const std::filesystem::path& cacheDir) {
    const auto root = cacheDir.empty() ? std::nullopt : platform::fileStatus(mapRoot);
    if (!root || !root->isDirectory) {
        return {};
    }
    MapCatalogCache cache = readCatalogCache(cacheDir);
    std::vector<MapCacheEntry*> entries;
    entries.reserve(cache.size());
    for (auto& [key, entry] : cache) {
        entries.push_back(&entry);
    }
    std::sort(entries.begin(), entries.end(), [](const MapCacheEntry* left, const MapCacheEntry* right) {
        return catalogOrder(left->name, right->name);
    });
    std::vector<MapInfo> maps(entries.size());
    forEachOnAllCores(entries.size(), {},
                      [&](std::size_t i) { mapInfoFromCacheEntry(mapRoot, std::move(*entries[i]), maps[i]); });
    std::erase_if(maps, [](const MapInfo& map) { return map.name.empty(); });
    return maps;
}

}  // namespace NetPlay
