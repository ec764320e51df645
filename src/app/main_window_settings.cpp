// The settings page: servers, the display size, the compatibility options.
#include "app/main_window.h"
#include "launch/game_setting_patcher.h"
#include "lobby/lobby_client.h"
#include "widgets/makers.h"
#include "widgets/theme.h"
#include "widgets/wheelless_box.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QStackedWidget>

#include <algorithm>

namespace {

constexpr int kPortWidth = 140;
constexpr int kFallbackProfile = 2;  // index in the box
constexpr std::int32_t kWindowed = 0;

QFrame* makeCard(const QString& title, QLayout* content) {
    QFrame* card = makePanel(QStringLiteral("SettingsCard"));
    auto* column = new QVBoxLayout(card);
    column->setContentsMargins(18, 16, 18, 16);
    column->setSpacing(12);
    column->addWidget(makeLabel(QStringLiteral("SectionLabel"), title));
    column->addLayout(content);
    return card;
}

QFormLayout* makeForm() {
    auto* form = new QFormLayout;
    form->setSpacing(8);  // so that all cards can be seen
    return form;
}

QScrollArea* makeCardArea(std::initializer_list<QWidget*> cards) {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(14);
    for (QWidget* card : cards) {
        column->addWidget(card);
    }
    column->addStretch(1);
    QScrollArea* area = makeScrollArea(content);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    return area;
}

}  // namespace

