// The application object of a benchmark that needs widgets.
#pragma once

#include <QApplication>

// Draws into memory, so that no display is needed; made on first use.
inline QApplication& offscreenApplication() {
    static int count = 1;
    static char name[] = "benchmark";
    static char* arguments[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication application(count, arguments);
    return application;
}
