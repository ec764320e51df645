#include "app/main_window.h"
#include "room/map_option_rows.h"
#include "room/room_rules.h"
#include "room/room_signatures.h"
#include "room/room_texts.h"
#include "room/slot_table.h"
#include "widgets/choice_box.h"
#include "widgets/makers.h"
#include "widgets/theme.h"

#include <QColor>
#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QStyledItemDelegate>
#include <QTableWidget>
#include <QTextEdit>
#include <QVBoxLayout>

#include <memory>

namespace {

// A style sheet that frames a table's items leaves out their own backgrounds.
class BackgroundDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        painter->fillRect(option.rect, index.data(Qt::BackgroundRole).value<QBrush>());
        QStyledItemDelegate::paint(painter, option, index);
    }
};

constexpr int kPlayerColumn = 2;

QTableWidget* makeSlotTable() {
    // One long side must not push the players out of view.
    constexpr int kMaxColumnWidth = 180;
    const QStringList captions{QStringLiteral("槽位"), QStringLiteral("势力"), QStringLiteral("玩家"),
                               QStringLiteral("状态"), QStringLiteral("网速")};
    QTableWidget* table = makeRowTable(captions, kPlayerColumn, kMaxColumnWidth);
    table->setContextMenuPolicy(Qt::CustomContextMenu);
    // However small the window, so many players are in view, and the chat gives way; unless the font is too tall for
    // that, and the chat would come to lie over the players.
    constexpr int kRowHeight = 26;
    constexpr int kRowsInView = 6;
    constexpr int kBorders = 4;
    QHeaderView* rows = table->verticalHeader();
    rows->ensurePolished();
    rows->setDefaultSectionSize(kRowHeight);
    if (rows->minimumSectionSize() <= kRowHeight) {
        const int heading = table->horizontalHeader()->sizeHint().height();
        table->setMinimumHeight(kRowsInView * kRowHeight + heading + kBorders);
    }
    table->setItemDelegate(new BackgroundDelegate(table));
    return table;
}

void fillSlotRow(QTableWidget* table, int row, const SlotRow& content) {
    for (int column = 0; column < static_cast<int>(content.cells.size()); ++column) {
        auto* item = new QTableWidgetItem(content.cells[static_cast<std::size_t>(column)]);
        item->setData(kSlotNumberRole, content.slot.slot);
        item->setData(kPlayerSlotRole, content.slot.isPlayerSlot);
        item->setData(kOccupiedRole, content.occupied);
        item->setData(kLockedRole, content.slot.locked);
        item->setData(kOccupantRole, content.slot.name);
        if (content.own) {
            item->setBackground(themeColor("ownRow"));
        }
        table->setItem(row, column, item);
    }
}

// While the bar is at its end, less a line at most, it stays there when the view gets smaller.
void keepEndInView(QScrollBar* bar) {
    const auto atEnd = std::make_shared<bool>(true);
    QObject::connect(bar, &QScrollBar::valueChanged, bar,
                     [bar, atEnd](int value) { *atEnd = bar->maximum() - value < bar->singleStep(); });
    QObject::connect(bar, &QScrollBar::rangeChanged, bar, [bar, atEnd](int, int maximum) {
        if (*atEnd) {
            bar->setValue(maximum);
        }
    });
}

void applyButton(QPushButton* button, const RoomButton& rule) {
    button->setText(rule.text);
    button->setToolTip(plainTip(rule.tip));
    button->setEnabled(rule.enabled);
    button->setVisible(rule.visible);
}

}  // namespace

void MainWindow::buildRoomPage() {
    roomPage = new QWidget(pageStack);
    roomPage->setStyleSheet(
        themed(QStringLiteral("#RoomTopbar { background: @panel; border-bottom: 1px solid @line; }"
                              "#RoomPanel { background: @panel; border: 1px solid @line; border-radius: 6px; }"
                              "#RoomChat { background: @panel; border: 1px solid @line; border-radius: 6px;"
                              " padding: 8px 10px; color: @muted; }"
                              "#RoomSettings { color: @soft; line-height: 150%; }")));
    auto* page = new QVBoxLayout(roomPage);
    page->setContentsMargins(0, 0, 0, 0);
    page->setSpacing(0);
    page->addWidget(buildRoomTopbar());
    auto* body = new QWidget(roomPage);
    auto* panels = new QHBoxLayout(body);
    panels->setContentsMargins(10, 12, 10, 10);
    panels->setSpacing(10);
    panels->addWidget(buildSlotPanel(), 1);
    panels->addWidget(buildRoomSidePanel());
    page->addWidget(body, 1);

    tabInReadingOrder(*roomPage);

    roomLineLabel = makeLabel(QStringLiteral("StatusDot"), QString());
    roomStatusLabel =
        makeLabel(QStringLiteral("RoomChat"), QStringLiteral("[系统] 进入房间，准备就绪后由房主开始游戏。"));
    for (QLabel* label : {roomLineLabel, roomStatusLabel}) {
        label->setParent(roomPage);
        label->setWordWrap(true);
        label->hide();
    }
}