void MainWindow::buildSettingsPage() {
    settingsPage = new QWidget(pageStack);
    settingsPage->setStyleSheet(
        themed(QStringLiteral("#SettingsTopbar { background: @panel; border-bottom: 1px solid @line; }"
                              "#SettingsCard { background: @panel; border: 1px solid @line; border-radius: 6px; }")));
    settingsStatusLabel = makeLabel(QStringLiteral("StatusDot"), QString());
    settingsStatusLabel->setWordWrap(true);
    settingsStatusLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    settingsStatusLabel->setMinimumWidth(1);  // a long word is cut off instead of widening the window
    testConnectionButton = new QPushButton(QStringLiteral("测试连接"));
    auto* saveButton = makePrimaryButton(QStringLiteral("保存"));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(settingsStatusLabel, 1);
    buttons->addWidget(testConnectionButton);
    buttons->addWidget(saveButton);

    auto* body = new QVBoxLayout;
    body->setContentsMargins(18, 18, 18, 12);
    body->setSpacing(12);
    body->addWidget(makeCardArea({buildServerCard(), buildDisplayCard(), buildCompatibilityCard()}), 1);
    body->addLayout(buttons);

    auto* page = new QVBoxLayout(settingsPage);
    page->setContentsMargins(0, 0, 0, 0);
    page->setSpacing(0);
    page->addWidget(buildSettingsTopbar());
    page->addLayout(body, 1);

    tabInReadingOrder(*settingsPage);
    // An open drop-down or a dialog takes the key for itself.
    auto* escape = new QShortcut(Qt::Key_Escape, settingsPage, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
    connect(escape, &QShortcut::activated, this, &MainWindow::closeSettings);
    connect(testConnectionButton, &QPushButton::clicked, this, &MainWindow::onSettingsTestConnection);
    connect(saveButton, &QPushButton::clicked, this, &MainWindow::saveSettingsFromPage);
    // Whatever takes the page away, a login's end for one: nobody waits for an answer any more.
    connect(pageStack, &QStackedWidget::currentChanged, this, [this] {
        stopHostSearch();
        stopConnectionTest();
    });
}

QWidget* MainWindow::buildSettingsTopbar() {
    auto* backButton = new QPushButton(QStringLiteral("返回"));
    connect(backButton, &QPushButton::clicked, this, &MainWindow::closeSettings);
    return makeTopbar(QStringLiteral("SettingsTopbar"), makeLabel(QStringLiteral("Title"), QStringLiteral("设置")),
                      {backButton});
}

QWidget* MainWindow::buildServerCard() {
    serverProfileBox = new WheellessBox<QComboBox>;
    for (const ServerProfile& profile : serverProfiles()) {
        serverProfileBox->addItem(profile.text, profile.key);
    }
    lobbyHttpEdit = new QLineEdit;
    gameHostEdit = new QLineEdit;
    gamePortBox = new WheellessBox<QSpinBox>;
    gamePortBox->setRange(1, 65535);
    gamePortBox->setFixedWidth(kPortWidth);
    radminButton = new QPushButton(QStringLiteral("Radmin"));
    QFormLayout* form = makeForm();
    form->addRow(QStringLiteral("预设方案"), serverProfileBox);
    form->addRow(QStringLiteral("Lobby 地址"), lobbyHttpEdit);
    form->addRow(QStringLiteral("游戏主机"), gameHostEdit);
    form->addRow(QStringLiteral("游戏端口"), gamePortBox);
    form->addRow(QStringLiteral("Radmin"), radminButton);
    connect(serverProfileBox, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &MainWindow::onSettingsProfileChanged);
    connect(radminButton, &QPushButton::clicked, this, &MainWindow::fillSettingsServerIp);
    return makeCard(QStringLiteral("服务器"), form);
}

QWidget* MainWindow::buildDisplayCard() {
    displayPresetBox = new WheellessBox<QComboBox>;
    for (const DisplayPreset& preset : displayPresets()) {
        displayPresetBox->addItem(preset.text, preset.value);
    }
    QFormLayout* form = makeForm();
    form->addRow(QStringLiteral("游戏分辨率"), displayPresetBox);
    return makeCard(QStringLiteral("显示"), form);
}

QWidget* MainWindow::buildCompatibilityCard() {
    dpiAwareBox = new QCheckBox(QStringLiteral("DPI适配（画面发虚时再开启，可能导致鼠标偏移）"));
    compatibilityModeBox = new QCheckBox(QStringLiteral("兼容模式（缓解黑屏/闪退等问题）"));
    auto* column = new QVBoxLayout;
    column->setSpacing(8);
    column->addWidget(dpiAwareBox);
    column->addWidget(compatibilityModeBox);
    return makeCard(QStringLiteral("兼容性"), column);
}

void MainWindow::openSettings() {
    pageBeforeSettings = pageStack->currentWidget();
    refreshSettingsPage();
    pageStack->setCurrentWidget(settingsPage);
    showStatus(settingsStatusLabel, QString());
}

void MainWindow::closeSettings() {
    pageStack->setCurrentWidget(pageBeforeSettings);
}

void MainWindow::refreshSettingsPage() {
    {
        // The fields below are the player's own, not the profile's.
        const QSignalBlocker blocker(serverProfileBox);
        const int profile = serverProfileBox->findData(settings.serverProfile);
        serverProfileBox->setCurrentIndex(profile < 0 ? kFallbackProfile : profile);
    }
    showServerFields({settings.lobbyHttp, settings.gameHost, settings.gamePort});
    displayPresetBox->setCurrentIndex(std::max(displayPresetBox->findData(settings.gameDisplayPreset), 0));
    dpiAwareBox->setChecked(settings.gameDpiAware);
    compatibilityModeBox->setChecked(settings.gameCompatibilityMode);
}

void MainWindow::onSettingsProfileChanged() {
    const ServerProfile profile = serverProfiles().value(serverProfileBox->currentIndex());
    if (profile.fields) {
        showServerFields(*profile.fields);
    }
}

void MainWindow::showServerFields(const ServerFields& fields) {
    lobbyHttpEdit->setText(fields.lobbyHttp);
    gameHostEdit->setText(fields.gameHost);
    gamePortBox->setValue(fields.gamePort);
}

void MainWindow::applyServerFields(const QString& lobbyHttp, const QString& gameHost, int gamePort,
                                   const QString& statusText) {
    const int profile = serverProfileBox->findData(deriveServerProfile(lobbyHttp, gameHost, gamePort));
    serverProfileBox->setCurrentIndex(profile < 0 ? kFallbackProfile : profile);
    showServerFields({normalizeBaseUrl(lobbyHttp), gameHost, gamePort});
    showStatus(settingsStatusLabel, statusText);
}

QString MainWindow::typedBaseUrl() const {
    return completeBaseUrl(lobbyHttpEdit->text()).value_or(normalizeBaseUrl(lobbyHttpEdit->text().trimmed()));
}

void MainWindow::readSettingsPage() {
    settings.serverProfile = serverProfileBox->currentData().toString();
    settings.lobbyHttp = typedBaseUrl();
    settings.gameHost = gameHostEdit->text().trimmed();
    settings.gamePort = gamePortBox->value();
    settings.gameDisplayPreset = displayPresetBox->currentData().toUInt();
    settings.gameDpiAware = dpiAwareBox->isChecked();
    settings.gameCompatibilityMode = compatibilityModeBox->isChecked();
}

bool MainWindow::saveSettings() {
    settings.defaultUsername = loginUserEdit->text().trimmed();
    return saveClientSettings(settings);
}

void MainWindow::saveSettingsFromPage() {
    stopHostSearch();
    stopConnectionTest();
    if (!completeBaseUrl(lobbyHttpEdit->text())) {
        showStatus(
            settingsStatusLabel,
            QStringLiteral("Lobby 地址不正确，没有保存。请按“http://主机:端口”填写，例如 http://127.0.0.1:40000。"));
        lobbyHttpEdit->setFocus();
        return;
    }
    readSettingsPage();
    if (!saveSettings()) {
        showStatus(settingsStatusLabel, QStringLiteral("保存失败：") + settings.configFilePath);
        return;
    }
    const DisplayPreset preset = displayPresets().value(displayPresetBox->currentIndex());
    std::u16string error;
    if (!patchGameSetting(paths.dataRoot, preset.width, preset.height, kWindowed, &error)) {
        showStatus(settingsStatusLabel, QStringLiteral("保存失败：") + QString::fromStdU16String(error));
        return;
    }
    // The client's own address, as a save that failed above has changed the settings' one already.
    const bool endsSession = hasSession() && settings.lobbyHttp != client->baseUrl();
    if (endsSession) {
        onLogout();
    }
    client->setBaseUrl(settings.lobbyHttp);
    if (endsSession) {
        showStatus(loginStatusLabel, QStringLiteral("服务器已切换，请重新登录。"));
    }
    const QString text = QStringLiteral("设置已保存：") + serverProfileBox->currentText() +
                         QStringLiteral("  %1:%2").arg(settings.gameHost, QString::number(settings.gamePort));
    showStatus(statusLabelOf(pageBeforeSettings), text);
    showStatus(settingsStatusLabel, text);
    // Without a session the lobby would be a dead end; logging out has shown the login page already.
    if (!endsSession) {
        closeSettings();
    }
}

QLabel* MainWindow::statusLabelOf(const QWidget* page) const {
    return page == registerPage ? registerStatusLabel
           : page == roomPage   ? roomStatusLabel
           : page == lobbyPage  ? lobbyStatusLabel
                                : loginStatusLabel;
}
