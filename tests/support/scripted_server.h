// A TCP server for tests of HTTP clients: it runs in the test's own event loop, notes every request, and answers by a
// script, so that a test can send what no honest server would.
#pragma once

#include <QMap>
#include <QPointer>
#include <QSslConfiguration>
#include <QTcpServer>
#include <QTcpSocket>
#include <QVector>

#include <functional>

struct ScriptedRequest {
    QByteArray method;
    QByteArray target;                     // as it stands in the request line
    QMap<QByteArray, QByteArray> headers;  // names in lower case
    QByteArray body;
};

// What goes out in answer to a request. A connection that the script does not close stays open: with no bytes the
// server fell silent, and a full reply is followed by the connection's next request.
struct Script {
    QByteArray bytes = {};
    bool closes = false;
    bool resets = false;      // closes without an orderly end
    bool held = false;        // goes out only when release() says so
    QByteArray endless = {};  // goes out behind the bytes again and again
};

class ScriptedServer : public QTcpServer {
public:
    using Handler = std::function<Script(const ScriptedRequest&)>;

    // Listens at once, on a free port unless one is given. With a certificate in `tls` it speaks TLS.
    explicit ScriptedServer(Handler handler, const QHostAddress& address = QHostAddress::LocalHost,
                            const QSslConfiguration& tls = {}, quint16 port = 0);

    QString url() const;  // the plain one, without a slash at the end
    QVector<ScriptedRequest> requests;
    // Sends all that was held back, oldest first.
    void release();

    // A whole HTTP reply with the right Content-Length.
    static Script reply(const QByteArray& body, const QByteArray& status = "200 OK");

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    void readRequests(QTcpSocket* socket, QByteArray& buffer);

    Handler handler_;
    QVector<std::pair<QPointer<QTcpSocket>, QByteArray>> held_;
    QSslConfiguration tls_;
};
