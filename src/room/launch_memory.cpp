#include "room/launch_memory.h"

#include "room/launch_plan.h"
#include "room/room_rules.h"

#include <utility>

namespace {

QString currentKey(const LaunchFacts& facts) {
    return launchKey(facts.room.id, facts.room.sessionId, facts.userName);
}

bool hasExited(const LaunchMemory& memory, const RoomInfo& room, const QString& key) {
    return (!memory.exitedRoomId.isEmpty() && memory.exitedRoomId == room.id) || memory.exitedLaunchKey == key;
}

// Whether the game that runs was started for another room than the player is in.
bool isOfAnotherRoom(const LaunchMemory& memory, const LaunchFacts& facts) {
    return facts.inRoom && !memory.launchedRoomId.isEmpty() && memory.launchedRoomId != facts.room.id;
}

bool mayRelaunch(const LaunchMemory& memory, const LaunchFacts& facts, const GameExit& exit) {
    return !exit.clean && !exit.skipRelaunch && exit.reconnectOnCrash && exit.maxAttempts >= 1 &&
           exit.attemptsLeft >= 1 && facts.inRoom && isRoomPlaying(facts.room) && !isOfAnotherRoom(memory, facts) &&
           findOwnSlot(facts.room, facts.userName) != nullptr && hasLaunchIdentity(facts.room);
}

void cancelScheduledLaunch(LaunchMemory& memory) {
    memory.launchScheduled = false;
    memory.scheduledLaunchKey.clear();
}

void forgetRunningGame(LaunchMemory& memory) {
    memory.launchedLaunchKey.clear();
    memory.launchedRoomId.clear();
}

// A game whose start was not remembered counts as the current room's.
void rememberExit(LaunchMemory& memory, const LaunchFacts& facts) {
    QString key = memory.launchedLaunchKey;
    QString roomId = memory.launchedRoomId;
    if (key.isEmpty() && facts.inRoom) {
        key = currentKey(facts);
    }
    if (roomId.isEmpty() && facts.inRoom) {
        roomId = facts.room.id;
    }
    if (!key.isEmpty()) {
        memory.exitedLaunchKey = key;
    }
    if (!key.isEmpty() && !isOfAnotherRoom(memory, facts)) {
        memory.attemptedLaunchKey = key;
        cancelScheduledLaunch(memory);
    }
    if (!roomId.isEmpty()) {
        memory.exitedRoomId = roomId;
    }
}

}  // namespace

AutoLaunch decideAutoLaunch(LaunchMemory& memory, const LaunchFacts& facts) {
    if (!facts.signedIn || !facts.inRoom || facts.busy || !isRoomPlaying(facts.room) ||
        findOwnSlot(facts.room, facts.userName) == nullptr) {
        return {};
    }
    const QString key = currentKey(facts);
    if (hasExited(memory, facts.room, key) || memory.attemptedLaunchKey == key || memory.launchedLaunchKey == key ||
        memory.relaunchWaits) {
        return {};
    }
    memory.attemptedLaunchKey = key;
    const int delay = memory.dueLaunchKey == key ? 0 : launchDelay(facts.room.launchDelayMs);
    if (delay == 0) {
        cancelScheduledLaunch(memory);
        return {AutoLaunch::Outcome::now, key, 0};
    }
    memory.launchScheduled = true;
    memory.scheduledLaunchKey = key;
    return {AutoLaunch::Outcome::wait, key, delay};
}

bool takeScheduledLaunch(LaunchMemory& memory, const QString& key, const LaunchFacts& facts) {
    if (!memory.launchScheduled || memory.scheduledLaunchKey != key) {
        return false;
    }
    cancelScheduledLaunch(memory);
    if (!facts.inRoom || !isRoomPlaying(facts.room)) {
        forgetAttemptedKey(memory);
        return false;
    }
    // Afresh, as the session may have changed during the wait.
    const QString keyNow = currentKey(facts);
    memory.attemptedLaunchKey = keyNow;
    memory.dueLaunchKey = keyNow;
    return !hasExited(memory, facts.room, keyNow);
}

void rememberLaunch(LaunchMemory& memory, const LaunchFacts& facts, const QString& key, const QString& roomId) {
    memory.launchedLaunchKey = key;
    memory.launchedRoomId = roomId;
    if (!isOfAnotherRoom(memory, facts)) {
        memory.attemptedLaunchKey = key;
        memory.dueLaunchKey.clear();
        cancelScheduledLaunch(memory);
    }
}

GameExitOutcome takeGameExit(LaunchMemory& memory, const LaunchFacts& facts, const GameExit& exit) {
    const bool relaunch = mayRelaunch(memory, facts, exit);
    if (!relaunch) {
        rememberExit(memory, facts);
        forgetRunningGame(memory);
        return {false, exit.attemptsLeft, QString(), QStringLiteral("游戏已退出，正在刷新房间...")};
    }
    forgetAttemptedKey(memory);
    cancelScheduledLaunch(memory);
    forgetRunningGame(memory);
    memory.relaunchWaits = true;
    const int left = exit.attemptsLeft - 1;
    return {true, left, QStringLiteral("游戏意外退出，正在尝试重连…（剩余 %1 次）").arg(left),
            QStringLiteral("游戏退出后重连中...")};
}

bool takeRelaunch(LaunchMemory& memory) {
    return std::exchange(memory.relaunchWaits, false);
}

void forgetAttemptedKey(LaunchMemory& memory) {
    memory.attemptedLaunchKey.clear();
}

void forgetDueKey(LaunchMemory& memory) {
    memory.dueLaunchKey.clear();
}

void forgetExitedKey(LaunchMemory& memory) {
    memory.exitedLaunchKey.clear();
}

void forgetExitedKeyAndRoom(LaunchMemory& memory) {
    memory.exitedLaunchKey.clear();
    memory.exitedRoomId.clear();
}

void forgetMatch(LaunchMemory& memory, const QString& roomId) {
    LaunchMemory kept;
    if (memory.launchedRoomId != roomId) {
        kept.launchedLaunchKey = memory.launchedLaunchKey;
        kept.launchedRoomId = memory.launchedRoomId;
    }
    memory = kept;
}

void forgetAll(LaunchMemory& memory) {
    memory = LaunchMemory();
}
