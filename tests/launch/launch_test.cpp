#include "launch/command_line.h"
#include "launch/config_patcher.h"
#include "launch/game_launcher.h"
#include "launch/game_setting_patcher.h"
#include "launch/launcher_log.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/shared_memory.h"
#include "settings/paths.h"
#include "support/test_registry.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
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

QString qtText(const std::u16string& text) {
    return QString::fromStdU16String(text);
}

// A data root "game" in a temporary folder. Names of files in it use slashes.
class DataRoot {
    QTemporaryDir folder;

public:
    // In the form that the system itself gives paths in.
    std::u16string path() const {
        return joinPath(platform::toWideText(*platform::canonicalPath(folder.path().toStdU16String())), u"game");
    }
    std::u16string at(const QByteArray& name) const {
        return joinPath(path(), QString::fromUtf8(name).toStdU16String());
    }
    void write(const QByteArray& name, const QByteArray& bytes) const {
        const std::filesystem::path file = at(name);
        std::filesystem::create_directories(file.parent_path());
        platform::writeWholeFile(file, bytes.toStdString());
    }
    // "(no file)" where there is none.
    QByteArray read(const QByteArray& name) const {
        std::string bytes;
        return platform::readWholeFile(at(name), bytes) ? QByteArray::fromStdString(bytes) : QByteArray("(no file)");
    }
};

// Runs config.lua twice in one state and tells in one line what the game would see.
const char kGame[] = R"(
seen = ""
function see(...)
  seen = seen .. table.concat({...}, ":") .. " "
  return 7
end
SetCurrentControlID = see
function UIProgress_SetMax(control, value) return see("max", value) end
function UIProgress_SetValue(control, value) return see("value", value) end
dofile("config.lua")
dofile("config.lua")
assert(UIProgress_SetMax(nil, 1) == nil and UIProgress_SetValue(nil, 1) == nil)
assert(UIProgress_SetMax({}, 5) == 7 and UIProgress_SetValue({}, 6) == 7)
for _, pair in ipairs(GetMapOptionInfo()) do see(pair[1], pair[2]) end
see("display", GetMapOptionDisplay(), user)
io.write(seen))";

// Texts of these tests name the client's pieces by a letter: [ and ] begin and end a runtime block, B and E the guards
// G, N is the table's name, T the empty table, C the control call, I and D are the two functions' lines, F is both. H
// stands at the head of a file that had no table, A behind the lines of one that had neither call nor functions.
QByteArray text(QByteArray letters) {
    const QByteArray pieces =
        "A $C$F|F $I$r$D$r|H $T$r$G|T $N = {}|C SetCurrentControlID(3)$r|I function GetMapOptionInfo() return $N end|"
        "D function GetMapOptionDisplay() return 2 end|N tempConfigLuaMapOptionInfo|[ -- lobby_runtime_patch_begin|"
        "] -- lobby_runtime_patch_end|E $B end|B -- pm_client_launcher progress guards|r \r\n|n \n|G ";
    for (const QByteArray& piece : (pieces + std::string(progressGuards()).c_str()).split('|')) {
        letters.replace("$" + piece.left(1), piece.mid(2));
    }
    return letters;
}

// Slot 3, display 2, no options, unless told otherwise.
QByteArray patch(const QByteArray& before, const ConfigValues& values = {3, 2, {}}) {
    return QByteArray::fromStdString(patchConfigText(before.toStdString(), values));
}

}  // namespace

class ConfigTest : public QObject {
    Q_OBJECT

    std::unique_ptr<DataRoot> root;
    void startPatching(QProcess& process, int slot, int count) const {
        process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/launch_helper"),
                      {QStringLiteral("patch"), qtText(root->path()), QString::number(slot), QString::number(count)});
    }

