// The command line of the development lobby.
#pragma once

#include "devlobby/lobby.h"
#include "devlobby/network_conditions.h"

#include <QStringList>

#include <utility>
#include <vector>

namespace devlobby {

struct Options {
    int port = 40000;  // 0: any free one
    bool exitWithStdin = false;
    bool help = false;
    std::vector<std::pair<QString, QString>> accounts;  // name and password
    QString traceFile;                                  // empty: none
    LobbyOptions lobby;
    NetworkConditions network;
};

extern const char* const kUsage;

// Empty with a sentence in `error` for an unknown option or a value out of range. `arguments` begins with the
// program's name.
std::optional<Options> readOptions(const QStringList& arguments, QString& error);

}  // namespace devlobby
