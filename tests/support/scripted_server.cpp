#include "support/scripted_server.h"

#include <QSslCertificate>
#include <QSslSocket>

#include <utility>

#if __has_include(<sys/socket.h>)
#include <sys/socket.h>
#else
#include <winsock2.h>
#endif

namespace {

// Lets the next close send a reset.
void armReset(const QTcpSocket& socket) {
    linger option{};
    option.l_onoff = 1;
    using Handle = decltype(::socket(0, 0, 0));
    ::setsockopt(static_cast<Handle>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER,
                 reinterpret_cast<const char*>(&option), sizeof option);
}

// Takes one whole request off the front of `buffer`; false when there is none yet.
bool takeRequest(QByteArray& buffer, ScriptedRequest& request) {
    const int headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0) {
        return false;
    }
    QList<QByteArray> lines = buffer.left(headEnd).split('\n');
    const QList<QByteArray> requestLine = lines.takeFirst().trimmed().split(' ');
    request.method = requestLine.value(0);
    request.target = requestLine.value(1);
    for (const QByteArray& line : lines) {
        const int colon = line.indexOf(':');
        request.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    const int bodySize = request.headers.value("content-length").toInt();
    if (buffer.size() < headEnd + 4 + bodySize) {
        return false;
    }
    request.body = buffer.mid(headEnd + 4, bodySize);
    buffer.remove(0, headEnd + 4 + bodySize);
    return true;
}

}  // namespace

ScriptedServer::ScriptedServer(Handler handler, const QHostAddress& address, const QSslConfiguration& tls, quint16 port)
    : handler_(std::move(handler)), tls_(tls) {
    if (!listen(address, port)) {
        qFatal("scripted server: %s", qPrintable(errorString()));
    }
}

QString ScriptedServer::url() const {
    return QStringLiteral("http://%1:%2").arg(serverAddress().toString()).arg(serverPort());
}

void ScriptedServer::release() {
    for (const auto& [socket, bytes] : std::exchange(held_, {})) {
        if (socket) {
            socket->write(bytes);
        }
    }
}

Script ScriptedServer::reply(const QByteArray& body, const QByteArray& status) {
    // On a kept connection the client's next request would wait for a delayed acknowledgement.
    const QByteArray head = "HTTP/1.1 " + status + "\r\nConnection: close\r\nContent-Length: ";
    return {head + QByteArray::number(body.size()) + "\r\n\r\n" + body};
}

void ScriptedServer::incomingConnection(qintptr descriptor) {
    auto* socket = new QSslSocket(this);
    socket->setSocketDescriptor(descriptor);
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    connect(socket, &QTcpSocket::readyRead, this,
            [this, socket, buffer = QByteArray()]() mutable { readRequests(socket, buffer); });
    if (!tls_.localCertificate().isNull()) {
        socket->setSslConfiguration(tls_);
        socket->startServerEncryption();
    }
}

void ScriptedServer::readRequests(QTcpSocket* socket, QByteArray& buffer) {
    buffer += socket->readAll();
    for (ScriptedRequest request; takeRequest(buffer, request); request = {}) {
        requests.append(request);
        const Script script = handler_(request);
        if (script.held) {
            held_.append({socket, script.bytes});
            continue;
        }
        socket->write(script.bytes);
        if (!script.endless.isEmpty()) {
            // As fast as it is read, yet little of it waits in between when the server goes.
            socket->setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, 16 * 1024);
            connect(socket, &QTcpSocket::bytesWritten, socket,
                    [socket, more = script.endless.repeated(16 * 1024 / script.endless.size())] {
                        if (socket->bytesToWrite() < more.size()) {
                            socket->write(more);
                        }
                    });
        }
        if (script.resets) {
            socket->flush();
            armReset(*socket);
            socket->abort();
            return;
        }
        if (script.closes) {
            socket->disconnectFromHost();
        }
    }
}
