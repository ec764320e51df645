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
#include <system_error>
#include <thread>

namespace NetPlay {

namespace {

// The part of a map's line that the disk tells.
MapCacheEntry lineOfFiles(const MapInfo& map, const platform::FileStatus& mapFile, const platform::FileStatus& oFile) {
    MapCacheEntry line;
    line.name = map.name;
    line.mapFilePathText = platform::pathToUtf8(map.mapFilePath);
    line.mapFileSize = static_cast<std::uint64_t>(mapFile.size);
    line.mapFileStamp = fileWriteStamp(mapFile);
    line.oFilePathText = platform::pathToUtf8(map.oFilePath);
    line.oFileSize = static_cast<std::uint64_t>(oFile.size);
    line.oFileStamp = fileWriteStamp(oFile);
    return line;
}

// The line of the map in the cache, if both files are as it says.
const MapCacheEntry* findReusable(const MapCatalogCache& cache, const MapCacheEntry& current) {
    const auto found = cache.find(cacheKey(current.name, current.mapFilePathText));
    if (found == cache.end()) {
        return nullptr;
    }
    const MapCacheEntry& entry = found->second;
    const bool sameMapFile = entry.mapFilePathText == current.mapFilePathText &&
                             entry.mapFileSize == current.mapFileSize && entry.mapFileStamp == current.mapFileStamp;
    const bool sameOFile = entry.oFilePathText == current.oFilePathText && entry.oFileSize == current.oFileSize &&
                           entry.oFileStamp == current.oFileStamp;
    return sameMapFile && sameOFile && isUsable(entry) ? &entry : nullptr;
}

void reuse(const MapCacheEntry& entry, MapInfo& map) {
    takeParsedFields(entry, map);
    if (!entry.mapFileHash.empty() && !entry.oFileHash.empty() && !entry.fingerprint.empty()) {
        map.mapFileHash = entry.mapFileHash;
        map.oFileHash = entry.oFileHash;
        map.fingerprint = entry.fingerprint;
        map.fingerprintAlgo = kFingerprintAlgo;
    }
}

// Adds what reading the files gave, and puts the line into the table.
void addLine(MapCacheEntry line, const MapInfo& map, MapCatalogCache& updated) {
    line.mapFileHash = map.mapFileHash;
    line.oFileHash = map.oFileHash;
    line.fingerprint = map.fingerprint;
    line.displayName = map.displayName;
    line.maxPlayers = map.maxPlayers;
    line.slotCount = map.slotCount;
    line.slots = map.slots;
    line.sides = map.sides;
    line.optionIds = map.optionIds;
    line.optionValues = map.optionValues;
    line.optionLabels = map.optionLabels;
    std::string key = cacheKey(line.name, line.mapFilePathText);
    updated[std::move(key)] = std::move(line);
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

// What one folder of the root gave.
struct ScannedFolder {
    std::optional<MapInfo> map;
    MapCatalogCache line;  // at most one
    std::exception_ptr error;
};

ScannedFolder scanFolder(const std::filesystem::path& folder, const std::string& name,
                         const std::filesystem::path& cacheDir, const MapCatalogCache& cache,
                         const std::stop_token& stop) {
    ScannedFolder scanned;
    try {
        MapInfo map;
        if (loadMapEntry(folder, name, map, cacheDir, &cache, &scanned.line, false, stop)) {
            scanned.map = std::move(map);
        }
    } catch (...) {
        scanned.error = std::current_exception();  // all else may throw again, on a thread where nobody catches it
    }
    return scanned;
}

// One map must not take the others with it.
void settleError(ScannedFolder& scanned, const std::filesystem::path& folder, const std::string& name,
                 const MapCatalogCache& cache) {
    try {
        std::rethrow_exception(scanned.error);
    } catch (const std::filesystem::filesystem_error& error) {
        // Whatever it holds now, what was known of it may still be true.
        qWarning("map %s: %s", name.c_str(), error.what());
        for (const auto& [key, entry] : cache) {
            if (entry.name == name) {
                scanned.line[key] = entry;
            }
        }
    } catch (const std::exception& error) {
        // Out of memory, say.
        qWarning("map %s: %s", name.c_str(), error.what());
        scanned.map.emplace();
        scanned.map->name = name;
        scanned.map->folderPath = folder;
        scanned.map->displayName = deriveDisplayName(name, folder);
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

// Calls `work` with each number below `count`, on all cores, until a stop is requested.
template<typename Work>
void forEachOnAllCores(std::size_t count, const std::stop_token& stop, Work work) {
    std::atomic<std::size_t> next = 0;
    const auto loop = [&] {
        for (std::size_t i = next++; i < count && !stop.stop_requested(); i = next++) {
            work(i);
        }
    };
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

}  // namespace

bool loadMapEntry(const std::filesystem::path& folder, const std::string& name, MapInfo& map,
                  const std::filesystem::path&, const MapCatalogCache* cache, MapCatalogCache* updated,
                  bool computeFingerprint, const std::stop_token& stop) {
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
    map.lastModified = lastModifiedTicks(std::max({folderStatus->writeTicks, mapFile.writeTicks, oFile.writeTicks}));

    MapCacheEntry line = lineOfFiles(map, mapFile, oFile);
    const MapCacheEntry* reusable = cache != nullptr && complete ? findReusable(*cache, line) : nullptr;
    if (reusable != nullptr) {
        reuse(*reusable, map);
    }
    if (computeFingerprint && complete) {
        setFingerprint(map, stop);
    }
    const bool parsed = reusable != nullptr || map.mapFilePath.empty() || parseLogged(map, stop);
    if (stop.stop_requested()) {
        return false;
    }
    map.maxPlayers = map.maxPlayers < 1 ? 6 : map.maxPlayers;
    map.slotCount = map.slotCount < 1 ? map.maxPlayers : map.slotCount;
    if (map.displayName.empty()) {
        map.displayName = deriveDisplayName(name, folder);
    }
    if (updated != nullptr && complete && parsed) {
        addLine(std::move(line), map, *updated);
    }
    return true;
}

std::vector<MapInfo> scanMapCatalog(const std::filesystem::path& mapRoot, const std::filesystem::path& cacheDir,
                                    const std::stop_token& stop) {
    const auto names = mapRoot.empty() ? std::nullopt : folderNames(mapRoot);
    if (!names) {
        return {};
    }
    const MapCatalogCache cache = readCatalogCache(cacheDir);
    std::vector<ScannedFolder> folders(names->size());
    forEachOnAllCores(names->size(), stop, [&](std::size_t i) {
        const std::string& name = (*names)[i];
        folders[i] = scanFolder(mapRoot / platform::pathFromUtf8(name), name, cacheDir, cache, stop);
    });
    if (stop.stop_requested()) {
        return {};
    }
    std::vector<MapInfo> maps;
    MapCatalogCache updated;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        ScannedFolder& folder = folders[i];
        const std::string& name = (*names)[i];
        if (folder.error) {
            settleError(folder, mapRoot / platform::pathFromUtf8(name), name, cache);
        }
        if (folder.map) {
            maps.push_back(std::move(*folder.map));
        }
        updated.merge(folder.line);
    }
    writeCatalogCache(cacheDir, updated);
    return maps;
}

std::vector<MapInfo> loadCachedCatalog(const std::filesystem::path& mapRoot, const std::filesystem::path& cacheDir) {
    std::vector<MapInfo> maps;
    const auto root = cacheDir.empty() ? std::nullopt : platform::fileStatus(mapRoot);
    if (!root || !root->isDirectory) {
        return maps;
    }
    MapCatalogCache cache = readCatalogCache(cacheDir);
    for (auto& [key, entry] : cache) {
        MapInfo map;
        if (mapInfoFromCacheEntry(mapRoot, std::move(entry), map)) {
            maps.push_back(std::move(map));
        }
    }
    std::sort(maps.begin(), maps.end(),
              [](const MapInfo& left, const MapInfo& right) { return catalogOrder(left.name, right.name); });
    return maps;
}

}  // namespace NetPlay
