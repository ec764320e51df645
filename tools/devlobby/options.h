// The command line of the development lobby.
#pragma once

#include "devlobby/service.h"

#include <QHostAddress>
#include <QStringList>

#include <utility>
#include <vector>

namespace devlobby {

struct Options {
    int port = 40000;  // 0: any free one
    QHostAddress address = QHostAddress::LocalHost;
    QString certificateFile;  // with keyFile: for TLS; empty: none
    QString keyFile;
    bool exitWithStdin = false;
    bool help = false;
    std::vector<std::pair<QString, QString>> accounts;  // name and password
    QString traceFile;                                  // empty: none; "-": standard output
    LobbyOptions lobby;
    NetworkConditions network;
    Flaws flaws;
    HttpServer::Packing packing = HttpServer::Packing::whole;
};

extern const char* const kUsage;

// Empty with a sentence in `error` for an unknown option or a value out of range. `arguments` begins with the
// program's name.
std::optional<Options> readOptions(const QStringList& arguments, QString& error);

}  // namespace devlobby
