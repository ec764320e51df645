#include "devlobby/http_server.h"

#include <QFile>
#include <QJsonDocument>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>
#include <QTimer>
#include <QUrl>

#include <chrono>

namespace devlobby {

namespace {

constexpr int kLargestHead = 16 << 10;        // bytes
constexpr int kLargestBody = 1 << 20;         // bytes
constexpr std::chrono::seconds kPatience(5);  // for a peer that sends or takes nothing
constexpr int kDrops = 8;                     // of a reply that drips
constexpr std::chrono::milliseconds kDripInterval(1);

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

// RFC 1952. Qt gives the deflated bytes inside a zlib frame of its own: four bytes of length, two of head, and four
// behind them.
QByteArray gzipped(const QByteArray& body) {
    quint32 checksum = 0xFFFFFFFF;
    for (const char byte : body) {
        checksum ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            checksum = (checksum >> 1) ^ ((checksum & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    const QByteArray framed = qCompress(body);
    QByteArray packed("\x1f\x8b\x08\0\0\0\0\0\0\xff", 10);
    packed += framed.mid(6, framed.size() - 10);
    for (const quint32 word : {~checksum, static_cast<quint32>(body.size())}) {
        for (int shift = 0; shift < 32; shift += 8) {
            packed += static_cast<char>(word >> shift);
        }
    }
    return packed;
}

void closeSent(QTcpSocket* socket) {
    socket->disconnectFromHost();
    QTimer::singleShot(kPatience, socket, &QTcpSocket::abort);
}

void drip(QTcpSocket* socket, const QByteArray& body) {
    auto* timer = new QTimer(socket);
    const auto sendDrop = [socket, timer, rest = body, size = body.size() / kDrops + 1]() mutable {
        const QByteArray drop = rest.left(size);
        rest.remove(0, size);
        socket->write(QByteArray::number(drop.size(), 16) + "\r\n" + drop + "\r\n");
        if (drop.isEmpty()) {
            timer->stop();
            closeSent(socket);
        }
    };
    QObject::connect(timer, &QTimer::timeout, socket, sendDrop);
    timer->start(kDripInterval);
}

}  // namespace

bool HttpServer::setTls(const QString& certificateFile, const QString& keyFile) {
    const QList<QSslCertificate> chain = QSslCertificate::fromPath(certificateFile);
    QFile file(keyFile);
    if (chain.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    const QSslKey key(&file, chain.first().publicKey().algorithm());
    tls_ = QSslConfiguration::defaultConfiguration();
    tls_.setLocalCertificateChain(chain);
    tls_.setPrivateKey(key);
    return QSslSocket::supportsSsl() && !key.isNull();
}

void HttpServer::incomingConnection(qintptr descriptor) {
    auto* socket = new QSslSocket(this);
    socket->setSocketDescriptor(descriptor);
    if (!tls_.localCertificate().isNull()) {
        socket->setSslConfiguration(tls_);
        socket->startServerEncryption();
    }
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    auto* patience = new QTimer(socket);
    connect(patience, &QTimer::timeout, socket, &QTcpSocket::abort);
    patience->start(kPatience);
    RequestReader reader;
    bool isIpv4 = false;
    const quint32 sender = socket->peerAddress().toIPv4Address(&isIpv4);
    reader.request.sender = isIpv4 ? QHostAddress(sender).toString() : QString();
    connect(socket, &QTcpSocket::readyRead, patience, [this, socket, patience, reader]() mutable {
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

void HttpServer::answer(const Connection& connection, const LobbyReply& reply) const {
    if (!connection) {
        return;
    }
    const QByteArray plain = QJsonDocument(reply.body).toJson(QJsonDocument::Compact);
    const QByteArray body = packing_ == Packing::gzip ? gzipped(plain) : plain;
    const bool elsewhere = reply.status >= 300 && reply.status < 400;
    connection->write("HTTP/1.1 " + QByteArray::number(reply.status) + (reply.status == 200 ? " OK" : " Refused") +
                      "\r\nContent-Type: application/json\r\nConnection: close\r\n" +
                      (elsewhere ? "Location: /elsewhere\r\n" : "") +
                      (packing_ == Packing::gzip ? "Content-Encoding: gzip\r\n" : ""));
    if (packing_ == Packing::drip) {
        connection->write("Transfer-Encoding: chunked\r\n\r\n");
        drip(connection, body);
    } else {
        connection->write("Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
        closeSent(connection);
    }
}

}  // namespace devlobby
