#include "room/room_clock.h"

void RoomClock::moved(quint64 sent) {
    movedAt_ = sent;
    changedAt_ = sent;
}

void RoomClock::changed(quint64 sent) {
    changedAt_ = sent;
}

bool RoomClock::speaks(const LobbyRequest& asked) const {
    return asked.number == 0 || asked.number > changedAt_;
}

bool RoomClock::replyIsForThisStay(const LobbyRequest& asked, const QString& roomId) const {
    return asked.number == 0 || (asked.number > movedAt_ && asked.roomId == roomId);
}
