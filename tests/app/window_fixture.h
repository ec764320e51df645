// One client window in front of a scripted lobby server, and the ways in which a person uses it.
#pragma once

#include "support/client_window.h"
#include "support/scripted_server.h"

#include <QJsonArray>
#include <QJsonObject>

// Answers as an honest server would, unless a test says otherwise for a path's last word ("login", "rooms", "join").
class LobbyScript : public ScriptedServer {
public:
    LobbyScript();

    QJsonArray rooms;
    QMap<QByteArray, Script> answers;
    // The bodies of the requests whose path ends in this word, oldest first.
    QVector<QJsonObject> sent(const QByteArray& word) const;

private:
    Script answer(const ScriptedRequest& request) const;
};

// {"ok": false, "error": text}
Script refusal(const QByteArray& text);

class WindowFixture : public ClientWindow {
public:
    // With one map, "10078", whose options are 难度 (简单, 普通, 困难) and 资金.
    WindowFixture();
    ~WindowFixture() override { window.reset(); }  // before the server

    // The window, not yet signed in.
    void open(const QStringList& arguments = {});
    // Signs in and waits for the rooms.
    void signIn();
    // Signs in with this room in the list and takes a seat in it.
    void enterRoom(const QJsonObject& room);
    // What a poll brings, without the two seconds.
    void poll(const QJsonArray& rooms);
    // How often one of these says that it changes, or the focus does, while a hundred polls bring the same rooms.
    int changesUnderPolls(QTableWidget* table, QAbstractSlider* bar, const QJsonArray& rooms);
    // Whether the window keeps its size and no label takes a server's text for rich text.
    bool isUnspoilt() const;

    // A waiting room on the map. Seats as "name[+ready]" with blanks between, the first the host's; `fields` go over
    // those of the room.
    QJsonObject room(const QByteArray& seats, const QByteArray& fields = {}) const;

    LobbyScript server;

private:
    QString fingerprint_;
};
