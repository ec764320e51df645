// The settings page's search for a room host on the VPN network, and its connection test.
#include "app/main_window.h"
#include "lobby/access_manager.h"
#include "lobby/lobby_health.h"

#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QPushButton>
#include <QSpinBox>
#include <QTcpSocket>
#include <QTimer>

namespace {

constexpr int kGamePort = 40001;
constexpr int kOwnServerWaitMs = 350;
constexpr int kLobbyTimeoutMs = 8000;
constexpr int kGameHostTimeoutMs = 5000;

QString lobbyUrl(const QString& address, quint16 port) {
    return QStringLiteral("http://%1:%2").arg(address, QString::number(port));
}

QString lobbyTestResult(const LobbyHealth& health) {
    if (health.good) {
        return QStringLiteral("Lobby ✓ 已连接");
    }
    if (health.status == 200) {
        return QStringLiteral("Lobby ✗ 响应异常 (HTTP 200)");
    }
    return QStringLiteral("Lobby ✗ 无法连接 (HTTP %1)").arg(health.status);
}

QString gameHostFailure(const QString& reason) {
    return QStringLiteral("游戏主机 ✗ %1").arg(reason);
}

}  // namespace

void MainWindow::fillSettingsServerIp() {
    stopHostSearch();
    if (fillFromThisMachine()) {
        return;
    }
    const QString hostFile = currentHostFilePath(paths.clientRoot);
    const bool hostFileExists = fileExists(hostFile.toStdU16String());
    if (hostFileExists && fillFromHostFile(hostFile)) {
        return;
    }
    const QStringList neighbours = networkSources.radminNeighbours();
    if (!neighbours.isEmpty()) {
        searchNeighbours(neighbours);
    } else if (hostFileExists) {
        showStatus(settingsStatusLabel, QStringLiteral("current_host.txt 无法解析，且没有发现 Radmin 邻居。"));
    } else {
        showStatus(settingsStatusLabel, QStringLiteral("没有发现 Radmin 邻居，请确认已加入同一个 Radmin 网络。"));
    }
}

bool MainWindow::fillFromThisMachine() {
    const QString address = networkSources.localRadminAddress();
    if (address.isEmpty()) {
        return false;
    }
    QTcpSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    socket.connectToHost(address, networkSources.lobbyPort);
    if (!socket.waitForConnected(kOwnServerWaitMs)) {
        return false;
    }
    socket.disconnectFromHost();
    applyServerFields(lobbyUrl(address, networkSources.lobbyPort), address, kGamePort,
                      QStringLiteral("检测到本机服务端，已获取本机 Radmin 地址 %1，点击“保存”后生效。").arg(address));
    return true;
}

bool MainWindow::fillFromHostFile(const QString& path) {
    const std::optional<QString> text = readCurrentHostFile(path);
    ServerFields fields;
    if (!text || !parseCurrentHostText(*text, fields)) {
        return false;
    }
    applyServerFields(fields.lobbyHttp, fields.gameHost, fields.gamePort,
                      QStringLiteral("已读取房主地址，点击“保存”后生效。"));
    return true;
}

void MainWindow::searchNeighbours(const QStringList& neighbours) {
    hostSearch = makeAccessManager(settingsPage);
    neighboursPending = neighbours.size();
    radminButton->setEnabled(false);
    showStatus(settingsStatusLabel,
               QStringLiteral("正在搜索房主：测试 %1 个 Radmin 邻居的 40000 端口...").arg(neighboursPending));
    for (const QString& address : neighbours) {
        QNetworkReply* reply =
            requestLobbyHealth(*hostSearch, lobbyUrl(address, networkSources.lobbyPort), networkSources.answerMs);
        connect(reply, &QNetworkReply::finished, this, [this, search = hostSearch, reply, address] {
            if (search == hostSearch) {
                takeNeighbourAnswer(address, readLobbyHealth(*reply).good);
            }
        });
    }
}

