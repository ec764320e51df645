// One room and the rules of what its members may do.
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <deque>
#include <optional>
#include <vector>

namespace devlobby {

constexpr int kMostSlots = 22;

// A signed-in user, as the rules need one.
struct Player {
    QString name;
    int userId = 0;
};

struct Occupant {
    Player player;
    bool ready = false;
    qint64 lastSeen = 0;       // ms since 1970
    qint64 lastHeartbeat = 0;  // ms since 1970; 0: none yet
    int latencyMs = -1;        // -1: unknown
};

struct Slot {
    int slot = 0;      // 1 to 22
    int playerId = 0;  // the slot's number inside the game
    QString team;
    QString mapTeam;  // what the map calls the slot, whatever it is used for now
    QString selectType;
    QString slotLabel;
    bool locked = false;
    bool isPlayerSlot = true;
    bool computer = false;
    bool ai = false;
    std::optional<Occupant> occupant;

    bool isComputer() const;
    bool isFree() const { return !occupant && !locked && isPlayerSlot && !isComputer(); }
    // "player", "computer" or "observer".
    void setMode(const QString& mode);
};

struct ChatMessage {
    int id = 0;
    qint64 time = 0;  // ms since 1970
    QString from;
    QString text;
};

// A player's line of the launch table, as it was at the start of the match.
struct LaunchEntry {
    Player player;
    int slot = 0;
    int gameSlot = 0;  // 1 to 22
    qint64 pid = 0;    // of the player's game; 0 until it is reported
};

struct Match {
    int sessionId = 0;
    int launchDelayMs = 0;
    qint64 startedAt = 0;  // ms since 1970
    QString gameHost;
    int gamePort = 0;
    std::vector<LaunchEntry> launchTable;
};

class Room {
public:
    // A room as `request` asks for it, with its creator in the slot named there. Empty with a sentence in `error` when
    // the request makes no room.
    static std::optional<Room> create(const QString& id, const QJsonObject& request, const Player& creator, qint64 now,
                                      QString& error);

    const QString& id() const { return id_; }
    bool isEmpty() const;
    bool isHost(const QString& name) const;
    Slot* slotOf(const QString& name);
    bool isPlaying() const { return match_.has_value(); }
    const std::optional<Match>& match() const { return match_; }

    // The full record as it goes over the wire.
    QJsonObject toJson(qint64 now) const;

    // The rules. Each gives an empty text when it was done, otherwise the refusal; a refused request changes nothing.
    // Membership, hosting and, but for join and launchDone, a running match are the caller's to check.
    QString join(const Player& player, const QJsonObject& request, qint64 now);
    QString leave(const Player& player);
    QString setReady(const Player& player, const QJsonObject& request);
    QString chat(const Player& player, const QJsonObject& request, qint64 now);
    QString kick(const Player& host, const QJsonObject& request);
    QString transferHost(const Player& host, const QJsonObject& request);
    QString moveSlot(const Player& player, const QJsonObject& request);
    QString setLocked(const QJsonObject& request, bool locked);
    QString setSlotMode(const QJsonObject& request);
    QString setMapOptions(const QJsonObject& request);
    QString start(const Player& host, const QJsonObject& request, int sessionId, int launchDelayMs, qint64 now);
    QString launchDone(const Player& player, const QJsonObject& request);
    QString heartbeat(const Player& player, const QJsonObject& request, qint64 now);
    void endMatch(qint64 now);
    // Takes the seats of those who were last seen before `time`, in ms since 1970.
    void dropSilent(qint64 time);

private:
    QString readSlots(const QJsonObject& request);
    QJsonObject slotToJson(const Slot& slot, qint64 now) const;
    QJsonArray launchTableToJson() const;
    Slot* slotNamed(const QJsonObject& request, const char* key);
    int playerCount() const;

    QString id_;
    QString name_;
    QString password_;
    QString mapId_;
    QString mapName_;
    QString mapFile_;
    QString mapFingerprint_;
    QString mapFingerprintAlgo_;
    QString mode_;
    QString host_;
    qint64 createdAt_ = 0;
    int maxPlayers_ = 0;
    std::vector<Slot> slots_;
    std::deque<ChatMessage> messages_;
    int lastMessageId_ = 0;
    QJsonObject mapOptions_;
    QJsonArray mapOptionIndexes_;
    std::optional<Match> match_;
};

}  // namespace devlobby
