#include "devlobby/trace.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace devlobby {

namespace {

QJsonValue withoutSecrets(const QJsonValue& value) {
    if (value.isArray()) {
        QJsonArray array;
        for (const QJsonValue& element : value.toArray()) {
            array.append(withoutSecrets(element));
        }
        return array;
    }
    if (!value.isObject()) {
        return value;
    }
    QJsonObject object = value.toObject();
    for (auto member = object.begin(); member != object.end(); ++member) {
        const bool secret = member.key() == QLatin1String("password") || member.key() == QLatin1String("auth_token");
        member.value() = secret ? QJsonValue(QStringLiteral("(%1 characters)").arg(member.value().toString().size()))
                                : withoutSecrets(member.value());
    }
    return object;
}

}  // namespace

bool Trace::open(const QString& file, QString& error) {
    constexpr int kStandardOutput = 1;
    file_.setFileName(file);
    const bool opened = file == QLatin1String("-")
                            ? file_.open(kStandardOutput, QIODevice::WriteOnly | QIODevice::Unbuffered)
                            : file_.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
    error = file_.errorString();
    return opened;
}

void Trace::request(const Exchange& exchange, qint64 now) {
    const QByteArray& body = exchange.request.body;
    const QJsonDocument document = QJsonDocument::fromJson(body);
    const QJsonValue shown = document.isObject() ? withoutSecrets(document.object()) : QJsonValue(body.size());
    write({{QStringLiteral("body"), shown}}, exchange, QStringLiteral("request"), now);
}

void Trace::reply(const Exchange& exchange, const QString& event, qint64 now) {
    write({{QStringLiteral("carried_out_ms"), exchange.carriedOutAt},
           {QStringLiteral("status"), exchange.reply.status},
           {QStringLiteral("body"), withoutSecrets(exchange.reply.body)}},
          exchange, event, now);
}

void Trace::write(QJsonObject line, const Exchange& exchange, const QString& event, qint64 now) {
    if (!file_.isOpen()) {
        return;
    }
    line[QStringLiteral("event")] = event;
    line[QStringLiteral("id")] = exchange.id;
    line[QStringLiteral("ms")] = now;
    line[QStringLiteral("method")] = exchange.request.method;
    line[QStringLiteral("path")] = exchange.request.path;
    const QJsonValue user = QJsonDocument::fromJson(exchange.request.body).object().value(QLatin1String("username"));
    if (user.isString()) {
        line[QStringLiteral("user")] = user;
    }
    file_.write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
}

}  // namespace devlobby
