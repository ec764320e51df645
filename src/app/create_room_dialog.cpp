#include "app/create_room_dialog.h"

#include "room/create_room_rules.h"
#include "room/launch_plan.h"
#include "widgets/choice_box.h"
#include "widgets/makers.h"
#include "widgets/theme.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTextDocument>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int kSearchDelayMs = 150;
constexpr int kMapRowHeight = 38;  // 28 and the padding above and below

const QString kDefaultMapId = QStringLiteral("10078");

QString dialogStyleSheet() {
    return themed(QStringLiteral(R"(
QDialog { background: @dialog; }
#CreateTopbar { background: @panel; border-bottom: 1px solid @line; }
#CreatePanel { background: @panel; border: 1px solid @line; border-radius: 6px; }
#CreateHint { background: @panel; border: 1px solid @line; border-radius: 6px; padding: 8px 10px; color: @muted; }
QListWidget { background: @list; border: 1px solid @edge; border-radius: 4px; outline: none; padding: 4px; }
QListWidget:focus { border: 1px solid @accent; }
QListWidget::item { min-height: 28px; padding: 5px 8px; border-radius: 3px; }
QListWidget::item:selected { background: @accent; color: @bright; })"));
}

}  // namespace

CreateRoomDialog::CreateRoomDialog(const QString& userName, const std::vector<NetPlay::MapInfo>& catalog,
                                   QWidget* parent)
    : QDialog(parent), ownerName(userName.isEmpty() ? QStringLiteral("玩家") : userName), maps(catalog) {
    setWindowTitle(QStringLiteral("自由对战 >> 创建游戏"));
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    sizeWindow(*this, {980, 660}, {860, 560}, parent);
    setStyleSheet(dialogStyleSheet());
    buildLayout();
    wire();
    rebuildMapList(QString());
}

void CreateRoomDialog::buildLayout() {
    auto* body = new QHBoxLayout;
    body->setContentsMargins(10, 10, 10, 10);
    body->setSpacing(10);
    body->addWidget(buildMapPanel(), 1);
    body->addWidget(buildSettingsPanel());

    QLabel* hint =
        makeLabel(QStringLiteral("CreateHint"), QStringLiteral("[系统] 选择左侧地图，设置完成后点击「创建游戏」。"));
    hint->setWordWrap(true);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(makeTopbar(QStringLiteral("CreateTopbar"),
                                 makeLabel(QStringLiteral("Title"), QStringLiteral("◆ 创建新的游戏"))));
    layout->addLayout(body, 1);
    layout->addWidget(hint);
}

QWidget* CreateRoomDialog::buildMapPanel() {
    QFrame* panel = makePanel(QStringLiteral("CreatePanel"));
    auto* layout = new QVBoxLayout(panel);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->setSpacing(0);
    auto* column = new QVBoxLayout;
    column->setSpacing(8);
    layout->addLayout(column);

    searchEdit = new QLineEdit;
    searchEdit->setPlaceholderText(QStringLiteral("搜索地图"));
    column->addWidget(searchEdit);
    mapList = new QListWidget;
    mapList->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    mapList->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    mapList->setUniformItemSizes(true);
    column->addWidget(mapList, 1);
    return panel;
}

QWidget* CreateRoomDialog::buildSettingsPanel() {
    QFrame* panel = makePanel(QStringLiteral("CreatePanel"));
    panel->setFixedWidth(278);
    auto* layout = new QVBoxLayout(panel);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(8);

    buildRoomRows();
    messageLabel = makeLabel(QStringLiteral("StatusDot"), QString());
    messageLabel->setWordWrap(true);
    createButton = makePrimaryButton(QStringLiteral("创建游戏"));
    createButton->setMinimumHeight(40);
    auto* exitButton = new QPushButton(QStringLiteral("退出"));
    exitButton->setMinimumHeight(34);
    connect(exitButton, &QPushButton::clicked, this, &QDialog::reject);
    // Enter in the search field must not create a room on the map that happens to be selected.
    createButton->setAutoDefault(false);
    exitButton->setAutoDefault(false);

    layout->addWidget(makeLabel(QStringLiteral("SectionLabel"), QStringLiteral("当前设置")));
    layout->addLayout(settingsForm);
    layout->addWidget(makeLabel(QStringLiteral("SectionLabel"), QStringLiteral("地图设置")));
    layout->addWidget(buildOptionArea(), 1);
    layout->addWidget(messageLabel);
    layout->addWidget(createButton);
    layout->addWidget(exitButton);
    return panel;
}

