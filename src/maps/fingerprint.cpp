#include "maps/fingerprint.h"

#include "maps/catalog.h"
#include "maps/map_records.h"
#include "platform/files.h"
#include "platform/sha256.h"

#include <QtGlobal>

namespace NetPlay {

std::string sha256File(const std::filesystem::path& path, const std::stop_token& stop) {
    platform::Sha256 hash;
    const bool complete = platform::readFileInBlocks(
        path, [&](std::string_view block) { return !stop.stop_requested() && hash.update(block); });
    return complete ? hash.finish() : std::string();
}

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

bool computeMapFingerprint(MapInfo& map, const std::filesystem::path& cacheDir, const std::stop_token& stop) {
    if (hasFingerprint(map)) {
        map.fingerprintAlgo = kFingerprintAlgo;
        return true;
    }
    if (map.folderPath.empty() || map.name.empty()) {
        return false;
    }
    const MapCatalogCache cache = readCatalogCache(cacheDir);
    MapCatalogCache updated = cache;
    MapInfo fresh;
    try {
        if (!loadMapEntry(map.folderPath, map.name, fresh, cacheDir, &cache, &updated, true, stop) ||
            !hasFingerprint(fresh)) {
            return false;
        }
    } catch (const std::filesystem::filesystem_error& error) {
        qWarning("map %s: %s", map.name.c_str(), error.what());
        return false;
    }
    map = std::move(fresh);
    writeCatalogCache(cacheDir, updated);
    return true;
}

}  // namespace NetPlay