private Q_SLOTS:
    void init() { root = std::make_unique<DataRoot>(); }

    void guardsBlock() {
        QCOMPARE(QCryptographicHash::hash(text("$G"), QCryptographicHash::Sha256).toHex(),
                 QByteArray("25a6eac1ffe25e529bbaafb44293d42da6bf196ea76f5efa47ebae46cd466c98"));
    }

    // Made-up files, each rule by itself.
    void patching() {
        const std::pair<const char*, const char*> rows[] = {
            {" \t\v\f$r", "$G$T$r$A"},
            {"$G", "$G$T$r$A"},
            {"$r$nx = 1$n \t$r", "$H$r$nx = 1$r$A"},
            {"SetCurrentControlID(x)$nSetCurrentControlID(-1) SetCurrentControlID(2)",
             "$HSetCurrentControlID(x)$nSetCurrentControlID(-1) SetCurrentControlID(3)$r$F"},
            {"SetCurrentControlID(12", "$HSetCurrentControlID(12$r$A"},
            // The options table.
            {"$N$n=--$n{ {1}, { {2} } } \t-- z$n$A", "$G$T-- z$n$A"},
            {"$N = { {1}$ry$r$A", "$H$N = { {1}$ry$r$A"},
            {"$Iz = {1}$n$A", "$H$Iz = {1}$n$A"},
            {"$I$nmine = 1$n$N = {1}$n$C$D$r", "$G$I$nmine = 1$n$T$n$C$D$r"},
            {"$N x = {SetCurrentControlID(3) }$ry", "$G$T$ry$r$F"},
            // The functions.
            {"function GetMapOptionInfo() sendto end$n$Cfunction GetMapOptionDisplay() end \tz", "$H$Ito end$n$C$Dz"},
            {"function GetMapOptionInfo() $T end$n$C", "$G$I$n$C$D$r"},
            {"-- function GetMapOptionInfo()$nx$n$D", "$H-- $I$r$C$D$r"},
            // What earlier patches left.
            {"a$n$[old$]$r$nb$n$[x$]c$n$[", "$Ha$nb$nc$n$[$r$A"},
            {"-- lobby_runtime_$[$]$B$Epatch_begin$]x", "$Hx$r$A"},
            {"$r$r$n$nx$n$[$]$n$ny", "$Hx$ny$r$A"},
            {"$Gx$r$G$B$n$E$n$A", "$Hx$r$A"},
            {"x$n$B$nlost$n$N = {1}$n$A", "$Gx$n$T$n$A"},
            {"x$n$B$nlost$n$I$n$N = {1}$n$C$D", "$Gx$n$T$n$C$D$r$I$r"},
            {"$B$nlost$nSetCurrentControlID(1)", "$H$A"},
            {"x$n$B$nlost", "$Hx$n$A"},
            {"$C$B$nz", "$H$C$B$nz$r$F"},
            {"$G$nx$n$T$A", "$Gx$n$T$A"},
            {"$T$r$G$nx$r$A", "$Hx$r$A"},
            {"$T$rx$r$G$A", "$G$T$rx$r$A"}};
        for (const auto& [before, after] : rows) {
            QVERIFY2(patch(text(before)) == text(after), before);
        }
    }

    // Files of the client's own, and as players edit them: settled by the first patch, whatever the slot.
    void handEdited() {
        const char* const files[] = {
            "$Huser = 1$r$A",
            "user = 1",
            "\xEF\xBB\xBF-- \xE8\xAE\xBE\xE7\xBD\xAE$nuser = 1$n",
            "-- mine$ruser = 1\t-- \"end\"$rfunction OnStart()$r\tif user then$r\t\tprint(\"{\")$r\tend$rend$r",
            "SetCurrentControlID(5)$n$nuser = 1$n\t$n$N = {$n\t{9, 9}, -- nine$n}$n$I$n$nfunction "
            "GetMapOptionDisplay()$n"
            "\treturn 1$nend$n",
            "-- mine$r$Huser = 1$r$A-- more$r",
            "local id = 1$nSetCurrentControlID(id)$nuser = id$n",
            "$[$nold$n$]$n$T$r$B$nlost$n$Auser = 1$n"};
        for (const char* file : files) {
            const QByteArray once = patch(text(file));
            QVERIFY2(once.contains("user = ") && once.count(text("$G")) == 1, file);
            QCOMPARE(patch(once), once);
            QCOMPARE(patch(once, {22, 2, {{0, 1}}}),
                     QByteArray(once).replace("ID(3)", "ID(22)").replace("Info = {}", "Info = { {0 , 1},}"));
        }
    }

    void writesItsValues() {
        QCOMPARE(patch(text("$Hx$r$A"), {22, 3, {{0, 1}, {-1, 1}, {2, -3}, {2, 3}}}),
                 text("$N = { {0 , 1}, {2 , 3},}$r$Gx$rSetCurrentControlID(22)$r$I$r"
                      "function GetMapOptionDisplay() return 0 end$r"));
    }

    // A search that starts over at every marker would run into the test's time limit.
    void megabytesOfMarkers() {
        for (const char* letters :
             {"$B", "$BSetCurrentControlID(", "$B$Ex", "SetCurrentControlID(1", "$N={", "$I", "$n$r$[$]x"}) {
            const QByteArray unit = text(letters);
            const QByteArray once = patch(unit.repeated(4 * 1024 * 1024 / unit.size()));
            QVERIFY2(once.count(text("$G")) == 1, letters);
        }
    }

    void runsInLua() {
        root->write("game.lua", kGame);
        for (const char* before :
             {"user = 1$n", "$N = { {4 , 4},}$r$Guser = 1$rSetCurrentControlID(7)$r$F", "$T$r$B$nlost$n$Auser = 1",
              "$[$nsyntax error$n$]$nuser = 1", "local id = 1$nSetCurrentControlID(5) user = id$n",
              "function GetMapOptionInfo()$n  return {}$nend$nuser = 1$nfunction GetMapOptionDisplay() return 1 end$n",
              "$N = {$n  {9, 9}, -- nine$n}$nuser = 1"}) {
            root->write("config.lua", patch(text(before), {3, 2, {{0, 1}, {2, 3}}}));
            for (const QString& lua : {QStringLiteral("lua5.1"), QStringLiteral("lua5.4")}) {
                if (QStandardPaths::findExecutable(lua).isEmpty()) {
                    QSKIP("the Lua programs are not installed here");
                }
                QProcess process;
                process.setWorkingDirectory(qtText(root->path()));
                process.start(lua, {QStringLiteral("game.lua")});
                QVERIFY(process.waitForFinished());
                QCOMPARE(process.readAllStandardError(), QByteArray());
                QCOMPARE(process.readAllStandardOutput(), QByteArray("3 3 max:5 value:6 0:1 2:3 display:2:1 "));
            }
        }
    }

    void readsLargeFilesAndBackups() {
        std::u16string error;
        const std::string large(5 * 1024 * 1024, 'x');
        root->write("config.lua", QByteArray::fromStdString(large));
        QVERIFY(patchConfigLua(root->path(), 3, 2, {}, error));
        QVERIFY(root->read("config.lua").toStdString() == patchConfigText(large, {3, 2, {}}));
        root->write("config.lua", "");
        root->write("config.lua.new.bak", "new");
        root->write("config.bak", "other");
        QVERIFY(patchConfigLua(root->path(), 3, 2, {}, error));
        QCOMPARE(root->read("config.lua"), patch("new"));
        for (const auto& [content, expected] : {std::pair("", "new"), std::pair(" ", " ")}) {
            root->write("config.lua", content);
            QVERIFY(patchConfigLua(root->path(), 3, 2, {}, error));
            QCOMPARE(root->read("config.lua"), patch(expected));
        }
    }

    // Beside config.lua. The last temporary is that of a process that runs.
    void leavesNoTemporaries() {
        const QString own = QStringLiteral("config.lua.%1.7.tmp").arg(platform::currentProcessId());
        for (const char* blocked : {"", "/x"}) {
            const DataRoot folder;
            for (const QByteArray& name : {"config.lua" + QByteArray(blocked), QByteArray("config.lua.4294967295.tmp"),
                                           QByteArray("config.lua.x.tmp"), own.toUtf8()}) {
                folder.write(name, "x = 1");
            }
            std::u16string error;
            QCOMPARE(patchConfigLua(folder.path(), 3, 2, {}, error), *blocked == 0);
            QCOMPARE(QDir(qtText(folder.path())).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name),
                     QStringList({QStringLiteral("config.lua"), own, QStringLiteral("config.lua.lock"),
                                  QStringLiteral("config.lua.x.tmp")}));
        }
    }

    void keepsLinksAndPermissions() {
        root->write("elsewhere/config.lua", "x = 1");
        const std::filesystem::path file = root->at("elsewhere/config.lua");
        std::error_code noLink;
        std::filesystem::create_symlink(file, root->at("config.lua"), noLink);
        if (noLink) {
            QSKIP("no symbolic links here");
        }
        const std::filesystem::perms readOnly{0444};
        std::filesystem::permissions(file, readOnly);
        std::u16string error;
        QVERIFY(patchConfigLua(root->path(), 3, 2, {}, error) && root->read("elsewhere/config.lua") == patch("x = 1"));
        QVERIFY(std::filesystem::is_symlink(root->at("config.lua")));
        QVERIFY(std::filesystem::status(file).permissions() == readOnly);
    }

    void processesAtOnceAndKilled() {
        const QByteArray before = "x = 1\r\n" + QByteArray(20000, '-') + "\r\n";
        const QByteArrayList valid = {patch(before, {1, 0, {}}), patch(before, {2, 0, {}}), before};
        root->write("config.lua", before);
        for (int round = 0; round < 15; ++round) {
            QProcess process;
            startPatching(process, 1 + round % 2, 1000000);
            // The work goes on while the kill is under way, so it falls anywhere in a patch.
            QVERIFY(process.waitForReadyRead());
            process.kill();
            QVERIFY(process.waitForFinished());
            QVERIFY(valid.contains(root->read("config.lua")));
        }
        QProcess processes[2];
        startPatching(processes[0], 1, 100);
        startPatching(processes[1], 2, 100);
        while (processes[0].state() != QProcess::NotRunning || processes[1].state() != QProcess::NotRunning) {
            QVERIFY(valid.contains(root->read("config.lua")));
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        }
        for (QProcess& process : processes) {
            QVERIFY(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0);
            QCOMPARE(process.readAllStandardOutput().count("patched"), 100);
        }
        QVERIFY(valid.mid(0, 2).contains(root->read("config.lua")));
    }
};

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
        platform::stopProcessesByPath(u"game.exe", root->at("core/game.exe"));
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
        const qsizetype begun = logged().size();
        auto launched = std::async(std::launch::async, [&] { return second.launch(request, stop.get_token()); });
        const bool waits = QTest::qWaitFor([&] { return logged().size() > begun; }, 60000);
        stop.request_stop();
        QVERIFY(!launched.get() && waits && !first.launch(request, stop.get_token()));
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

NETPLAY_TEST(ConfigTest);
NETPLAY_TEST(GameLauncherTest);
#include "launch_test.moc"
