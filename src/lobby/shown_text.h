// The one way in which words from outside, a server's or a file's, are cleaned before anybody sees them.
#pragma once

#include "lobby/bounds.h"

#include <QString>

// The text as one line that reads forward: control characters and all that a text view takes for a line break or an
// object become blanks, the marks that turn the direction of writing go, as do combining marks beyond kMaxMarks in a
// row.
QString singleLine(const QString& text);

// What a player gets to see of any text that came from a server or a file: a single line, cut to `length` UTF-16 units
// with "…" behind them.
QString shownText(const QString& text, int length = kMaxShownLength);