QWidget* MainWindow::buildRoomTopbar() {
    roomTitleLabel = makeLabel(QStringLiteral("Title"), QStringLiteral("自由对战"));
    roomTitleLabel->setMinimumWidth(1);  // so that a long name is cut and does not widen the window
    connectionDotLabel = makeLabel(QString(), QStringLiteral("● 已连接"));
    connectionDotLabel->setStyleSheet(QStringLiteral("color: #4caf50; font-size: 12px; padding: 4px 8px;"));
    leaveRoomButton = new QPushButton(QStringLiteral("退出房间"));
    connect(leaveRoomButton, &QPushButton::clicked, this, &MainWindow::onBackToLobby);
    return makeTopbar(QStringLiteral("RoomTopbar"), roomTitleLabel, {connectionDotLabel, leaveRoomButton});
}

QWidget* MainWindow::buildSlotPanel() {
    QFrame* panel = makePanel(QStringLiteral("RoomPanel"));
    slotTable = makeSlotTable();
    connect(slotTable, &QTableWidget::itemSelectionChanged, this, &MainWindow::refreshRoomButtons);
    connect(slotTable, &QTableWidget::customContextMenuRequested, this, &MainWindow::showSlotMenu);
    connect(slotTable, &QTableWidget::cellDoubleClicked, this, [this](int row) { onSlotDoubleClicked(row); });
    onEnter(slotTable, [this] { onSlotDoubleClicked(selectedRow(slotTable)); });

    roomChatView = new QTextEdit(panel);
    roomChatView->setObjectName(QStringLiteral("RoomChat"));
    roomChatView->setReadOnly(true);
    roomChatView->setUndoRedoEnabled(false);
    roomChatView->setTabChangesFocus(true);
    roomChatView->setMinimumHeight(92);
    roomChatView->setMaximumHeight(150);

    keepEndInView(roomChatView->verticalScrollBar());

    chatEdit = new QLineEdit;
    chatEdit->setPlaceholderText(QStringLiteral("输入聊天内容"));
    sendChatButton = new QPushButton(QStringLiteral("发送"));
    connect(chatEdit, &QLineEdit::textChanged, this, &MainWindow::refreshRoomButtons);
    connect(chatEdit, &QLineEdit::returnPressed, this, &MainWindow::onSendChat);
    connect(sendChatButton, &QPushButton::clicked, this, &MainWindow::onSendChat);
    auto* chatRow = new QHBoxLayout;
    chatRow->addWidget(chatEdit, 1);
    chatRow->addWidget(sendChatButton);

    auto* column = new QVBoxLayout(panel);
    column->setContentsMargins(18, 16, 18, 12);
    column->setSpacing(10);
    column->addWidget(slotTable, 1);
    column->addWidget(makeLabel(QStringLiteral("SectionLabel"), QStringLiteral("房间聊天")));
    column->addWidget(roomChatView);
    column->addLayout(chatRow);
    return panel;
}

