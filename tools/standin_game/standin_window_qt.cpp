#include "standin_game/standin_window.h"

#include "platform/code_page.h"

#include <QApplication>
#include <QLabel>
#include <QTimer>

#include <xcb/xcb.h>

namespace {

// QApplication ends the process when it finds no display, so the display is tried first.
bool hasDisplay() {
    const QString plugin = qEnvironmentVariable("QT_QPA_PLATFORM");
    if (!plugin.isEmpty() && !plugin.startsWith(QLatin1String("xcb"))) {
        return false;
    }
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    const bool reached = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return reached;
}

}  // namespace

std::vector<std::u16string> programArguments(int argc, char** argv) {
    std::vector<std::u16string> arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.push_back(platform::fromUtf8(argv[i]));
    }
    return arguments;
}

bool showWindow(const std::u16string& title, const std::u16string& text, const std::function<bool()>& ended) {
    if (!hasDisplay()) {
        return false;
    }
    int argc = 1;
    char name[] = "game";
    char* argv[] = {name, nullptr};
    QApplication application(argc, argv);
    QLabel label(QString::fromStdU16String(text));
    label.setTextFormat(Qt::PlainText);
    label.setWordWrap(true);
    label.setMargin(16);
    label.setWindowTitle(QString::fromStdU16String(title));
    label.resize(520, 380);
    label.show();
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, &label, [&ended] {
        if (ended()) {
            QCoreApplication::quit();
        }
    });
    watch.start(50);
    QApplication::exec();
    return true;
}
