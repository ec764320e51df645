#include "room/room_clock.h"

#include <algorithm>

void RoomClock::moved(quint64 sent) {
    movedAt_ = sent;
    changedAt_ = sent;
}

void RoomClock::changed(const LobbyRequest& by, quint64 sent) {
    changedBy_ = std::max(changedBy_, by.number);
    changedAt_ = sent;
}

bool RoomClock::listSpeaks(const LobbyRequest& asked) const {
    return asked.number == 0 || asked.number > changedAt_;
}

bool RoomClock::replyIsForThisStay(const LobbyRequest& asked, const QString& roomId) const {
    return asked.number == 0 || (asked.number > movedAt_ && asked.roomId == roomId);
}

bool RoomClock::replySpeaks(const LobbyRequest& asked) const {
    return asked.number == 0 || asked.number > changedBy_;
}
