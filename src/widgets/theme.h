// The look of the whole application.
#pragma once

#include <QColor>
#include <QString>

class QApplication;

// One dark style sheet. Widgets take special looks by their object names: Title, SectionLabel, StatusDot, primary,
// Sidebar, Sep.
QString applicationStyleSheet();

// A colour of the palette by its name; an invalid one for a name that it does not have.
QColor themeColor(const char* name);
// The style sheet with the palette's colours in place of their names, which stand in it as "@name".
QString themed(QString sheet);

// Gives the placeholders of all line edits their colour, for which the style sheets of Qt 5 have no property: with the
// sheet alone they would look like typed text.
void colorPlaceholders(QApplication& application);
