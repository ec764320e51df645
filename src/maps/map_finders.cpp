#include "maps/map_finders.h"

#include <algorithm>

namespace NetPlay {

const MapInfo* findMapByName(const std::vector<MapInfo>& catalog, const QString& id) {
    return findMapForRoom(catalog, id, QString());
}

const MapInfo* findMapForRoom(const std::vector<MapInfo>& catalog, const QString& mapId, const QString& mapName) {
    const auto equals = [](const QString& wanted, const std::string& text) {
        return !wanted.isEmpty() && QString::fromStdString(text) == wanted;
    };
    const auto hit = std::find_if(catalog.begin(), catalog.end(), [&](const MapInfo& map) {
        return equals(mapId, map.name) || equals(mapName, map.displayName);
    });
    return hit == catalog.end() ? nullptr : &*hit;
}

}  // namespace NetPlay