QWidget* MainWindow::buildRoomSidePanel() {
    QFrame* panel = makePanel(QStringLiteral("RoomPanel"));
    // Long names wrap onto many lines; beyond this height they would take the window's.
    constexpr int kMaxSettingsHeight = 200;
    roomSettingsLabel = makeLabel(QStringLiteral("RoomSettings"), QString());
    roomSettingsLabel->setWordWrap(true);
    roomSettingsLabel->setMaximumHeight(kMaxSettingsHeight);
    roomSettingsLabel->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    auto* options = new QWidget;
    mapOptionForm = makeOptionForm();
    options->setLayout(mapOptionForm);

    startButton = makePrimaryButton(QStringLiteral("开始游戏"));
    readyButton = new QPushButton(QStringLiteral("准备"));
    launchButton = makePrimaryButton(QStringLiteral("启动游戏"));
    startButton->setMinimumHeight(40);
    readyButton->setMinimumHeight(36);
    launchButton->setMinimumHeight(40);
    connect(startButton, &QPushButton::clicked, this, &MainWindow::onStart);
    connect(readyButton, &QPushButton::clicked, this, &MainWindow::onReady);
    connect(launchButton, &QPushButton::clicked, this, &MainWindow::onLaunch);

    panel->setFixedWidth(278);
    auto* column = new QVBoxLayout(panel);
    column->setContentsMargins(14, 14, 14, 14);
    column->setSpacing(10);
    column->addWidget(makeLabel(QStringLiteral("SectionLabel"), QStringLiteral("房间设置")));
    column->addWidget(roomSettingsLabel);
    column->addWidget(makeLabel(QStringLiteral("SectionLabel"), QStringLiteral("地图设置")));
    column->addWidget(makeScrollArea(options), 1);
    for (QPushButton* button : {startButton, readyButton, launchButton}) {
        column->addWidget(button);
    }
    return panel;
}

void MainWindow::renderRoomPage() {
    if (!inRoom) {
        return;
    }
    roomTitleLabel->setText(roomTitleText(currentRoom));
    roomLineLabel->clear();
    renderSlotTable();
    renderRoomSettings();
    renderRoomChat();
    refreshRoomButtons();
    maybeAutoLaunch();
}

void MainWindow::renderSlotTable() {
    const QString signature = ::slotTableSignature(currentRoom);
    if (signature == slotTableSignature) {
        return;
    }
    slotTableSignature = signature;
    const int keep = selectedSlotNumber();
    const int scrolled = slotTable->verticalScrollBar()->value();
    const QVector<SlotRow> rows = slotRows(currentRoom, userName());

    slotTable->setUpdatesEnabled(false);
    QSignalBlocker blocker(slotTable);
    holdColumns(slotTable);
    slotTable->setRowCount(rows.size());
    bool kept = false;
    for (int row = 0; row < rows.size(); ++row) {
        fillSlotRow(slotTable, row, rows[row]);
        if (keep > 0 && rows[row].slot.slot == keep) {
            kept = true;
            // A row that is selected already stays untouched: choosing it again would scroll to it.
            if (selectedRow(slotTable) != row) {
                slotTable->selectRow(row);
            }
        }
    }
    if (!kept) {
        // The slot is gone, and what now stands in its row was not chosen by the player.
        slotTable->setCurrentItem(nullptr);
        slotTable->clearSelection();
    }
    slotTable->verticalScrollBar()->setValue(scrolled);
    sizeColumnsToContents(slotTable, kPlayerColumn);
    blocker.unblock();
    slotTable->setUpdatesEnabled(true);
}

void MainWindow::showOwnSlot() {
    slotTable->doItemsLayout();  // or the rows would have no place yet
    for (int row = 0; row < slotTable->rowCount(); ++row) {
        if (isSameName(slotTable->item(row, 0)->data(kOccupantRole).toString(), userName())) {
            slotTable->scrollToItem(slotTable->item(row, 0));
        }
    }
}

void MainWindow::renderRoomSettings() {
    const bool host = isRoomHost();
    const NetPlay::MapInfo* map = currentRoomMap();
    const QString signature = ::roomSettingsSignature(currentRoom, host, map);
    if (signature == roomSettingsSignature) {
        return;
    }
    roomSettingsSignature = signature;
    clearForm(mapOptionForm);
    mapOptionCombos.clear();
    roomSettingsLabel->setText(roomSettingsText(currentRoom));
    for (const MapOptionRow& row : mapOptionRows(currentRoom, map)) {
        auto* combo = new ChoiceBox(row.choices, row.choices.indexOf(row.current));
        combo->setEnabled(host);
        connect(combo, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
                [this, combo, key = row.key] { applyMapOption(key, combo->currentData().toString()); });
        mapOptionForm->addRow(makeOptionCaption(row.key), combo);
        mapOptionCombos.insert(row.key, combo);
    }
    if (mapOptionCombos.isEmpty()) {
        mapOptionForm->addRow(makeLabel(QStringLiteral("StatusDot"), QStringLiteral("该地图没有公开设置项")));
    }
    tabInReadingOrder(*roomPage);
}

