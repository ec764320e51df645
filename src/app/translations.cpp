#include "app/translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

// Q_INIT_RESOURCE works in no namespace.
static void initResources() {
    Q_INIT_RESOURCE(translations);
}

void installTranslations(QCoreApplication& application) {
    initResources();
    const std::pair<QString, QString> catalogues[] = {
        {QStringLiteral("qtbase_zh_CN"), QLibraryInfo::location(QLibraryInfo::TranslationsPath)},
        {QStringLiteral("texts_zh_CN"), QStringLiteral(":/translations")}};  // the last one is asked first
    for (const auto& [name, folder] : catalogues) {
        auto* translator = new QTranslator(&application);
        if (translator->load(name, folder)) {
            QCoreApplication::installTranslator(translator);
        } else {
            qWarning("no catalogue %s in %s", qPrintable(name), qPrintable(folder));
        }
    }
}
