#include "maps/map_finders.h"

#include <algorithm>

namespace NetPlay {

namespace {

// Compares a record's text with the wanted one as QStrings, without making one of each text of a catalog.
auto matcher(const QString& wanted) {
    const std::string bytes = wanted.toStdString();
    // Bytes that are no UTF-8 become U+FFFD: then texts may be equal that differ in their bytes.
    const bool comparesBytes = !wanted.contains(QChar::ReplacementCharacter) && QString::fromStdString(bytes) == wanted;
    return [wanted, bytes, comparesBytes](const std::string& text) {
        return !wanted.isEmpty() && (comparesBytes ? text == bytes : QString::fromStdString(text) == wanted);
    };
}

}  // namespace

const MapInfo* findMapByName(const std::vector<MapInfo>& catalog, const QString& id) {
    return findMapForRoom(catalog, id, QString());
}

const MapInfo* findMapForRoom(const std::vector<MapInfo>& catalog, const QString& mapId, const QString& mapName) {
    const auto hit = std::find_if(catalog.begin(), catalog.end(),
                                  [isId = matcher(mapId), isTitle = matcher(mapName)](const MapInfo& map) {
                                      return isId(map.name) || isTitle(map.displayName);
                                  });
    return hit == catalog.end() ? nullptr : &*hit;
}

}  // namespace NetPlay
