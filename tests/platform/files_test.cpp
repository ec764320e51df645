#include "platform/disk_calls.h"
#include "platform/helper_child.h"
#include "support/test_registry.h"

#include <QDateTime>
#include <QTest>

#include <future>

using namespace platform;

class FilesTest : public QObject {
    Q_OBJECT

    TestFolder folder_;

private Q_SLOTS:
    void roundTrip() {
        const std::string part(120, 'a');
        for (const std::string& name : {std::string("地图 \U0001F600.map"), part + '/' + part + "/file.txt"}) {
            const TestFolder folder;
            const std::filesystem::path path = folder.path(name);
            const std::string content = std::string("a\0\r\nb\n\x1A\xFF", 8) + std::string(200000, 'x');
            const std::size_t size = content.size();
            QVERIFY(!fileStatus(path));
            QVERIFY(writeWholeFile(path, content + "and more") && writeWholeFile(path, content.substr(0, size - 4)));
            QVERIFY(appendToFile(path, "xx") && appendToFile(path, "xx"));
            std::string bytes;
            QVERIFY(readWholeFile(path, bytes, size) && bytes == content);
            QVERIFY(!readWholeFile(path, bytes, size - 1) && bytes.empty());
            const auto status = fileStatus(path);
            QVERIFY(status && status->isRegularFile && !status->isDirectory &&
                    fileStatus(path.parent_path())->isDirectory);
            QCOMPARE(status->size, static_cast<std::int64_t>(size));
            QVERIFY(newestFile(path.parent_path(), "", "") == path && toPath(toWideText(path)) == path);

            const std::filesystem::path moved = folder.path(name + ".moved");
            QVERIFY(!copyFile(moved, path) && !copyFile(path, path) && !replaceFile(moved, path));
            QVERIFY(!replaceFile(path, path.parent_path() / "missing" / "file"));
            QVERIFY(writeWholeFile(moved, "old") && replaceFile(path, moved) && !fileStatus(path));
            QVERIFY(writeWholeFile(path, content + "and more") && copyFile(moved, path));
            QVERIFY(readWholeFile(path, bytes) && bytes == content);
        }
    }

    void pathWithNulNamesNothing() {
        const std::filesystem::path real = folder_.path("real");
        QVERIFY(writeWholeFile(real, "kept"));
        const std::filesystem::path path = toPath(toWideText(real) + std::u16string(u"\0x", 2));
        std::string bytes;
        QVERIFY(!fileStatus(path) && !readWholeFile(path, bytes) && !writeWholeFile(path, "x"));
        QVERIFY(!replaceFile(path, real) && !replaceFile(real, path) && !copyFile(path, real) && !copyFile(real, path));
        QVERIFY(!canonicalPath(path) && !weaklyCanonicalPath(path) && !ExclusiveFile::tryOpen(path));
        QVERIFY(newestFile(path, "", "").empty() && !appendToFile(path, "x"));
        QCOMPARE(folder_.content("real"), QByteArray("kept"));
    }

    // Among them devices that never end or never begin.
    void readingRefuses() {
        for (const std::u16string& name : std::initializer_list<std::u16string>{
                 folder_.text("missing"), folder_.text(""), u"", u"/dev/zero", u"/dev/tty", u"CON", u"NUL"}) {
            std::string bytes = "before";
            QVERIFY2(!readWholeFile(toPath(name), bytes) && bytes.empty(), toPath(name).string().c_str());
        }
    }

    // A busy reader may keep the writer out for longer than the retries last; what must hold is that nobody ever sees
    // half a file, and that a refused replacement leaves both files.
    void replacingUnderAReader() {
        const std::filesystem::path path = folder_.path("contested");
        QVERIFY(writeWholeFile(path, std::string(60000, 'a')));
        auto writer = std::async(std::launch::async, [&path, next = folder_.path("next")] {
            int replaced = 0;
            for (int refused = 0; refused < 5 && replaced < 200;) {
                const bool written = writeWholeFile(next, std::string(60000, static_cast<char>('a' + replaced % 26)));
                const bool done = written && replaceFile(next, path);
                if (!written || fileStatus(next).has_value() == done || !fileStatus(path)) {
                    return 0;
                }
                ++(done ? replaced : refused);
            }
            return replaced;
        });
        std::string bytes;
        while (writer.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
            QVERIFY(!readWholeFile(path, bytes) || bytes == std::string(60000, bytes.front()));
        }
        QVERIFY(writer.get() > 0 && readWholeFile(path, bytes) && bytes.size() == 60000);
    }

    void newContentIsOnTheDiskAheadOfItsName() {
        const std::filesystem::path path = folder_.path("flushed");
        takeDiskCalls();
        QVERIFY(replaceContent(path, "new") && folder_.content("flushed") == "new");
        QCOMPARE(takeDiskCalls(), std::string("flush replace folder "));
        QVERIFY(!replaceContent(folder_.path("missing") / "folder" / "x", "new"));
        QCOMPARE(takeDiskCalls(), std::string());
    }

    void appendingNextToAnotherWriter() {
        QFile other(QString::fromStdU16String(folder_.text("shared")));
        QVERIFY(other.open(QIODevice::Append));
        QVERIFY(appendToFile(folder_.path("shared"), "x") == (pathSeparator == u'/'));
        other.close();
        QVERIFY(other.open(QIODevice::ReadOnly) && appendToFile(folder_.path("shared"), "x"));
    }

