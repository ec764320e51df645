// The client's one window: every page, the lobby client, the timers, the background tasks and the room that the player
// is in. Everything runs on the main thread; the three tasks (catalog scan, fingerprint, launch) work on copies on the
// global thread pool and come back by their watchers.
//
// Widgets belong to Qt's parent chain. Data flows one way: a reply or a task's result becomes plain records here, a
// function of room/ decides, and one refresh or render function a page puts the outcome into the widgets.
#pragma once

#include "launch/game_launcher.h"
#include "lobby/room_info.h"
#include "maps/map_info.h"
#include "room/launch_memory.h"
#include "room/room_clock.h"
#include "settings/client_settings.h"
#include "settings/host_discovery.h"
#include "settings/paths.h"

#include <QCoreApplication>
#include <QFutureWatcher>
#include <QMainWindow>
#include <QMap>
#include <QStringList>
#include <QVector>

#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <vector>

class LobbyClient;
class QCheckBox;
class QComboBox;
class QFormLayout;
class QJsonObject;
class QLabel;
class QLayout;
class QLineEdit;
class QNetworkAccessManager;
class QPushButton;
class QSpinBox;
class QStackedWidget;
class QTableWidget;
class QTextEdit;
class QTimer;
enum class SlotCommand;
struct SlotMenuEntry;

class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    struct MapFingerprintResult {
        std::int32_t kind = 0;  // kFingerprintForCreate or kFingerprintForJoin
        bool ok = false;
        QString message;  // the player's words when not ok
        NetPlay::MapInfo map;
        CreateRoomRequest request;  // what waits for the fingerprint: this on the way to a new room,
        RoomInfo room;              // this on the way into one
        QString userName;           // who waits; another player who signed in meanwhile does not
    };
    static constexpr std::int32_t kFingerprintForCreate = 1;
    static constexpr std::int32_t kFingerprintForJoin = 2;

    struct LaunchResult {
        bool ok = false;
        std::uint32_t pid = 0;
        QString error;  // the launcher's sentence, empty on success
        std::int32_t userId = 0;
        QString host;
        std::int32_t port = 0;
        std::int32_t slot = 0;
        std::uint32_t sessionId = 0;
        bool autoStart = false;
        QString roomId;  // who launched, and from where; by the end the player may be elsewhere
        QString userName;
    };

    // `arguments` begins with the program's name. Two windows with folders of their own may live in one process.
    explicit MainWindow(const ClientPaths& clientPaths = discoverClientPaths(),
                        const QStringList& arguments = QCoreApplication::arguments());
    // Calls off what runs in the background and waits for a fingerprint or a launch.
    ~MainWindow() override;

    // Where the settings page's search for a host looks; the machine itself unless a test says otherwise.
    void setNetworkSources(const NetworkSources& sources) { networkSources = sources; }

protected:
    // Leaves a waiting room first, which takes at most 800 ms; a room in play is not left, as its game may still run.
    // From then on nothing is sent and nothing is launched.
    void closeEvent(QCloseEvent* event) override;

private Q_SLOTS:
    void onRegister();
    void onLogin();
    void onCreateRoom();
    void onRefresh();
    void onJoin();
    void onReady();
    void onStart();
    void onLaunch();
    void onKickPlayer();
    void onTransferHost();
    void onLockSlot();
    void onUnlockSlot();
    void onSetSlotPlayer();
    void onSetSlotComputer();
    void onSetSlotObserver();
    void onSendChat();
    void onBackToLobby();
    void onLogout();
    void onSettingsTestConnection();
    void fillSettingsServerIp();
    void onLoginResult(bool ok, const QString& message);
    void onRoomsUpdated(QVector<RoomInfo> newRooms, const QString& error);
    void onRoomDetailUpdated(bool ok, RoomInfo room, const QString& error);
    void onActionResult(const QString& action, bool ok, const QString& message);
    void onRoomCreated(bool ok, const RoomInfo& room, QVector<RoomInfo> newRooms, const QString& error);
    void onRoomActionResult(const QString& action, bool ok, RoomInfo room, QVector<RoomInfo> newRooms,
                            const QString& error);
    void onMapFingerprintFinished();
    void onLaunchFinished();

