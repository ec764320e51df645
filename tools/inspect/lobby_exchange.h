// Requests to a lobby server one after another, each with its reply as it came: LobbyClient judges in the same way, but
// shows only what a player needs.
#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QStringList>

class QNetworkAccessManager;

struct Exchange {
    QString method;
    QString path;
    QJsonObject sent;
    int status = 0;  // of HTTP; 0 when no reply came
    QByteArray received = {};
    QJsonDocument document = {};  // null where the reply is empty or no JSON
    QString problem = {};         // why this is no reply at all; empty for an answer and for a refusal
    bool ok = false;              // the request was carried out
    QString refusal = {};         // what the player reads of a request that was not
};

class LobbyExchanges {
public:
    // `timeoutMs` counts for every request; 0: as long as the client waits.
    LobbyExchanges(const QString& baseUrl, int timeoutMs);
    ~LobbyExchanges();

    // Waits for the reply in an event loop of its own. A reply above kMaxReplyBytes (lobby/bounds.h) is cut off.
    Exchange get(const QString& path) { return ask(QStringLiteral("GET"), path, {}); }
    Exchange post(const QString& path, const QJsonObject& body) { return ask(QStringLiteral("POST"), path, body); }

    // From now on no description holds this text.
    void keepSecret(const QString& text);
    // The request and its reply on two lines, each cut to 1,500 units; before the reply what matters of it, if given.
    QString description(const Exchange& exchange, const QJsonObject& part = {}) const;

private:
    Exchange ask(const QString& method, const QString& path, const QJsonObject& body);

    QNetworkAccessManager* network_;
    QString baseUrl_;
    int timeoutMs_;
    QStringList secrets_;
};
