#include "lobby/lobby_client.h"

#include "lobby/access_manager.h"
#include "lobby/bounds.h"
#include "lobby/json_readers.h"

#include <QCoreApplication>
#include <QIODevice>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QScopedValueRollback>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <utility>

namespace {

// What is read at once takes 20 ms at the most, whatever it holds.
constexpr int kMaxReadAtOnce = 256 << 10;
constexpr int kFirstRedirect = 300;  // redirects are not followed, and what they say is no answer

QString withoutTrailingSlashes(QString url) {
    while (url.endsWith(QLatin1Char('/'))) {
        url.chop(1);
    }
    return url;
}

QString serverErrorText(const QJsonDocument& document, const QString& fallback) {
    const QString text =
        jsonFirstString(document.object(), {QLatin1String("error"), QLatin1String("message")}, fallback);
    return shortened(text, kMaxStatusLength);
}

// Servers word a lost login in many ways, so any text about "auth" counts.
bool isAuthExpired(int status, const QString& text) {
    const QString lower = text.toLower();
    return status == 401 || lower.contains(QLatin1String("login expired")) ||
           lower.contains(QLatin1String("please login")) || lower.contains(QLatin1String("auth"));
}

bool isRejected(const QJsonDocument& document) {
    const QJsonValue ok = document.object().value(QLatin1String("ok"));
    return !ok.isUndefined() && !jsonBool(ok, false);
}

// Qt sends a request again whose connection ends without a reply, unless it cannot read the body from its beginning.
class BodyReadOnce : public QIODevice {
public:
    BodyReadOnce(QByteArray bytes, QObject* parent) : QIODevice(parent), bytes_(std::move(bytes)) {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    qint64 size() const override { return bytes_.size(); }
    bool reset() override { return false; }

protected:
    qint64 readData(char* data, qint64 maxSize) override {
        const qint64 length = std::min(maxSize, size() - pos());
        std::copy_n(bytes_.cbegin() + pos(), length, data);
        return length;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    const QByteArray bytes_;
};

// Qt's text, null when there was no error.
QString transportErrorOf(const QNetworkReply& reply) {
    switch (reply.error()) {
    case QNetworkReply::NoError:
        return QString();
    case QNetworkReply::ContentReSendError:
        return QCoreApplication::translate("QHttp", "Connection closed");  // Qt's own is "Unknown error"
    default:
        return reply.errorString();
    }
}

// Counts what is held after decompression, which no Content-Length tells.
void boundReplySize(QNetworkReply* reply) {
    // Without a limited buffer a fast sender can keep readyRead from ever being emitted.
    reply->setReadBufferSize(kMaxReplyBytes + 1);
    const auto abortWhenTooLarge = [reply] {
        const qint64 announced = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
        if (reply->isRunning() && (announced > kMaxReplyBytes || reply->bytesAvailable() > kMaxReplyBytes)) {
            reply->abort();
        }
    };
    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, abortWhenTooLarge);
    QObject::connect(reply, &QNetworkReply::readyRead, reply, abortWhenTooLarge);
}

}  // namespace

struct LobbyClient::Answer {
    LobbyRequest asked;
    int status = 0;          // of HTTP; 0 when no reply came
    QString transportError;  // Qt's text, null when there was none
    bool packed = false;
    QByteArray body;
    QString userName;
    QJsonDocument document;
    QJsonParseError parseError{0, QJsonParseError::NoError};
    RoomAnswer rooms;

