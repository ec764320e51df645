// Whether somebody's lobby server keeps the rules of docs/server.md: three players walk from sign-in to a second match
// in rooms of their own.
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

struct CheckOptions {
    QString lobby;  // the server's address
    // Names and passwords of three accounts; empty: new ones by "register", with random names.
    QVector<std::pair<QString, QString>> accounts;
    int endSeconds = 120;  // how long the first match may take to end once its games have
    int timeoutMs = 0;     // for every request; 0: as long as the client waits
};

struct CheckedRule {
    QString name;
    QString text;
    int checks = 0;
    QStringList failures = {};  // each with the request before it and its reply, passwords and tokens left out
    QString untried = {};       // why the rest of it cannot be tried from here; empty where all was

    bool held() const { return checks > 0 && failures.isEmpty() && untried.isEmpty(); }
};

// Every rule, also those that the walk did not come to. Requests go one after another; what the players made is gone
// afterwards as far as the server lets it. Waits in event loops of its own.
QVector<CheckedRule> checkServer(const CheckOptions& options);
