#include "lobby/json_readers.h"

#include <QDebug>

#include <cmath>
#include <limits>

namespace {

// Both ends are exact as doubles; the upper one is the first whole number that no longer fits.
constexpr double kInt64Begin = -9223372036854775808.0;
constexpr double kInt64End = 9223372036854775808.0;

QString numberText(double value) {
    const bool whole = value - std::floor(value) < 1e-9;
    if (whole && value >= kInt64Begin && value < kInt64End) {
        return QString::number(static_cast<qint64>(value));
    }
    return QString::number(value, 'g', 15);
}

bool wordBool(const QString& text, bool fallback) {
    const QString word = text.trimmed().toLower();
    for (const char* yes : {"true", "1", "yes", "on"}) {
        if (word == QLatin1String(yes)) {
            return true;
        }
    }
    for (const char* no : {"false", "0", "no", "off"}) {
        if (word == QLatin1String(no)) {
            return false;
        }
    }
    return fallback;
}

}  // namespace

bool jsonBool(const QJsonValue& value, bool fallback) {
    switch (value.type()) {
    case QJsonValue::Bool:
        return value.toBool();
    case QJsonValue::Double:
        return std::fabs(value.toDouble()) > 1e-9;
    case QJsonValue::String:
        return wordBool(value.toString(), fallback);
    default:
        return fallback;
    }
}

int truncatedInt(double value) {
    constexpr int kLowest = std::numeric_limits<int>::min();
    constexpr int kHighest = std::numeric_limits<int>::max();
    if (!(value > kLowest)) {
        return kLowest;
    }
    return value < kHighest ? static_cast<int>(value) : kHighest;
}

int jsonInt(const QJsonObject& object, QLatin1String key, int fallback) {
    const QJsonValue value = object.value(key);
    switch (value.type()) {
    case QJsonValue::Double:
        return truncatedInt(value.toDouble());
    case QJsonValue::Bool:
        return value.toBool() ? 1 : 0;
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        return fallback;
    case QJsonValue::String: {
        bool ok = false;
        const int number = value.toString().toInt(&ok);
        if (ok) {
            return number;
        }
        break;
    }
    default:
        break;
    }
    qDebug("LobbyClient: JSON field \"%s\" type mismatch (expected int, got %d), using fallback %d", key.data(),
           static_cast<int>(value.type()), fallback);
    return fallback;
}

QString jsonString(const QJsonValue& value) {
    switch (value.type()) {
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Double:
        return numberText(value.toDouble());
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        return {};
    default:
        qDebug("LobbyClient: ValueToString type mismatch (got type %d), returning empty string",
               static_cast<int>(value.type()));
        return {};
    }
}

QString jsonFirstString(const QJsonObject& object, std::initializer_list<QLatin1String> keys, const QString& fallback) {
    for (const QLatin1String key : keys) {
        QString text = jsonString(object.value(key));
        if (!text.isEmpty()) {
            return text;
        }
    }
    return fallback;
}
