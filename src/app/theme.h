// The look of the whole application.
#pragma once

#include <QString>

class QApplication;

// One dark style sheet. Widgets take special looks by their object names: Title, SectionLabel, StatusDot, primary,
// Sidebar, Sep.
QString applicationStyleSheet();

// Gives the placeholders of all line edits their colour, for which the style sheets of Qt 5 have no property: with the
// sheet alone they would look like typed text.
void colorPlaceholders(QApplication& application);
