// From a request to a running game.
#include "launch/command_line.h"
#include "launch/config_patcher.h"
#include "launch/data_root.h"
#include "launch/game_launcher.h"
#include "launch/game_setting_patcher.h"
#include "launch/launcher_log.h"
#include "platform/environment.h"
#include "platform/shared_memory.h"
#include "support/test_registry.h"

#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>
#include <QTest>

#include <future>
#include <set>

using Spoil = std::function<void()>;
Q_DECLARE_METATYPE(Spoil)

namespace {

const QByteArray kRestart = "restart requested, stopping old game process for ROOT/core/game.exe";

bool isRunning(platform::ProcessId id) {
    return platform::probeProcess(id).state == platform::ProcessProbe::State::running;
}

bool endsSoon(platform::ProcessId id) {
    return QTest::qWaitFor([id] { return !isRunning(id); }, 60000);
}

}  // namespace

// A data root with a map, a config.lua and the helper as its game; "ROOT" stands for its path in the tests' texts.
class GameLauncherTest : public QObject {
    Q_OBJECT

    std::unique_ptr<DataRoot> root;
    std::optional<platform::ExclusiveFile> lock;
    GameLaunchRequest request;
    QByteArray handed;

    QByteArray plain(const std::u16string& message) const {
        return qtText(message).replace(qtText(root->path()), QStringLiteral("ROOT")).toUtf8().replace('\\', '/');
    }

    // The log's lines without their times.
    QByteArrayList logged() const {
        QString lines = QString::fromUtf8(root->read("../client/pm_client_debug.log")).chopped(1);
        lines.remove(QRegularExpression(QStringLiteral(R"((?m)^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )")));
        return plain(lines.toStdU16String()).split('\n');
    }

    bool wasHanded(platform::ProcessId game) {
        const QByteArray file = "handed." + QByteArray::number(game);
        return QTest::qWaitFor([&] { return (handed = root->read(file)) != "(no file)"; }, 60000);
    }

    // Starts a game and waits until it has written what it was handed.
    bool start(GameLauncher& launcher) {
        const bool started = launcher.launch(request);
        if (!started) {
            qWarning("%s", plain(launcher.lastError()).constData());
        }
        return started && wasHanded(launcher.pid());
    }

    // The name of the block that the last launch made.
    std::u16string blockName() const {
        const QByteArray line = logged().last();
        return QString::fromLatin1(line.mid(line.indexOf("MapName=") + 8)).toStdU16String();
    }

    void useScript(const QByteArray& name, const QByteArray& file = {}) {
        root->write(file.isEmpty() ? name : file, "script");
        request.mapScriptPath = root->at(name);
    }

private Q_SLOTS:
    void init() {
        qputenv("PM_CLIENT_LOG", "1");
        root = std::make_unique<DataRoot>();
        for (const char* name : {"map/10078/10078.o", "config.lua", "core/x", "../client/x"}) {
            root->write(name, "x = 1\r\n");
        }
        const std::filesystem::path own = platform::executableFile();
        std::filesystem::copy_file(own.parent_path() / ("launch_helper" + own.extension().string()),
                                   root->at("core/game.exe"));
        request = {};
        request.clientRoot = joinPath(parentDir(root->path()), u"client");
        request.dataRoot = root->path();
    }

    void cleanup() {
        lock.reset();
        stopGameByPath(root->at("core/game.exe"));
    }