void MainWindow::renderRoomChat() {
    const QString signature = ::chatSignature(currentRoom.messages);
    if (signature == chatSignature) {
        return;
    }
    chatSignature = signature;
    // What wraps is indented, so that blanks in a message cannot begin a line in another's name.
    constexpr int kHangingIndent = 16;
    QTextBlockFormat hanging;
    hanging.setLeftMargin(kHangingIndent);
    hanging.setTextIndent(-kHangingIndent);
    QTextCursor whole(roomChatView->document());
    whole.beginEditBlock();  // so that all is laid out once
    whole.select(QTextCursor::Document);
    whole.setBlockFormat(hanging);
    whole.insertText(roomChatText(currentRoom.messages));
    whole.endEditBlock();
    roomChatView->moveCursor(QTextCursor::End);
}

void MainWindow::refreshRoomButtons() {
    const RoomButtons buttons =
        roomButtons({currentRoom, userName(), hasSession(), inRoom, startInFlight(), chatEdit->text()});
    if (chatEdit->hasFocus() && !buttons.chatEdit) {
        // Otherwise the focus wanders to a button, and what is typed on presses it.
        chatEdit->clearFocus();
    }
    chatEdit->setEnabled(buttons.chatEdit);
    if (buttons.chatEdit && chatEdit->isVisible() && focusWidget() == nullptr) {
        chatEdit->setFocus();
    }
    sendChatButton->setEnabled(buttons.sendChat);
    applyButton(leaveRoomButton, buttons.leave);
    applyButton(readyButton, buttons.ready);
    applyButton(startButton, buttons.start);
    applyButton(launchButton, buttons.launch);
}

QVector<SlotMenuEntry> MainWindow::selectedSlotMenu() const {
    const QTableWidgetItem* slot = slotTable->item(selectedRow(slotTable), 0);
    if (slot == nullptr || !hasSession() || !inRoom) {
        return {};
    }
    return slotMenu({currentRoom, userName(), startInFlight(), slot->data(kSlotNumberRole).toInt(),
                     slot->data(kPlayerSlotRole).toBool(), slot->data(kOccupiedRole).toBool(),
                     slot->data(kLockedRole).toBool(), slot->data(kOccupantRole).toString()});
}

void MainWindow::showSlotMenu(const QPoint& position) {
    const QTableWidgetItem* clicked = slotTable->itemAt(position);
    if (clicked == nullptr || !hasSession() || !inRoom) {
        return;
    }
    slotTable->selectRow(clicked->row());
    const QVector<SlotMenuEntry> entries = selectedSlotMenu();
    if (entries.isEmpty()) {
        return;
    }
    QMenu menu(slotTable);
    for (const SlotMenuEntry& entry : entries) {
        QAction* action = entry.text.isEmpty() ? menu.addSeparator() : menu.addAction(entry.text);
        action->setEnabled(entry.enabled);
        // The room goes on while the menu is open: the choice is for what the menu was opened on, if that is still so.
        connect(action, &QAction::triggered, this,
                [this, command = entry.command, number = selectedSlotNumber(), name = selectedSlotName(),
                 id = currentRoom.id] {
                    const QVector<SlotMenuEntry> now = selectedSlotMenu();
                    const bool allowed = std::any_of(now.begin(), now.end(), [command](const SlotMenuEntry& other) {
                        return other.command == command && other.enabled;
                    });
                    if (allowed && currentRoom.id == id && selectedSlotNumber() == number &&
                        selectedSlotName() == name) {
                        runSlotCommand(command, number);
                    }
                });
    }
    menu.exec(slotTable->viewport()->mapToGlobal(position));
}

void MainWindow::runSlotCommand(SlotCommand command, int number) {
    switch (command) {
    case SlotCommand::none:
        break;
    case SlotCommand::moveHere:
        moveToSlot(number);
        break;
    case SlotCommand::kick:
        onKickPlayer();
        break;
    case SlotCommand::transferHost:
        onTransferHost();
        break;
    case SlotCommand::close:
        onLockSlot();
        break;
    case SlotCommand::open:
        onUnlockSlot();
        break;
    case SlotCommand::addComputer:
        onSetSlotComputer();
        break;
    case SlotCommand::makeObserver:
        onSetSlotObserver();
        break;
    }
}
