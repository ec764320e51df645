// Whether a player may join a room with the maps on this machine.
#pragma once

#include "lobby/room_info.h"
#include "maps/map_info.h"

#include <QString>

#include <vector>

struct MapGate {
    enum class Outcome {
        refused,           // `message` tells the player why
        needsFingerprint,  // `map` must be hashed first, then judged again
        open,
    };
    Outcome outcome = Outcome::refused;
    QString message;
    const NetPlay::MapInfo* map = nullptr;  // into the catalog; the one to hash, else null
};

// Judges the room's map fingerprint against the catalog, which may be trusted only when `catalogReady`.
MapGate judgeRoomMap(const RoomInfo& room, const std::vector<NetPlay::MapInfo>& catalog, bool catalogReady);