void CreateRoomDialog::buildRoomRows() {
    privateCheck = new QCheckBox(QStringLiteral("设置密码"));
    passwordEdit = new QLineEdit;
    passwordEdit->setEchoMode(QLineEdit::Password);
    passwordEdit->setPlaceholderText(QStringLiteral("房间密码"));
    passwordEdit->setEnabled(false);
    nameEdit = new QLineEdit;
    nameEdit->setMaxLength(kMaxRoomNameLength);
    nameEdit->setPlaceholderText(QStringLiteral("游戏名称"));
    playerCountSpin = new QSpinBox;
    playerCountSpin->setRange(2, 22);
    playerCountSpin->setValue(6);
    playerCountSpin->setEnabled(false);

    settingsForm = makeOptionForm();
    settingsForm->addRow(privateCheck, passwordEdit);
    settingsForm->addRow(QStringLiteral("游戏名称"), nameEdit);
    settingsForm->addRow(QStringLiteral("人数"), playerCountSpin);
}

QWidget* CreateRoomDialog::buildOptionArea() {
    auto* options = new QWidget;
    optionForm = makeOptionForm();
    options->setLayout(optionForm);
    return makeScrollArea(options);
}

void CreateRoomDialog::wire() {
    searchTimer = new QTimer(this);
    searchTimer->setSingleShot(true);
    searchTimer->setInterval(kSearchDelayMs);
    connect(searchTimer, &QTimer::timeout, this, [this] { rebuildMapList(pendingMapName); });
    connect(searchEdit, &QLineEdit::textChanged, this, [this] {
        pendingMapName = currentMapId();
        searchTimer->start();
    });
    connect(mapList, &QListWidget::currentRowChanged, this, &CreateRoomDialog::onMapChanged);
    connect(privateCheck, &QCheckBox::toggled, this, &CreateRoomDialog::onPrivateToggled);
    connect(createButton, &QPushButton::clicked, this, &CreateRoomDialog::validateAndAccept);
    connect(nameEdit, &QLineEdit::returnPressed, this, &CreateRoomDialog::validateAndAccept);
    connect(passwordEdit, &QLineEdit::returnPressed, this, &CreateRoomDialog::validateAndAccept);
    tabInReadingOrder(*this);
    letEnterPress(*this);
}

void CreateRoomDialog::rebuildMapList(QString keep) {
    const QString before = currentMapId();
    if (keep.isEmpty()) {
        keep = before;
    }
    {
        const QSignalBlocker quiet(mapList);
        mapList->clear();
        addMapItems(keep);
    }
    // A map that stays selected keeps the options that the player has set.
    if (currentMapId() != before) {
        onMapChanged();
    }
}

void CreateRoomDialog::addMapItems(const QString& keep) {
    const auto addItem = [this](const QString& text) {
        auto* item = new QListWidgetItem(text, mapList);
        item->setSizeHint(QSize(0, kMapRowHeight));  // the list's width, so that long titles are elided
        return item;
    };
    if (maps.empty()) {
        addItem(kDefaultMapId)->setData(Qt::UserRole, kDefaultMapId);
        mapList->setCurrentRow(0);
        return;
    }
    const CreateRoomMapList list = createRoomMapList(maps, searchEdit->text(), keep);
    for (const std::size_t position : list.maps) {
        const NetPlay::MapInfo& map = maps[position];
        addItem(createRoomMapCaption(map))->setData(Qt::UserRole, QString::fromStdString(map.name));
    }
    if (list.truncated) {
        QListWidgetItem* more = addItem(QStringLiteral("继续输入关键词筛选更多地图..."));
        more->setFlags(more->flags() & ~(Qt::ItemIsSelectable | Qt::ItemIsEnabled));
    }
    if (!list.maps.empty()) {
        mapList->setCurrentRow(std::max(0, list.keptRow));
    }
}