    void read() {
        if (!body.isEmpty()) {
            document = QJsonDocument::fromJson(body, &parseError);
            rooms = decodeRoomAnswer(document, userName);
        }
    }
};

LobbyClient::LobbyClient(const QString& baseUrl, QObject* parent)
    : QObject(parent), network_(makeAccessManager(this)), baseUrl_(withoutTrailingSlashes(baseUrl)) {
    reader_.setMaxThreadCount(1);
}

// The replies die with their managers, while this object can still be called: none of them may do so.
LobbyClient::~LobbyClient() {
    reader_.clear();
    reader_.waitForDone();
    for (QNetworkReply* reply : findChildren<QNetworkReply*>()) {
        reply->disconnect(this);
    }
    for (QNetworkAccessManager* manager : findChildren<QNetworkAccessManager*>()) {
        releaseAccessManager(manager);
    }
}

void LobbyClient::setBaseUrl(const QString& url) {
    const QString stripped = withoutTrailingSlashes(url);
    if (stripped != baseUrl_) {
        baseUrl_ = stripped;
        clearSession();
    }
}

void LobbyClient::clearSession() {
    authToken_.clear();
    userName_.clear();
}

QNetworkRequest LobbyClient::request(const QString& path) const {
    QNetworkRequest request(QUrl(baseUrl_ + path, QUrl::TolerantMode));
    // The token in the body is the only state that the server gets to see again.
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    // Otherwise a challenge would be answered with what the system knows of the player.
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    return request;
}

QNetworkReply* LobbyClient::sendJson(const QString& path, const QJsonObject& body) {
    QNetworkRequest post = request(path);
    post.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    auto* bytes = new BodyReadOnce(QJsonDocument(body).toJson(QJsonDocument::Compact), network_);
    QNetworkReply* reply = network_->post(post, bytes);
    bytes->setParent(reply);
    return reply;
}

quint64 LobbyClient::postJson(const QString& path, const QJsonObject& body, ReplyCallback callback, int timeoutMs) {
    return awaitReply(sendJson(path, body), QString(), std::move(callback), timeoutMs);
}

quint64 LobbyClient::getJson(const QString& path, ReplyCallback callback, int timeoutMs) {
    return awaitReply(network_->get(request(path)), QString(), std::move(callback), timeoutMs);
}

quint64 LobbyClient::awaitReply(QNetworkReply* reply, const QString& roomId, ReplyCallback callback, int timeoutMs) {
    armReplyTimeout(reply, timeoutMs);
    const LobbyRequest asked{++requestsSent_, roomId};
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, asked, callback = std::move(callback)] { handleReply(reply, asked, callback); });
    return asked.number;
}

void LobbyClient::armReplyTimeout(QNetworkReply* reply, int timeoutMs) {
    auto* timer = new QTimer(reply);
    timer->setSingleShot(true);
    timer->setInterval(timeoutMs >= 1 ? timeoutMs : defaultTimeoutMs_);
    connect(timer, &QTimer::timeout, reply, [this, reply] { endLateReply(reply); });
    timer->start();
    connect(reply, &QObject::destroyed, this, &LobbyClient::releaseIdleManagers, Qt::QueuedConnection);
    acceptOwnCertificate(reply);
    boundReplySize(reply);
}

void LobbyClient::endLateReply(QNetworkReply* reply) {
    if (!reply->isRunning()) {
        return;
    }
    const bool headEnded = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    if (!headEnded && reply->manager() == network_) {
        network_ = makeAccessManager(this);
    }
    reply->abort();
}

// The others still have replies, each of which ends by its own timeout.
void LobbyClient::releaseIdleManagers() {
    for (QNetworkAccessManager* manager : findChildren<QNetworkAccessManager*>()) {
        if (manager != network_ && manager->findChild<QNetworkReply*>() == nullptr) {
            releaseAccessManager(manager);
        }
    }
}

void LobbyClient::handleReply(QNetworkReply* reply, const LobbyRequest& asked, const ReplyCallback& callback) {
    reply->deleteLater();
    const auto answer = std::make_shared<Answer>();
    answer->asked = asked;
    answer->userName = userName_;
    answer->status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    answer->transportError = transportErrorOf(*reply);
    answer->packed = reply->hasRawHeader("Content-Encoding");
    // An aborted reply is closed already.
    answer->body = reply->isOpen() ? reply->readAll() : QByteArray();
    if (answer->body.size() > kMaxReadAtOnce) {
        readLarge(answer, callback);
    } else {
        answer->read();
        judge(*answer, callback);
    }
}

