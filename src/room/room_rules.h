// Who a player is in a room and what the room page lets them press: rules without widgets.
#pragma once

#include "lobby/room_info.h"

#include <QString>

// Equal names, ignoring case. An empty name is nobody's.
bool isSameName(const QString& left, const QString& right);

bool isRoomPlaying(const RoomInfo& room);

// A room that has a capacity and no place left.
bool isRoomFull(const RoomInfo& room);

// The host, or the owner where the room names no host.
const QString& hostName(const RoomInfo& room);

// Whether the computer plays the slot.
bool isComputer(const RoomSlot& slot);

// The entry of `playerSlots` that carries the user's name; null without one or without a name.
const RoomSlot* findOwnSlot(const RoomInfo& room, const QString& userName);

// The user is named as owner or host; where the room names neither, the user sits in slot 1.
bool isRoomHost(const RoomInfo& room, const QString& userName);

// Whether the host may start; otherwise the player's sentence is in `message`, which may be null. Computers in open
// slots count as players.
bool canStartRoom(const RoomInfo& room, bool inRoom, const QString& userName, QString* message);

struct RoomFacts {
    const RoomInfo& room;
    QString userName;
    bool signedIn = false;
    bool inRoom = false;
    bool busy = false;  // an action or a launch is in flight
    QString chatText;
};

struct RoomButton {
    bool visible = true;
    bool enabled = false;
    QString text;
    QString tip;
};

struct RoomButtons {
    RoomButton leave;
    RoomButton ready;
    RoomButton start;
    RoomButton launch;
    bool sendChat = false;
    bool chatEdit = false;
};

RoomButtons roomButtons(const RoomFacts& facts);
