// What came first, the room as it is now or what an answer says of it: replies overtake each other, and come after the
// player has gone on.
#pragma once

#include "lobby/lobby_request.h"

// Lives on the numbers of the client's requests, which grow in the order of sending. A request without a number was
// none of the client's, and its answer counts.
class RoomClock {
public:
    // The player has come into a room or out of one. `sent` is the number of the last request, here and below.
    void moved(quint64 sent);
    // An action's reply or a detail has changed the room, or a list has told that a match began or ended: what is on
    // its way is older.
    void changed(const LobbyRequest& by, quint64 sent);

    // Whether a list or a detail speaks about the room as it is: no older than its last change.
    bool listSpeaks(const LobbyRequest& asked) const;
    // Whether an action's reply is for this stay in this room. Otherwise the player has left, and it means nothing.
    bool replyIsForThisStay(const LobbyRequest& asked, const QString& roomId) const;
    // Whether such a reply also speaks about the room as it is: no newer request has changed it meanwhile.
    bool replySpeaks(const LobbyRequest& asked) const;

private:
    quint64 movedAt_ = 0;
    quint64 changedAt_ = 0;
    quint64 changedBy_ = 0;  // the newest request whose answer changed the room
};
