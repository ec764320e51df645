// What the player reads of a room. Server texts stand in it as they came, for widgets that show plain text.
#pragma once

#include "lobby/room_info.h"

#include <QString>
#include <QVector>

// A label or a cell has room for far less, and the layout of an endless text would stop the window.
inline constexpr int kMaxShownLength = 200;
// The chat view keeps this many UTF-16 units of the newest lines, for the same reason.
inline constexpr int kMaxChatLength = 100'000;

// The text as one line that reads forward: control characters and line breaks become blanks, and the marks that turn
// the direction of writing go.
QString singleLine(QString text);

// The first `length` UTF-16 units, less one rather than half a character.
QString beginning(const QString& text, int length);

// The text as a single line, cut to kMaxShownLength UTF-16 units with "…" behind them.
QString shownText(const QString& text);

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

// The seven lines of the room's settings, each cut by shownText.
QString roomSettingsText(const RoomInfo& room);

// One line a message, oldest first, or one line that says that there is none. Of more than kMaxChatLength UTF-16 units
// the oldest lines are left out.
QString roomChatText(const QVector<RoomChatMessage>& messages);
