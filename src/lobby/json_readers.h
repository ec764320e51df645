// Lenient readers of JSON values: the server is not trusted to keep to types, so a wrong one gets a default, never an
// error. None of them goes down into arrays or objects.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QLatin1String>
#include <QString>

#include <initializer_list>

// The bool itself; a number is true when it is not zero (within 1e-9); the words true, 1, yes, on and false, 0, no, off
// in any case with blanks around. Anything else is `fallback`.
bool jsonBool(const QJsonValue& value, bool fallback);

// `value` without its fraction; beyond the ends of int, the nearest end.
int truncatedInt(double value);

// A number without its fraction (beyond the ends of int, the nearest end), a text that QString::toInt takes, or a bool
// as 0 or 1. Anything else is `fallback`, with a debug line unless the key is missing or null.
int jsonInt(const QJsonObject& object, QLatin1String key, int fallback);

// A text untrimmed, a bool as "true" or "false", a whole number without a decimal point, another number with at most 15
// digits. Null and undefined give an empty text, arrays and objects too with a debug line.
QString jsonString(const QJsonValue& value);

// The first of `keys` whose jsonString is not empty, else `fallback`.
QString jsonFirstString(const QJsonObject& object, std::initializer_list<QLatin1String> keys, const QString& fallback);
