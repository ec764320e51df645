// How much of what a server sends is read and shown; docs/protocol.md has the same as a table. What lies beyond would
// only fill the memory or stop the window. Lengths of texts are UTF-16 units.
#pragma once

#include <QString>

// Of a reply, after decompression. About 25,000 rooms.
inline constexpr qint64 kMaxReplyBytes = qint64{8} << 20;
// Of a list, the first.
inline constexpr int kMaxRooms = 20'000;
// Of a room, the first: slots, taken slots, names and launch entries alike.
inline constexpr int kMaxSlots = 256;
// Of a room, the first: map options, and their numbers for the game.
inline constexpr int kMaxMapOptions = 1'000;
inline constexpr int kMaxMapOptionIndexes = 10'000;
// Of a room, the last; and what the view of them holds.
inline constexpr int kMaxMessages = 1'000;
inline constexpr int kMaxChatLength = 50'000;
inline constexpr int kMaxMessageLength = 1'000;
// A name, a caption, a cell: always one line.
inline constexpr int kMaxShownLength = 200;
// A line that tells how something went.
inline constexpr int kMaxStatusLength = 1'000;
// A choice that is longer is never offered, nor does an option beyond so many get a row; both keep their values.
inline constexpr int kMaxChoiceLength = 200;
inline constexpr int kMaxMapOptionRows = 100;
// Of combining marks in a row, the first.
inline constexpr int kMaxMarks = 4;

// The first `length` units, less one rather than half a character.
inline QString beginning(const QString& text, int length) {
    const bool splits = length > 0 && length < text.size() && text[length - 1].isHighSurrogate();
    return text.left(splits ? length - 1 : length);
}

// The whole text, or its beginning with "…" behind it.
inline QString shortened(const QString& text, int length) {
    return text.size() <= length ? text : beginning(text, length) + QStringLiteral("…");
}