    void gameSetting() {
        const auto lines = [](QByteArray words) {
            return words.replace(" ", "\r\n") + "\r\n";
        };
        const QByteArray middle = " 1 1 42 0 43 10 3 0 0 0 0 0 0 0 0 0 0 0 ";
        const auto patched = [this](const QByteArray& before, int width, int height, int displayMode) {
            root->write("GameSetting.inf", before);
            std::u16string error;
            const bool done = patchGameSetting(root->path(), width, height, displayMode, &error);
            return root->read("GameSetting.inf") + (done ? QByteArray() : plain(error));
        };
        QCOMPARE(patched("", 800, 600, 2), lines("0 1" + middle + "0"));
        QCOMPARE(patched("", 1152, 864, 1), lines("2 0" + middle + "1"));
        QCOMPARE(patched("", 1280, 960, 0), lines("3 0" + middle + "1"));
        QCOMPARE(patched("", 1280, 1024, 0), lines("4 0" + middle + "1"));
        QCOMPARE(patched("", 1400, 1050, 0), lines("5 0" + middle + "1"));
        QCOMPARE(patched("9\n9\n1\n1\n42", 1920, 1080, 0), lines("1 0" + middle + "1"));
        QCOMPARE(patched("9\r\n9\r\n\r\r\n8", 1024, 768, 0), "1\r\n0\r\n\r\r\n8\r\n" + lines(middle.mid(5) + "1"));
        QCOMPARE(patched(QByteArray("9\n").repeated(21) + "a\nb", 800, 600, 2),
                 lines("0 1 " + QByteArray("9 ").repeated(18) + "0 a b"));
        const QByteArray large(4 * 1024 * 1024, 'x');
        QVERIFY(patched("1\n" + large, 800, 600, 2).startsWith("0\r\n1\r\n1\r\n"));
        const QByteArray largest = "1\n1\n" + QByteArray(64 * 1024 * 1024 - 4, 'x');
        const QByteArray sentence = " GameSetting.inf: ROOT/GameSetting.inf (larger than 64 MiB)";
        QVERIFY(patched(largest + 'x', 1, 1, 0) == largest + "xfailed to read" + sentence);
        QVERIFY(patched(largest, 1, 1, 0) == largest + "failed to write" + sentence);
    }

    void quoting() {
        const std::vector<std::u16string> arguments = {
            u"my game.exe", u"C:\\地图\\core\\", u"",         u"a b\u3000b\tc",
            u"a\"b",        u"a\\\"b",           u"a\\\\b c", u"C:\\my dir\\"};
        const std::u16string line = buildCommandLine(arguments);
        QCOMPARE(qtText(line), QStringLiteral("\"my game.exe\" C:\\地图\\core\\ \"\" \"a b\u3000b\tc\" \"a\\\"b\" "
                                              "\"a\\\\\\\"b\" \"a\\\\b c\" \"C:\\my dir\\\\\""));
        QVERIFY(platform::splitCommandLine(line) == arguments);
    }

    // More of them than the clock has ticks meanwhile.
    void blocksOfTheirOwn() {
        platform::SharedMemory blocks[200];
        std::set<std::u16string> names;
        for (platform::SharedMemory& block : blocks) {
            std::u16string name;
            QCOMPARE(createMapping(block, 1, 7, 3, name), 0U);
            QVERIFY(names.insert(name).second);
        }
    }

    void logSwitch() {
        for (const char* value : {"0", "true", "10000000", ""}) {
            qputenv("PM_CLIENT_LOG", value);
            launcherLog(root->path(), u"first");
            QCOMPARE(root->read("pm_client_debug.log"), QByteArray("(no file)"));
        }
    }

