// Sign in, register, sign out, and a session that the server no longer knows.
#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "room/session_rules.h"
#include "widgets/makers.h"

#include <QBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>

namespace {

constexpr int kFormWidth = 360;
constexpr int kLongestUserName = 15;
constexpr int kHighestStatus = 110;

QLabel* makeStatusLabel() {
    QLabel* label = makeLabel(QStringLiteral("StatusDot"), QString());
    label->setWordWrap(true);
    label->setMaximumHeight(kHighestStatus);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);  // a long message shows its beginning
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QLineEdit* makeEdit(const QString& placeholder, QLineEdit::EchoMode echo) {
    auto* edit = new QLineEdit;
    edit->setPlaceholderText(placeholder);
    edit->setEchoMode(echo);
    return edit;
}

// A page with the widgets in one column, in the middle and a little above the half.
QWidget* makeFormPage(std::initializer_list<QWidget*> widgets, QWidget* parent) {
    auto* page = new QWidget(parent);
    auto* form = new QWidget(page);
    form->setFixedWidth(kFormWidth);
    auto* column = new QVBoxLayout(form);
    column->setSpacing(10);
    for (QWidget* widget : widgets) {
        column->addWidget(widget);
    }
    auto* outer = new QVBoxLayout(page);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addStretch(1);
    outer->addWidget(form, 0, Qt::AlignHCenter);
    outer->addStretch(2);
    return page;
}

}  // namespace

void MainWindow::buildLoginPage() {
    loginUserEdit = makeEdit(QStringLiteral("账号"), QLineEdit::Normal);
    loginUserEdit->setMaxLength(kLongestUserName);
    loginUserEdit->setText(settings.defaultUsername);
    loginPasswordEdit = makeEdit(QStringLiteral("密码"), QLineEdit::Password);
    loginPasswordEdit->setText(settings.defaultPassword);
    loginButton = makePrimaryButton(QStringLiteral("登录"));
    loginStatusLabel = makeStatusLabel();
    toRegisterButton = new QPushButton(QStringLiteral("没有账户？去注册"));
    auto* settingsButton = new QPushButton(QStringLiteral("设置"));
    loginPage = makeFormPage({makeLabel(QStringLiteral("Title"), QStringLiteral("联机登录")),
                              makeLabel(QStringLiteral("SectionLabel"), QStringLiteral("输入账号密码后进入大厅")),
                              loginUserEdit, loginPasswordEdit, loginButton, loginStatusLabel, toRegisterButton,
                              settingsButton},
                             pageStack);
    tabInReadingOrder(*loginPage);
    connect(loginButton, &QPushButton::clicked, this, &MainWindow::onLogin);
    connect(loginPasswordEdit, &QLineEdit::returnPressed, this, &MainWindow::onLogin);
    connect(toRegisterButton, &QPushButton::clicked, this, &MainWindow::showRegisterPage);
    connect(settingsButton, &QPushButton::clicked, this, &MainWindow::openSettings);
}

void MainWindow::buildRegisterPage() {
    registerUserEdit = makeEdit(QStringLiteral("用户名 (2-15个字符)"), QLineEdit::Normal);
    registerUserEdit->setMaxLength(kLongestUserName);
    registerPasswordEdit = makeEdit(QStringLiteral("密码 (至少4个字符)"), QLineEdit::Password);
    registerConfirmEdit = makeEdit(QStringLiteral("确认密码"), QLineEdit::Password);
    registerButton = makePrimaryButton(QStringLiteral("注册"));
    registerStatusLabel = makeStatusLabel();
    toLoginButton = new QPushButton(QStringLiteral("已有账户？去登录"));
    auto* settingsButton = new QPushButton(QStringLiteral("设置"));
    registerPage = makeFormPage({makeLabel(QStringLiteral("Title"), QStringLiteral("联机注册")),
                                 makeLabel(QStringLiteral("SectionLabel"), QStringLiteral("创建服务器账户")),
                                 registerUserEdit, registerPasswordEdit, registerConfirmEdit, registerButton,
                                 registerStatusLabel, toLoginButton, settingsButton},
                                pageStack);
    tabInReadingOrder(*registerPage);
    connect(registerButton, &QPushButton::clicked, this, &MainWindow::onRegister);
    connect(registerConfirmEdit, &QLineEdit::returnPressed, this, &MainWindow::onRegister);
    connect(toLoginButton, &QPushButton::clicked, this, &MainWindow::showLoginPage);
    connect(settingsButton, &QPushButton::clicked, this, &MainWindow::openSettings);
}

