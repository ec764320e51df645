// The room page's slots: one row a slot, and what the host may do with each.
#pragma once

#include "lobby/room_info.h"

#include <QString>
#include <QVector>
#include <Qt>

#include <array>

// What every cell of a row carries beside its text.
enum SlotRole : int {
    kSlotNumberRole = Qt::UserRole,  // int, the server's number; below 1 when it gave none
    kPlayerSlotRole,                 // bool
    kOccupiedRole,                   // bool
    kLockedRole,                     // bool
    kOccupantRole,                   // QString, the occupant's name
};

struct SlotRow {
    RoomSlot slot;
    bool occupied = false;  // by a person or a computer
    bool own = false;
    std::array<QString, 5> cells;  // slot, side, player, state, connection; each cut by shownText
};

// The slots of the map with those who sit in them, by slot number, at most kMaxSlots (lobby/bounds.h). A room that
// tells no slots gets a row for each name.
QVector<SlotRow> slotRows(const RoomInfo& room, const QString& userName);

enum class SlotCommand { none, moveHere, kick, transferHost, close, open, addComputer, makeObserver };

struct SlotMenuEntry {
    SlotCommand command = SlotCommand::none;
    QString text;  // empty for a separator
    bool enabled = false;
};

struct SlotMenuFacts {
    const RoomInfo& room;
    QString userName;
    bool busy = false;  // an action or a launch is in flight
    int number = 0;
    bool isPlayerSlot = false;
    bool occupied = false;
    bool locked = false;
    QString name;
};

// Empty when the user gets no menu for this slot.
QVector<SlotMenuEntry> slotMenu(const SlotMenuFacts& facts);
