// Shows one window and ends as soon as it has been painted. usage: startup_probe empty|client
#include "app/main_window.h"
#include "widgets/theme.h"

#include <QApplication>

#include <cstring>
#include <memory>

namespace {

// Ends the program behind the first paint event, which is delivered before the exit is.
class FirstPaint : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
        }
        return QObject::eventFilter(watched, event);
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    QApplication application(argc, argv);
    application.setStyleSheet(applicationStyleSheet());
    const bool client = std::strcmp(argv[1], "client") == 0;
    const std::unique_ptr<QMainWindow> window(client ? new MainWindow : new QMainWindow);
    FirstPaint filter;
    window->installEventFilter(&filter);
    window->resize(940, 600);
    window->show();
    return QApplication::exec();
}
