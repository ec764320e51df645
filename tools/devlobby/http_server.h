// HTTP/1.1 on loopback, one request a connection.
#pragma once

#include "devlobby/lobby.h"

#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>

namespace devlobby {

// Bodies come with a Content-Length and hold at most 1 MiB. What is no such request is refused here.
class HttpServer : public QTcpServer {
public:
    // A request's connection; null once the client has gone. It stays open until it is answered or aborted.
    using Connection = QPointer<QTcpSocket>;
    using Handler = std::function<void(const LobbyRequest&, const Connection&)>;

    explicit HttpServer(Handler handler) : handler_(std::move(handler)) {}

    // Sends the reply and closes the connection.
    static void answer(const Connection& connection, const LobbyReply& reply);

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    Handler handler_;
};

}  // namespace devlobby
