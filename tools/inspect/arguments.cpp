#include "inspect/arguments.h"

namespace {

std::int64_t toNumber(const QString& text, std::int64_t low, std::int64_t high, const QString& what) {
    bool ok = false;
    const qlonglong value = text.toLongLong(&ok);
    if (!ok || value < low || value > high) {
        throw UsageError(
            QStringLiteral("%1 takes a number from %2 to %3, not \"%4\"").arg(what).arg(low).arg(high).arg(text));
    }
    return value;
}

}  // namespace

Arguments::Arguments(const QStringList& words, const QStringList& known, const QStringList& flags) {
    for (int i = 0; i < words.size(); ++i) {
        const QString& word = words.at(i);
        if (!word.startsWith(QLatin1String("--"))) {
            positional_.append(word);
            continue;
        }
        if (word == QLatin1String("--help")) {
            throw HelpRequest();
        }
        const QString name = word.mid(2);
        if (!known.contains(name) && !flags.contains(name)) {
            throw UsageError(QStringLiteral("unknown option %1").arg(word));
        }
        if (options_.contains(name)) {
            throw UsageError(QStringLiteral("%1 is given twice").arg(word));
        }
        if (flags.contains(name)) {
            options_.insert(name, QString());
            continue;
        }
        if (++i == words.size()) {
            throw UsageError(QStringLiteral("%1 lacks its value").arg(word));
        }
        options_.insert(name, words.at(i));
    }
}

const QStringList& Arguments::positional(int count) const {
    if (positional_.size() != count) {
        throw UsageError(
            QStringLiteral("%1 words expected beside the options, %2 given").arg(count).arg(positional_.size()));
    }
    return positional_;
}

QString Arguments::text(const QString& name) const {
    if (!has(name)) {
        throw UsageError(QStringLiteral("--%1 is missing").arg(name));
    }
    return options_.value(name);
}

std::int64_t Arguments::number(const QString& name, std::int64_t low, std::int64_t high) const {
    return toNumber(text(name), low, high, QStringLiteral("--") + name);
}

std::int64_t Arguments::number(const QString& name, std::int64_t low, std::int64_t high, std::int64_t fallback) const {
    return has(name) ? number(name, low, high) : fallback;
}

QVector<MapOptionIndex> Arguments::pairs(const QString& name) const {
    constexpr std::int64_t low = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t high = std::numeric_limits<std::int32_t>::max();
    const QString what = QStringLiteral("--") + name;
    QVector<MapOptionIndex> result;
    for (const QString& pair : text(name, QString()).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QStringList parts = pair.split(QLatin1Char(':'));
        if (parts.size() != 2) {
            throw UsageError(QStringLiteral("%1 takes pairs such as 0:1,2:3").arg(what));
        }
        result.append({static_cast<int>(toNumber(parts.at(0), low, high, what)),
                       static_cast<int>(toNumber(parts.at(1), low, high, what))});
    }
    return result;
}
