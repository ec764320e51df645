// The settings page as a player uses it: saving, the connection test, the search for a host.
#include "app/main_window.h"
#include "support/scripted_server.h"
#include "support/test_registry.h"

#include <QDir>
#include <QLabel>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

class SettingsPageTest : public QObject {
    Q_OBJECT

    const Script healthy = ScriptedServer::reply(R"({"ok":true,"auth_token":"t","rooms":[]})");
    const QTemporaryDir folder;
    const QString root = QDir::toNativeSeparators(folder.filePath(QStringLiteral("a/b")));
    std::unique_ptr<MainWindow> window;

    QWidget* shown(const char* textOrName, const char* type = "QPushButton") const {
        const QVariant wanted = QString::fromUtf8(textOrName);
        for (auto* widget : window->findChildren<QWidget*>()) {
            const bool matches = widget->property("text") == wanted || widget->property("objectName") == wanted;
            if (matches && widget->isVisible() && widget->inherits(type)) {
                return widget;
            }
        }
        return nullptr;
    }
    QWidget* field(const char* label) const { return static_cast<QLabel*>(shown(label, "QLabel"))->buddy(); }
    QString status() const { return shown("StatusDot", "QLabel")->property("text").toString(); }
    QString page() const { return status() + field("游戏主机")->property("text").toString(); }
    // Presses, with an address after filling the form; gives what the page on screen says then.
    QString press(const char* button, const QString& url = QString(), int port = 0) const {
        if (!url.isEmpty()) {
            field("Lobby 地址")->setProperty("text", url);
            field("游戏端口")->setProperty("value", port);
        }
        QMetaObject::invokeMethod(shown(button), "click");
        return status();
    }
    QString search(const char* own, const QStringList& found) const {
        const std::function<QString()> address([own] { return QLatin1String(own); });
        window->setNetworkSources({address, std::function<QStringList()>([found] { return found; })});
        return press("Radmin");
    }

private Q_SLOTS:
    void init() {
        QVERIFY(QDir().mkpath(root) && QDir().mkpath(folder.filePath(QStringLiteral("服务端"))));
        ClientPaths paths;
        paths.clientRoot = paths.configDir = paths.dataRoot = root.toStdU16String();
        window = std::make_unique<MainWindow>(paths, QStringList());
        window->show();
        press("设置");
    }

    void connectionTest() {
        ScriptedServer full([](auto&) { return Script(); });  // nobody accepts, and the queue is full
        full.pauseAccepting();
        QTcpSocket queue[60];
        for (QTcpSocket& socket : queue) {
            socket.connectToHost(full.serverAddress(), full.serverPort());
        }
        const std::tuple<Script, int, const char*> rows[] = {
            {healthy, full.serverPort(), "Lobby ✓ 已连接    游戏主机 ✗ 连接超时"},
            {ScriptedServer::reply("{}"), 1, "Lobby ✗ 响应异常 (HTTP 200)    游戏主机 ✗ 无法连接"},
            {Script(), 0, "Lobby ✗ 无法连接 (HTTP 0)    游戏主机 ✓ 已连接"}};
        for (const auto& [script, port, expected] : rows) {
            const ScriptedServer server([&reply = script](auto&) { return reply; });
            press("测试连接", server.url() + QLatin1Char('/'), port == 0 ? server.serverPort() : port);
            QTRY_COMPARE_WITH_TIMEOUT(status(), QString::fromUtf8(expected), 30'000);
        }
    }

    void search() {
        const ScriptedServer good([this](auto&) { return healthy; }, QHostAddress(0x7F000002), {}, 40000);
        const ScriptedServer silent([](auto&) { return Script(); }, QHostAddress(0x7F000003), {}, 40000);
        const QStringList deaf{QStringLiteral("127.0.0.3"), QStringLiteral("127.0.0.4")};
        QStringList many{QStringLiteral("127.0.0.2")};
        while (many.size() < 200) {
            many.prepend(QStringLiteral("127.0.1.%1").arg(many.size()));
        }
        // This machine's address, the host file, the neighbours; what the page says and the host on it.
        const std::tuple<const char*, QByteArray, QStringList, const char*> rows[] = {
            {"", {}, {}, "没有发现 Radmin 邻居，请确认已加入同一个 Radmin 网络。127.0.0.1"},
            {"", {}, many, "已找到房主 127.0.0.2，点击“保存”后生效。127.0.0.2"},
            {"", "nonsense", {}, "current_host.txt 无法解析，且没有发现 Radmin 邻居。127.0.0.2"},
            {"", "nonsense", deaf, "发现了 Radmin 邻居，但没有找到已启动的 40000 房主服务端。127.0.0.2"},
            {"127.0.0.4", "GamePort=2\nLobbyHttp=http://h", many, "已读取房主地址，点击“保存”后生效。h"},
            {"127.0.0.2", "", {}, "检测到本机服务端，已获取本机 Radmin 地址 127.0.0.2，点击“保存”后生效。127.0.0.2"}};
        for (const auto& [own, bytes, neighbours, expected] : rows) {
            QFile file(folder.filePath(QStringLiteral("服务端/current_host.txt")));
            QVERIFY(bytes.isNull() || (file.open(QIODevice::WriteOnly) && file.write(bytes) >= 0));
            file.close();
            search(own, neighbours);
            QTRY_COMPARE_WITH_TIMEOUT(page(), QString::fromUtf8(expected), 30'000);
        }
        // Leaving the page ends what is running and frees the buttons, and the window may go at any time.
        press("测试连接", silent.url(), 1);
        QCOMPARE(search("", deaf), QStringLiteral("正在搜索房主：测试 2 个 Radmin 邻居的 40000 端口..."));
        press("返回");
        QVERIFY(press("设置").isEmpty() && !search("", deaf).isEmpty());
        QCOMPARE(press("测试连接", silent.url(), 1), QStringLiteral("正在测试连接…"));
    }

    void save() {
        const ScriptedServer server([this](auto&) { return healthy; });
        field("预设方案")->setProperty("currentIndex", 1);
        QCOMPARE(press("测试连接"), QStringLiteral("请先填写 Lobby 地址和游戏主机。"));
        QCOMPARE(press("保存", server.url(), 7), QStringLiteral("设置已保存：公网测试  :7"));
        shown("test001", "QLineEdit")->nextInFocusChain()->setProperty("text", QStringLiteral("p"));
        press("登录");
        QTRY_VERIFY_WITH_TIMEOUT(shown("退出登录"), 30'000);
        press("设置");
        press("保存", server.url() + QLatin1Char('/'), 7);
        QVERIFY(shown("退出登录"));
        press("设置");
        // Even an administrator cannot write a folder. What is saved stays, and the session ends when all is.
        const QString setting = root + QDir::separator() + QStringLiteral("GameSetting.inf");
        QVERIFY(QFile::remove(setting) && QDir().mkdir(setting));
        QCOMPARE(press("保存", root, 8), QStringLiteral("保存失败：failed to write GameSetting.inf: ") + setting);
        QVERIFY(QDir().rmdir(setting) && loadClientSettings(root + QStringLiteral("/Server.ini"), {}).gamePort == 8);
        QCOMPARE(press("保存"), QStringLiteral("服务器已切换，请重新登录。"));
        QTRY_VERIFY_WITH_TIMEOUT(server.requests.last().target.endsWith("logout"), 30'000);
    }
};

NETPLAY_TEST(SettingsPageTest);
#include "settings_page_test.moc"
