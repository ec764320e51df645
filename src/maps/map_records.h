// Small rules on map records and lists of them that need no file system.
#pragma once

#include "maps/map_info.h"

#include <QString>

#include <string>
#include <string_view>
#include <vector>

namespace NetPlay {

// The algorithm word of a fingerprint made of the SHA-256 of the .map file and that of the .o file.
inline constexpr std::string_view kFingerprintAlgo = "sha256-map-o-v1";

// How many slots a map may have. One that asks for more cannot be read.
inline constexpr std::int32_t kMaxSlots = 65'536;

// The class of a slot's select type, compared as text: "05" is not "5". A code may belong to neither.
bool isPlayerSelectType(std::string_view selectType);
bool isClosedSelectType(std::string_view selectType);

// Whether a slot list contradicts itself nowhere: types against isPlayerSlot, and player ids of at least 1.
bool slotsAreConsistent(const std::vector<MapSlot>& slots);

// The side of a slot for which the map names none: the first half of the slots on one side, the others on the other.
std::string defaultSideName(int slot, int slotCount);

// The title of last resort: the name with blanks for "_" and "-", or the folder's own name.
std::string deriveDisplayName(const std::string& name, const std::filesystem::path& folder);

// The order of a catalog: names with ASCII letters in lower case, by bytes; equal ones by their exact bytes.
bool catalogOrder(std::string_view left, std::string_view right);

// Whether the record carries a whole fingerprint.
bool hasFingerprint(const MapInfo& map);

// The first map named `id`; null without one or when `id` is empty. What the finders give points into the catalog.
const MapInfo* findMapByName(const std::vector<MapInfo>& catalog, const QString& id);

// The first map whose name is `mapId` or whose title is `mapName`, empty texts matching nothing; null without one.
const MapInfo* findMapForRoom(const std::vector<MapInfo>& catalog, const QString& mapId, const QString& mapName);

}  // namespace NetPlay
