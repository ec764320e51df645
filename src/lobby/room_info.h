// What the lobby server reports of a room, as plain values.
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

// One slot of a room. `slot` is the lobby's number, the one that room actions name; `playerId` is the number by which
// the game knows the slot.
struct RoomSlot {
    int slot = 0;
    int playerId = 0;
    QString name;        // the occupant; empty means free
    QString team;        // shown text, or the marker word "computer" or "player"
    QString selectType;  // the map's selection class of this slot
    QString slotLabel;   // the map's caption of this slot
    bool ready = false;
    bool locked = false;
    bool isPlayerSlot = true;
    bool computer = false;
    bool ai = false;
    bool online = true;
    int latencyMs = -1;  // milliseconds; negative means unknown
};

struct RoomChatMessage {
    QString id;
    QString time;
    QString from;
    QString text;
    QString type;
};

// A chosen map option as a pair of positions; neither is negative once decoded.
struct MapOptionIndex {
    int option = 0;
    int value = 0;
    bool operator==(const MapOptionIndex& other) const = default;
};

struct RoomInfo {
    QString id;  // empty means that this value holds no room
    QString name;
    QString status;  // "playing", "waiting" or the server's other word
    QString mapId;
    QString mapName;
    QString mapFile;
    QString mapFingerprint;
    QString mapFingerprintAlgo;
    QString mode;
    QString players;  // occupancy text such as 3/8
    QString owner;
    QString host;
    QString createdAt;
    QStringList playerNames;            // for servers that send no slots
    QVector<RoomSlot> playerSlots;      // occupied slots
    QVector<RoomSlot> slotMeta;         // every slot of the map, with its rules
    QVector<RoomChatMessage> messages;  // oldest first
    QMap<QString, QString> mapOptions;  // option key to chosen value
    QVector<MapOptionIndex> mapOptionIndexes;
    QString pmHost;  // address of the game host for this launch
    int pmPort = 40001;
    int sessionId = 0;      // launch session, never negative
    int launchDelayMs = 0;  // never negative
    int lobbySlot = 0;      // the signed-in user's lobby slot, 1 to 22; 0 when none
    int gameSlot = 0;       // the signed-in user's slot inside the game, 1 to 22; 0 when none
    int gameUserId = 0;     // the signed-in user's id inside the game; 0 when none
    int playerCount = 0;
    int maxPlayers = 0;
    int slotCount = 0;
    bool isPrivate = false;
    bool hasPassword = false;
};

// The parameters of a new room.
struct CreateRoomRequest {
    QString name;
    QString mapId;
    QString mapName;
    QString mapFingerprint;
    QString mapFingerprintAlgo;
    QString mode;
    int maxPlayers = 0;
    int slotCount = 0;  // 0 or less means the same as the capacity
    QVector<RoomSlot> slotMeta;
    bool isPrivate = false;
    QString password;
    QMap<QString, QString> mapOptions;
    QVector<MapOptionIndex> mapOptionIndexes;
};
