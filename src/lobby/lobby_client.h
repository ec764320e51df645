// The program's only talker to the lobby server: HTTP with JSON bodies.
#pragma once

#include "lobby/lobby_request.h"
#include "lobby/room_decoder.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QObject>
#include <QThreadPool>

#include <functional>
#include <memory>

class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

// One lobby server and one session. Everything runs on the thread that made the object, and every result comes by
// signal, for local refusals already inside the call; only a large reply is read on another thread.
// Replies come in whatever order the server gives them; none is repeated, and none outlives the object. A reply above
// kMaxReplyBytes (lobby/bounds.h) is aborted. A reply that says that the login is gone ends the session that asked;
// that shows in authToken() alone. Requests are numbered, so that a slot can tell what its answer is older than.
class LobbyClient : public QObject {
    Q_OBJECT

public:
    using ReplyCallback = std::function<void(bool ok, const QJsonDocument& document, const QString& error)>;

    explicit LobbyClient(const QString& baseUrl, QObject* parent = nullptr);
    ~LobbyClient() override;

    // Takes slashes off the end. Another server than before ends the session; the same one keeps it.
    void setBaseUrl(const QString& url);
    QString baseUrl() const { return baseUrl_; }
    void clearSession();
    // Signed in exactly while this is not empty.
    QString authToken() const { return authToken_; }
    QString userName() const { return userName_; }

    void login(const QString& username, const QString& password);
    void registerAccount(const QString& username, const QString& password);
    // Tells the server; the session here is untouched.
    void logout();

    // These give the request's number, 0 when it was refused without being sent.
    quint64 fetchRooms();
    quint64 fetchRoomDetail(const QString& roomId);
    quint64 createRoom(const CreateRoomRequest& request);
    quint64 roomAction(const QString& roomId, const QString& action, const QJsonObject& extra);
    void sendHeartbeat(const QString& roomId, const QJsonObject& extra);
    // For the closing window: waits at most `timeoutMs` (at least 100) in an event loop of its own. True when the
    // server answered with a status from 200 to 299. Emits nothing.
    bool leaveRoomBlocking(const QString& roomId, int timeoutMs);

    // The number of the last request.
    quint64 requestsSent() const { return requestsSent_; }
    // Inside a slot of one of the signals below: the request that is being answered. Number 0 elsewhere.
    const LobbyRequest& answered() const { return answered_; }
    // Whether the answer is for a request of a session before the one of now.
    bool answersEarlierSession() const { return answered_.number != 0 && answered_.number <= sessionBegan_; }

Q_SIGNALS:
    void loginResult(bool ok, QString message);
    void roomsUpdated(QVector<RoomInfo> rooms, QString error);
    void roomDetailUpdated(bool ok, RoomInfo room, QString error);
    void actionResult(QString action, bool ok, QString message);
    void roomCreated(bool ok, RoomInfo room, QVector<RoomInfo> rooms, QString error);
    void roomActionResult(QString action, bool ok, RoomInfo room, QVector<RoomInfo> rooms, QString error);
    void heartbeatResult(bool ok);

private:
    QNetworkRequest request(const QString& path) const;
    QNetworkReply* sendJson(const QString& path, const QJsonObject& body);
    // A timeout below 1 means defaultTimeoutMs_.
    quint64 postJson(const QString& path, const QJsonObject& body, ReplyCallback callback, int timeoutMs);
    quint64 getJson(const QString& path, ReplyCallback callback, int timeoutMs);
    quint64 postToRoom(const QString& roomId, const QString& action, const QJsonObject& body, ReplyCallback callback,
                       int timeoutMs);
    quint64 awaitReply(QNetworkReply* reply, const QString& roomId, ReplyCallback callback, int timeoutMs);
    void armReplyTimeout(QNetworkReply* reply, int timeoutMs);
    // Aborts, and sends what follows by another manager where the head of the reply has not come to its end.
    void endLateReply(QNetworkReply* reply);
    void releaseIdleManagers();
    struct Answer;  // what a finished reply brought
    void handleReply(QNetworkReply* reply, const LobbyRequest& asked, const ReplyCallback& callback);
    void readLarge(const std::shared_ptr<Answer>& answer, const ReplyCallback& callback);
    void judge(const Answer& answer, const ReplyCallback& callback);
    // Ends the session when an answer says that the server no longer knows it.
    void endExpiredSession(int status, const QString& message);

    void requestSession(const QString& path, const QString& username, const QString& password,
                        const QString& missingTokenText, const QString& successText);
    // What every action on a room starts with.
    QJsonObject roomCredentials() const;
    void reportCreate(bool ok, const QString& message, const RoomInfo& room, const QVector<RoomInfo>& rooms);
    void reportFailedAction(const QString& action, const QString& error);

    QNetworkAccessManager* network_;  // a child, as are those before it whose replies have not all ended
    QThreadPool reader_;
    QString baseUrl_;
    QString userName_;
    QString authToken_;
    quint64 requestsSent_ = 0;
    quint64 sessionBegan_ = 0;  // the last request before the session of now
    LobbyRequest answered_;
    RoomAnswer roomAnswer_;  // of the reply whose callback runs, when that is a success
    int defaultTimeoutMs_ = 8000;
};
