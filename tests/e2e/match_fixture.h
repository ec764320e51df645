// What a match in the client's own windows needs: a real lobby server, and players with folders, a game and a window.
#pragma once

#include "support/client_window.h"

#include <QProcess>

const QString kHost = QStringLiteral("房主");
const QString kGuest = QStringLiteral("客人");

// A development lobby in a process of its own, with both players' accounts.
class Lobby {
public:
    explicit Lobby(const QString& options = {});
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
class Player : public ClientWindow {
public:
    Player(const QString& name, const QString& lobbyUrl, const QByteArray& settings = {});
    ~Player() override;

    const QString& name() const { return name_; }
    void signIn();
    // Through the dialog, on the map with this title, with the last choice of its first option where it has one.
    void createRoom(const char* mapTitle);
    void joinRoom();
    int starts() const { return told("已启动游戏:"); }
    // What the last game was handed, in one line: map, host, port, slot, control, session, user id, name, options,
    // display, compatibility layer.
    QString handout() const;
    qint64 gamePid() const;
    // From then on games end by themselves, or go on.
    void letGamesEnd(bool end);
    void say(const QString& words) const override;
    void picture(QWidget& shown) const;

private:
    QJsonObject report() const;
    void quicken();

    QString name_;
};

// Signs both in and brings them into one room.
void meet(Player& host, Player& guest, const char* mapTitle = "10078");
// The guest readies up, the host starts.
void startMatch(Player& host, Player& guest);