private:
    // ---- main_window.cpp: construction and what every page shares ----
    void loadSettings(const QStringList& arguments);
    void buildPages();
    void wireClient();
    void makeTimers();
    void wireWatchers();
    void buildStatusBar();
    // What stands at the right of the status bar: troubles that will spoil the evening.
    void refreshStandingTroubles();
    // The one way to tell the player anything. An empty text clears the label and leaves the status bar.
    void showStatus(QLabel* label, const QString& wholeText);
    // Takes back what no longer goes on: a text that begins so goes from the label and from the status bar.
    void withdrawStatus(QLabel* label, const QString& beginning);
    QLabel* currentStatusLabel() const;
    bool isShown(const QWidget* page) const;
    // On the login or register page, or at the settings from there.
    bool isOnLoginPages() const;
    bool hasSession() const;
    QString userName() const;
    // Whether what the server now answers means anything: not before sign-in, nor for the session before this one.
    bool answerCounts() const;
    // Takes the request off the way if the answer that has come is its own. One that nobody asked for is anybody's.
    bool takeAnswer(quint64& request) const;
    void closeDialogs();
    void fallSilent();

    // ---- main_window_login.cpp: sign in, register, sign out, a session that the server no longer knows ----
    void buildLoginPage();
    void buildRegisterPage();
    void setAuthBusy(bool busy);
    void showLoginPage();
    void showRegisterPage();
    void handleLoginExpired(const QString& serverText);
    // Goes to sign-in when the session is gone, or when the server's words say so; true when it is.
    bool endLostSession(const QString& serverText, bool saysSo = false);
    void stopSession();
    void stopPolling();

    // ---- main_window_lobby.cpp: the rooms, and the way into one ----
    void buildLobbyPage();
    QLayout* buildLobbyHeading();
    QLayout* buildLobbyTools();
    QLayout* buildLobbyBottom();
    void enterLobby(const QString& text);
    void renderRoomTable();
    void fillRoomTable(const QString& filter, const QString& preferredId);
    void refreshLobbyButtons();
    int selectedRoomIndex() const;
    int findRoomIndex(const QString& id) const;
    void joinRoomConfirmed(const RoomInfo& room);
    bool lobbyBusy() const;
    void setMapCheckInFlight(bool inFlight);

    // ---- main_window_catalog.cpp: local maps, and the gates that need them ----
    void loadMapCatalog(bool force);
    void onCatalogLoaded();
    void takeCatalog(std::vector<NetPlay::MapInfo> catalog);
    std::filesystem::path mapCacheDir() const;
    void createWithFingerprintGate(CreateRoomRequest request);
    void createRoomWith(const NetPlay::MapInfo& map, CreateRoomRequest request);
    void joinWithFingerprintGate(const RoomInfo& room);
    void runFingerprintTask(const MapFingerprintResult& waiting);
    void refuseInLobby(const QString& message);
    const NetPlay::MapInfo* currentRoomMap();

    // ---- main_window_room.cpp: the room page ----
    void buildRoomPage();
    QWidget* buildRoomTopbar();
    QWidget* buildSlotPanel();
    QWidget* buildRoomSidePanel();
    void renderRoomPage();
    void renderSlotTable();
    void renderRoomSettings();
    void renderRoomChat();
    void showOwnSlot();
    void refreshRoomButtons();
    void showSlotMenu(const QPoint& position);
    QVector<SlotMenuEntry> selectedSlotMenu() const;
    void runSlotCommand(SlotCommand command, int number);

    // ---- main_window_actions.cpp: what a player does in a room, and what comes of it ----
    const RoomSlot* ownSlot() const;
    bool isRoomHost() const;
    int selectedSlotNumber() const;
    QString selectedSlotName() const;
    bool canStartRoom(QString* message) const;
    void sendRoomAction(const QString& action, const QJsonObject& extra, const QString& progressText);
    void sendToSelectedPlayer(const QString& action, const QString& refusal, const QString& progressText);
    void sendToSelectedSlot(const QString& action, const QString& mode, const QString& refusal,
                            const QString& progressText);
    void moveToSlot(int target);
    void applyMapOption(const QString& key, const QString& value);
    void onSlotDoubleClicked(int row);
    void enterRoom(RoomInfo room, const QString& text);
    // The room as the server tells of it now.
    void updateRoom(RoomInfo fresh);
    void resetCurrentRoom();
    void clearRoomRenderCache();
    void leaveToLobby(const QString& text);
    void takeJoin(RoomInfo room);
    void takeRoomActionSuccess(const QString& action, RoomInfo room);
    void takeRoomActionFailure(const QString& action, const QString& error);
    // `speaks` when the reply brought the room as it is now.
    void dispatchRoomActionResult(const QString& action, bool speaks);
    void showOutcome(const QString& text);
    // Any room action, a visible refresh or a launch, not only the start.
    bool startInFlight() const;

    // ---- main_window_polling.cpp: rooms every two seconds, the heartbeat, the connection's dot ----
    void pollRooms();
    void requestRooms(bool visible, const QString& text);
    void setFailedPolls(int count);
    void sendRoomHeartbeat();
    void onHeartbeatResult(bool ok);
    void setConnectionState(int state);
    // True when the player was put back into the room where the server still has them.
    bool restoreRoom();
    // What the list says of the room. False when the player was taken out of it and nothing more is to be shown.
    bool followRoom();
    void requestDetail();

    // ---- main_window_launch.cpp: from a room in play to a running game ----
    void launchGame(bool autoStart);
    void maybeAutoLaunch();
    void applyRoomOptionsSelection();
    QVector<MapOptionIndex> mapOptionPairs();
    LaunchFacts launchFacts() const;

    // ---- main_window_game_watch.cpp: until the game ends ----
    void watchGameProcess();
    void onGameExited(bool clean);

    // ---- main_window_settings.cpp: the settings page ----
    void buildSettingsPage();
    QWidget* buildSettingsTopbar();
    QWidget* buildServerCard();
    QWidget* buildDisplayCard();
    QWidget* buildCompatibilityCard();
    void openSettings();
    void closeSettings();
    void refreshSettingsPage();
    void onSettingsProfileChanged();
    void showServerFields(const ServerFields& fields);
    // The lobby's address on the page, completed where it is one.
    QString typedBaseUrl() const;
    void applyServerFields(const QString& lobbyHttp, const QString& gameHost, int gamePort, const QString& statusText);
    void readSettingsPage();
    bool saveSettings();
    void saveSettingsFromPage();
    QLabel* statusLabelOf(const QWidget* page) const;

    // ---- main_window_discovery.cpp: the search for a host, the connection test ----
    bool fillFromThisMachine();
    bool fillFromHostFile(const QString& path);
    void searchNeighbours(const QStringList& neighbours);
    void takeNeighbourAnswer(const QString& address, bool isHost);
    void testLobby(const QString& baseUrl);
    void testGameHost(const QString& host, int port);
    void finishConnectionTest(QString& place, const QString& text);
    void stopHostSearch();
    void stopConnectionTest();

    // Settings and connections.
    ClientPaths paths;
    LobbyClient* client = nullptr;
    ClientSettings settings;
    bool skipNextReconnect = false;  // one-shot: the next exit of the game is not followed by a relaunch

    // Pages, in the stack's order.
    QStackedWidget* pageStack = nullptr;
    QWidget* registerPage = nullptr;
    QWidget* loginPage = nullptr;
    QWidget* lobbyPage = nullptr;
    QWidget* roomPage = nullptr;
    QWidget* settingsPage = nullptr;
    QWidget* pageBeforeSettings = nullptr;
    QLabel* troubleLabel = nullptr;

    // Login and register pages.
    QLineEdit* loginUserEdit = nullptr;
    QLineEdit* loginPasswordEdit = nullptr;
    QPushButton* loginButton = nullptr;
    QPushButton* toRegisterButton = nullptr;
    QLabel* loginStatusLabel = nullptr;
    QLineEdit* registerUserEdit = nullptr;
    QLineEdit* registerPasswordEdit = nullptr;
    QLineEdit* registerConfirmEdit = nullptr;
    QPushButton* registerButton = nullptr;
    QPushButton* toLoginButton = nullptr;
    QLabel* registerStatusLabel = nullptr;

    // Lobby page.
    QLabel* lobbyUserLabel = nullptr;
    QLabel* lobbyStatusLabel = nullptr;
    QPushButton* createRoomButton = nullptr;
    QPushButton* refreshButton = nullptr;
    QPushButton* logoutButton = nullptr;
    QLineEdit* roomSearchEdit = nullptr;
    QTableWidget* roomTable = nullptr;
    QPushButton* joinButton = nullptr;

    // Room page.
    QLabel* roomTitleLabel = nullptr;
    QLabel* roomLineLabel = nullptr;
    QLabel* roomSettingsLabel = nullptr;
    QLabel* roomStatusLabel = nullptr;
    QLabel* connectionDotLabel = nullptr;
    QFormLayout* mapOptionForm = nullptr;
    QTextEdit* roomChatView = nullptr;
    QMap<QString, QComboBox*> mapOptionCombos;
    QLineEdit* chatEdit = nullptr;
    QPushButton* sendChatButton = nullptr;
    QTableWidget* slotTable = nullptr;
    QPushButton* leaveRoomButton = nullptr;
    QPushButton* readyButton = nullptr;
    QPushButton* startButton = nullptr;
    QPushButton* launchButton = nullptr;

    // Settings page.
    QComboBox* serverProfileBox = nullptr;
    QLineEdit* lobbyHttpEdit = nullptr;
    QLineEdit* gameHostEdit = nullptr;
    QSpinBox* gamePortBox = nullptr;
    QPushButton* radminButton = nullptr;
    QComboBox* displayPresetBox = nullptr;
    QCheckBox* dpiAwareBox = nullptr;
    QCheckBox* compatibilityModeBox = nullptr;
    QLabel* settingsStatusLabel = nullptr;
    QPushButton* testConnectionButton = nullptr;
    NetworkSources networkSources;
    // The search and the test that are running, null when none is. What still comes of an earlier one is ignored.
    QNetworkAccessManager* hostSearch = nullptr;
    QNetworkAccessManager* connectionTest = nullptr;
    int neighboursPending = 0;
    int testsPending = 0;
    QString lobbyTestText;
    QString gameHostTestText;

    // Timers and background work.
    static constexpr int kPollIntervalMs = 2000;  // of both timers
    QTimer* roomPollTimer = nullptr;
    QTimer* gameWatchTimer = nullptr;
    QFutureWatcher<std::vector<NetPlay::MapInfo>> catalogWatcher;
    QFutureWatcher<MapFingerprintResult> fingerprintWatcher;
    QFutureWatcher<LaunchResult> launchWatcher;
    bool launchInFlight = false;
    GameLauncher gameLauncher;       // belongs to the launch task while launchInFlight
    std::stop_source backgroundEnd;  // of the tasks, when the window closes

    // Room flow.
    std::vector<NetPlay::MapInfo> mapCatalog;
    QVector<RoomInfo> rooms;
    RoomInfo currentRoom;
    QMap<QString, QString> pendingMapOptions;  // the host's choices that the server has not confirmed yet
    bool inRoom = false;
    RoomClock roomClock;
    bool authBusy = false;
    // The requests on their way, by their numbers; 0 for none. What one of them locks comes free with its own answer.
    quint64 entryRequest = 0;  // a join or a new room
    quint64 roomsRequest = 0;
    quint64 detailRequest = 0;
    quint64 roomActionRequest = 0;
    bool roomsFetchVisible = false;  // the rooms were asked for with feedback on screen
    bool mapCheckInFlight = false;   // a way into a room waits for a fingerprint
    bool readyAsked = false;         // what the last "ready" asked for
    bool leaveRequested = false;
    bool restoreRoomOnLogin = false;
    bool catalogLoadStarted = false;
    bool catalogReady = false;
    bool registerPending = false;
    bool gameRunning = false;
    std::uint32_t gamePid = 0;
    LaunchMemory launchMemory;
    bool closing = false;

    // What each region was last built from: equal means that its widgets stay untouched.
    QString lobbyTableSignature;
    QString slotTableSignature;
    QString roomSettingsSignature;
    QString chatSignature;
    QString spareRenderSignature;

    int connectionState = 0;  // 0 connected, 1 reconnecting, 2 disconnected
    int heartbeatFailures = 0;
    int failedPolls = 0;  // in a row
};
