// What the client remembers of launches, so that no start of a room leads to two games: the memory and every rule that
// reads or changes it, without widgets or timers.
#pragma once

#include "lobby/room_info.h"

#include <QString>

// The keys are launchKey()s (room/launch_plan.h); an empty text stands for none.
struct LaunchMemory {
    QString attemptedLaunchKey;  // was tried: not again
    QString exitedLaunchKey;     // its game has ended: not again while the server still says "playing"
    QString exitedRoomId;
    QString launchedLaunchKey;  // the game that runs now
    QString launchedRoomId;
    QString scheduledLaunchKey;  // waits for the synchronised start
    bool launchScheduled = false;
    QString dueLaunchKey;        // its wait is over, but something held the launch up: no second wait
    bool relaunchWaits = false;  // after a crash, for the room's fresh state
    bool operator==(const LaunchMemory& other) const = default;
};

struct LaunchFacts {
    const RoomInfo& room;
    QString userName;
    bool signedIn = false;
    bool inRoom = false;
    bool busy = false;  // an action, a visible refresh or a launch is in flight
};

struct AutoLaunch {
    enum class Outcome {
        nothing,
        now,
        wait,  // `delayMs` first, then takeScheduledLaunch() with `key`
    };
    Outcome outcome = Outcome::nothing;
    QString key;
    int delayMs = 0;  // 0 to kMaxLaunchDelayMs
};

// Whether a room update leads to a launch. A room is launched once a session, and not again after its game has ended.
// What something else holds up counts as not attempted, so that a later update tries it.
AutoLaunch decideAutoLaunch(LaunchMemory& memory, const LaunchFacts& facts);

// The end of the wait that decideAutoLaunch asked for: true when the game is to be launched now. A wait that was called
// off or followed by another is ignored; a room that no longer plays may be launched later.
bool takeScheduledLaunch(LaunchMemory& memory, const QString& key, const LaunchFacts& facts);

// The game of this key and room runs, which need not be the room of `facts` any more.
void rememberLaunch(LaunchMemory& memory, const LaunchFacts& facts, const QString& key, const QString& roomId);

struct GameExit {
    bool clean = false;         // the exit code is known and 0
    bool skipRelaunch = false;  // this exit is not to be followed by a relaunch
    bool reconnectOnCrash = false;
    int maxAttempts = 0;
    int attemptsLeft = 0;
};

struct GameExitOutcome {
    bool relaunch = false;  // after a moment takeRelaunch() is to be asked; until then nothing is launched
    int attemptsLeft = 0;
    QString roomText;     // for the room page; empty for nothing
    QString refreshText;  // for the refresh of the rooms that follows
};

// The game has ended. Without a relaunch, its room is not launched again until it has stopped playing.
GameExitOutcome takeGameExit(LaunchMemory& memory, const LaunchFacts& facts, const GameExit& exit);

// The moment before a relaunch is over: true when decideAutoLaunch() is to be asked again.
bool takeRelaunch(LaunchMemory& memory);

// What is forgotten when. The names say which fields go.
// The lobby is entered, a room's detail or an automatic launch has failed: the next room update may launch.
void forgetAttemptedKey(LaunchMemory& memory);
// A launch has failed: the next attempt waits anew.
void forgetDueKey(LaunchMemory& memory);
// The player is out of the room, by will or not.
void forgetExitedKey(LaunchMemory& memory);
// Another room is entered than the one before.
void forgetExitedKeyAndRoom(LaunchMemory& memory);
// The room that the player is in does not play: all but a game that still runs for another room. The next match is
// launched even with the same session id.
void forgetMatch(LaunchMemory& memory, const QString& roomId);
// The session is over.
void forgetAll(LaunchMemory& memory);
