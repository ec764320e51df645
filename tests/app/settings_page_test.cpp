// The settings page as a player uses it: saving, the connection test, the search for a host.
#include "support/client_window.h"
#include "support/scripted_server.h"
#include "support/test_registry.h"

#include <QNetworkProxy>
#include <QTcpSocket>

class SettingsPageTest : public QObject, ClientWindow {
    Q_OBJECT

    const Script healthy = ScriptedServer::reply(R"({"ok":true,"auth_token":"t","rooms":[]})");
    const QString root = QDir::toNativeSeparators(path("a/b"));

    QWidget* field(const char* label) const { return find<QLabel>("text", text(label))->buddy(); }
    QString pageStatus() const { return find<QLabel>("objectName", text("StatusDot"))->text(); }
    QString page() const { return pageStatus() + field("游戏主机")->property("text").toString(); }
    // Presses, with an address after filling the form; gives what the page on screen says then.
    QString pressed(const char* caption, const QString& url = QString(), int port = 0) const {
        if (!url.isEmpty()) {
            field("Lobby 地址")->setProperty("text", url);
            field("游戏端口")->setProperty("value", port);
        }
        press(caption);
        return pageStatus();
    }
    QString search(quint16 port, const char* own, const QStringList& found) const {
        const std::function<QString()> address([own] { return text(own); });
        // However busy this machine is, who can answer has the time for it.
        const int answerMs = found.contains(text("127.0.0.2")) ? kPatienceMs : NetworkSources().answerMs;
        window->setNetworkSources({address, std::function<QStringList()>([found] { return found; }), port, answerMs});
        return pressed("Radmin");
    }

private Q_SLOTS:
    void init() {
        QVERIFY(QDir().mkpath(root) && QDir().mkpath(path("服务端")));
        ClientPaths paths;
        paths.clientRoot = paths.configDir = paths.dataRoot = root.toStdU16String();
        openOn(paths);
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
            pressed("测试连接", server.url() + QLatin1Char('/'), port == 0 ? server.serverPort() : port);
            TRY_COMPARE(pageStatus(), text(expected));
        }
    }

    // A proxy would say that both are there.
    void connectionTestWithoutProxy() {
        const ScriptedServer proxy([this](auto&) { return healthy; });
        QNetworkProxy::setApplicationProxy({QNetworkProxy::HttpProxy, text("127.0.0.1"), proxy.serverPort()});
        field("游戏主机")->setProperty("text", text("0.0.0.0"));
        pressed("测试连接", text("http://0.0.0.0:1"), 1);
        TRY_COMPARE(pageStatus(), text("Lobby ✗ 无法连接 (HTTP 0)    游戏主机 ✗ 无法连接"));
        QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    }

    void search() {
        const ScriptedServer good([this](auto&) { return healthy; }, QHostAddress(0x7F000002));
        const quint16 port = good.serverPort();
        const ScriptedServer silent([](auto&) { return Script(); }, QHostAddress(0x7F000003), {}, port);
        const QStringList deaf{text("127.0.0.3"), text("127.0.0.4")};
        QStringList many{text("127.0.0.2")};
        while (many.size() < 200) {
            many.prepend(text("127.0.1.%1").arg(many.size()));
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
            if (!bytes.isNull()) {
                write("服务端/current_host.txt", bytes);
            }
            search(port, own, neighbours);
            TRY_COMPARE(page(), text(expected));
        }
        // Leaving the page ends what is running and frees the buttons, and the window may go at any time.
        pressed("测试连接", silent.url(), 1);
        QCOMPARE(search(port, "", deaf), text("正在搜索房主：测试 2 个 Radmin 邻居的 40000 端口..."));
        press("返回");
        QVERIFY(!status().startsWith(text("正在")));  // nothing goes on any more
        QVERIFY(pressed("设置").isEmpty() && !search(port, "", deaf).isEmpty());
        QCOMPARE(pressed("测试连接", silent.url(), 1), text("正在测试连接…"));
    }

    void save() {
        const ScriptedServer server([this](auto&) { return healthy; });
        field("预设方案")->setProperty("currentIndex", 1);
        QCOMPARE(pressed("测试连接"), text("请先填写 Lobby 地址和游戏主机。"));
        QVERIFY(pressed("保存", text("http://"), 7).startsWith(text("Lobby 地址不正确，没有保存。")));
        QVERIFY(!QFile::exists(root + text("/Server.ini")));
        QCOMPARE(pressed("保存", server.url().mid(7), 7), text("设置已保存：公网测试  :7"));
        find<QLineEdit>("text", text("test001"))->nextInFocusChain()->setProperty("text", text("p"));
        press("登录");
        TRY(button("退出登录") != nullptr);
        press("设置");
        pressed("保存", server.url() + QLatin1Char('/'), 7);
        QVERIFY(button("退出登录") != nullptr);
        press("设置");
        // Even an administrator cannot write a folder. What is saved stays, and the session ends when all is.
        const QString setting = root + QDir::separator() + text("GameSetting.inf");
        QVERIFY(QFile::remove(setting) && QDir().mkdir(setting));
        QCOMPARE(pressed("保存", text("elsewhere"), 8), text("保存失败：failed to write GameSetting.inf: ") + setting);
        QVERIFY(QDir().rmdir(setting) && loadClientSettings(root + text("/Server.ini"), {}).gamePort == 8);
        const QString file = root + QDir::separator() + text("Server.ini");
        QVERIFY(QFile::remove(file) && QDir().mkdir(file));
        QCOMPARE(pressed("保存", text("elsewhere"), 9), text("保存失败：") + file);
        QVERIFY(QDir().rmdir(file));
        QCOMPARE(pressed("保存"), text("服务器已切换，请重新登录。"));
        TRY(server.requests.last().target.endsWith("logout"));
    }

    // Each box and each size into its own place, and back onto the page.
    void displayAndCompatibility() {
        const char kDpi[] = "DPI适配（画面发虚时再开启，可能导致鼠标偏移）";
        const char kCompatibility[] = "兼容模式（缓解黑屏/闪退等问题）";
        for (const char* chosen : {kDpi, kCompatibility}) {
            button(kDpi)->setProperty("checked", chosen == kDpi);
            button(kCompatibility)->setProperty("checked", chosen == kCompatibility);
            field("游戏分辨率")->setProperty("currentIndex", 2);
            press("保存");
            const ClientSettings saved = loadClientSettings(root + text("/Server.ini"), {});
            QVERIFY(saved.gameDpiAware == (chosen == kDpi) && saved.gameCompatibilityMode == (chosen != kDpi));
            press("设置");
            QVERIFY(button(chosen)->isChecked() && button(kDpi)->isChecked() != button(kCompatibility)->isChecked());
            QCOMPARE(field("游戏分辨率")->property("currentText").toString(), text("全屏 1920*1080"));
        }
        QFile setting(root + text("/GameSetting.inf"));
        QVERIFY(setting.open(QIODevice::ReadOnly) && setting.readLine() == "5\r\n");
    }
};

NETPLAY_TEST(SettingsPageTest);
#include "settings_page_test.moc"
