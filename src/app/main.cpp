#include "app/main_window.h"
#include "app/translations.h"
#include "widgets/theme.h"

#include <QApplication>

int main(int argc, char** argv) {
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("联机大厅"));
    QApplication::setOrganizationName(QStringLiteral("联机大厅"));
    installTranslations(application);
    application.setStyleSheet(applicationStyleSheet());
    colorPlaceholders(application);
    MainWindow window;
    window.show();
    return QApplication::exec();
}
