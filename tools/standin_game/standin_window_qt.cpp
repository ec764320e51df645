#include "standin_game/standin_window.h"

#include "platform/code_page.h"

#include <QApplication>
#include <QLabel>
#include <QTimer>

#include <memory>
#include <xcb/xcb.h>

namespace {

using Display = std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>;

// QApplication ends the process when it finds no display, so the display is tried first. Null without one. To be held
// until Qt has a connection of its own: an X server that loses its last client may start over, and lose the next one.
Display tryDisplay() {
    const QString plugin = qEnvironmentVariable("QT_QPA_PLATFORM");
    const bool wanted = plugin.isEmpty() || plugin.startsWith(QLatin1String("xcb"));
    Display display(wanted ? xcb_connect(nullptr, nullptr) : nullptr, &xcb_disconnect);
    if (display && xcb_connection_has_error(display.get()) != 0) {
        display.reset();
    }
    return display;
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
    const Display display = tryDisplay();
    if (!display) {
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
