// Players who press at random what can be pressed, in real windows, on a lobby whose replies are late and overtake each
// other. Whatever they press,
// - nobody is put out of a room where the server keeps the seat,
// - a game starts once a player and session, never outside of a room or after the window was closed, and always for a
//   player who stays in the room,
// - a text that tells of something under way is followed by its outcome,
// - something can be pressed on every page, now or soon.
#pragma once

#include "devlobby/service.h"
#include "e2e/match_fixture.h"

#include <QMap>
#include <QRandomGenerator>

#include <memory>
#include <vector>

struct SimulationOptions {
    quint32 seed = 1;
    int players = 4;
    int matches = 10;  // the simulation ends behind so many
    int joins = 0;     // instead of matches: players only enter and leave one room, so many times
    QString latency;   // as devlobby takes them
    bool jitter = true;
    QStringList failures = {};
    int tokenSeconds = 0;
    int launchDelayMs = 100;
    int pollMs = 50;
    int pauseMs = 100;             // between two presses of a player, at most
    int patienceMs = kPatienceMs;  // what has not come by then never comes, in the simulation's own time
};

class SimulatedPlayer;

class Simulation {
public:
    explicit Simulation(const SimulationOptions& options);
    ~Simulation();

    // Until the matches or joins are through, or too much has gone wrong. Gives how often; each time is told as a
    // warning, with what the player pressed and read before it.
    int run();

    int matches() const { return matches_; }
    int joins = 0;  // into rooms
    int wrongExits = 0;
    int starts = 0;  // of games
    int doubledStarts = 0;
    // Between the first and the last player's start of each whole match, in ms; and from its start to the first.
    QVector<qint64> spreads;
    QVector<qint64> delays;

    const SimulationOptions options;
    devlobby::Service service;

    // The id of the room where the server has the player now; empty for none.
    QString seatOf(const QString& name);
    // Whether the lobby could do with another room.
    bool roomsWanted();
    void fail(const SimulatedPlayer& player, const QString& fault);
    // In ms. It stands still while the machine has no time for this process.
    qint64 time() const { return time_; }

private:
    struct Match {
        QString room;
        qint64 startedAt = 0;  // in ms since 1970, as the end
        qint64 endsAt = 0;     // not decided yet when it never comes
        qint64 givenUpAt = 0;  // in the simulation's time
        QStringList players;
        bool endsEarly = false;
    };

    QJsonArray rooms();
    void watchMatches();
    // Those who should have started a game of this match and have not.
    std::vector<const SimulatedPlayer*> missing(int session, const Match& match) const;
    void endMatch(int session, const Match& match);

    QRandomGenerator random_;
    std::vector<std::unique_ptr<SimulatedPlayer>> players_;
    QMap<int, Match> running_;  // by session
    int matches_ = 0;
    qint64 time_ = 0;
    int faults_ = 0;
};