QString CreateRoomDialog::currentMapId() const {
    const QListWidgetItem* item = mapList->currentItem();
    return item == nullptr ? QString() : item->data(Qt::UserRole).toString();
}

const NetPlay::MapInfo* CreateRoomDialog::currentMap() const {
    const std::string id = currentMapId().toStdString();
    const auto found =
        std::find_if(maps.begin(), maps.end(), [&id](const NetPlay::MapInfo& map) { return map.name == id; });
    return found == maps.end() ? nullptr : &*found;
}

void CreateRoomDialog::onMapChanged() {
    pendingMapName.clear();  // a click while a search waits is the newer choice
    const QListWidgetItem* item = mapList->currentItem();
    const NetPlay::MapInfo* map = currentMap();
    messageLabel->clear();
    createButton->setEnabled(item != nullptr);
    if (map == nullptr) {
        clearOptionRows();
        suggestName(item == nullptr ? QString() : item->text());
        return;
    }
    if (map->maxPlayers > 0) {
        playerCountSpin->setValue(map->maxPlayers);  // clamped by the box's range
    }
    rebuildOptionRows(*map);
    suggestName(QString::fromStdString(map->displayName));
}

void CreateRoomDialog::suggestName(const QString& title) {
    if (nameEdit->text().trimmed().isEmpty() || nameEdit->text() == lastAutoName) {
        nameEdit->setText(suggestedRoomName(ownerName, title));
        nameEdit->setCursorPosition(0);
        lastAutoName = nameEdit->text();
    }
}

void CreateRoomDialog::clearOptionRows() {
    clearForm(optionForm);
    optionCombos.clear();
}

void CreateRoomDialog::rebuildOptionRows(const NetPlay::MapInfo& map) {
    clearOptionRows();
    for (const CreateRoomOption& option : createRoomOptions(map)) {
        auto* combo = new ChoiceBox(option.choices, option.selected);
        optionForm->addRow(makeOptionCaption(option.key), combo);
        optionCombos.insert(option.key, combo);
    }
    if (optionCombos.isEmpty()) {
        optionForm->addRow(makeLabel(QStringLiteral("StatusDot"), QStringLiteral("该地图没有公开设置项")));
    }
    tabInReadingOrder(*this);
}

void CreateRoomDialog::onPrivateToggled(bool on) {
    passwordEdit->setEnabled(on);
    if (on) {
        passwordEdit->setFocus();
    } else {
        passwordEdit->clear();
    }
}

void CreateRoomDialog::validateAndAccept() {
    const QString refusal = createRoomRefusal(mapList->currentItem() != nullptr, nameEdit->text(),
                                              privateCheck->isChecked(), passwordEdit->text());
    messageLabel->setText(refusal);
    if (refusal.isEmpty()) {
        accept();
    }
}

CreateRoomRequest CreateRoomDialog::request() const {
    const QListWidgetItem* item = mapList->currentItem();
    const QString text = item == nullptr ? QString() : item->text().trimmed();
    const NetPlay::MapInfo* map = currentMap();
    CreateRoomRequest result;
    result.name = nameEdit->text().trimmed();
    result.mapId = currentMapId().isEmpty() ? text : currentMapId();
    result.mapName = map == nullptr ? text : QString::fromStdString(map->displayName);
    result.mode = QStringLiteral("普通战");
    result.maxPlayers = playerCountSpin->value();
    result.slotCount = map == nullptr ? playerCountSpin->value() : map->slotCount;
    result.isPrivate = privateCheck->isChecked();
    result.password = privateCheck->isChecked() ? passwordEdit->text() : QString();
    for (auto combo = optionCombos.begin(); combo != optionCombos.end(); ++combo) {
        result.mapOptions.insert(combo.key(), combo.value()->currentData().toString());
    }
    if (map != nullptr) {
        result.slotMeta = createRoomSlots(*map);
        result.mapOptionIndexes = mapOptionPairs(RoomInfo(), result.mapOptions, map);
    }
    return result;
}
