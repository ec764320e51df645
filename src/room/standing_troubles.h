// What will spoil the evening and lasts until somebody mends it: rules without widgets.
#pragma once

#include <QString>
#include <QVector>

// So many polls failed in a row mean that the server does not answer; a single one is nothing.
inline constexpr int kSilentPolls = 2;

struct StandingFacts {
    bool dataRootExists = false;
    bool gameExists = false;
    bool holdsMaps = false;
    int failedPolls = 0;  // in a row
    QString dataRoot;     // where each of them should be
    QString game;
    QString maps;
};

struct StandingTrouble {
    QString text;
    QString tip;
};

// Of the game's folder only the first that counts, then the server; none when all is well.
QVector<StandingTrouble> standingTroubles(const StandingFacts& facts);