void MainWindow::setAuthBusy(bool busy) {
    authBusy = busy;
    for (QWidget* input : {static_cast<QWidget*>(loginButton), static_cast<QWidget*>(loginUserEdit),
                           static_cast<QWidget*>(loginPasswordEdit), static_cast<QWidget*>(toRegisterButton),
                           static_cast<QWidget*>(registerButton), static_cast<QWidget*>(registerUserEdit),
                           static_cast<QWidget*>(registerPasswordEdit), static_cast<QWidget*>(registerConfirmEdit),
                           static_cast<QWidget*>(toLoginButton)}) {
        input->setEnabled(!busy);
    }
}

void MainWindow::stopPolling() {
    roomPollTimer->stop();
    roomsRequest = 0;
    roomsFetchVisible = false;
    setFailedPolls(0);
}

void MainWindow::showLoginPage() {
    stopPolling();
    pageStack->setCurrentWidget(loginPage);
    setAuthBusy(false);
    showStatus(loginStatusLabel, QStringLiteral("请输入账号密码。"));
    loginUserEdit->setFocus();
}

void MainWindow::showRegisterPage() {
    stopPolling();
    pageStack->setCurrentWidget(registerPage);
    showStatus(registerStatusLabel, QString());
    registerStatusLabel->setText(QStringLiteral("请输入用户名和密码，由服务器创建或验证账户。"));
    registerUserEdit->setText(loginUserEdit->text().trimmed());
    registerUserEdit->setFocus();
}

void MainWindow::onLogin() {
    const QString name = loginUserEdit->text().trimmed();
    const QString password = loginPasswordEdit->text();
    registerPending = false;
    if (name.isEmpty() || password.isEmpty()) {
        showStatus(loginStatusLabel, QStringLiteral("请输入账号和密码。"));
        return;
    }
    setAuthBusy(true);
    showStatus(loginStatusLabel, QStringLiteral("正在连接服务器..."));
    client->login(name, password);
}

void MainWindow::onRegister() {
    const QString name = registerUserEdit->text().trimmed();
    const QString password = registerPasswordEdit->text();
    const QString problem = registrationProblem(name, password, registerConfirmEdit->text());
    if (!problem.isEmpty()) {
        showStatus(registerStatusLabel, problem);
        return;
    }
    loginUserEdit->setText(name);
    settings.defaultUsername = name;
    loginPasswordEdit->setText(password);
    registerPending = true;
    setAuthBusy(true);
    showStatus(registerStatusLabel, QStringLiteral("正在提交到服务器..."));
    client->registerAccount(name, password);
}

void MainWindow::onLoginResult(bool ok, const QString& message) {
    setAuthBusy(false);
    const bool registered = registerPending;
    registerPending = false;
    QLabel* label = registered ? registerStatusLabel : loginStatusLabel;
    if (!ok) {
        showStatus(label, (registered ? QStringLiteral("注册失败:") : QStringLiteral("登录失败:")) + message);
        // While the form was locked the focus has wandered to its settings button; the settings themselves keep it.
        QLineEdit* edit = registered ? registerPasswordEdit : loginPasswordEdit;
        if (edit->isVisible()) {
            edit->setFocus();
        }
        return;
    }
    showStatus(label, message);
    enterLobby(QStringLiteral("登录成功，正在刷新房间..."));
    if (!gameRunning && !roomPollTimer->isActive()) {
        roomPollTimer->start();
    }
    restoreRoomOnLogin = false;
    requestRooms(true, QStringLiteral("登录成功，正在刷新房间..."));
}

// What logging out and losing the session have in common, up to the empty lobby.
void MainWindow::stopSession() {
    closeDialogs();
    stopPolling();
    gameWatchTimer->stop();
    gameRunning = false;
    gamePid = 0;
    client->clearSession();
    entryRequest = 0;
    mapCheckInFlight = false;
    rooms.clear();
    resetCurrentRoom();
    clearRoomRenderCache();
    forgetAll(launchMemory);
    renderRoomTable();
    refreshRoomButtons();
}

void MainWindow::onLogout() {
    client->logout();
    registerPending = false;
    stopSession();
    pendingMapOptions.clear();
    restoreRoomOnLogin = false;
    showLoginPage();
    showStatus(loginStatusLabel, QStringLiteral("已退出登录，请重新登录。"));
    loginUserEdit->setFocus();
}

void MainWindow::handleLoginExpired(const QString& serverText) {
    stopSession();
    showLoginPage();
    showStatus(loginStatusLabel, loginExpiredText(serverText));
}

bool MainWindow::endLostSession(const QString& serverText, bool saysSo) {
    if (hasSession() && !saysSo) {
        return false;
    }
    if (!isOnLoginPages()) {
        handleLoginExpired(serverText);
    }
    return true;
}
