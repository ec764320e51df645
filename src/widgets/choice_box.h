// The drop-down of a map option, as wide as its place however long the choices are.
#pragma once

#include "lobby/shown_text.h"
#include "widgets/wheelless_box.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QEvent>

#include <algorithm>

class ChoiceBox : public WheellessBox<QComboBox> {
public:
    // Shows the choices cleaned; as they are they stand in the items' data. Shows the first where `selected` is below
    // 0.
    ChoiceBox(const QStringList& choices, int selected) {
        constexpr int kMinimumWidth = 80;
        setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
        setMinimumWidth(kMinimumWidth);
        for (const QString& choice : choices) {
            addItem(shownText(choice), choice);
        }
        setCurrentIndex(std::max(0, selected));
    }

protected:
    // A style sheet would have every box build its list at once, which takes longer than all else of it.
    void changeEvent(QEvent* event) override {
        if (event->type() != QEvent::StyleChange || findChild<QAbstractItemView*>() != nullptr) {
            QComboBox::changeEvent(event);
        }
    }
};
