// What the pages and the dialog are made of, in the application's looks. An object name chooses the look
// (widgets/theme.h). Texts are shown as they are, never as markup: many of them are a server's words or a map's.
#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <initializer_list>

class QFormLayout;
class QFrame;
class QLabel;
class QPushButton;
class QScrollArea;
class QSize;
class QTableWidget;
class QWidget;

QLabel* makeLabel(const QString& objectName, const QString& text);

// A page's main button.
QPushButton* makePrimaryButton(const QString& text);

QFrame* makePanel(const QString& objectName);

// The bar above a page: its title on the left, the rest on the right.
QFrame* makeTopbar(const QString& objectName, QLabel* title, std::initializer_list<QWidget*> right = {});

// Scrolls what does not fit the smallest window. Takes no focus: its content has it.
QScrollArea* makeScrollArea(QWidget* content);

// Rows of a caption and a field, close together, as the options of a map stand in a panel.
QFormLayout* makeOptionForm();
// Of an option of a map. A key may be longer than the panel is wide: then it is cut, and the tooltip has more of it.
QLabel* makeOptionCaption(const QString& key);
// The widgets go later: the one that the player has just changed may be on the call stack.
void clearForm(QFormLayout* form);

// A table to choose whole rows from, with one column that gives way to the others, each at most `widest` wide.
QTableWidget* makeRowTable(const QStringList& captions, int yieldingColumn, int widest);
// Before many cells change: sized to their contents, the columns would be measured again for every single one.
void holdColumns(QTableWidget* table);
// Measures the columns of such a table.
void sizeColumnsToContents(QTableWidget* table, int yieldingColumn);
// -1 for none. The row that the keyboard is at may be another, selected or not.
int selectedRow(const QTableWidget* table);

// Tab goes through the page as its layouts stand: line by line, column by column. Again after each change of them.
void tabInReadingOrder(const QWidget& page);
// Enter on a button of the window presses it, as in a dialog, but makes none of them the window's default.
void letEnterPress(QWidget& window);
// Enter in the table does what a double click does.
void onEnter(QTableWidget* table, std::function<void()> act);

// A window of this size and least size, both smaller where the screen that `near` is on has no room for them.
void sizeWindow(QWidget& window, const QSize& size, const QSize& least, const QWidget* near = nullptr);

// For setToolTip(), which would take what looks like markup for markup.
QString plainTip(const QString& text);
// The same of a text that may be cut where it stands, and is long: it wraps. Empty for an empty one.
QString wholeTextTip(const QString& text);
