// Whether a player may join a room with the maps on this machine.
#pragma once

#include "lobby/room_info.h"
#include "maps/map_info.h"

#include <QString>

#include <filesystem>
#include <vector>

// The room's map in the catalog, which may be trusted only when `catalogReady`. Null with the player's sentence in
// `message` when there is none, or when the room says too little to compare the two.
const NetPlay::MapInfo* findLocalMap(const RoomInfo& room, const std::vector<NetPlay::MapInfo>& catalog,
                                     bool catalogReady, QString& message);

// Whether the map's fingerprint is the room's; otherwise the player's sentence is in `message`.
bool isMapOfRoom(const NetPlay::MapInfo& map, const RoomInfo& room, QString& message);

// Whether the room's map is the one on this machine; otherwise the player's sentence is in `message`. An entry of the
// catalog without a fingerprint gets one first, which takes seconds for a large map.
bool roomMapMatchesLocal(const RoomInfo& room, std::vector<NetPlay::MapInfo>& catalog, bool catalogReady,
                         const std::filesystem::path& cacheDir, QString& message);

// Makes sure that the map carries a fingerprint, from the cache or by hashing. False with the player's sentence in
// `message` when its files are incomplete or cannot be read.
bool ensureMapFingerprint(NetPlay::MapInfo& map, const std::filesystem::path& cacheDir, QString& message);
