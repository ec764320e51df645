// What a match in the client's own windows needs: a real lobby server, and players with folders, a game and a window.
// Where something does not come within the usual patience, the running test fails.
#pragma once

#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "support/shown_widgets.h"

#include <QDialog>
#include <QProcess>
#include <QTemporaryDir>

#include <functional>
#include <memory>

const QString kHost = QStringLiteral("房主");
const QString kGuest = QStringLiteral("客人");

// True as soon as `condition` holds, with events processed meanwhile; otherwise false, and the running test has failed.
bool eventually(const std::function<bool()>& condition, const QString& what);
void writeFile(const QString& path, const QByteArray& bytes);

// A development lobby in a process of its own, with both players' accounts.
class Lobby {
public:
    explicit Lobby(const QStringList& options = {});
    ~Lobby();
    QString url() const { return url_; }
    // Ends the match of the only room, as its host does.
    void endMatch();

private:
    QProcess process_;
    QString url_;
    std::unique_ptr<LobbyClient> referee_;
};

// Games run until told to end. All players have the same maps. With NETPLAY_DEMO_PICTURES naming a folder, what a
// player does and is told goes to standard output, and every step's window there as a picture.
class Player {
public:
    // `settings` are further lines of the settings file, which begins with [Server].
    Player(const QString& name, const QString& lobbyUrl, const QByteArray& settings = {});
    ~Player();

    void signIn();
    // Through the dialog, on the map with this title; `change` may do more in it first.
    void createRoom(const QString& title, const std::function<void(QDialog&)>& change = {});
    void joinRoom();
    void press(const QString& button);
    // How often the status bar has begun with this text; paths in it have slashes.
    int told(const QString& text) const;
    int starts() const { return told(QStringLiteral("已启动游戏:")); }
    // What the last game was handed, in one line: map, host, port, slot, control, session, user id, name, options.
    QString handout() const;
    qint64 gamePid() const;
    // From then on games end by themselves, or go on.
    void letGamesEnd(bool end);
    QString path(const QString& relative) const { return folder_.filePath(relative); }
    void say(const QString& text) const;
    void picture(QWidget& shown) const;

    std::unique_ptr<MainWindow> window;

private:
    QString name_;
    QTemporaryDir folder_;
    QStringList told_;
};

// Signs both in and brings them into one room.
void meet(Player& host, Player& guest, const QString& mapTitle = QStringLiteral("10078"));
// The guest readies up, the host starts.
void startMatch(Player& host, Player& guest);
