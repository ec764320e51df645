// What a new room is made of: the maps to choose from, a map's options, the texts. Rules without widgets.
#pragma once

#include "lobby/room_info.h"
#include "maps/map_info.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <cstddef>
#include <vector>

inline constexpr int kMaxRoomNameLength = 40;  // UTF-16 units

// Which maps the list shows. At most 400 of them, 1000 with a filter, and beyond them the one to keep.
struct CreateRoomMapList {
    std::vector<std::size_t> maps;  // positions in the catalog, ascending
    int keptRow = -1;               // where in `maps` the map to keep is; -1 when it does not qualify
    bool truncated = false;         // more maps qualify than are listed
};

// A map qualifies when its id, a blank and its title contain the filter, trimmed and ignoring case.
CreateRoomMapList createRoomMapList(const std::vector<NetPlay::MapInfo>& catalog, const QString& filter,
                                    const QString& keepId);

// The title, or the id of a map without one, as one line of bounded length whatever the map's file holds.
QString createRoomMapCaption(const NetPlay::MapInfo& map);

struct CreateRoomOption {
    QString key;
    QStringList choices;  // never empty
    int selected = 0;     // the position of the map's initial value, 0 when that is none of the choices
};

// The options that have a choice, each once: the public ones in the map's order, then those known by an initial value
// or by a list of values alone. At most kMaxMapOptionRows (lobby/bounds.h).
std::vector<CreateRoomOption> createRoomOptions(const NetPlay::MapInfo& map);

// "<owner>的<title>" as one line, cut to kMaxRoomNameLength without parting a surrogate pair.
QString suggestedRoomName(const QString& ownerName, const QString& title);

// The player's sentence for the first thing that is missing; empty when a room can be created.
QString createRoomRefusal(bool mapChosen, const QString& name, bool isPrivate, const QString& password);

// The slots of a new room on this map: the map's rules, with nobody in them.
QVector<RoomSlot> createRoomSlots(const NetPlay::MapInfo& map);
