#include "platform/clock.h"
#include "platform/code_page.h"
#include "platform/environment.h"
#include "platform/game_window.h"
#include "platform/helper_child.h"
#include "platform/resolver.h"
#include "platform/sha256.h"
#include "platform/shared_memory.h"
#include "support/test_registry.h"

#include <QDateTime>
#include <QTest>

using namespace platform;
using namespace std::chrono_literals;

class SystemTest : public QObject {
    Q_OBJECT

    TestFolder folder_;

private Q_SLOTS:
    void environment() {
        const std::u16string name = u"NETPLAY_TEST";
        QVERIFY(!environmentVariable(name));
        auto outer = std::make_unique<ScopedEnvironmentVariable>(name, u"旧 old", 4096);
        for (const std::u16string value : {u"new", u""}) {
            const ScopedEnvironmentVariable inner(name, value, 4096);
            QVERIFY(environmentVariable(name) == (value.empty() ? std::nullopt : std::optional(value)));
        }
        QVERIFY(environmentVariable(name) == u"旧 old" && environmentVariable(name, 6) == u"旧 old");
        QVERIFY(!environmentVariable(name, 5) && !environmentVariable(name, 0));
        QVERIFY(!environmentVariable(name + std::u16string(u"\0x", 2)));
        // A former value that does not fit the buffer counts as none.
        { const ScopedEnvironmentVariable cramped(name, u"new", 3); }
        QVERIFY(!environmentVariable(name));
        outer.reset();
        QVERIFY(!environmentVariable(name));
    }

    void sharedMemory() {
        const std::u16string name = u"netplay_test_" + QString::number(currentProcessId()).toStdU16String();
        std::string content(1078, '\0');
        SharedMemory block;
        QCOMPARE(block.create(name, content.size()), 0U);
        QCOMPARE(readSharedMemory(name, content.size()), std::optional(content));
        for (std::size_t i = 0; i < content.size(); ++i) {
            content[i] = static_cast<char>(i * 7);
        }
        QCOMPARE(block.write(content), 0U);
        QVERIFY(startHelper({u"memory", folder_.text("memory"), name}).process.waitForEnd(1min));
        QCOMPARE(folder_.content("memory"), QByteArray::fromStdString(content));

        constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
        QVERIFY(!readSharedMemory(name, 1 << 20) && !readSharedMemory(name, kMost));
        SharedMemory second;
        for (const std::u16string& bad : {std::u16string(), std::u16string(u"a/b"), std::u16string(u"a\\b"),
                                          std::u16string(u"a\0b", 3), std::u16string(u"地图")}) {
            QVERIFY(second.create(bad, 8) != 0 && !second.isOpen() && !readSharedMemory(bad, 1));
        }
        for (const std::size_t size : {std::size_t{0}, kMost, std::size_t{1} << 60}) {
            QVERIFY(second.create(name + u"x", size) != 0 && !second.isOpen());
        }
        QVERIFY(second.create(name, 1) != 0 && !second.isOpen() && second.write("x") != 0);
        QCOMPARE(*readSharedMemory(name, content.size()), content);
        block.close();
        QVERIFY(!readSharedMemory(name, 1) && !readSharedMemory(name + u"x", 1));
        QVERIFY(second.create(name, 4) == 0 && second.write("12345") != 0);
        QCOMPARE(*readSharedMemory(name, 4), std::string(4, '\0'));
    }

    void blockOfAKilledProcess() {
        const std::u16string prefix = u"netplay_test_" + QString::number(currentProcessId()).toStdU16String() + u"_";
        const std::u16string program = folder_.program("sharer.exe");
        auto sharer = startHelper({u"share", folder_.text("shared"), prefix}, program);
        QTRY_COMPARE_WITH_TIMEOUT(folder_.content("shared"), QByteArray("shared"), 60000);
        removeAbandonedBlocks(prefix);
        QVERIFY(readSharedMemory(prefix + u"1", 1));
        stopProcessesByPath(u"sharer.exe", program);
        QVERIFY(sharer.process.waitForEnd(1min));
        removeAbandonedBlocks(prefix);
        QVERIFY(!readSharedMemory(prefix + u"1", 1));
    }

    void resolvingFails() {
        for (const std::u16string& host :
             {std::u16string(70, u'a'), std::u16string(u"no-such-host.invalid"), std::u16string(u"localhost\0", 10)}) {
            const ResolvedHost resolved = resolveHost(host);
            QVERIFY(resolved.outcome == ResolvedHost::Outcome::failed);
            // What is said of a name that nobody has depends on whether a name server can be asked.
            QVERIFY(resolved.code >= kHostNotFound && resolved.code <= kNoData);
        }
    }

