// From a room in play to the request that starts the game: rules without widgets or state.
#pragma once

#include "launch/game_launch_request.h"
#include "lobby/room_info.h"
#include "maps/map_info.h"

#include <QMap>
#include <QString>
#include <QVector>

// The longest wait that a room may ask for before the game starts, in milliseconds.
inline constexpr int kMaxLaunchDelayMs = 5000;

// What the room does not say about a launch.
struct LaunchDefaults {
    QString clientRoot;
    QString gameHost;      // used when the room names no host
    int gamePort = 40001;  // 1 to 65535; used when the room names no usable port
    unsigned displayPreset = 0;
    bool compatibilityMode = false;
    bool dpiAware = false;
};

struct LaunchPlan {
    QString error;  // the player's sentence when the room cannot be launched; the rest then means nothing
    GameLaunchRequest request;
    QString mapName;
    QString host;
    int port = 0;
};

// Tells one start of a room by one user from every other: room id, ":", session id (at least 1), ":", user name.
QString launchKey(const QString& roomId, int sessionId, const QString& userName);

// Whether the server has told this user who they are in the game of this start: session, slot and user id.
bool hasLaunchIdentity(const RoomInfo& room);

// The wait before the start, in milliseconds from 0 to kMaxLaunchDelayMs, so that all clients start together.
int launchDelay(int requestedMs);

// The chosen map options as positions in the map's own lists: `selections` (option key to text) where it has the key,
// the map's initial value elsewhere. Without a map, or when no choice can be placed, the pairs that the server sent.
QVector<MapOptionIndex> mapOptionPairs(const RoomInfo& room, const QMap<QString, QString>& selections,
                                       const NetPlay::MapInfo* map);

// Fills the request for `userName`'s game. `map` is the local map of the room or null, then the launcher finds the
// script by the map's id. A port outside 1 to 65535 counts as not named.
LaunchPlan planLaunch(const RoomInfo& room, const QString& userName, const LaunchDefaults& defaults,
                      const QMap<QString, QString>& selections, const NetPlay::MapInfo* map);
