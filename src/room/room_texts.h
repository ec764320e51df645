// What the player reads of a room, for widgets that show plain text.
#pragma once

#include "lobby/room_info.h"

#include <QString>
#include <QVector>

// The room's name, or its id where the server gives none.
const QString& roomName(const RoomInfo& room);

// The player's word for a room's status; an unknown one stays as it is.
QString statusDisplayText(const QString& status);

struct RoomDisplayTexts {
    QString occupancy;
    QString host;
    QString status;
    QString map;
};

// The texts that the lobby's table and the room page share.
RoomDisplayTexts roomDisplayTexts(const RoomInfo& room);

// The room page's heading.
QString roomTitleText(const RoomInfo& room);

// The seven lines of the room's settings.
QString roomSettingsText(const RoomInfo& room);

// One line a message, oldest first, or one line that says that there is none. Of more than kMaxChatLength UTF-16 units
// the oldest lines are left out, or a part of theirs.
QString roomChatText(const QVector<RoomChatMessage>& messages);