    void wallClock() {
        const QDateTime before = QDateTime::currentDateTime();
        const LocalTime now = localTime();
        const QDateTime told(QDate(now.year, now.month, now.day),
                             QTime(now.hour, now.minute, now.second, now.millisecond));
        QVERIFY(told.isValid() && before <= told && told <= QDateTime::currentDateTime());
    }

    void utf8() {
        const auto decoded = [](const std::string& bytes) {
            return QString::fromStdU16String(fromUtf8(bytes));
        };
        const QString text = QStringLiteral("a\u0080\u07FF\u0800\uFFFD\U00010000\U0010FFFF");
        QCOMPARE(decoded("a\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), text);
        QCOMPARE(QByteArray::fromStdString(toUtf8(text.toStdU16String())), text.toUtf8());
        // A NUL, a lone continuation, and sequences that are cut off.
        QCOMPARE(decoded({"\0\x80z\xE5\x9Cz\xE5\x9C", 8}),
                 QChar(0) + QStringLiteral("\uFFFDz\uFFFD\uFFFDz\uFFFD\uFFFD"));
        for (const QByteArray bad :
             {"\xC0\xAF\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF8\xFF"}) {
            QCOMPARE(decoded(bad.toStdString()), QString(bad.size(), QChar(0xFFFD)));
        }
        const std::u16string unpaired{u'a', 0xD800, u'b', 0xDC00, 0xD83D, 0xD83D, 0xDE00, 0xDBFF};
        QCOMPARE(toUtf8(unpaired), std::string("a\uFFFDb\uFFFD\uFFFD\U0001F600\uFFFD"));
    }

    // Every pair of bytes alone and before a lead byte that ends the text, against the digest of what Windows gives.
    void codePage936() {
        QCOMPARE(decodeCodePage936({"map \xB5\xD8\xB0\0b, and more", 19}), std::string("map 地?\0b, and more", 20));
        Sha256 digest;
        for (int pair = 0; pair < 0x10000; ++pair) {
            const std::string bytes{static_cast<char>(pair >> 8), static_cast<char>(pair)};
            for (const char* const end : {"", "\xB0"}) {
                const std::u16string units = fromUtf8(decodeCodePage936(bytes + end)) + u'\n';
                digest.update({reinterpret_cast<const char*>(units.data()), units.size() * 2});
            }
            // Text goes four characters at a time.
            const std::string one = decodeCodePage936(bytes);
            QVERIFY(!isCodePage936Lead(bytes[0]) ||
                    decodeCodePage936(bytes + bytes + bytes + bytes) == one + one + one + one);
        }
        QCOMPARE(QByteArray::fromStdString(digest.finish()),
                 QByteArray("37e583e87cdcd007e2c8abcd46619c260a075c5efd78700e6da5548141f89431"));
    }

    // Every argument with a bar behind it. The first, the program's name, has rules of its own.
    void splitting() {
        const auto compare = [](const char* line, const char* arguments) {
            std::u16string split;
            for (const std::u16string& argument : splitCommandLine(fromUtf8(line))) {
                split += argument + u'|';
            }
            QCOMPARE(QString::fromStdU16String(split), QString::fromUtf8(arguments));
        };
        compare("", "");
        compare(" ", "|");
        compare("a  b\tc ", "a|b|c|");
        compare(R"("C:\my dir\" x)", R"(C:\my dir\|x|)");
        compare(R"(a"b" c)", R"(a"b"|c|)");
        compare(R"("a"b c)", "a|b|c|");
        compare(R"("open end)", "open end|");
        compare(R"(p "a b" c"d e"f "" "" 地图 a\b a\\b \\share\)", R"(p|a b|cd ef|||地图|a\b|a\\b|\\share\|)");
        compare(R"(p \" a\"b \\" c")", R"(p|"|a"b|\ c|)");
        compare(R"(p "a\\" "a\\\"b" "C:\my dir\\")", R"(p|a\|a\"b|C:\my dir\|)");
        compare(R"(p "a""b c)", R"(p|a"b|c|)");
        compare(R"(p "a"""b c)", R"(p|a"b c|)");
        compare(R"(p """a""" b)", R"(p|"a"|b|)");
        compare(R"(p "never closed)", "p|never closed|");
    }

    void childGetsWhatItWasStartedWith() {
        const std::u16string directory = folder_.path("工作 dir/x").parent_path().u16string();
        const ScopedEnvironmentVariable variable(u"NETPLAY_TEST", u"值 1", 4096);
        auto child = startHelper({u"show", folder_.text("shown"), u"NETPLAY_TEST", u"", u"two words", u"地图=1"},
                                 helperProgram().u16string(), directory);
        QVERIFY(child.process.isOpen() && child.error == 0 && child.process.waitForEnd(1min));
        const QByteArray shown = folder_.content("shown");
        QCOMPARE(shown.mid(shown.indexOf('\n')), QByteArray("\n值 1\n\ntwo words\n地图=1"));
        const std::string where = shown.left(shown.indexOf('\n')).toStdString();
        QCOMPARE(canonicalPath(toPath(fromUtf8(where))), canonicalPath(toPath(directory)));
    }

    void startingFails() {
        const std::u16string helper = helperProgram().u16string();
        const std::u16string nul(1, u'\0');
        const auto fails = [](const std::u16string& program, const std::u16string& directory) {
            const auto result = startHelper({}, program, directory);
            return !result.process.isOpen() && result.error != 0;
        };
        QVERIFY(writeWholeFile(folder_.path("text.exe"), "no program"));
        QVERIFY(fails(folder_.text("missing.exe"), u"") && fails(folder_.text("text.exe"), u""));
        QVERIFY(fails(folder_.text(""), u"") && fails(helper, folder_.text("missing")));
        QVERIFY(fails(helper + nul, u"") && fails(helper, u"/" + nul));
    }

    void runningThenEndedThenGone() {
        auto child = startHelper({u"wait", folder_.text("stop")});
        const ProcessId id = child.process.id();
        QVERIFY(!child.process.waitForEnd(0ms) && !child.process.waitForEnd(1ms));
        QVERIFY(probeProcess(id).state == ProcessProbe::State::running && !probeProcess(id).exitCode);
        QVERIFY(writeWholeFile(folder_.path("stop"), ""));
        QVERIFY(child.process.waitForEnd(std::chrono::milliseconds::max()));
        QVERIFY(probeProcess(id).state == ProcessProbe::State::ended);
        QCOMPARE(probeProcess(id).exitCode, std::optional<std::uint32_t>(7));
        child.process.close();
        QVERIFY(!child.process.isOpen() && child.process.waitForEnd(0ms));
        QTRY_VERIFY(probeProcess(id).state == ProcessProbe::State::gone);
        for (const ProcessId nobodys : {0U, 0x7FFFFFF0U, 0xFFFFFFF0U}) {
            QVERIFY(probeProcess(nobodys).state == ProcessProbe::State::gone);
        }
        QVERIFY(probeProcess(currentProcessId()).state == ProcessProbe::State::running);
    }

    void stoppingByPath() {
        const std::u16string hit = folder_.program("one/Game.exe");
        const std::u16string renamed = folder_.program("one/other.exe");
        std::vector<ProcessStartResult> children;
        for (const std::u16string& program : {hit, hit, folder_.program("two/Game.exe"), renamed}) {
            children.push_back(startHelper({u"wait", folder_.text("stop copies")}, program));
            QVERIFY(children.back().process.isOpen());
        }
        stopProcessesByPath(u"game.exe", renamed);
        stopProcessesByPath(u"game.exe", folder_.text("Game.exe"));
        stopProcessesByPath(u"GAME.exe", folder_.text("") + pathSeparator + u"ONE" + pathSeparator + u"gAME.EXE");
        for (std::size_t i = 0; i < children.size(); ++i) {
            QVERIFY(i != 2 || writeWholeFile(folder_.path("stop copies"), ""));
            QVERIFY(children[i].process.waitForEnd(1min));
            QCOMPARE(probeProcess(children[i].process.id()).exitCode == std::optional<std::uint32_t>(7), i >= 2);
        }
    }

    void placingItsWindow() {
        const std::u16string program = folder_.program("window.exe");
        auto child = startHelper({u"window", folder_.text("state")}, program);
        QTRY_VERIFY_WITH_TIMEOUT(!folder_.content("state").isEmpty() || child.process.waitForEnd(0ms), 60000);
        if (folder_.content("state").isEmpty() && !qEnvironmentVariableIsSet("DISPLAY")) {
            QVERIFY(placeMainWindow(currentProcessId(), {}) != WindowOutcome::placed);
            QSKIP("no display");
        }
        QTRY_COMPARE_WITH_TIMEOUT(folder_.content("state"), QByteArray("10 20 200 100 framed"), 60000);
        QVERIFY(placeMainWindow(currentProcessId(), {}) == WindowOutcome::notFound);
        QVERIFY(placeMainWindow(child.process.id(), {30, 40, 320, 240, false}) == WindowOutcome::placed);
        QTRY_COMPARE_WITH_TIMEOUT(folder_.content("state"), QByteArray("30 40 200 100 framed"), 60000);
        QVERIFY(placeMainWindow(child.process.id(), {0, 5, 320, 240, true}) == WindowOutcome::placed);
        QTRY_COMPARE_WITH_TIMEOUT(folder_.content("state"), QByteArray("0 5 320 240 bare"), 60000);

        stopProcessesByPath(u"window.exe", program);
        QVERIFY(child.process.waitForEnd(1min));
        // The X server may end with its last client.
        QTRY_VERIFY(placeMainWindow(child.process.id(), {}) != WindowOutcome::placed);
    }
};

NETPLAY_TEST(SystemTest);
#include "system_test.moc"
