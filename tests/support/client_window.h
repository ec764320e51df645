// A client window with folders of its own, found and used by what a player sees of it.
#pragma once

#include "app/main_window.h"
#include "lobby/lobby_client.h"

#include <QAbstractButton>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QStatusBar>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

constexpr int kPatienceMs = 30'000;
// What has failed already is not waited for again.
#define PATIENCE (QTest::currentTestFailed() ? 0 : kPatienceMs)
#define TRY(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, PATIENCE)
#define TRY_COMPARE(actual, expected) QTRY_COMPARE_WITH_TIMEOUT(actual, expected, PATIENCE)

inline QString text(const char* utf8) {
    return QString::fromUtf8(utf8);
}

// Files lie in "client" and "gametest" as with a player, unless a test opens the window on other paths. Where something
// does not come within the usual patience, the running test fails.
class ClientWindow {
public:
    virtual ~ClientWindow() { window.reset(); }

    QString path(const QString& relative) const { return folder.filePath(relative); }
    QString path(const char* relative) const { return path(text(relative)); }
    void write(const char* relative, const QByteArray& bytes) const {
        QFile file(path(relative));
        const bool opened = QDir().mkpath(QFileInfo(file).path()) && file.open(QIODevice::WriteOnly);
        QVERIFY2(opened && file.write(bytes) == bytes.size(), relative);
    }
    // Puts the game's stand-in into its folder.
    void installGame() const {
        const QString game = QCoreApplication::applicationDirPath() + text("/game.exe");
        QVERIFY(QDir().mkpath(path("gametest/core")) && QFile::copy(game, path("gametest/core/game.exe")));
    }

    void openOn(const ClientPaths& paths, const QStringList& arguments = {}) {
        window = std::make_unique<MainWindow>(paths, QStringList{text("test")} + arguments);
        QObject::connect(window->statusBar(), &QStatusBar::messageChanged, window.get(),
                         [this](const QString& message) {
                             told_ += QDir::fromNativeSeparators(message);
                             say(message);
                         });
        window->show();
    }
    // `settings` are the lines of the settings file that follow the lobby's address in [Server].
    void open(const QString& lobbyUrl, const QByteArray& settings, const QStringList& arguments = {}) {
        write("client/config/Server.ini", "[Server]\nLobbyHttp=" + lobbyUrl.toUtf8() + "\n" + settings);
        openOn(discoverClientPaths(path("client/bin").toStdU16String()), arguments);
    }

    // The first widget of this type, on screen unless said otherwise, whose property has this value; null without one.
    template<typename Widget>
    Widget* find(const char* property, const QVariant& value, bool shown = true) const {
        for (auto* widget : window->findChildren<Widget*>()) {
            if ((widget->isVisible() || !shown) && widget->property(property) == value) {
                return widget;
            }
        }
        return nullptr;
    }
    QAbstractButton* button(const char* caption) const { return find<QAbstractButton>("text", text(caption)); }
    bool enabled(const char* caption) const { return button(caption) != nullptr && button(caption)->isEnabled(); }
    QLineEdit* edit(const char* placeholder) const { return find<QLineEdit>("placeholderText", text(placeholder)); }
    bool shows(const char* label) const { return find<QLabel>("text", text(label)) != nullptr; }
    // The two tables, on screen or not.
    QTableWidget* roomTable() const { return find<QTableWidget>("columnCount", 4, false); }
    QTableWidget* slotTable() const { return find<QTableWidget>("columnCount", 5, false); }
    QTimer* timer(const char* name) const { return window->findChild<QTimer*>(text(name)); }
    LobbyClient* client() const { return window->findChild<LobbyClient*>(); }
    QString status() const { return window->statusBar()->currentMessage(); }
    // How often the status bar has begun with this text; paths in it have slashes.
    int told(const QString& start) const {
        return static_cast<int>(
            std::count_if(told_.begin(), told_.end(), [&](const QString& one) { return one.startsWith(start); }));
    }
    int told(const char* start) const { return told(text(start)); }

    // As soon as the button can be pressed.
    void press(const char* caption) const {
        const bool can = QTest::qWaitFor([&] { return enabled(caption); }, PATIENCE);
        QVERIFY2(can, qUtf8Printable(text(caption) + text(" while it says ") + status()));
        say(text("[%1]").arg(text(caption)));
        button(caption)->click();
    }
    // Uses a dialog or menu as soon as it is on screen, as whoever opens it is held up.
    template<typename Widget, typename Use>
    void whenShown(Use use) const {
        auto* looking = new QTimer(window.get());
        QObject::connect(looking, &QTimer::timeout, looking, [this, looking, use] {
            if (auto* widget = find<Widget>("visible", true)) {
                looking->stop();
                use(*widget);
            }
        });
        looking->start(20);
    }

    // Every press, and all that the status bar says.
    virtual void say(const QString&) const {}

    QTemporaryDir folder;
    std::unique_ptr<MainWindow> window;

private:
    QStringList told_;
};
