// Small widgets in the application's looks.
#pragma once

#include <QLabel>
#include <QPushButton>

// Plain text, whatever it holds: a server's words are never markup. The object name chooses the look (app/theme.h).
inline QLabel* makeLabel(const QString& objectName, const QString& text) {
    auto* label = new QLabel;
    label->setTextFormat(Qt::PlainText);
    label->setText(text);
    label->setObjectName(objectName);
    return label;
}

// A page's main button.
inline QPushButton* makePrimaryButton(const QString& text) {
    auto* button = new QPushButton(text);
    button->setObjectName(QStringLiteral("primary"));
    return button;
}