void MainWindow::takeNeighbourAnswer(const QString& address, bool isHost) {
    --neighboursPending;
    if (isHost) {
        stopHostSearch();
        applyServerFields(lobbyUrl(address, networkSources.lobbyPort), address, kGamePort,
                          QStringLiteral("已找到房主 %1，点击“保存”后生效。").arg(address));
    } else if (neighboursPending == 0) {
        stopHostSearch();
        showStatus(settingsStatusLabel, QStringLiteral("发现了 Radmin 邻居，但没有找到已启动的 40000 房主服务端。"));
    }
}

void MainWindow::onSettingsTestConnection() {
    stopConnectionTest();
    const QString baseUrl = typedBaseUrl();
    const QString host = gameHostEdit->text().trimmed();
    if (baseUrl.isEmpty() || host.isEmpty()) {
        showStatus(settingsStatusLabel, QStringLiteral("请先填写 Lobby 地址和游戏主机。"));
        return;
    }
    connectionTest = makeAccessManager(settingsPage);
    testConnectionButton->setEnabled(false);
    lobbyTestText.clear();
    gameHostTestText.clear();
    showStatus(settingsStatusLabel, QStringLiteral("正在测试连接…"));
    testsPending = 2;
    testLobby(baseUrl);
    testGameHost(host, gamePortBox->value());
}

void MainWindow::testLobby(const QString& baseUrl) {
    QNetworkReply* reply = requestLobbyHealth(*connectionTest, baseUrl, kLobbyTimeoutMs);
    connect(reply, &QNetworkReply::finished, this, [this, test = connectionTest, reply] {
        if (test == connectionTest) {
            finishConnectionTest(lobbyTestText, lobbyTestResult(readLobbyHealth(*reply)));
        }
    });
}

void MainWindow::testGameHost(const QString& host, int port) {
    auto* socket = new QTcpSocket(connectionTest);
    socket->setProxy(QNetworkProxy::NoProxy);
    auto* timer = new QTimer(socket);
    timer->setSingleShot(true);
    // The first event tells; a connection that breaks later is none of the test's business.
    const auto finish = [this, test = connectionTest, socket, timer](const QString& text) {
        socket->disconnect(this);
        timer->disconnect(this);
        socket->deleteLater();
        if (test == connectionTest) {
            finishConnectionTest(gameHostTestText, text);
        }
    };
    connect(socket, &QTcpSocket::connected, this, [finish] { finish(QStringLiteral("游戏主机 ✓ 已连接")); });
    connect(socket, &QTcpSocket::errorOccurred, this,
            [finish] { finish(gameHostFailure(QStringLiteral("无法连接"))); });
    connect(timer, &QTimer::timeout, this, [finish] { finish(gameHostFailure(QStringLiteral("连接超时"))); });
    timer->start(kGameHostTimeoutMs);
    socket->connectToHost(host, static_cast<quint16>(port));
}

void MainWindow::finishConnectionTest(QString& place, const QString& text) {
    place = text;
    if (--testsPending == 0) {
        stopConnectionTest();
        showStatus(settingsStatusLabel, lobbyTestText + QStringLiteral("    ") + gameHostTestText);
    }
}

// Released later, as it may be one of its replies that calls; a neighbour may be any server.
void MainWindow::stopHostSearch() {
    if (hostSearch != nullptr) {
        withdrawStatus(settingsStatusLabel, QStringLiteral("正在搜索房主"));
        QTimer::singleShot(0, settingsPage, [search = hostSearch] { releaseAccessManager(search); });
        hostSearch = nullptr;
    }
    radminButton->setEnabled(true);
}

void MainWindow::stopConnectionTest() {
    if (connectionTest != nullptr) {
        withdrawStatus(settingsStatusLabel, QStringLiteral("正在测试连接"));
        QTimer::singleShot(0, settingsPage, [test = connectionTest] {
            qDeleteAll(test->findChildren<QTcpSocket*>());
            releaseAccessManager(test);
        });
        connectionTest = nullptr;
    }
    testConnectionButton->setEnabled(true);
}
