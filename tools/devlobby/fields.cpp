#include "devlobby/fields.h"

#include <algorithm>
#include <cmath>

namespace devlobby {

QString textField(const QJsonObject& object, const char* key, int limit) {
    const QString text = object.value(QLatin1String(key)).toString().trimmed();
    const bool control =
        std::any_of(text.begin(), text.end(), [](QChar c) { return c.category() == QChar::Other_Control; });
    return text.size() > limit || control ? QString() : text;
}

std::optional<qint64> numberField(const QJsonObject& object, const char* key, qint64 least, qint64 most) {
    const QJsonValue value = object.value(QLatin1String(key));
    const double number = value.toDouble();
    const bool inRange = number >= static_cast<double>(least) && number <= static_cast<double>(most);
    if (!value.isDouble() || !inRange || std::floor(number) != number) {
        return std::nullopt;
    }
    return static_cast<qint64>(number);
}

std::optional<bool> boolField(const QJsonObject& object, const char* key) {
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isBool() ? std::optional(value.toBool()) : std::nullopt;
}

}  // namespace devlobby
