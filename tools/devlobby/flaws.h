// What is wrong with a server whose replies all look well: a checker of servers must find it.
#pragma once

#include "devlobby/lobby.h"

namespace devlobby {

class Flaws {
public:
    // "light-list": the list's rooms lack seats, messages and launch data. "no-session": no room has a session_id.
    // "same-session": it is 1 for every match. "magic-word": every refusal holds "auth". "keep-leavers": a leave is
    // answered and not carried out. "odd-ids": rooms have ids that break their paths. False for any other name.
    bool add(const QString& name);

    bool leavesUndone(const LobbyRequest& request) const;
    void spoil(const LobbyRequest& request, LobbyReply& reply) const;

private:
    bool has(const char* name) const { return names_.contains(QLatin1String(name)); }
    QJsonObject spoilRoom(QJsonObject room, bool listed) const;

    QStringList names_;
};

}  // namespace devlobby
