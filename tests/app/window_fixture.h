// One client window in front of a scripted lobby server, and the ways in which a person uses it.
#pragma once

#include "support/client_window.h"
#include "support/scripted_server.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QSet>

// Answers as an honest server would, unless a test says otherwise for a path's last word ("login", "rooms" for the
// list, "create" for a new room, "join").
class LobbyScript : public ScriptedServer {
public:
    LobbyScript();

    QJsonArray rooms;
    QMap<QByteArray, Script> answers;
    QSet<QByteArray> holds;  // these answers are made at once and go out when release() says so
    // The bodies of the requests of this word, oldest first.
    QVector<QJsonObject> sent(const QByteArray& word) const;

private:
    static QByteArray wordOf(const ScriptedRequest& request);
    Script answer(const ScriptedRequest& request) const;
    Script answerAtOnce(const ScriptedRequest& request) const;
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
    // Opens a slot's menu, then `meanwhile`, then this entry where it can be chosen, then `behind`.
    void chooseInMenu(int row, const char* entry, const std::function<void()>& behind,
                      const std::function<void()>& meanwhile = {});
    // What a poll brings, without the two seconds.
    void poll(const QJsonArray& rooms);
    // No poll comes by itself any more, and none is on its way.
    void stopPolls();
    // A quiet poll is on its way.
    void askForRooms();
    // How often one of these says that it changes, or the focus does, while a hundred polls bring the same rooms.
    int changesUnderPolls(QTableWidget* table, QAbstractSlider* bar, const QJsonArray& rooms);
    // Whether the window keeps its size and no label takes a server's text for rich text.
    bool isUnspoilt() const;

    // A waiting room on the map. Seats as "name[+ready]" with blanks between, the first the host's; `fields` go over
    // those of the room.
    QJsonObject room(const QByteArray& seats, const QByteArray& fields = {}) const;

    LobbyScript server;
    int lists = 0;  // of rooms that the server has answered

private:
    QString fingerprint_;
};
