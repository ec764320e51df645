// Small widgets in the application's looks.
#pragma once

#include <QLabel>
#include <QPushButton>
#include <QTableWidget>

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

// The selected row of a table of whole rows, -1 for none. The row that the keyboard is at may be another, selected or
// not.
inline int selectedRow(const QTableWidget* table) {
    return table->selectionModel()->selectedRows().value(0).row();
}
