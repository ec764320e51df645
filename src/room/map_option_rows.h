// The map options of a room as rows of choices.
#pragma once

#include "lobby/bounds.h"
#include "lobby/room_info.h"
#include "maps/map_info.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

// Every option of the map, each once: the public ones in the map's order, then those known by an initial value or by a
// list of values alone.
QStringList mapOptionKeys(const NetPlay::MapInfo& map);

// The values that the map lists for the option, in its order, and the one that it starts with, if it names one; none
// beyond kMaxChoiceLength.
QStringList listedChoices(const NetPlay::MapInfo& map, const QString& key);
std::optional<QString> initialChoice(const NetPlay::MapInfo& map, const QString& key);

struct MapOptionRow {
    QString key;
    QStringList choices;  // never empty, no text twice
    QString current;      // empty when nothing is chosen; otherwise one of the choices
};

// Every option of the map (null when it is not on this machine), then those that the room alone knows. A choice that
// the map does not list stays among the choices, as it may have been made with another copy of the map. An option
// without any choice gets no row, nor does one beyond kMaxMapOptionRows.
QVector<MapOptionRow> mapOptionRows(const RoomInfo& room, const NetPlay::MapInfo* map);
