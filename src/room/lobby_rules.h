// What the lobby page shows of the rooms and lets a player press: rules without widgets.
#pragma once

#include "lobby/room_info.h"

#include <QString>
#include <QStringList>
#include <QVector>

// Whether the user is in the room by its slots or by its list of names, ignoring case.
bool isRoomMember(const RoomInfo& room, const QString& userName);

// Whether the room's texts and its players' names hold the filter, trimmed and ignoring case. An empty filter takes
// all.
bool roomMatchesFilter(const RoomInfo& room, const QString& filter);

// Changes exactly when the table has to be built anew.
QString roomTableSignature(const QVector<RoomInfo>& rooms, const QString& filter, const QString& preferredId);

// The four cells of the room's row: room, status, players, map; each cut by shownText.
QStringList roomRowTexts(const RoomInfo& room);

struct LobbyFacts {
    bool signedIn = false;
    bool busy = false;
    bool mapsKnown = false;              // the catalog is ready, or holds some maps already
    const RoomInfo* selected = nullptr;  // null when no row is selected
    QString userName;
};

struct LobbyButtons {
    bool refresh = false;
    bool logout = false;
    bool createRoom = false;
    QString createRoomText;
    bool join = false;
    QString joinTip;
};

LobbyButtons lobbyButtons(const LobbyFacts& facts);