    // Files as "name=age in seconds", and which of them is the newest; none named where it is the first that is listed.
    void newest() {
        const std::pair<const char*, const char*> rows[] = {
            {"config.lua=1 config.bak=1 xconfig.lua.bak=1 config.lua.bak2=1", ""},
            {"config.lua1.bak=30 CONFIG.Lua.7.BAK=0 config.lua3.bak=20", "CONFIG.Lua.7.BAK"},
            {"config.lua9.bak/x=0 config.lua.bak=0", "config.lua.bak"},
            {"config.luac.bak=0 config.luaa.bak=0 config.luab.bak=0 config.luad.bak=0", nullptr},
            {"config.lua备份.bak=0 config.lua1.bak=50", "config.lua备份.bak"}};
        const QDateTime time = QDateTime::fromMSecsSinceEpoch(1'000'000'000'123);
        for (const auto& [files, expected] : rows) {
            const TestFolder folder;
            for (const QByteArray& entry : QByteArray(files).split(' ')) {
                const QByteArrayList parts = entry.split('=');
                QFile file(QString::fromStdU16String(folder.text(parts.first().toStdString())));
                QVERIFY(file.open(QIODevice::WriteOnly));
                QVERIFY(file.setFileTime(time.addSecs(-parts.last().toInt()), QFileDevice::FileModificationTime));
            }
            const std::filesystem::path found = newestFile(folder.path(""), "config.lua", ".bak");
            const std::string name =
                expected != nullptr ? expected : pathToUtf8(listFolder(folder.path(""))->front().name);
            QCOMPARE(pathToUtf8(found.filename()), name);
            QVERIFY(found.empty() || fileStatus(found)->writeTicks == 126'444'736'001'230'000);
        }
        QVERIFY(newestFile(folder_.path("missing"), "", "").empty());
    }

    void canonicalPaths() {
        const std::filesystem::path root = *canonicalPath(folder_.path("root/Sub/x").parent_path().parent_path());
        QVERIFY(root.is_absolute() && root.filename() == "root");
        QCOMPARE(*canonicalPath(root / "Sub" / ".." / "." / "Sub"), root / "Sub");
        QVERIFY(!canonicalPath(root / "missing") && !canonicalPath({}));
        QCOMPARE(*weaklyCanonicalPath(root / "Sub" / ".."), root);
        QCOMPARE(*weaklyCanonicalPath(root / "." / "missing" / "x" / ".." / "y.o"), root / "missing" / "y.o");
        // Where the system ignores case, the canonical path has the case of the disk.
        QVERIFY(canonicalPath(root / "SUB") == (fileStatus(root / "SUB") ? std::optional(root / "Sub") : std::nullopt));

        const std::filesystem::path link = folder_.path("link");
        std::error_code error;
        std::filesystem::create_directory_symlink(root, link, error);
        if (error) {
            QSKIP("no symbolic links here");
        }
        QCOMPARE(*canonicalPath(link / "Sub"), root / "Sub");
        QCOMPARE(*weaklyCanonicalPath(link / "new" / "file"), root / "new" / "file");
        QVERIFY(fileStatus(link)->isDirectory);
    }

    void ignoringCase() {
        QVERIFY(equalIgnoringCase(u"C:\\Game@Z[`a{.EXE Ünïcödé ΑΩДЯЁ 地图", u"c:\\gAME@z[`A{.exe üNÏCÖDÉ αωдяё 地图"));
        for (const auto& [left, right] : std::initializer_list<std::pair<std::u16string_view, std::u16string_view>>{
                 {u"@[", u"`{"}, {u"game", u"gane"}, {u"game", u"gam"}, {u"e", u"é"}, {u"ı", u"I"}, {u"ß", u"SS"}}) {
            QVERIFY(!equalIgnoringCase(left, right) && !equalIgnoringCase(right, left));
        }
    }

    void exclusiveFiles() {
        const std::filesystem::path path = folder_.path("lock");
        auto lock = ExclusiveFile::tryOpen(path);
        QVERIFY(lock && !ExclusiveFile::tryOpen(path) && !ExclusiveFile::tryOpen(folder_.path("")));
        std::optional<ExclusiveFile> moved = std::move(*lock);
        lock.reset();
        QVERIFY(!ExclusiveFile::tryOpen(path));
        const ProcessId child = startHelper({u"wait", folder_.text("stop")}).process.id();
        moved.reset();
        // The child inherited no hold, and outlives its object.
        QVERIFY(fileStatus(path) && ExclusiveFile::tryOpen(path));
        QVERIFY(probeProcess(child).state == ProcessProbe::State::running);
        QVERIFY(writeWholeFile(folder_.path("stop"), ""));

        const std::u16string program = folder_.program("holder.exe");
        auto holder = startHelper({u"hold", folder_.text("answer"), toWideText(path)}, program);
        QTRY_COMPARE_WITH_TIMEOUT(folder_.content("answer"), QByteArray("held"), 60000);
        QVERIFY(!ExclusiveFile::tryOpen(path));
        stopProcessesByPath(u"holder.exe", program);
        QVERIFY(holder.process.waitForEnd(std::chrono::minutes(1)));
        QVERIFY(ExclusiveFile::tryOpen(path));
    }
};

NETPLAY_TEST(FilesTest);
#include "files_test.moc"
