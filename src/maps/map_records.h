// Small rules on map records that need no file system.
#pragma once

#include "maps/map_info.h"

#include <string>
#include <string_view>

namespace NetPlay {

// The algorithm word of a fingerprint made of the SHA-256 of the .map file and that of the .o file.
inline constexpr std::string_view kFingerprintAlgo = "sha256-map-o-v1";

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

}  // namespace NetPlay
