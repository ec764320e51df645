// How a request is told from the others.
#pragma once

#include <QString>

// A request as the slots of its answer see it.
struct LobbyRequest {
    quint64 number = 0;  // from 1 on in the order of sending; 0: no request was sent
    QString roomId;      // the room that it was for, empty for none
};
