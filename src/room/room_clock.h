// What came first, the room as it is now or what an answer says of it: replies overtake each other, and come after the
// player has gone on.
#pragma once

#include "lobby/lobby_request.h"

// Lives on the numbers of the client's requests, which grow in the order of sending. Only what is sent after a change
// was seen is sure to be carried out after it. A request without a number was none of the client's, and its answer
// counts.
class RoomClock {
public:
    // The player has come into a room or out of one. `sent` is the number of the last request, here and below.
    void moved(quint64 sent);
    // An action's reply or a detail has changed the room, or a list has told that a match began or ended.
    void changed(quint64 sent);

    // Whether a list, a detail or an action's reply speaks about the room as it is: asked for after its last change.
    bool speaks(const LobbyRequest& asked) const;
    // Whether an action's reply is for this stay in this room. Otherwise the player has left, and it means nothing.
    bool replyIsForThisStay(const LobbyRequest& asked, const QString& roomId) const;

private:
    quint64 movedAt_ = 0;
    quint64 changedAt_ = 0;
};
