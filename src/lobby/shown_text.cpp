#include "lobby/shown_text.h"

namespace {

bool isMark(QChar::Category category) {
    return category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining ||
           category == QChar::Mark_Enclosing;
}

// Also for QTextDocument, to which two code points that are no characters mean the beginning and the end of a frame.
bool breaksLine(uint code, QChar::Category category) {
    return category == QChar::Other_Control || category == QChar::Separator_Line ||
           category == QChar::Separator_Paragraph || (code >= 0xFDD0 && code <= 0xFDEF) ||
           code == QChar::ObjectReplacementCharacter;
}

bool turnsDirection(uint code) {
    return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) || code == 0x200E ||
           code == 0x200F || code == 0x061C;
}

}  // namespace

QString singleLine(const QString& text) {
    QString line;
    line.reserve(text.size());
    int marks = 0;
    for (int i = 0; i < text.size(); ++i) {
        const bool pair = text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate();
        const uint code = pair ? QChar::surrogateToUcs4(text[i], text[i + 1]) : text[i].unicode();
        const QChar::Category category = QChar::category(code);
        if (isMark(category)) {
            ++marks;
        } else if (category != QChar::Other_Format) {
            marks = 0;
        }
        if (breaksLine(code, category)) {
            line += QLatin1Char(' ');
        } else if (!turnsDirection(code) && marks <= kMaxMarks) {
            line += text.midRef(i, pair ? 2 : 1);
        }
        i += pair ? 1 : 0;
    }
    return line;
}

QString shownText(const QString& text, int length) {
    // What lies far behind the cut need not be looked at.
    return shortened(singleLine(text.left(2 * length + 1)), length);
}
