// Finds what is on screen by what a player sees of it, and waits for it.
#pragma once

#include <QAbstractButton>
#include <QLineEdit>
#include <QTest>

constexpr int kPatienceMs = 30'000;
#define TRY(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, kPatienceMs)

// The first widget of its type on screen that `fits`; null when there is none.
template<typename Widget, typename Fits>
Widget* findShown(const QWidget& window, Fits fits) {
    for (auto* widget : window.findChildren<Widget*>()) {
        if (widget->isVisible() && fits(*widget)) {
            return widget;
        }
    }
    return nullptr;
}

inline QAbstractButton* findButton(const QWidget& window, const QString& text) {
    return findShown<QAbstractButton>(window, [&](const auto& button) { return button.text() == text; });
}

inline QLineEdit* findEdit(const QWidget& window, const QString& placeholder) {
    return findShown<QLineEdit>(window, [&](const auto& edit) { return edit.placeholderText() == placeholder; });
}
