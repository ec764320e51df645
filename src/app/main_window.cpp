#include "app/main_window.h"

#include "lobby/lobby_client.h"
#include "lobby/shown_text.h"
#include "room/room_rules.h"
#include "room/standing_troubles.h"
#include "widgets/makers.h"

#include <QCloseEvent>
#include <QDialog>
#include <QDirIterator>
#include <QLabel>
#include <QMenu>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTimer>

#include <algorithm>

namespace {

constexpr int kClosingLeaveMs = 800;

QTimer* makeTimer(const QString& name, int intervalMs, QObject* parent) {
    auto* timer = new QTimer(parent);
    timer->setObjectName(name);
    timer->setInterval(intervalMs);
    return timer;
}

}  // namespace

MainWindow::MainWindow(const ClientPaths& clientPaths, const QStringList& arguments) : paths(clientPaths) {
    setWindowTitle(QStringLiteral("联机大厅"));
    sizeWindow(*this, {940, 600}, {820, 520});
    loadSettings(arguments);
    client = new LobbyClient(settings.lobbyHttp, this);
    buildPages();
    wireClient();
    makeTimers();
    wireWatchers();
    showLoginPage();
    refreshStandingTroubles();
    if (settings.autoLogin) {
        // Behind the event loop's start, so that the window is on screen first.
        QTimer::singleShot(0, this, &MainWindow::onLogin);
    }
}

MainWindow::~MainWindow() {
    fallSilent();
    fingerprintWatcher.waitForFinished();
    launchWatcher.waitForFinished();
    // The pages outlive this part of the object by a moment and must not call it any more.
    pageStack->disconnect(this);
    const auto children = pageStack->findChildren<QObject*>();
    for (QObject* child : children) {
        child->disconnect(this);
    }
}

void MainWindow::loadSettings(const QStringList& arguments) {
    const std::u16string file = joinPath(paths.configDir, u"Server.ini");
    settings = loadClientSettings(QString::fromStdU16String(file), arguments);
}

void MainWindow::buildPages() {
    pageStack = new QStackedWidget(this);
    buildRegisterPage();
    buildLoginPage();
    buildLobbyPage();
    buildRoomPage();
    buildSettingsPage();
    for (QWidget* page : {registerPage, loginPage, lobbyPage, roomPage, settingsPage}) {
        pageStack->addWidget(page);
    }
    setCentralWidget(pageStack);
    letEnterPress(*this);
    buildStatusBar();
}

void MainWindow::buildStatusBar() {
    statusBar()->setSizeGripEnabled(true);
    connect(statusBar(), &QStatusBar::messageChanged, this,
            [this](const QString& message) { statusBar()->setToolTip(wholeTextTip(message)); });
    troubleLabel = makeLabel(QStringLiteral("StandingTrouble"), QString());
    troubleLabel->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Ignored);  // the pages keep their height
    statusBar()->addPermanentWidget(troubleLabel);
}

void MainWindow::refreshStandingTroubles() {
    const std::u16string game = joinPath(joinPath(paths.dataRoot, u"core"), u"game.exe");
    const std::u16string maps = joinPath(paths.dataRoot, u"map");
    // The first will do: there may be tens of thousands.
    const bool holdsMaps = QDirIterator(QString::fromStdU16String(maps), QDir::Dirs | QDir::NoDotAndDotDot).hasNext();
    const QVector<StandingTrouble> troubles = standingTroubles(
        {dirExists(paths.dataRoot), fileExists(game), holdsMaps, failedPolls, QString::fromStdU16String(paths.dataRoot),
         QString::fromStdU16String(game), QString::fromStdU16String(maps)});
    QStringList texts;
    QStringList tips;
    for (const StandingTrouble& trouble : troubles) {
        texts += trouble.text;
        tips += trouble.tip;
    }
    troubleLabel->setText(texts.join(QStringLiteral("  ")));
    troubleLabel->setToolTip(wholeTextTip(tips.join(QLatin1Char('\n'))));
}

