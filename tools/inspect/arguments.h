// The command line of one call: positional words and "--name value" options.
#pragma once

#include "lobby/room_info.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>

// Wrong use of the command line; what() is UTF-8 and is shown to the user.
class UsageError : public std::runtime_error {
public:
    explicit UsageError(const QString& message) : std::runtime_error(message.toStdString()) {}
};

// Thrown where the words ask for nothing but the usage.
class HelpRequest {};

// `known` are the options that take a value, `flags` those that take none. Throws HelpRequest on "--help",
// UsageError on any other option, on one given twice, and on a missing value.
class Arguments {
public:
    Arguments(const QStringList& words, const QStringList& known, const QStringList& flags = {});

    // The positional words, which must be exactly `count`.
    const QStringList& positional(int count) const;
    bool has(const QString& name) const { return options_.contains(name); }
    QString text(const QString& name) const;  // throws when the option is missing
    QString text(const QString& name, const QString& fallback) const { return options_.value(name, fallback); }
    // A whole decimal number from `low` to `high`; throws when the option is missing or is anything else.
    std::int64_t number(const QString& name, std::int64_t low, std::int64_t high) const;
    std::int64_t number(const QString& name, std::int64_t low, std::int64_t high, std::int64_t fallback) const;
    // "0:1,2:3" as pairs; empty when the option is missing.
    QVector<MapOptionIndex> pairs(const QString& name) const;

private:
    QStringList positional_;
    QMap<QString, QString> options_;
};
