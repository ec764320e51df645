// What the player reads of a room, for widgets that show plain text.
#pragma once

#include "lobby/bounds.h"
#include "lobby/room_info.h"

#include <QString>
#include <QVector>

// The text as one line that reads forward: control characters and all that a text view takes for a line break or an
// object become blanks, the marks that turn the direction of writing go, as do combining marks beyond kMaxMarks in a
// row.
QString singleLine(const QString& text);

// What a player gets to see of any text that came from a server or a file: a single line, cut to `length` UTF-16 units
// with "…" behind them.
QString shownText(const QString& text, int length = kMaxShownLength);

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
