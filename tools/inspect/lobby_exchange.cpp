#include "inspect/lobby_exchange.h"

#include "lobby/access_manager.h"
#include "lobby/bounds.h"
#include "lobby/json_readers.h"
#include "lobby/shown_text.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

#include <utility>

namespace {

constexpr int kMaxDescription = 1500;
constexpr int kShortestSecret = 8;  // of those that are hidden wherever they stand
constexpr int kFirstRedirect = 300;
constexpr int kFirstRefusal = 400;
constexpr int kFirstServerError = 500;

QString compact(const QJsonObject& object) {
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

int clientTimeoutMs(const QString& path) {
    return path.endsWith(QLatin1String("/start")) ? 15000 : path.endsWith(QLatin1String("/heartbeat")) ? 5000 : 8000;
}

void judge(Exchange& exchange, const QString& transportError) {
    QJsonParseError parse{0, QJsonParseError::NoError};
    if (!exchange.received.isEmpty()) {
        exchange.document = QJsonDocument::fromJson(exchange.received, &parse);
    }
    const QJsonObject answer = exchange.document.object();
    if (exchange.status == 0 || (exchange.status < kFirstRedirect && !transportError.isEmpty())) {
        exchange.problem = transportError;
    } else if (exchange.status >= kFirstRedirect && exchange.status < kFirstRefusal) {
        exchange.problem = QStringLiteral("a redirect, which the client does not follow");
    } else if (exchange.status >= kFirstServerError) {
        exchange.problem = QStringLiteral("the server failed");
    } else if (parse.error != QJsonParseError::NoError) {
        exchange.problem = QStringLiteral("no JSON: ") + parse.errorString();
    } else {
        const QJsonValue ok = answer.value(QLatin1String("ok"));
        exchange.ok = exchange.status < kFirstRedirect && (ok.isUndefined() || jsonBool(ok, false));
        exchange.refusal = jsonFirstString(answer, {QLatin1String("error"), QLatin1String("message")}, QString());
    }
}

}  // namespace

LobbyExchanges::LobbyExchanges(const QString& baseUrl, int timeoutMs)
    : network_(new QNetworkAccessManager), baseUrl_(baseUrl), timeoutMs_(timeoutMs) {}

LobbyExchanges::~LobbyExchanges() {
    releaseAccessManager(network_);
}

Exchange LobbyExchanges::ask(const QString& method, const QString& path, const QJsonObject& body) {
    QNetworkRequest request(QUrl(baseUrl_ + path, QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    QNetworkReply* reply = method == QLatin1String("GET")
                               ? network_->get(request)
                               : network_->post(request, QJsonDocument(body).toJson(QJsonDocument::Compact));
    QEventLoop loop;
    bool late = false;
    QTimer::singleShot(timeoutMs_ > 0 ? timeoutMs_ : clientTimeoutMs(path), &loop, [&] {
        late = true;
        loop.quit();
    });
    reply->setReadBufferSize(kMaxReplyBytes + 1);
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QObject::connect(reply, &QNetworkReply::readyRead, &loop, [&] {
        if (reply->bytesAvailable() > kMaxReplyBytes) {
            loop.quit();
        }
    });
    QObject::connect(reply, &QNetworkReply::sslErrors, reply, [reply](const QList<QSslError>& errors) {
        const QStringList own{QStringLiteral("localhost"), QStringLiteral("127.0.0.1"), QStringLiteral("::1")};
        if (own.contains(reply->url().host())) {
            reply->ignoreSslErrors(errors);
        }
    });
    loop.exec();

    Exchange exchange{method, path, body};
    exchange.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    exchange.received = reply->isOpen() ? reply->read(kMaxReplyBytes) : QByteArray();
    const QString transportError = late                                       ? QStringLiteral("no whole reply in time")
                                   : !reply->isFinished()                     ? QStringLiteral("a reply above 8 MiB")
                                   : reply->error() == QNetworkReply::NoError ? QString()
                                                                              : reply->errorString();
    if (!reply->isFinished()) {
        releaseAccessManager(std::exchange(network_, new QNetworkAccessManager));
    } else {
        reply->deleteLater();
        if (reply->rawHeader("Connection").toLower() == "close") {
            // Qt would sometimes send the next request to the connection that the server is just closing.
            network_->clearConnectionCache();
        }
    }
    judge(exchange, transportError);
    return exchange;
}

void LobbyExchanges::keepSecret(const QString& text) {
    if (!text.isEmpty() && !secrets_.contains(text)) {
        secrets_ += text;
    }
}

QString LobbyExchanges::description(const Exchange& exchange, const QJsonObject& part) const {
    QString request = exchange.method + QLatin1Char(' ') + exchange.path;
    if (!exchange.sent.isEmpty()) {
        request += QLatin1Char(' ') + compact(exchange.sent);
    }
    QString reply = exchange.status == 0 ? QStringLiteral("nothing")
                                         : QStringLiteral("HTTP %1 ").arg(exchange.status) +
                                               (part.isEmpty() ? QString() : compact(part) + QStringLiteral(" in ")) +
                                               QString::fromUtf8(exchange.received);
    for (QString* text : {&request, &reply}) {
        for (const QString& secret : secrets_) {
            const QByteArray quoted = QJsonDocument(QJsonArray{secret}).toJson(QJsonDocument::Compact);
            text->replace(QString::fromUtf8(quoted.mid(1, quoted.size() - 2)), QStringLiteral("\"(secret)\""));
            if (secret.size() >= kShortestSecret) {
                text->replace(secret, QStringLiteral("(secret)"));
            }
        }
        *text = shownText(*text, kMaxDescription);
    }
    return QStringLiteral("request  %1\nreply    %2\n").arg(request, reply);
}