    // A sentence that ends in "=" or "(" goes on in the system's words. Logged: start, restart, config prepared, error.
    void failures_data() {
        QTest::addColumn<QByteArray>("log");
        QTest::addColumn<Spoil>("spoil");
        const auto row = [](const char* log, const QByteArray& sentence, const Spoil& spoil) {
            QTest::newRow(sentence) << QByteArray(log) << spoil;
        };
        const QByteArray longScript = "map/" + QByteArray(32, 'm') + ".o";
        const QByteArray rejected = " (path/separators/control chars rejected): ";
        const QByteArray outside = "map script outside data root map folder: ROOT/";
        row("e", "invalid map name" + rejected, [this] { request.mapName.clear(); });
        row("e", "invalid map script extension: ROOT/map/a.lua", [this] { useScript("map/a.lua"); });
        row("e", "invalid map script extension: ROOT/map/.o", [this] { useScript("map/.o"); });
        row("e", "invalid map script name" + rejected + "b.c", [this] { useScript("map/b.c.o"); });
        row("e", "map file not found: ROOT/map/a.o", [this] { useScript("map/a.o", "map/a.o/x"); });
        row("e", outside + "b.o", [this] { useScript("map/../b.o", "b.o"); });
        row("e", outside + "mapped/b.o", [this] {
            std::error_code noLink;
            root->write("mapped/b.o", "script");
            std::filesystem::create_directory_symlink(root->at("mapped"), root->at("map/link"), noLink);
            useScript(noLink ? "mapped/b.o" : "map/link/b.o");
        });
        row("se", "game.exe not found: ROOT/core/game.exe",
            [this] { QFile::remove(qtText(root->at("core/game.exe"))); });
        row("se", "map file not found: ROOT/map/none/none.o", [this] { request.mapName = u"none"; });
        row("s", "PlayerName too long (max 15): PMPlayer-1000000", [this] { request.slot = -1000000; });
        row("s", "MapName too long (max 31): " + QByteArray(32, 'm'), [this, longScript] { useScript(longScript); });
        row("sre", "could not acquire config lock: ROOT/config.lua.lock",
            [this] { lock = platform::ExclusiveFile::tryOpen(root->at("config.lua.lock")); });
        // The second one could be read, but not again once it is patched.
        for (const int size : {64 * 1024 * 1024 + 1, 64 * 1024 * 1024}) {
            row("sre", "failed to update config.lua: ROOT/config.lua (larger than 64 MiB)",
                [this, size] { root->write("config.lua", QByteArray(size, 'x')); });
        }
        row("sre", "failed to write GameSetting.inf: ROOT/GameSetting.inf",
            [this] { root->write("GameSetting.inf/x", ""); });
        row("srce", "Unable to resolve IPv4 host: a\tb (", [this] { request.gameHost = u"a\tb"; });
        row("srce",
            "failed to launch game.exe: CreateProcess failed, error=", [this] { root->write("core/game.exe", "?"); });
    }
    void failures() {
        const QByteArray sentence = QTest::currentDataTag();
        QFETCH(Spoil, spoil);
        spoil();
        const QByteArray config = root->read("config.lua");
        GameLauncher launcher;
        QVERIFY(!launcher.launch(request) && launcher.pid() == 0);
        const QByteArray error = plain(launcher.lastError());
        const bool goesOn = sentence.endsWith('=') || sentence.endsWith('(');
        QCOMPARE(goesOn && error != sentence ? error.left(sentence.size()) : error, sentence);
        const QMap<QByteArray, char> letters = {{kRestart, 'r'}, {"config prepared", 'c'}, {"ERROR " + error, 'e'}};
        QByteArray log;
        for (const QByteArray& line : logged()) {
            log += line.startsWith("start DataRoot=ROOT Host=") ? 's' : letters.value(line, '?');
        }
        QTEST(log, "log");
        QVERIFY(root->read("config.lua") == config || log == "srce" || sentence.contains("GameSetting"));
    }

    void handsOverTheMatch() {
        root->write("stop", {});  // the game ends by itself, and with it the wait for its window
        const platform::ScopedEnvironmentVariable former(u"__COMPAT_LAYER", u"OLD", 4096);
        const QByteArray map(31, 'm');
        useScript("map/a/../a/./" + map + ".O", "map/a/" + map + ".O");
        request.gameHost = u"26.1.2.3";
        request.mapName = u"other.名";
        request.playerName = u"玩家3456789012345";
        request.slot = 300;
        request.sessionId = 0x01020304;
        request.userId = -2;
        request.compatibilityMode = true;
        request.mapOptions = {{0, 1}};
        request.settingWidth = 800;
        request.settingHeight = 600;
        request.windowX = 0;
        request.windowY = 0;
        GameLauncher launcher;
        QVERIFY(start(launcher) && launcher.pid() != 0 && launcher.lastError().empty());
        const QByteArray numbers = QByteArray::fromHex("1a010203419c2c0004030201feffffff");
        const QByteArray name = QByteArray::fromHex("a973b65b3300340035003600370038003900300031003200330034003500");
        QCOMPARE(handed, QByteArray(2, 0) + QByteArray("m\0", 2).repeated(31) + QByteArray(2, 0) + numbers +
                             QByteArray(562, 0) + name + QByteArray(404, 0) + "HIGHDPIAWARE WIN7RTM");
        QVERIFY(platform::environmentVariable(u"__COMPAT_LAYER") == u"OLD");
        QCOMPARE(root->read("config.lua").toStdString(), patchConfigText("x = 1\r\n", {300, 0, {{0, 1}}}));
        QVERIFY(root->read("GameSetting.inf").startsWith("0\r\n0\r\n"));
        QByteArrayList lines = logged();
        const QByteArray self = QByteArray::number(platform::currentProcessId());
        QVERIFY(lines.takeLast().startsWith("game started PID=" + QByteArray::number(launcher.pid()) +
                                            " MapName=pm_client_16909060_300_" + self + "_"));
        QCOMPARE(lines.join('\n'), "start DataRoot=ROOT Host=26.1.2.3:40001 Map=other.名 StartupMap=" + map +
                                       " Script=ROOT/map/a/" + map + ".O Slot=300 UserId=-2 Session=16909060\n" +
                                       kRestart + "\nconfig prepared\ncompatibility mode enabled");
        QVERIFY(endsSoon(launcher.pid()));
    }

