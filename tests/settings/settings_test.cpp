// The settings file, the command line, and the folders and hosts that the client looks for.
#include "platform/environment.h"
#include "platform/files.h"
#include "settings/client_settings.h"
#include "settings/host_discovery.h"
#include "settings/ipv4.h"
#include "settings/paths.h"
#include "support/test_registry.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

QString describe(const ClientSettings& s) {
    QString text;
    QTextStream(&text) << s.lobbyHttp << ' ' << s.gameHost << ':' << s.gamePort << ' ' << s.serverProfile << ' '
                       << s.gameDisplayPreset << ' ' << s.gameCompatibilityMode << s.gameDpiAware << s.reconnectOnCrash
                       << ' ' << s.reconnectMaxAttempts << ' ' << s.defaultUsername << '/' << s.defaultPassword;
    return text;
}

QString writeIni(const QTemporaryDir& folder, const QByteArray& content) {
    QFile file(folder.filePath(QStringLiteral("Server.ini")));
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() ? file.fileName() : QString();
}

QByteArray readBack(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().replace("\r\n", "\n") : QByteArray("cannot be read");
}

const char kFresh[] = "http://127.0.0.1:40000 127.0.0.1:40001 local 0 000 3 test001/";

// File, settings as `describe` gives them.
const std::pair<QByteArray, const char*> kFiles[] = {
    {"", kFresh},
    {"\xEF\xBB\xBF[Server]\nLobbyHttp=http://a:40000///\nGameHost=b\nGamePort=65535\n[Client]\nServerProfile=public\n"
     "GameDisplayPreset=1\nGameCompatibilityMode=true\nGameDpiAware=1\nReconnectOnCrash=True\n"
     "ReconnectMaxAttempts=7\nDefaultUsername=bob\nDefaultPassword=s3cret\n",
     "http://a:40000 b:65535 public 1 111 7 bob/s3cret"},
    {"[Server]\nGamePort=70000\n[Client]\nServerProfile=Local\nGameDisplayPreset=7\nReconnectMaxAttempts=4294967297\n"
     "DefaultUsername=abcdefghijklmnopqrst\n",
     "http://127.0.0.1:40000 127.0.0.1:40001 local 0 000 10 abcdefghijklmno/"},
    {"[Server]\nGamePort=4294967297\n[Client]\nReconnectMaxAttempts=1e1\nGameDisplayMode= FullScreen\n",
     "http://127.0.0.1:40000 127.0.0.1:40001 local 2 000 3 test001/"},
    {"[Server]\nGamePort=0\n[Client]\nGameResolutionWidth=1600\nGameResolutionHeight=1200\nGameDisplayMode=borderless\n"
     "ReconnectMaxAttempts=-2\n",
     "http://127.0.0.1:40000 127.0.0.1:40001 local 1 000 0 test001/"},
    {"[Server]\r\nGameHost=\\x4e2d\\x6587\r\n[Client]\r\nDefaultUsername=玩家, 一\r\n"
     "DefaultPassword=a,,b\r\nGameDisplayPreset=-1\r\n",
     "http://127.0.0.1:40000 中文:40001 custom 0 000 3 玩家, 一/a, , b"},
    {"[Client]\nGameDisplayPreset=x\n" + QByteArray("\xff\xfe[[[=;\\\n=@Variant(\n]").repeated(99), kFresh}};

// Lines of others. What looks like a NUL, like a serialised value, like no text; a quote without an end; much text.
const QByteArray kForeignLines[] = {"LogDir=D:\\games\\0.9",       "x= \xB5\xD8 = \xFF;b",        "; 备注",
                                    "a=%,@1,@Victor,\"@@V\\q\"",   "x=\\x5340\\x5b57, \\x40ABC(", "y=\"open",
                                    ";" + QByteArray(1 << 20, ';')};
