// Looking up the local map of a room. The pointers point into the catalog and live as long as it stays as it is.
#pragma once

#include "maps/map_info.h"

#include <QString>

#include <vector>

namespace NetPlay {

// The first entry named `id`; null without one or when `id` is empty.
const MapInfo* findMapByName(const std::vector<MapInfo>& catalog, const QString& id);

// The first entry whose name is `mapId` or whose title is `mapName`, empty texts matching nothing; null without one.
const MapInfo* findMapForRoom(const std::vector<MapInfo>& catalog, const QString& mapId, const QString& mapName);

}  // namespace NetPlay
