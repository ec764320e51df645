#include "lobby/lobby_health.h"

#include "lobby/access_manager.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

namespace {

constexpr qint64 kMaxReplyBytes = 64 << 10;

}  // namespace

QNetworkReply* requestLobbyHealth(QNetworkAccessManager& network, const QString& baseUrl, int timeoutMs) {
    QNetworkRequest request(QUrl(baseUrl + QLatin1String("/api/lobby/health")));
    // Otherwise a challenge would be answered with what the system knows of the player.
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    QNetworkReply* reply = network.get(request);
    acceptOwnCertificate(reply);
    const auto abort = [reply] {
        if (reply->isRunning()) {
            reply->abort();
        }
    };
    auto* timer = new QTimer(reply);
    timer->setSingleShot(true);
    QObject::connect(timer, &QTimer::timeout, reply, abort);
    timer->start(timeoutMs);
    // Whoever answers may be anybody: what is held of a reply stays bounded.
    reply->setReadBufferSize(kMaxReplyBytes + 1);
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [reply, abort] {
        if (reply->bytesAvailable() > kMaxReplyBytes) {
            abort();
        }
    });
    return reply;
}

LobbyHealth readLobbyHealth(QNetworkReply& reply) {
    LobbyHealth health;
    health.status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply.error() == QNetworkReply::NoError && health.status == 200) {
        const QJsonObject answer = QJsonDocument::fromJson(reply.readAll()).object();
        health.good = answer.value(QLatin1String("ok")).toBool();
    }
    return health;
}
