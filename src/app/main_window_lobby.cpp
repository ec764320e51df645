// The lobby page: the rooms, and the way into one.
#include "app/create_room_dialog.h"
#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "lobby/shown_text.h"
#include "room/lobby_rules.h"
#include "room/room_rules.h"
#include "room/room_texts.h"
#include "widgets/makers.h"

#include <QBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTimer>

#include <optional>

namespace {

// A status, occupancy or map name of any length leaves the others in view; the room's own column gives way.
constexpr int kRoomColumn = 0;
constexpr int kWidestTextColumn = 170;
constexpr int kWidestUserName = 260;
constexpr int kHighestStatus = 60;

// Nothing when the player cancels. The server's name is shown as it is, never as rich text, and wraps.
std::optional<QString> askRoomPassword(QWidget* parent, const QString& roomName) {
    QInputDialog dialog(parent, Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint);
    dialog.setWindowTitle(QStringLiteral("私有房间"));
    dialog.setLabelText(QStringLiteral("房间《%1》需要密码：").arg(shownText(roomName)));
    dialog.setTextEchoMode(QLineEdit::Password);
    if (auto* label = dialog.findChild<QLabel*>()) {
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
    }
    return dialog.exec() == QDialog::Accepted ? std::optional(dialog.textValue()) : std::nullopt;
}

}  // namespace

void MainWindow::buildLobbyPage() {
    lobbyPage = new QWidget(pageStack);
    roomTable =
        makeRowTable({QStringLiteral("房间"), QStringLiteral("状态"), QStringLiteral("人数"), QStringLiteral("地图")},
                     kRoomColumn, kWidestTextColumn);
    auto* rows = new QVBoxLayout(lobbyPage);
    rows->setContentsMargins(18, 18, 18, 18);
    rows->setSpacing(12);
    rows->addLayout(buildLobbyHeading());
    rows->addLayout(buildLobbyTools());
    rows->addWidget(roomTable, 1);
    rows->addLayout(buildLobbyBottom());

    tabInReadingOrder(*lobbyPage);
    const auto join = [this] {
        if (joinButton->isEnabled()) {
            onJoin();
        }
    };
    connect(roomTable, &QTableWidget::itemSelectionChanged, this, &MainWindow::refreshLobbyButtons);
    connect(roomTable, &QTableWidget::cellDoubleClicked, this, join);
    onEnter(roomTable, join);
}

QLayout* MainWindow::buildLobbyHeading() {
    lobbyUserLabel = makeLabel(QStringLiteral("StatusDot"), QString());
    lobbyUserLabel->setMaximumWidth(kWidestUserName);
    auto* settingsButton = new QPushButton(QStringLiteral("设置"));
    logoutButton = new QPushButton(QStringLiteral("退出登录"));
    refreshButton = new QPushButton(QStringLiteral("刷新"));
    connect(settingsButton, &QPushButton::clicked, this, &MainWindow::openSettings);
    connect(logoutButton, &QPushButton::clicked, this, &MainWindow::onLogout);
    connect(refreshButton, &QPushButton::clicked, this, &MainWindow::onRefresh);

    auto* row = new QHBoxLayout;
    row->addWidget(makeLabel(QStringLiteral("Title"), QStringLiteral("大厅")));
    row->addStretch();
    for (QWidget* widget : {static_cast<QWidget*>(lobbyUserLabel), static_cast<QWidget*>(settingsButton),
                            static_cast<QWidget*>(logoutButton), static_cast<QWidget*>(refreshButton)}) {
        row->addWidget(widget);
    }
    return row;
}

QLayout* MainWindow::buildLobbyTools() {
    createRoomButton = makePrimaryButton(QStringLiteral("＋ 创建游戏"));
    roomSearchEdit = new QLineEdit;
    roomSearchEdit->setPlaceholderText(QStringLiteral("搜索房间、地图、房主或玩家"));
    roomSearchEdit->setClearButtonEnabled(true);
    roomSearchEdit->setMinimumWidth(260);
    connect(createRoomButton, &QPushButton::clicked, this, &MainWindow::onCreateRoom);
    connect(roomSearchEdit, &QLineEdit::textChanged, this, &MainWindow::renderRoomTable);

    auto* row = new QHBoxLayout;
    row->addWidget(createRoomButton);
    row->addStretch();
    row->addWidget(roomSearchEdit);
    return row;
}

QLayout* MainWindow::buildLobbyBottom() {
    joinButton = makePrimaryButton(QStringLiteral("进入房间"));
    lobbyStatusLabel = makeLabel(QStringLiteral("StatusDot"), QString());
    lobbyStatusLabel->setWordWrap(true);
    // No word of a message may widen the window.
    lobbyStatusLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    lobbyStatusLabel->setMaximumHeight(kHighestStatus);
    lobbyStatusLabel->setAlignment(Qt::AlignLeft | Qt::AlignTop);  // a long message shows its beginning
    lobbyStatusLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    connect(joinButton, &QPushButton::clicked, this, &MainWindow::onJoin);

    auto* row = new QHBoxLayout;
    row->addWidget(joinButton);
    row->addStretch();
    row->addWidget(lobbyStatusLabel, 1, Qt::AlignVCenter);
    return row;
}

void MainWindow::enterLobby(const QString& text) {
    pageStack->setCurrentWidget(lobbyPage);
    roomPollTimer->setInterval(kPollIntervalMs);
    forgetAttemptedKey(launchMemory);
    lobbyUserLabel->setText(QStringLiteral("已登录：") + shownText(userName()));
    QString message = text.isEmpty() ? QStringLiteral("选择房间或创建房间。") : text;
    if (!catalogReady) {
        message += QStringLiteral(" 正在后台加载地图，完成后可创建游戏。");
    }
    showStatus(lobbyStatusLabel, message);
    loadMapCatalog(false);
    renderRoomTable();
    refreshStandingTroubles();
}