// What QSettings takes for more memory or stack than there is, in several spellings; a NUL; a quote that swallows the
// headings; too much of it.
const QByteArray kDeep("\\x10000\\x20000\\x10000\\x9\\x10000\\x10000\\x10000\\x1");
const QByteArray kUnreadable[] = {"x=@Variant(\\0\\0\\0\\x9\\x7f\\xff\\xff\\xff)",
                                  "x=a, \t\"\\x10040Variant(\\0\\0\\0\\x9\\x7f\\xff\\xff\\xff)\"",
                                  "x=\\q\xEF\xBB\xBF@\"Va\"riant(\\0\\0\\0\\x9\\x7f\\xff\\xff\\xff)",
                                  "x=\\\n\\100Date\\x54ime(\\0\\0\\0\\x9\\x7f\\xff\\xff\\xff)",
                                  "x=\"@Variant(" + kDeep.repeated(20000) + ")\"",
                                  QByteArray("x=a\0b", 5),
                                  "[A]\nA=\"open\n[Client]",
                                  QByteArray(4 << 20, ';')};

// A folder with `entries`: names split by blanks, a slash at the end makes a folder.
class Tree : public QTemporaryDir {
public:
    explicit Tree(const char* entries) {
        for (const QString& entry : QString::fromUtf8(entries).split(QLatin1Char(' '))) {
            QDir(path()).mkpath(entry.section(QLatin1Char('/'), 0, -2));
            if (!entry.endsWith(QLatin1Char('/'))) {
                QFile(filePath(entry)).open(QIODevice::WriteOnly);
            }
        }
    }
    std::u16string wide(const char* name) const {
        return QDir::toNativeSeparators(filePath(QString::fromUtf8(name))).toStdU16String();
    }
};

}  // namespace

class SettingsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void load() {
        for (const auto& [ini, expected] : kFiles) {
            const QTemporaryDir folder;
            QCOMPARE(describe(loadClientSettings(writeIni(folder, ini), {})), QString::fromUtf8(expected));
        }
    }

    // The rest of such a file is read and saved, and what is foreign stays, also behind a second save.
    void foreignLines() {
        for (const QByteArray& line : kForeignLines) {
            const QTemporaryDir folder;
            const QString path = writeIni(folder, "\n[Server]\n[Client]\nDefaultUsername=bob\n\n" + line);
            ClientSettings settings = loadClientSettings(path, {});
            QCOMPARE(settings.defaultUsername, QStringLiteral("bob"));
            settings.gamePort = 7;
            QVERIFY(saveClientSettings(settings));
            QCOMPARE(describe(loadClientSettings(path, {})), describe(settings));
            const QByteArray once = readBack(path);
            QVERIFY(once.startsWith("\n[Server]\n") && once.endsWith("\n\n" + line + '\n'));
            QVERIFY(saveClientSettings(settings) && readBack(path) == once);
        }
    }

    void unreadableFileIsLeftAlone() {
        const QTemporaryDir folder;
        for (const QByteArray& lines : kUnreadable) {
            const QByteArray ini = lines + "\n[Client]\nDefaultUsername=bob\n";
            ClientSettings settings = loadClientSettings(writeIni(folder, ini), {});
            QCOMPARE(describe(settings), QString::fromLatin1(kFresh));
            settings.gamePort = 7;
            QVERIFY(!saveClientSettings(settings) && readBack(settings.configFilePath) == ini);
        }
        ClientSettings settings = loadClientSettings(folder.path(), {});
        QVERIFY(describe(settings) == QString::fromLatin1(kFresh) && !saveClientSettings(settings));
        settings.configFilePath = folder.filePath(QStringLiteral("Server.ini/config/Server.ini"));
        QVERIFY(!saveClientSettings(settings));
    }

    void save() {
        QVERIFY(saveClientSettings(ClientSettings()));  // no path: nothing happens
        // An older version's file: its keys go; the user's password, which only hands write, and unknown keys stay.
        const QByteArray old = "[Client]\nGameResolutionWidth=1600\nGameResolutionHeight=1200\nGameDisplayMode=x\n"
                               "GameMonitorIndex=1\nRememberGameWindow=1\nGameWindowX=1\nGameWindowY=1\n"
                               "Mine=C:\\\\0\nDefaultPassword=old\n";
        const QTemporaryDir folder;
        const QStringList arguments{QString(), QStringLiteral("--user=玩家, 一")};
        ClientSettings settings = loadClientSettings(writeIni(folder, old), arguments);
        settings.lobbyHttp = QStringLiteral("http://a/");
        settings.defaultPassword = QStringLiteral("s3cret");
        QVERIFY(saveClientSettings(settings));
        QStringList lines = QString::fromUtf8(readBack(settings.configFilePath)).split(QLatin1Char('\n'));
        lines.sort();  // Qt orders them differently from one system to the next
        QCOMPARE(lines.join(QLatin1Char(' ')).trimmed(),
                 QStringLiteral("DefaultPassword=old DefaultUsername=\"玩家, 一\" GameCompatibilityMode=false "
                                "GameDisplayPreset=1 GameDpiAware=false GameHost=127.0.0.1 GamePort=40001 "
                                "LobbyHttp=http://a Mine=C:\\\\0 ReconnectMaxAttempts=3 ReconnectOnCrash=false "
                                "ServerProfile=local [Client] [Server]"));
        settings.configFilePath = folder.filePath(QStringLiteral("new/config/Server.ini"));
        QVERIFY(saveClientSettings(settings));
        QCOMPARE(describe(loadClientSettings(settings.configFilePath, {})),
                 QStringLiteral("http://a 127.0.0.1:40001 local 1 000 3 玩家, 一/"));
    }

    void profile() {
        const std::tuple<const char*, const char*, int, const char*> rows[] = {
            {"http://127.0.0.1:40000//", "127.0.0.1", 40001, "local"},
            {"http://127.0.0.1:40000", "127.0.0.1", 40002, "custom"},
            {"http://26.1.2.3:40000/", "26.1.2.3", 40001, "radmin"},
            {"http://26.1.2.3:40000", "26.1.2.4", 40001, "custom"},
            {"http://126.1.2.3:40000", "126.1.2.3", 40001, "custom"}};
        for (const auto& [url, host, port, expected] : rows) {
            QCOMPARE(deriveServerProfile(QLatin1String(url), QLatin1String(host), port), QLatin1String(expected));
        }
    }

    void typedAddresses() {
        const std::pair<const char*, const char*> rows[] = {{" lobby.example:40000 ", "http://lobby.example:40000"},
                                                            {"26.1.2.3", "http://26.1.2.3"},
                                                            {"[::1]:40000/", "http://[::1]:40000"},
                                                            {"HTTPS://h:1/base//", "HTTPS://h:1/base"},
                                                            {"大厅.example", "http://大厅.example"},
                                                            {"  ", ""},
                                                            {"http://", nullptr},
                                                            {"http:/26.1.2.3:1", nullptr},
                                                            {"https:h", nullptr},
                                                            {"ftp://h", nullptr},
                                                            {"::1", nullptr},
                                                            {"h:99999", nullptr},
                                                            {"h：40000", nullptr},
                                                            {"两 个词", nullptr},
                                                            {"h/?room=1", nullptr}};
        for (const auto& [typed, expected] : rows) {
            QCOMPARE(completeBaseUrl(QString::fromUtf8(typed)).value_or(QStringLiteral("refused")),
                     QString::fromUtf8(expected == nullptr ? "refused" : expected));
        }
    }

    void commandLine() {
        const std::pair<const char*, const char*> rows[] = {
            {"program --user alice --autologin", "alice 1"},
            {"program --username alice --user=bob=x", "bob=x 0"},
            {"program --username= --auto-login --user", " 1"},
            {"program --user --autologin", "--autologin 0"},
            {"program --USER=alice --users=x --Autologin alice", "test001 0"},
            {"program --user abcdefghijklmnopqrst", "abcdefghijklmno 0"}};
        for (const auto& [arguments, expected] : rows) {
            const QStringList words = QString::fromLatin1(arguments).split(QLatin1Char(' '));
            const ClientSettings settings = loadClientSettings(QString(), words);
            QCOMPARE(settings.defaultUsername + QLatin1String(settings.autoLogin ? " 1" : " 0"),
                     QLatin1String(expected));
        }
    }

    void parts() {
        const std::u16string separator(1, platform::pathSeparator);
        QCOMPARE(joinPath(u"a", u"b"), u"a" + separator + u"b");
        QVERIFY(joinPath(u"a\\", u"b") == u"a\\b" && joinPath(u"a/", u"b") == u"a/b");
        QVERIFY(joinPath(u"", u"b") == u"b" && joinPath(u"a", u"") == u"a");
        QVERIFY(parentDir(u"a/b\\c") == u"a/b" && parentDir(u"alone") == u"alone");
    }

    void clientRoot() {
        // Tree, where the search starts, the client's root, its settings' folder.
        const std::tuple<const char*, const char*, const char*, const char*> trees[] = {
            {"c/ClientLauncher/config/Server.ini c/game/core/ c/bin/", "c/bin", "c", "c/ClientLauncher/config"},
            {"c/config/Server.ini c/Plugin/", "c/1/2/3/4/5/6/7", "c", "c/config"},
            {"c/config/Server.ini c/Plugin/", "c/1/2/3/4/5/6/7/8", "c/1/2/3/4/5/6/7",
             "c/1/2/3/4/5/6/7/ClientLauncher/config"},
            {"config/Server.ini Plugin/ c/config/Server.ini c/Plugin/", "c/bin", "c", "c/config"},
            {"c/config/Server.ini/ c/Plugin c/b/", "c/b/x", "c/b", "c/b/ClientLauncher/config"}};
        for (const auto& [entries, start, root, config] : trees) {
            const Tree tree(entries);
            const ClientPaths paths = discoverClientPaths(tree.wide(start));
            QVERIFY2(paths.clientRoot == tree.wide(root) && paths.configDir == tree.wide(config), entries);
            QCOMPARE(paths.lobbyDir, joinPath(tree.wide(root), joinPath(u"Plugin", u"Lobby")));
        }
    }

    void dataRoot() {
        // Tree, the folder that the variable names, the game's folder.
        const std::tuple<const char*, const char*, const char*> trees[] = {
            {"gametest/core/game.exe game/core/game.exe e/core/game.exe", "e", "gametest"},
            {"gametest/core/ game/core/game.exe e/core/game.exe", "e", "game"},
            {"gametest/core/game.exe/ e/core/game.exe", "e", "e"},
            {"e/core/", "e", "gametest"}};
        for (const auto& [entries, variable, root] : trees) {
            const Tree tree(entries);
            const platform::ScopedEnvironmentVariable set(u"TALVERON_DATA_ROOT", tree.wide(variable), 32768);
            QVERIFY2(findDataRoot(tree.wide("client")) == tree.wide(root), entries);
        }
    }

    void hostFilePath() {
        const Tree one("a/服务端/current_host.txt 服务端/current_host.txt"), two("服务端/");
        QCOMPARE(currentHostFilePath(one.wide("a/b")).toStdU16String(), one.wide("a/服务端/current_host.txt"));
        QCOMPARE(currentHostFilePath(two.wide("a/b")).toStdU16String(), two.wide("服务端/current_host.txt"));
    }

    void addresses() {
        Ipv4Bytes bytes{};
        std::u16string error;
        QVERIFY(parseIpv4(u"000000000001.010.0.255", bytes, error) && error.empty());
        QCOMPARE(bytes, (Ipv4Bytes{1, 10, 0, 255}));
        for (const char16_t* bad : {u"", u"1.2.3", u"1..2.3", u"1.2.3.4.5", u".1.2.3.4", u"1.2.3.4.", u"256.1.1.1",
                                    u"4294967297.0.0.1", u" 1.2.3.4", u"1.2.3.4\n", u"１.2.3.4"}) {
            QVERIFY(!parseIpv4(bad, bytes, error) && bytes == (Ipv4Bytes{1, 10, 0, 255}));
            QCOMPARE(error, u"Invalid IPv4 address: " + std::u16string(bad));
        }
        error.clear();
        QVERIFY(resolveIpv4Host(u"26.1.2.3", bytes, error) && bytes == (Ipv4Bytes{26, 1, 2, 3}));
        QVERIFY(resolveIpv4Host(u"localhost", bytes, error) && bytes == (Ipv4Bytes{127, 0, 0, 1}) && error.empty());
        const std::u16string unknown(u"a\0b", 3);  // refused without asking the name service
        QVERIFY(!resolveIpv4Host(unknown, bytes, error));
        QCOMPARE(error, u"Unable to resolve IPv4 host: " + unknown +
                            u" (host not found, wsa=11001). GameHost must be "
                            u"an IPv4 address or a DNS name with an A record.");
    }
};

NETPLAY_TEST(SettingsTest);
#include "settings_test.moc"
