// Tables of rules: each line "facts => what follows from them".
#pragma once

#include <QTest>

inline QString text(const char* utf8) {
    return QString::fromUtf8(utf8);
}

inline bool has(const QString& marks, char mark) {
    return marks.contains(QLatin1Char(mark));
}

// Compares each row with what `follows` makes of its facts.
template<typename Follows>
void forEachRow(const char* rows, Follows follows) {
    for (const QString& row : text(rows).split(u'\n', Qt::SkipEmptyParts)) {
        const QString facts = row.section(text(" =>"), 0, 0);
        QCOMPARE(facts + text(" =>") + follows(facts), row);
    }
}