void MainWindow::renderRoomTable() {
    if (roomTable == nullptr) {
        return;
    }
    const QString preferredId = inRoom ? currentRoom.id : QString();
    const QString filter = roomSearchEdit->text();
    const QString signature = roomTableSignature(rooms, filter, preferredId);
    if (signature != lobbyTableSignature) {
        lobbyTableSignature = signature;
        fillRoomTable(filter, preferredId);
    }
    refreshLobbyButtons();
}

void MainWindow::fillRoomTable(const QString& filter, const QString& preferredId) {
    QVector<const RoomInfo*> shown;
    for (const RoomInfo& room : qAsConst(rooms)) {
        if (roomMatchesFilter(room, filter)) {
            shown.append(&room);
        }
    }
    roomTable->setUpdatesEnabled(false);
    const QSignalBlocker blocker(roomTable);
    const int scrolled = roomTable->verticalScrollBar()->value();
    holdColumns(roomTable);
    roomTable->setCurrentItem(nullptr);
    // The rows stay, and with them the view's place, what the pointer is over and a search by keys that goes on.
    roomTable->setRowCount(shown.size());
    for (int row = 0; row < shown.size(); ++row) {
        const QStringList texts = roomRowTexts(*shown[row]);
        for (int column = 0; column < texts.size(); ++column) {
            QTableWidgetItem* item = roomTable->item(row, column);
            if (item == nullptr) {
                item = new QTableWidgetItem;
                roomTable->setItem(row, column, item);
            }
            if (item->text() != texts[column]) {
                item->setText(texts[column]);
            }
        }
        roomTable->item(row, 0)->setData(Qt::UserRole, shown[row]->id);
        if (!preferredId.isEmpty() && shown[row]->id == preferredId) {
            roomTable->selectRow(row);
        }
    }
    roomTable->verticalScrollBar()->setValue(scrolled);
    sizeColumnsToContents(roomTable, kRoomColumn);
    roomTable->setUpdatesEnabled(true);
}

void MainWindow::refreshLobbyButtons() {
    const int row = selectedRoomIndex();
    const LobbyButtons buttons = lobbyButtons({hasSession(), lobbyBusy(), catalogReady || !mapCatalog.empty(),
                                               row < 0 ? nullptr : &rooms.at(row), userName()});
    refreshButton->setEnabled(buttons.refresh);
    logoutButton->setEnabled(buttons.logout);
    createRoomButton->setEnabled(buttons.createRoom);
    createRoomButton->setText(buttons.createRoomText);
    joinButton->setEnabled(buttons.join);
    joinButton->setToolTip(buttons.joinTip);
}

bool MainWindow::lobbyBusy() const {
    return entryRequest != 0 || mapCheckInFlight || (roomsRequest != 0 && roomsFetchVisible);
}

void MainWindow::setMapCheckInFlight(bool inFlight) {
    mapCheckInFlight = inFlight;
    refreshLobbyButtons();
}

int MainWindow::selectedRoomIndex() const {
    const int row = selectedRow(roomTable);
    const QTableWidgetItem* item = row < 0 || row >= rooms.size() ? nullptr : roomTable->item(row, 0);
    return item == nullptr ? -1 : findRoomIndex(item->data(Qt::UserRole).toString());
}

int MainWindow::findRoomIndex(const QString& id) const {
    for (int i = 0; i < rooms.size(); ++i) {
        if (rooms.at(i).id == id) {
            return i;
        }
    }
    return -1;
}

void MainWindow::onRefresh() {
    loadMapCatalog(false);
    requestRooms(true, QStringLiteral("刷新中..."));
}

void MainWindow::onJoin() {
    const int index = selectedRoomIndex();
    if (index < 0) {
        showStatus(lobbyStatusLabel, QStringLiteral("请先选择房间。"));
        return;
    }
    const RoomInfo room = rooms.at(index);
    if (isRoomPlaying(room)) {
        refuseInLobby(QStringLiteral("该房间游戏中，无法进入。"));
        return;
    }
    showStatus(lobbyStatusLabel, QStringLiteral("进入房间中..."));
    joinWithFingerprintGate(room);
}

void MainWindow::joinRoomConfirmed(const RoomInfo& room) {
    QJsonObject extra;
    if (room.isPrivate || room.hasPassword) {
        withdrawStatus(lobbyStatusLabel, QStringLiteral("进入房间中"));
        withdrawStatus(lobbyStatusLabel, QStringLiteral("正在校验地图版本"));
        const std::optional<QString> password = askRoomPassword(this, roomName(room));
        if (!password || closing || endLostSession(QString())) {
            return;
        }
        extra.insert(QStringLiteral("password"), *password);
    }
    showStatus(lobbyStatusLabel, QStringLiteral("进入房间中..."));
    entryRequest = client->roomAction(room.id, QStringLiteral("join"), extra);
    refreshLobbyButtons();
}

void MainWindow::onCreateRoom() {
    if (mapCatalog.empty() && !catalogReady) {
        loadMapCatalog(false);
        showStatus(lobbyStatusLabel, QStringLiteral("地图还在后台加载，请稍等几秒后再创建游戏。"));
        return;
    }
    CreateRoomDialog dialog(userName(), mapCatalog, this);
    if (dialog.exec() == QDialog::Accepted && !closing && !endLostSession(QString())) {
        showStatus(lobbyStatusLabel, QStringLiteral("创建游戏中..."));
        createWithFingerprintGate(dialog.request());
    }
}
