// Runs every registered test class.
//
// usage: <program> [CLASS] [Qt Test arguments]
#include "support/test_registry.h"

#ifdef NETPLAY_TEST_WIDGETS
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif
#include <QStringList>
#include <QTest>

int main(int argc, char** argv) {
    TestApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    QString only;
    if (arguments.size() > 1 && !arguments.at(1).isEmpty() && arguments.at(1).at(0).isUpper()) {
        only = arguments.takeAt(1);
    }
    int failures = 0;
    int classes = 0;
    for (const TestRegistry::Entry& entry : TestRegistry::entries()) {
        if (only.isEmpty() || only == QLatin1String(entry.name)) {
            ++classes;
            failures += QTest::qExec(entry.make().get(), arguments);
        }
    }
    return failures == 0 && classes > 0 ? 0 : 1;
}
