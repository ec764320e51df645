// A lobby server in three players' hands. What it answers is held against the rules of docs/server.md.
#pragma once

#include "inspect/lobby_exchange.h"
#include "inspect/server_check.h"
#include "lobby/room_info.h"

#include <QVector>

struct CheckPlayer {
    QString name;
    QString password;
    QString token;
};

// The whole record as JSON, without what changes by itself from one reply to the next.
QJsonObject lastingRecord(RoomInfo room);
// The fields in which the two differ, of `fields` or, without those, of all.
QString differences(const QJsonObject& left, const QJsonObject& right, QStringList fields = {});

class CheckedLobby {
public:
    explicit CheckedLobby(const CheckOptions& options);

    QVector<CheckedRule> rules;
    QVector<RoomInfo> rooms;  // of the last list
    QString id;               // of the room that the players are in
    RoomInfo room;            // that room in the last list; empty when it does not stand there
    Exchange last;
    QStringList made;  // the ids of the rooms that the players made

    // The rule of this name, which must be one of the table.
    CheckedRule& rule(const char* name);
    // One check of a rule. `fault` and the last exchange are noted where it does not hold.
    void expect(const char* ruleName, bool holds, const QString& fault);
    void keepSecret(const QString& text) { exchanges_.keepSecret(text); }

    // Paths are those behind /api/lobby/. All give `last`.
    const Exchange& get(const QString& path);
    const Exchange& post(const QString& path, const QJsonObject& body);
    const Exchange& act(const CheckPlayer& player, const char* action, const QJsonObject& extra = {});
    // As act, and no reply of any kind breaks a rule.
    void tryToAct(const CheckPlayer& player, const char* action);

    // Reads the list. False when there is none.
    bool look();
    // By "login" or "register". False when there is no token.
    bool enter(CheckPlayer& player, const QString& how);
    // As `asked`, with the player as its creator in slot 2. Empty when the reply tells of no new room.
    RoomInfo create(const CheckPlayer& player, QJsonObject asked);
    // The action is carried out. `room` is then as the list shows it.
    bool accepts(const char* rule, const CheckPlayer& player, const char* action, const QJsonObject& extra = {});
    // The action is refused in words that a player can read.
    void refuses(const char* rule, const CheckPlayer& player, const char* action, const QJsonObject& extra = {});
    // The room's detail, which the list must equal.
    RoomInfo readDetail(const CheckPlayer& player);

    // Whether the client takes the last reply for the end of the session.
    bool signsOut() const;
    bool isMember(const CheckPlayer& player) const;
    bool isHost(const CheckPlayer& player) const;
    // In the last list; null when there is none.
    const RoomSlot* seat(const CheckPlayer& player) const;
    const RoomSlot* slot(int number) const;

private:
    const Exchange& take(const Exchange& exchange);
    QString roomPath(const char* action) const;
    static QJsonObject withCredentials(const CheckPlayer& player, QJsonObject body);

    LobbyExchanges exchanges_;
};