void LobbyClient::readLarge(const std::shared_ptr<Answer>& answer, const ReplyCallback& callback) {
    reader_.start([this, answer, callback] {
        answer->read();
        QMetaObject::invokeMethod(
            this,
            [this, answer, callback]() mutable {
                judge(*answer, callback);
                // Taking such a document down takes as long as making it.
                reader_.start([gone = std::move(answer)] {});
            },
            Qt::QueuedConnection);
    });
}

void LobbyClient::judge(const Answer& answer, const ReplyCallback& callback) {
    const QScopedValueRollback<LobbyRequest> answering(answered_, answer.asked);
    const QJsonDocument& document = answer.document;
    if (!answer.transportError.isNull()) {
        const QString message = serverErrorText(document, answer.transportError);
        endExpiredSession(answer.status, message);
        callback(false, document, message);
    } else if (answer.status < kFirstRedirect && answer.body.isEmpty() && answer.packed) {
        // A packed body that breaks off before its first byte leaves no other trace.
        callback(false, QJsonDocument(), QStringLiteral("bad JSON: empty packed body"));
    } else if (answer.status < kFirstRedirect && answer.parseError.error != QJsonParseError::NoError) {
        callback(false, QJsonDocument(), QStringLiteral("bad JSON: ") + answer.parseError.errorString());
    } else if (answer.status >= kFirstRedirect || isRejected(document)) {
        const QString message = serverErrorText(document, QStringLiteral("server rejected request"));
        endExpiredSession(answer.status, message);
        callback(false, document, message);
    } else {
        const QScopedValueRollback<RoomAnswer> reading(roomAnswer_, answer.rooms);
        callback(true, document, QString());
    }
}

void LobbyClient::endExpiredSession(int status, const QString& message) {
    if (!answersEarlierSession() && isAuthExpired(status, message)) {
        clearSession();
    }
}

void LobbyClient::login(const QString& username, const QString& password) {
    requestSession(QStringLiteral("/api/lobby/login"), username, password, QStringLiteral("登录失败:缺少 auth_token"),
                   QStringLiteral("login ok"));
}

void LobbyClient::registerAccount(const QString& username, const QString& password) {
    requestSession(QStringLiteral("/api/lobby/register"), username, password,
                   QStringLiteral("register failed: missing auth_token"), QStringLiteral("register ok"));
}

void LobbyClient::requestSession(const QString& path, const QString& username, const QString& password,
                                 const QString& missingTokenText, const QString& successText) {
    const auto finish = [this, asked = baseUrl_, username, missingTokenText,
                         successText](bool ok, const QJsonDocument& document, const QString& error) {
        if (asked != baseUrl_) {
            // The session would be another server's.
            Q_EMIT loginResult(false, QStringLiteral("服务器已切换，请重新登录。"));
            return;
        }
        if (!ok) {
            Q_EMIT loginResult(false, error);
            return;
        }
        const QJsonObject answer = document.object();
        // A plain read: a token of another type is none.
        const QString token = answer.value(QLatin1String("auth_token")).toString();
        if (token.isEmpty()) {
            Q_EMIT loginResult(false, missingTokenText);
            return;
        }
        const QString name = answer.value(QLatin1String("username")).toString();
        authToken_ = token;
        sessionBegan_ = requestsSent_;
        userName_ = name.isEmpty() ? username : name;
        const bool plaintext = QUrl(baseUrl_).scheme().toLower() == QLatin1String("http");
        Q_EMIT loginResult(true, plaintext ? successText + QLatin1String(" (HTTP plaintext)") : successText);
    };
    postJson(path, {{QStringLiteral("username"), username}, {QStringLiteral("password"), password}}, finish, 0);
}

void LobbyClient::logout() {
    if (authToken_.isEmpty() || userName_.isEmpty()) {
        return;
    }
    postJson(
        QStringLiteral("/api/lobby/logout"),
        {{QStringLiteral("username"), userName_}, {QStringLiteral("auth_token"), authToken_}},
        [](bool, const QJsonDocument&, const QString&) {}, 0);
}
