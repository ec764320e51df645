// One client window with folders of its own, in front of a scripted lobby server, and the ways in which a person uses
// it.
#pragma once

#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "support/scripted_server.h"
#include "support/shown_widgets.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QLabel>
#include <QMap>
#include <QTableWidget>
#include <QTemporaryDir>

#include <memory>

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

Script jsonReply(const QJsonObject& object, const QByteArray& status = "200 OK");
// {"ok": false, "error": text}
Script refusal(const char* text);

class WindowFixture {
public:
    WindowFixture();

    // The window, not yet signed in; a second call makes a new one.
    void open(const QStringList& arguments = {});
    // Signs in and waits for the rooms.
    void signIn();
    // Signs in with this room in the list and takes a seat in it.
    void enterRoom(const QJsonObject& room);
    // What a poll brings, without the two seconds.
    void poll(const QJsonArray& rooms);

    // A room whose map is the fixture's own. Seats as "name[+ready]" with blanks between, the first the host's.
    QJsonObject room(const char* seats, const char* status = "waiting") const;

    QAbstractButton* button(const char* text) const;
    QLineEdit* edit(const char* placeholder) const;
    QTableWidget* roomTable() const { return table(4); }
    QTableWidget* slotTable() const { return table(5); }
    LobbyClient* client() const { return window->findChild<LobbyClient*>(); }
    QString statusBarText() const;
    // Whether the page that is on screen has a label with this text.
    bool shows(const char* text) const;

    QTemporaryDir folder;
    LobbyScript server;
    QString fingerprint;  // of the map "10078", the only one; its options are 难度 (简单, 普通, 困难) and 资金
    std::unique_ptr<MainWindow> window;

private:
    QTableWidget* table(int columns) const;
};
