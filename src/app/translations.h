// Qt's own texts in Chinese, whatever the system's language: buttons of a prompt, context menus, network errors.
#pragma once

class QCoreApplication;

// Before the first window. Where Qt's catalogue is not installed its texts stay English.
void installTranslations(QCoreApplication& application);
