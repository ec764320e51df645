// HTTP/1.1, one request a connection, with or without TLS.
#pragma once

#include "devlobby/lobby.h"

#include <QPointer>
#include <QSslConfiguration>
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

    // How the body of a reply goes out. All of them are plain HTTP, which any client takes.
    enum class Packing {
        whole,
        gzip,  // whether the client asked for it or not
        drip,  // in chunks, one after another
    };

    explicit HttpServer(Handler handler) : handler_(std::move(handler)) {}

    void setPacking(Packing packing) { packing_ = packing; }
    // From then on connections speak TLS. Both files are PEM. False when they hold no certificate, or no key.
    bool setTls(const QString& certificateFile, const QString& keyFile);

    // Sends the reply and closes the connection.
    void answer(const Connection& connection, const LobbyReply& reply) const;

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    Handler handler_;
    Packing packing_ = Packing::whole;
    QSslConfiguration tls_;
};

}  // namespace devlobby
