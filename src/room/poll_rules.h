// What a poll and a heartbeat change: rules without widgets.
#pragma once

#include "lobby/room_info.h"

#include <QString>
#include <QVector>

// What a fresh list of rooms says of the room that the player is in.
struct RoomUpdate {
    enum class Outcome {
        missing,  // the list does not hold the room
        removed,  // it does, without the player
        present,
    };
    Outcome outcome = Outcome::missing;
    const RoomInfo* room = nullptr;  // into the list; null when missing
    bool wantsDetail = false;        // present and in play: the list may lack what the launch needs
};

RoomUpdate judgeRoomUpdate(const QString& roomId, const QVector<RoomInfo>& rooms, const QString& userName);

// Whether what the room tells now calls a player back who looks at another window: the match starts, somebody else has
// written, or all are ready for this player to start.
bool callsPlayer(const RoomInfo& before, const RoomInfo& now, const QString& userName);

// The connection's state after so many heartbeats failed in a row: 0 connected, 1 reconnecting, 2 disconnected.
int connectionStateAfter(int heartbeatFailures);

struct ConnectionLook {
    QString text;
    QString styleSheet;
};

ConnectionLook connectionLook(int state);

// What a room action that succeeded leads to.
struct ActionOutcome {
    QString text;                 // what the player is told; empty for what speaks for itself
    bool tellsOnAnyPage = false;  // not on the room page alone
    bool refreshesRooms = true;
    bool confirmsOptions = false;  // the server now has the host's choices of map options
};

// `ready`, whether the player is ready now, counts for "ready" alone. An action that the client does not know is told
// by its name.
ActionOutcome actionOutcome(const QString& action, bool ready);
