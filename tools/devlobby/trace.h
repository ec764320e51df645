// A record of what a server was asked and what it answered, one JSON object a line.
#pragma once

#include "devlobby/lobby.h"

#include <QFile>

namespace devlobby {

// A request on its way through the server.
struct Exchange {
    int id = 0;  // its number, from 1
    LobbyRequest request;
    qint64 carriedOutAt = 0;  // ms since 1970
    LobbyReply reply;
};

// Every line has "event", "id", "ms" (since 1970), "method", "path", and "user" where the
// request names one. Of passwords and tokens only the length is told.
class Trace {
public:
    // False with the system's sentence in `error` when the file cannot be written; "-" is the standard output. Without
    // a file nothing is written.
    bool open(const QString& file, QString& error);

    // "event" is "request", "body" what was sent: an object, or the number of bytes where it is none.
    void request(const Exchange& exchange, qint64 now);
    // `event` is "reply", or "lost" where the client gets none; "carried_out_ms" is when the lobby took the request,
    // "status" and "body" are the answer.
    void reply(const Exchange& exchange, const QString& event, qint64 now);

private:
    void write(QJsonObject line, const Exchange& exchange, const QString& event, qint64 now);

    QFile file_;
};

}  // namespace devlobby
