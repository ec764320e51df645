// The development lobby's rules without a network: a request in, a reply out, the time of day given with it.
#pragma once

#include "devlobby/accounts.h"
#include "devlobby/room.h"

#include <QByteArray>
#include <QStringList>

#include <memory>

namespace devlobby {

struct LobbyOptions {
    int launchDelayMs = 0;    // from the start of a match to the start of the games
    qint64 matchSeconds = 0;  // a match ends by itself after this time; 0: only its host ends it
    qint64 dropSeconds = 30;  // a player silent for longer loses the seat in a room that doesn't play; 0: keeps it
    qint64 tokenSeconds = 0;  // a session ends by itself after this time; 0: never
};

struct LobbyRequest {
    QString method;  // "GET" or "POST"
    QString path;
    QByteArray body;
    QString sender = {};  // the IPv4 address that it came from; empty where there is none
};

// The name of what a request asks for: "rooms" for the list, "create" for a new room, else the path's last word.
QString endpointOf(const LobbyRequest& request);
// All the names that the lobby knows.
QStringList endpoints();

struct LobbyReply {
    int status = 200;  // of HTTP
    QJsonObject body;  // always with "ok"; with "error" when that is false
};

// All accounts and rooms of one server. Not thread-safe. Whatever a request holds, it gets a reply; what a server must
// refuse is refused with a sentence and changes nothing.
class Lobby {
public:
    explicit Lobby(const LobbyOptions& options) : options_(options), accounts_(options.tokenSeconds * 1000) {}

    // Empty, or why not.
    QString addAccount(const QString& name, const QString& password) { return accounts_.add(name, password); }

    // Ends the room's match, if there is one.
    void endMatch(const QString& roomId, qint64 now);

    // `now` in ms since 1970; it must not go back between two calls.
    LobbyReply handle(const LobbyRequest& request, qint64 now);

private:
    LobbyReply signIn(const QJsonObject& body, bool makeAccount, qint64 now);
    LobbyReply signOut(const Account& account, const QJsonObject& body);
    LobbyReply createRoom(const Player& player, const QJsonObject& body, qint64 now);
    LobbyReply actInRoom(const Player& player, Room& room, const QString& action, const QJsonObject& body, qint64 now);
    QString act(const Player& player, Room& room, const QString& action, const QJsonObject& body, qint64 now);
    void endOverdueMatches(qint64 now);
    void dropSilentPlayers(qint64 now);
    void leaveAllRooms(const Player& player, const Room* except);
    Room* findRoom(const QString& id);
    QJsonArray roomsToJson(qint64 now) const;

    LobbyOptions options_;
    Accounts accounts_;
    std::vector<std::unique_ptr<Room>> rooms_;  // oldest first
    int lastRoomNumber_ = 0;
    int lastSessionId_ = 0;
};

}  // namespace devlobby
