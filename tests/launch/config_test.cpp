// What becomes of config.lua.
#include "launch/config_patcher.h"
#include "launch/data_root.h"
#include "platform/process.h"
#include "support/test_registry.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

namespace {

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

    // Windows lets nobody put another file in the place of a read-only one.
    void keepsReadOnlyFiles() {
        root->write("config.lua", "x = 1");
        const std::filesystem::perms readOnly{0444};
        std::filesystem::permissions(root->at("config.lua"), readOnly);
        std::u16string error;
        const bool patched = patchConfigLua(root->path(), 3, 2, {}, error);
        QCOMPARE(patched, platform::pathSeparator == u'/');
        QVERIFY(patched || error == u"failed to update config.lua: " + root->at("config.lua"));
        QCOMPARE(root->read("config.lua"), patched ? patch("x = 1") : "x = 1");
        QVERIFY(std::filesystem::status(root->at("config.lua")).permissions() == readOnly);
    }

    void keepsLinks() {
        root->write("elsewhere/config.lua", "x = 1");
        std::error_code noLink;
        std::filesystem::create_symlink(root->at("elsewhere/config.lua"), root->at("config.lua"), noLink);
        if (noLink) {
            QSKIP("no symbolic links here");
        }
        std::u16string error;
        QVERIFY(patchConfigLua(root->path(), 3, 2, {}, error) && root->read("elsewhere/config.lua") == patch("x = 1"));
        QVERIFY(std::filesystem::is_symlink(root->at("config.lua")));
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

NETPLAY_TEST(ConfigTest);
#include "config_test.moc"
