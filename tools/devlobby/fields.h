// Strict readers of one field of a request: a value of another type or out of range counts as missing.
#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

namespace devlobby {

// The text, trimmed; empty when missing, no text, longer than `limit` UTF-16 units, or with control characters in it.
QString textField(const QJsonObject& object, const char* key, int limit);

// A whole number from `least` to `most`.
std::optional<qint64> numberField(const QJsonObject& object, const char* key, qint64 least, qint64 most);

std::optional<bool> boolField(const QJsonObject& object, const char* key);

}  // namespace devlobby
