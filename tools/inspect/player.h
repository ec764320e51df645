// A whole player without a window: signs in, takes a seat, plays its matches.
#pragma once

#include "launch/game_launcher.h"
#include "lobby/lobby_client.h"
#include "maps/map_info.h"
#include "room/launch_memory.h"
#include "room/launch_plan.h"
#include "room/room_clock.h"

#include <QFutureWatcher>
#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

struct PlayerOptions {
    QString lobby;
    QString user;
    QString password;
    QString createName;  // not empty: make a room of this name on `mapId`
    QString mapId;
    QVector<MapOptionIndex> mapOptions;
    QString joinId;  // otherwise join this room; empty joins the first room with a free seat
    QString roomPassword;
    int startWith = 2;  // the host starts as soon as so many players are there and ready
    QString dataRoot;
    QString gameHost;
    int gamePort = 0;
    int matches = 1;
    int giveUpSeconds = 60;  // without a good answer of the server
};

// Reports each step as one JSON event through `report`, and ends with finished(): 0 after all matches, 1 when something
// stopped the player, which the last event tells. Follows the window's rules of what an answer means and of when a game
// is started.
class Player : public QObject {
    Q_OBJECT

public:
    Player(PlayerOptions options, std::function<void(const QJsonObject&)> report);
    ~Player() override;
    void start();

Q_SIGNALS:
    void finished(int exitCode);

private:
    void onLoginResult(bool ok, const QString& message);
    void onRoomCreated(bool ok, const RoomInfo& room, const QString& error);
    void onRoomsUpdated(const QVector<RoomInfo>& rooms, const QString& error);
    void onRoomDetailUpdated(bool ok, const RoomInfo& room, const QString& error);
    void onRoomActionResult(const QString& action, bool ok, RoomInfo room, const QString& error);
    void onLaunchFinished();

    void poll();
    void createRoom();
    void seekRoom(const QVector<RoomInfo>& rooms);
    void followRoom(const QVector<RoomInfo>& rooms);
    void enterRoom(const RoomInfo& room, const QString& event);
    void updateRoom(const RoomInfo& fresh);
    void act();
    void sendAction(const QString& action, const QJsonObject& extra = {});
    LaunchFacts launchFacts() const;
    void maybeLaunch();
    void launchGame();
    void watchGame();
    void event(const QString& name, QJsonObject details = {});
    void fail(const QString& error);

    PlayerOptions options_;
    std::function<void(const QJsonObject&)> report_;
    LobbyClient client_;
    std::vector<NetPlay::MapInfo> catalog_;
    GameLauncher launcher_;
    QFutureWatcher<bool> launchWatcher_;
    QTimer pollTimer_;
    QTimer watchTimer_;
    QTimer giveUpTimer_;
    RoomInfo room_;     // empty id: not in a room
    RoomInfo joining_;  // as the list told of it
    RoomClock clock_;
    LaunchPlan plan_;  // of the launch in flight or the running game
    QString launchedKey_;
    LaunchMemory launchMemory_;
    // The requests on their way, by their numbers; 0 for none.
    quint64 listRequest_ = 0;
    quint64 detailRequest_ = 0;
    quint64 actionRequest_ = 0;
    bool ended_ = false;
    int matchesPlayed_ = 0;
};