void MainWindow::wireClient() {
    connect(client, &LobbyClient::loginResult, this, &MainWindow::onLoginResult);
    connect(client, &LobbyClient::roomsUpdated, this, &MainWindow::onRoomsUpdated);
    connect(client, &LobbyClient::roomDetailUpdated, this, &MainWindow::onRoomDetailUpdated);
    connect(client, &LobbyClient::actionResult, this, &MainWindow::onActionResult);
    connect(client, &LobbyClient::roomCreated, this, &MainWindow::onRoomCreated);
    connect(client, &LobbyClient::roomActionResult, this, &MainWindow::onRoomActionResult);
    connect(client, &LobbyClient::heartbeatResult, this, &MainWindow::onHeartbeatResult);
}

void MainWindow::makeTimers() {
    roomPollTimer = makeTimer(QStringLiteral("roomPollTimer"), kPollIntervalMs, this);
    connect(roomPollTimer, &QTimer::timeout, this, &MainWindow::pollRooms);
    gameWatchTimer = makeTimer(QStringLiteral("gameWatchTimer"), kPollIntervalMs, this);
    connect(gameWatchTimer, &QTimer::timeout, this, &MainWindow::watchGameProcess);
}

void MainWindow::wireWatchers() {
    connect(&catalogWatcher, &QFutureWatcherBase::finished, this, &MainWindow::onCatalogLoaded);
    connect(&fingerprintWatcher, &QFutureWatcherBase::finished, this, &MainWindow::onMapFingerprintFinished);
    connect(&launchWatcher, &QFutureWatcherBase::finished, this, &MainWindow::onLaunchFinished);
}

void MainWindow::showStatus(QLabel* label, const QString& wholeText) {
    // A server's message leaves the page its shape, whatever it holds.
    const QString text = shownText(wholeText, kMaxStatusLength);
    if (label != nullptr) {
        label->setText(text);
        label->setToolTip(wholeTextTip(text));
    }
    if (!text.isEmpty()) {
        statusBar()->showMessage(text, 0);
    }
}

void MainWindow::withdrawStatus(QLabel* label, const QString& beginning) {
    if (label->text().startsWith(beginning)) {
        showStatus(label, QString());
    }
    if (statusBar()->currentMessage().startsWith(beginning)) {
        statusBar()->clearMessage();
    }
}

QLabel* MainWindow::currentStatusLabel() const {
    return isShown(loginPage) ? loginStatusLabel : isShown(roomPage) ? roomStatusLabel : lobbyStatusLabel;
}

bool MainWindow::isShown(const QWidget* page) const {
    return pageStack != nullptr && pageStack->currentWidget() == page;
}

bool MainWindow::isOnLoginPages() const {
    const QWidget* page = isShown(settingsPage) ? pageBeforeSettings : pageStack->currentWidget();
    return page == loginPage || page == registerPage;
}

bool MainWindow::hasSession() const {
    return client != nullptr && !client->authToken().isEmpty();
}

QString MainWindow::userName() const {
    return client == nullptr ? QString() : client->userName();
}

bool MainWindow::answerCounts() const {
    return !isOnLoginPages() && !client->answersEarlierSession();
}

bool MainWindow::takeAnswer(quint64& request) const {
    const quint64 number = client->answered().number;
    if (number != 0 && number != request) {
        return false;
    }
    request = 0;
    return true;
}

// Whoever opened one goes on as if the player had cancelled it.
void MainWindow::closeDialogs() {
    for (QDialog* dialog : findChildren<QDialog*>()) {
        dialog->reject();
    }
    for (QMenu* menu : findChildren<QMenu*>()) {
        menu->close();
    }
}

void MainWindow::fallSilent() {
    closing = true;
    client->disconnect(this);
    roomPollTimer->stop();
    gameWatchTimer->stop();
    forgetAll(launchMemory);  // no wait for a start ends in one
    backgroundEnd.request_stop();
    stopHostSearch();
    stopConnectionTest();
    closeDialogs();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!closing) {
        fallSilent();
        hide();  // nothing can be pressed while the server takes its time
        if (hasSession() && inRoom && !currentRoom.id.isEmpty() && !isRoomPlaying(currentRoom)) {
            client->leaveRoomBlocking(currentRoom.id, kClosingLeaveMs);
        }
    }
    QMainWindow::closeEvent(event);
}
