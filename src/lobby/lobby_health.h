// The question whether a lobby server is there and well: GET /api/lobby/health.
#pragma once

#include <QString>

class QNetworkAccessManager;
class QNetworkReply;

struct LobbyHealth {
    bool good = false;  // an undisturbed reply with status 200 whose JSON has "ok" true
    int status = 0;     // of HTTP; 0 when no reply came
};

// Asks the server at `baseUrl`, an address without a slash at its end. The reply is aborted after `timeoutMs`, and when
// it is larger than 64 KiB. It belongs to `network`, and finishes only in the event loop.
QNetworkReply* requestLobbyHealth(QNetworkAccessManager& network, const QString& baseUrl, int timeoutMs);

// What a finished reply says. Reads its body, so that a second call finds none.
LobbyHealth readLobbyHealth(QNetworkReply& reply);