    // The client has ended when the game comes to its block. What stays of the block goes with a launch after the game.
    void blockOutlivesTheLauncher() {
        root->write("hold", {});
        auto launcher = std::make_unique<GameLauncher>();
        QVERIFY(launcher->launch(request));
        const platform::ProcessId game = launcher->pid();
        const std::u16string block = blockName();
        launcher.reset();
        request.restartExisting = false;
        GameLauncher next;
        QVERIFY(next.launch(request));
        QVERIFY(std::filesystem::remove(root->at("hold")) && wasHanded(game));
        QCOMPARE(handed.left(12), QByteArray("\0\0001\0000\0000\0007\0008\0", 12));
        root->write("stop", {});
        QVERIFY(endsSoon(game) && start(next) && !platform::readSharedMemory(block, 1));
    }

    // Told to stop ahead of the previous game's end, and while another client holds the lock.
    void cancelled() {
        GameLauncher first;
        GameLauncher second;
        QVERIFY(start(first));
        const platform::ProcessId game = first.pid();
        std::stop_source stop;
        lock = platform::ExclusiveFile::tryOpen(root->at("config.lua.lock"));
        request.restartExisting = false;
        do {
            stop = std::stop_source();
            const qsizetype begun = logged().size();
            auto launched = std::async(std::launch::async, [&] { return second.launch(request, stop.get_token()); });
            const bool waits = QTest::qWaitFor([&] { return logged().size() > begun; }, 60000);
            stop.request_stop();
            QVERIFY(!launched.get() && waits);
            // On a busy machine the lock's two seconds may be over first.
        } while (plain(second.lastError()).startsWith("could not acquire"));
        QVERIFY(!first.launch(request, stop.get_token()));
        for (const GameLauncher* launcher : {&first, &second}) {
            QVERIFY(plain(launcher->lastError()) == "launch cancelled" && launcher->pid() == 0);
        }
        QVERIFY(isRunning(game));
    }

    void stopsGamesOfTheFolderThatItFinds() {
        GameLauncher first;
        GameLauncher second;
        GameLauncher third;
        QVERIFY(start(first));
        const platform::ProcessId oldest = first.pid();
        request.restartExisting = false;
        QVERIFY(start(second) && isRunning(oldest));
        QVERIFY(start(first) && endsSoon(oldest) && isRunning(first.pid()));
        QCOMPARE(logged().at(7), QByteArray("previous game still running after 3s, force-stopping ROOT/core/game.exe"));
        request.restartExisting = true;
        request.dataRoot.clear();
        request.dpiAware = true;
        request.patchGameSetting = false;
        QVERIFY(std::filesystem::remove(root->at("GameSetting.inf")));
        QVERIFY(start(third) && endsSoon(first.pid()) && isRunning(third.pid()));
        QCOMPARE(handed.mid(1078), QByteArray("HIGHDPIAWARE"));
        QCOMPARE(root->read("GameSetting.inf"), QByteArray("(no file)"));
        QVERIFY(!platform::environmentVariable(u"__COMPAT_LAYER") && logged().contains("dpi-aware mode enabled"));
        QVERIFY(logged().contains("config prepared (GameSetting.inf unchanged)"));
    }
};

NETPLAY_TEST(GameLauncherTest);
#include "launch_test.moc"
