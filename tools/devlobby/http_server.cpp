#include "devlobby/http_server.h"

#include <QJsonDocument>
#include <QTimer>
#include <QUrl>

#include <chrono>

namespace devlobby {

namespace {

constexpr int kLargestHead = 16 << 10;        // bytes
constexpr int kLargestBody = 1 << 20;         // bytes
constexpr std::chrono::seconds kPatience(5);  // for a peer that sends or takes nothing

// Puts one request together from a connection's bytes.
class RequestReader {
public:
    LobbyRequest request;
    int refusal = 0;  // the HTTP status for what is no request, once there is one to send

    // True when nothing more is needed.
    bool add(const QByteArray& bytes) {
        received_ += bytes;
        if (bodySize_ < 0) {
            const int end = received_.left(kLargestHead).indexOf("\r\n\r\n");
            if (end < 0) {
                refusal = received_.size() < kLargestHead ? 0 : 431;
                return refusal != 0;
            }
            refusal = readHead(received_.left(end));
            if (refusal != 0) {
                return true;
            }
            received_.remove(0, end + 4);
        }
        if (refusal != 0 || bodySize_ > kLargestBody) {
            // A connection that is closed with bytes unread would lose the refusal.
            bodySize_ -= received_.size();
            received_.clear();
            refusal = 413;
            return bodySize_ <= 0;
        }
        request.body = received_.left(static_cast<int>(bodySize_));
        return request.body.size() == bodySize_;
    }

private:
    int readHead(const QByteArray& head) {
        QList<QByteArray> lines = head.split('\n');
        const QList<QByteArray> words = lines.takeFirst().trimmed().split(' ');
        if (words.size() != 3 || !words.at(1).startsWith('/')) {
            return 400;
        }
        request.method = QString::fromLatin1(words.at(0));
        request.path = QUrl(QString::fromUtf8(words.at(1))).path(QUrl::FullyDecoded);
        bool ok = true;
        bodySize_ = 0;
        for (const QByteArray& line : lines) {
            const QByteArray name = line.left(line.indexOf(':')).toLower();
            if (name == "content-length") {
                bodySize_ = line.mid(name.size() + 1).trimmed().toLongLong(&ok);
            }
            ok = ok && bodySize_ >= 0 && name != "transfer-encoding";
        }
        const bool known = request.method == QLatin1String("GET") || request.method == QLatin1String("POST");
        return !ok ? 400 : !known ? 405 : 0;
    }

    QByteArray received_;
    qint64 bodySize_ = -1;  // bytes still to come of one that is too large
};

}  // namespace

void HttpServer::incomingConnection(qintptr descriptor) {
    auto* socket = new QTcpSocket(this);
    socket->setSocketDescriptor(descriptor);
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    auto* patience = new QTimer(socket);
    connect(patience, &QTimer::timeout, socket, &QTcpSocket::abort);
    patience->start(kPatience);
    connect(socket, &QTcpSocket::readyRead, patience, [this, socket, patience, reader = RequestReader()]() mutable {
        patience->start();
        if (!reader.add(socket->readAll())) {
            return;
        }
        patience->stop();
        disconnect(socket, &QTcpSocket::readyRead, patience, nullptr);
        if (reader.refusal != 0) {
            answer(socket, {reader.refusal,
                            {{QStringLiteral("ok"), false}, {QStringLiteral("error"), QStringLiteral("bad request")}}});
        } else {
            handler_(reader.request, socket);
        }
    });
}

void HttpServer::answer(const Connection& connection, const LobbyReply& reply) {
    if (!connection) {
        return;
    }
    const QByteArray body = QJsonDocument(reply.body).toJson(QJsonDocument::Compact);
    connection->write("HTTP/1.1 " + QByteArray::number(reply.status) + (reply.status == 200 ? " OK" : " Refused") +
                      "\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
                      QByteArray::number(body.size()) + "\r\n\r\n" + body);
    connection->disconnectFromHost();
    QTimer::singleShot(kPatience, connection, &QTcpSocket::abort);
}

}  // namespace devlobby
