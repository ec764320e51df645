#include "maps/catalog.h"

#include "maps/all_cores.h"
#include "maps/map_files.h"
#include "maps/map_records.h"
#include "maps/map_script.h"

#include <QtGlobal>

#include <algorithm>
#include <exception>
#include <optional>
#include <set>
#include <tuple>

namespace NetPlay {

namespace {

// A map's record, what the disk says of its files beside that, and what becomes of its line in the cache.
struct LoadedMap {
    MapInfo map;
    std::int64_t mapFileStamp = 0;
    std::int64_t oFileStamp = 0;
    enum class Line { none, reused, fresh } line = Line::none;
};

MapCacheEntry makeLine(const LoadedMap& loaded) {
    const MapInfo& map = loaded.map;
    MapCacheEntry line;
    line.name = map.name;
    line.mapFilePathText = platform::pathToUtf8(map.mapFilePath);
    line.mapFileSize = static_cast<std::uint64_t>(map.mapFileSize);
    line.mapFileStamp = loaded.mapFileStamp;
    line.oFilePathText = platform::pathToUtf8(map.oFilePath);
    line.oFileSize = static_cast<std::uint64_t>(map.oFileSize);
    line.oFileStamp = loaded.oFileStamp;
    line.mapFileHash = map.mapFileHash;
    line.oFileHash = map.oFileHash;
    line.fingerprint = map.fingerprint;
    takeParsedFields(map, line);
    return line;
}

// Moves the map's line out of the cache and into its record, if both files are as it says.
bool reuseLine(MapCatalogCache& cache, LoadedMap& loaded) {
    const auto files = [](const MapCacheEntry& line) {
        return std::tie(line.mapFilePathText, line.mapFileSize, line.mapFileStamp, line.oFilePathText, line.oFileSize,
                        line.oFileStamp);
    };
    const MapCacheEntry now = makeLine(loaded);
    const auto found = cache.find(cacheKey(now.name, now.mapFilePathText));
    if (found == cache.end() || files(found->second) != files(now) || !isUsable(found->second)) {
        return false;
    }
    takeFingerprint(found->second, loaded.map);
    takeParsedFields(std::move(found->second), loaded.map);
    return true;
}

// "sha256:", the digest of the .map file, ":", the digest of the .o file. Digests that the record has are not computed
// anew, but one alone is. Without both, no fingerprint is set.
void setFingerprint(MapInfo& map, const std::stop_token& stop) {
    if (map.mapFileHash.empty() || map.oFileHash.empty()) {
        map.mapFileHash = sha256File(map.mapFilePath, stop);
        map.oFileHash = sha256File(map.oFilePath, stop);
    }
    if (!map.mapFileHash.empty() && !map.oFileHash.empty()) {
        map.fingerprintAlgo = kFingerprintAlgo;
        map.fingerprint = "sha256:" + map.mapFileHash + ":" + map.oFileHash;
    }
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
bool fitsCache(LoadedMap& loaded) {
    if (CatalogCacheText().add(makeLine(loaded))) {
        return true;
    }
    MapInfo& map = loaded.map;
    qWarning("map %s: too much for the cache", map.name.c_str());
    MapCacheEntry kept;
    kept.displayName = std::move(map.displayName);
    kept.maxPlayers = map.maxPlayers;
    kept.slotCount = map.slotCount;
    takeParsedFields(std::move(kept), map);
    return false;
}

// loadMapEntry, but for the making of the line. Empty where that gives false.
std::optional<LoadedMap> loadMap(const std::filesystem::path& folder, const std::string& name, MapCatalogCache* cache,
                                 bool computeFingerprint, const std::stop_token& stop) {
    const auto folderStatus = platform::fileStatus(folder);
    if (!folderStatus) {
        return std::nullopt;
    }
    std::optional<LoadedMap> loaded(std::in_place);
    MapInfo& map = loaded->map;
    map.name = name;
    map.folderPath = folder;
    platform::FileStatus mapFile;
    platform::FileStatus oFile;
    map.mapFilePath = locateMapFile(folder, name, ".map", &mapFile);
    map.oFilePath = locateMapFile(folder, name, ".o", &oFile);
    if (map.mapFilePath.empty() && map.oFilePath.empty()) {
        return std::nullopt;
    }
    const bool complete = !map.mapFilePath.empty() && !map.oFilePath.empty();
    map.mapFileSize = mapFile.size;
    map.oFileSize = oFile.size;
    map.lastModified = lastModifiedTicks(folderStatus, mapFile, oFile);
    loaded->mapFileStamp = fileWriteStamp(mapFile);
    loaded->oFileStamp = fileWriteStamp(oFile);

    const bool reused = cache != nullptr && complete && reuseLine(*cache, *loaded);
    if (computeFingerprint && complete) {
        setFingerprint(map, stop);
    }
    const bool parsed = reused || map.mapFilePath.empty() || parseLogged(map, stop);
    if (stop.stop_requested()) {
        return std::nullopt;
    }
    map.maxPlayers = map.maxPlayers < 1 ? 6 : map.maxPlayers;
    map.slotCount = map.slotCount < 1 ? map.maxPlayers : map.slotCount;
    if (map.displayName.empty()) {
        map.displayName = deriveDisplayName(name, folder);
    }
    if (reused) {
        loaded->line = LoadedMap::Line::reused;
    } else if (fitsCache(*loaded) && complete && parsed) {
        loaded->line = LoadedMap::Line::fresh;
    }
    return loaded;
}

// What one folder of the root gave.
struct ScannedFolder {
    std::optional<LoadedMap> loaded;
    bool isUnknown = false;  // what the cache says of it may still be true
};

// One map must not take the others with it.
ScannedFolder scanFolder(const std::filesystem::path& folder, const std::string& name, MapCatalogCache& cache,
                         const std::stop_token& stop) {
    try {
        return {loadMap(folder, name, &cache, false, stop), false};
    } catch (const std::filesystem::filesystem_error& error) {
        qWarning("map %s: %s", name.c_str(), error.what());
        return {std::nullopt, true};
    } catch (const std::exception& error) {
        // Out of memory, say.
        qWarning("map %s: %s", name.c_str(), error.what());
        ScannedFolder scanned;
        MapInfo& map = scanned.loaded.emplace().map;
        map.name = name;
        map.folderPath = folder;
        map.displayName = deriveDisplayName(name, folder);
        return scanned;
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

}  // namespace

bool loadMapEntry(const std::filesystem::path& folder, const std::string& name, MapInfo& map,
                  const std::filesystem::path&, MapCatalogCache* cache, MapCatalogCache* updated,
                  bool computeFingerprint, const std::stop_token& stop) {
    auto loaded = loadMap(folder, name, cache, computeFingerprint, stop);
    if (!loaded) {
        return false;
    }
    if (updated != nullptr && loaded->line != LoadedMap::Line::none) {
        MapCacheEntry entry = makeLine(*loaded);
        std::string key = cacheKey(entry.name, entry.mapFilePathText);
        (*updated)[std::move(key)] = std::move(entry);
    }
    map = std::move(loaded->map);
    return true;
}

bool computeMapFingerprint(MapInfo& map, const std::filesystem::path& cacheDir, const std::stop_token& stop) {
    if (hasFingerprint(map)) {
        map.fingerprintAlgo = kFingerprintAlgo;
        return true;
    }
    if (map.folderPath.empty() || map.name.empty()) {
        return false;
    }
    MapCatalogCache cache = readCatalogCache(cacheDir);
    MapInfo fresh;
    try {
        if (!loadMapEntry(map.folderPath, map.name, fresh, cacheDir, &cache, &cache, true, stop) ||
            !hasFingerprint(fresh)) {
            return false;
        }
    } catch (const std::filesystem::filesystem_error& error) {
        qWarning("map %s: %s", map.name.c_str(), error.what());
        return false;
    }
    map = std::move(fresh);
    writeCatalogCache(cacheDir, cache);
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
    forEachOnAllCores(names->size(), stop, [&](std::size_t i) {
        const std::string& name = (*names)[i];
        folders[i] = scanFolder(mapRoot / platform::pathFromUtf8(name), name, cache, stop);
    });
    if (stop.stop_requested()) {
        return {};
    }
    std::set<std::string> unknown;
    std::size_t reused = 0;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        const auto line = folders[i].loaded ? folders[i].loaded->line : LoadedMap::Line::none;
        unchanged = unchanged && line != LoadedMap::Line::fresh;
        reused += line == LoadedMap::Line::reused ? 1 : 0;
        if (folders[i].isUnknown) {
            unknown.insert((*names)[i]);
        }
    }
    if (!cacheDir.empty() && (!unchanged || reused != cache.size())) {
        CatalogCacheText text;
        bool whole = true;
        for (const auto& [loaded, isUnknown] : folders) {
            if (loaded && loaded->line != LoadedMap::Line::none) {
                whole = text.add(makeLine(*loaded)) && whole;
            }
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
        if (folder.loaded) {
            maps.push_back(std::move(folder.loaded->map));
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
