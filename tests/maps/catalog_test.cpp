// The catalog as a whole: scan, cache, fast start, fingerprint, on real folders.
#include "mapgen/map_writer.h"
#include "maps/catalog.h"

#include "maps/cache_fields.h"
#include "maps/failing_calls.h"
#include "maps/map_files.h"
#include "maps/map_records.h"
#include "maps/map_reference.h"
#include "platform/files.h"
#include "support/test_registry.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <filesystem>

using namespace NetPlay;
namespace fs = std::filesystem;

namespace {

const std::string kEmptyDigest = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

// Field of a cache line, what stands there instead, whether the line can still be used.
const std::tuple<int, const char*, bool> kFields[] = {
    {10, "", true},       {2, "x", false},           {3, "99999999999999999999", false},
    {3, "  -7abc", true}, {13, "4294967297", false}, {15, "x,,0,35,1,,1", false},
    {0, "", false},       {10, "anything", true},    {15, "1,2;1,,0,35,1,,1", true},
    {19, "\tmore", true}, {19, "\tmore\tyet", false}};

// Files of the folder "y", and which of them is the map: the one of the folder's name, or else the first in lower-cased
// order that is no working copy.
const std::pair<const char*, const char*> kFolders[] = {{"y.bak.map a.map", "a.map"},
                                                        {"B.map a.MAP", "a.MAP"},
                                                        {"before_x.map q.map.old x.TMP.map", ""},
                                                        {"y.o y.mapx", ""},
                                                        {"a.map y.map", "y.map"}};

// Requests a stop when the first warning is logged: in the middle of the work, at a place that the files decide.
class StopAtWarning {
public:
    StopAtWarning() {
        source = std::stop_source();
        before_ =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) { source.request_stop(); });
    }
    ~StopAtWarning() { qInstallMessageHandler(before_); }
    StopAtWarning(const StopAtWarning&) = delete;
    StopAtWarning& operator=(const StopAtWarning&) = delete;

    static inline std::stop_source source;

private:
    QtMessageHandler before_;
};

// A map root and a cache folder of its own.
struct MapRoot {
    const QTemporaryDir temporary;
    const fs::path base = platform::toPath(temporary.path().toStdU16String());
    const fs::path root = base / "map";
    const fs::path cache = base / "缓存";

    MapRoot() { fs::create_directories(root); }
    void write(const std::string& relative, const std::string& bytes) const {
        const fs::path path = root / platform::pathFromUtf8(relative);
        fs::create_directories(path.parent_path());
        QVERIFY(platform::writeWholeFile(path, bytes));
    }
    void addMap(const std::string& name, const std::string& script = "PLAYER_NUM=2") const {
        write(name + "/" + name + ".map", script);
        write(name + "/" + name + ".o", "script of " + name);
    }
    std::string cacheText() const {
        std::string text;
        platform::readWholeFile(cache / "map_catalog_cache.json", text);
        return text;
    }
    void writeCache(const std::string& text) const {
        fs::create_directories(cache);
        QVERIFY(platform::writeWholeFile(cache / "map_catalog_cache.json", text));
    }
    std::string names(const std::vector<MapInfo>& maps) const {
        std::string text;
        for (const MapInfo& map : maps) {
            text += map.name + (hasFingerprint(map) ? "+ " : " ");
        }
        return text;
    }
    std::string scanned() const { return names(scanMapCatalog(root, cache)); }
    std::string cached() const { return names(loadCachedCatalog(root, cache)); }
};

}  // namespace

class CatalogTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void scanListsAndSorts() {
        const MapRoot maps;
        maps.addMap("b");
        maps.addMap("A", "PLAYER_NUM=1 side1_name=\"魏国\"");
        maps.addMap("赤壁_之战");
        maps.write("no map/readme.txt", "");
        maps.write("half/half.map", "");
        maps.write("plain file", "");
        maps.write("odd/X.MAP", "");
        maps.write("odd/before_a.map", "");
        maps.addMap("broken", "PLAYER_NUM=9999999999");
        fs::create_directories(maps.root / "c" / "c.map");
        std::error_code noLinks;
        fs::create_directory_symlink("loop", maps.root / "loop", noLinks);
        fs::create_symlink("l.map", maps.root / "no map" / "l.map", noLinks);
        const std::vector<MapInfo> scan = scanMapCatalog(maps.root, maps.cache);
        QCOMPARE(QString::fromStdString(maps.names(scan)), QStringLiteral("A b broken half odd 赤壁_之战 "));
        QVERIFY(scan[0].sides == std::vector<std::string>{"魏国"} && scan[0].maxPlayers == 1);
        QVERIFY(scan[2].displayName == "broken" && scan[2].maxPlayers == 6 && scan[2].slots.empty());
        QVERIFY(scan[3].oFilePath.empty() && scan[3].maxPlayers == 1 && scan[3].slots.size() == 1);
        QVERIFY(scan[4].mapFilePath.filename() == "X.MAP" && scan[5].displayName == "赤壁 之战");
        // Only complete maps whose script could be read are remembered.
        QCOMPARE(QString::fromStdString(maps.cached()), QStringLiteral("A b 赤壁_之战 "));
        for (const fs::path& noRoot : {maps.base / "none", maps.root / "plain file"}) {
            QVERIFY(scanMapCatalog(noRoot, maps.cache).empty() && maps.cached() == "A b 赤壁_之战 ");
        }
    }

    void generatedMapsAreAllKnown() {
        const MapRoot maps;
        const mapgen::MapSet set{.count = 48};
        std::string error;
        QVERIFY(mapgen::writeMaps(maps.root, set, error));
        const std::vector<MapInfo> scan = scanMapCatalog(maps.root, maps.cache);
        QCOMPARE(scan.size(), set.count);
        for (std::size_t i = 0; i < set.count; ++i) {
            const mapgen::SampleMap sample = mapgen::makeMap(set, i);
            const MapInfo* map = findMapByName(scan, QString::fromStdString(sample.name));
            QVERIFY(map != nullptr && (map->mapFilePath.empty() || map->displayName == sample.title));
            QVERIFY(map->mapFilePath.empty() || !map->optionIds.empty());
        }
    }

    void fingerprintsSurviveUntilAFileChanges() {
        const MapRoot maps;
        maps.addMap("one");
        maps.write("two/two.map", "");
        maps.write("two/two.o", "");
        for (MapInfo& map : scanMapCatalog(maps.root, maps.cache)) {
            QVERIFY(!hasFingerprint(map) && computeMapFingerprint(map, maps.cache));
            QCOMPARE(map.fingerprintAlgo, std::string("sha256-map-o-v1"));
            if (map.name == "two") {
                QCOMPARE(map.fingerprint, "sha256:" + kEmptyDigest + ":" + kEmptyDigest);
            }
        }
        QCOMPARE(maps.scanned(), std::string("one+ two+ "));
        QCOMPARE(maps.cached(), std::string("one+ two+ "));
        maps.write("two/two.o", "changed");
        QCOMPARE(maps.cached(), std::string("one+ "));
        QCOMPARE(maps.scanned(), std::string("one+ two "));
        fs::remove(maps.root / "two" / "two.o");
        MapInfo half = scanMapCatalog(maps.root, maps.cache)[1];
        QVERIFY(!computeMapFingerprint(half, maps.cache) && half.fingerprint.empty());
        QCOMPARE(maps.cached(), std::string("one+ "));
        // Lines of another root are not believed.
        QVERIFY(loadCachedCatalog(maps.base, maps.cache).empty());
        QVERIFY(loadCachedCatalog(maps.root / ".." / "map", maps.cache).size() == 1);
    }

    void aStopLeavesAllAsItWas() {
        const MapRoot maps;
        maps.addMap("one");
        maps.scanned();
        maps.addMap("two");
        const std::string cache = maps.cacheText() + "an unreadable line\n";
        maps.writeCache(cache);
        std::stop_source stopped;
        stopped.request_stop();
        MapInfo one = loadCachedCatalog(maps.root, maps.cache).at(0);
        QVERIFY(scanMapCatalog(maps.root, maps.cache, stopped.get_token()).empty());
        QVERIFY(!computeMapFingerprint(one, maps.cache, stopped.get_token()) && !hasFingerprint(one));
        QCOMPARE(sha256File(one.mapFilePath, stopped.get_token()), std::string());
        {
            const StopAtWarning stop;  // once the cache has been read
            QVERIFY(!computeMapFingerprint(one, maps.cache, StopAtWarning::source.get_token()));
        }
        {
            const StopAtWarning stop;
            QVERIFY(scanMapCatalog(maps.root, maps.cache, StopAtWarning::source.get_token()).empty());
        }
        maps.writeCache(maps.cacheText().substr(0, cache.find("an unreadable")));
        maps.addMap("1 broken", "PLAYER_NUM=9999999999");
        {
            const StopAtWarning stop;  // amid the folders
            QVERIFY(scanMapCatalog(maps.root, maps.cache, StopAtWarning::source.get_token()).empty());
        }
        QCOMPARE(maps.cached(), std::string("one "));
        QVERIFY(computeMapFingerprint(one, maps.cache));
    }

    void cacheLinesComeBack() {
        const MapRoot maps;
        maps.addMap("#赤壁", "bar1_select_type=5 bar1_name=\"先锋\" bar2_select_type=2 bar2_player_id=7 side1_num=1 "
                             "side1_name=\"魏国\" PLAYER_MODE_NUM=2\n★甲★\x05#T#a#甲#T#b#乙\n@2#x#y@1#z\n");
        const std::vector<MapInfo> scan = scanMapCatalog(maps.root, maps.cache);
        QCOMPARE(maps.cached(), std::string("#赤壁 "));
        const MapInfo cached = loadCachedCatalog(maps.root, maps.cache)[0];
        QCOMPARE(describeMap(cached), describeMap(scan[0]));
        QVERIFY(cached.optionIds.size() == 2 && cached.slotCount == 2 && cached.oFileSize == scan[0].oFileSize &&
                cached.oFilePath == scan[0].oFilePath && cached.folderPath == scan[0].folderPath);
        const std::string text = maps.cacheText();
        QCOMPARE(std::count(text.begin(), text.end(), '\t'), std::ptrdiff_t(19));
        QVERIFY(fs::directory_iterator(maps.cache)->path().filename() == "map_catalog_cache.json");
    }

    // A fingerprint without its digests is made anew; the folder's own time counts as it does in a scan.
    void theFastStartGivesWhatAScanGives() {
        const MapRoot maps;
        maps.addMap("one");
        const fs::file_time_type old = fs::file_time_type::clock::now() - std::chrono::hours(1);
        for (const char* file : {"one.map", "one.o"}) {
            fs::last_write_time(maps.root / "one" / file, old);
        }
        const MapInfo scanned = scanMapCatalog(maps.root, maps.cache).at(0);
        MapInfo cached = loadCachedCatalog(maps.root, maps.cache).at(0);
        QVERIFY(std::abs(scanned.lastModified - cached.lastModified) < 20'000'000);  // two seconds
        QList<QByteArray> fields = QByteArray::fromStdString(maps.cacheText()).split('\t');
        fields[9] = "sha256:of another map";
        maps.writeCache(fields.join('\t').toStdString());
        cached = loadCachedCatalog(maps.root, maps.cache).at(0);
        QVERIFY(cached.fingerprint.empty() && computeMapFingerprint(cached, maps.cache) && maps.cached() == "one+ ");
    }

    // A map that is too much for the cache gets no line, and the others keep theirs.
    void theCacheIsBounded() {
        const MapRoot maps;
        maps.addMap("one");
        maps.addMap("many", "PLAYER_NUM=65536");
        maps.write("half/half.map", "PLAYER_NUM=65536");
        maps.addMap("copies", "PLAYER_NUM=65536 side1_num=65536 side1_name=\"" + std::string(900, 'x') + "\"");
        const std::vector<MapInfo> scan = scanMapCatalog(maps.root, maps.cache);
        QCOMPARE(maps.names(scan), std::string("copies half many one "));
        QVERIFY(scan[2].slotCount == 65'536 && scan[2].slots.empty() && scan[1].slots.empty() && scan[0].slots.empty());
        QCOMPARE(maps.cached(), std::string("one "));
        CatalogCacheText text;
        MapCacheEntry entry;
        entry.name = "long";
        entry.displayName = std::string(kMaxCacheLineBytes / 2, 'x');
        QVERIFY(!text.add(entry));
        entry.displayName.resize(entry.displayName.size() - 100);
        QVERIFY(text.add(entry) && parseCatalogCache(text.text()).size() == 1);
        // What the writer takes, byte by byte or separator by separator, the reader takes too.
        // What the writer takes, the reader takes too.
        entry.displayName.clear();
        entry.mapFilePathText = std::string(kMaxCacheLineBytes - 100, ';');
        CatalogCacheText full;
        std::size_t lines = 0;
        for (; full.add(entry); entry.name = std::to_string(lines)) {
            ++lines;
        }
        QVERIFY(lines == kMaxCacheSeparators / kMaxCacheLineBytes && parseCatalogCache(full.text()).size() == lines);
    }

    void badLinesAreSkipped() {
        const MapRoot maps;
        maps.addMap("one");
        maps.scanned();
        QVERIFY(parseCatalogCache(maps.cacheText() + std::string(kMaxCacheSeparators, '\n')).empty());
        const QList<QByteArray> whole = QByteArray::fromStdString(maps.cacheText()).split('\n')[1].split('\t');
        for (const auto& [field, value, usable] : kFields) {
            QList<QByteArray> fields = whole;
            fields[field] = value;
            const std::string bad = fields.join('\t').toStdString();
            maps.writeCache("# map catalog cache v3\n#comment\n\n" + bad + "\ngood\t/g\t1\t1\t/o\t1\t1\t\t\t\t\t");
            const MapCatalogCache table = readCatalogCache(maps.cache);
            QVERIFY(table.count("good|/g") == 1 && table.at("good|/g").displayName.empty());
            QVERIFY2(table.size() == (usable ? 2 : 1), bad.c_str());
        }
        for (const std::string head : {"# map catalog cache v2\n", "# map catalog cache v3\r\n", ""}) {
            maps.writeCache(head + whole.join('\t').toStdString());
            QVERIFY(readCatalogCache(maps.cache).empty());
        }
    }

    void fieldsDecodeLeniently() {
        QCOMPARE(unescapeCacheField("a\\tb\\x\\"), std::string("a\tbx\\"));
        QCOMPARE(escapeCacheField("\\t\t\n\r"), std::string("\\\\t\\t\\n\\r"));
        QVERIFY(hexDecode("4a4B") == "JK" && hexDecode("4") == "" && hexDecode("4g41").empty());
        QVERIFY((decodeHexList("41,zz,") == std::vector<std::string>{"A", "", ""}));
        const MapSlot slot = decodeSlots("1,41,1,35,x,")->at(0);
        QVERIFY(slot.playerId == 0 && slot.isPlayerSlot && slot.locked);
        QVERIFY(decodeOptionValues("41:42;nothing;41:43").at("A") == std::vector<std::string>{"C"});
        QVERIFY(decodeOptionLabels("41=42").at("A") == "B" && decodeUnsigned("-1") == ~std::uint64_t(0));
    }

    void aCacheThatCannotBeWrittenDoesNoHarm() {
        const MapRoot maps;
        maps.addMap("one");
        QVERIFY(platform::writeWholeFile(maps.cache, "a file where the folder should be"));
        QCOMPARE(maps.scanned(), std::string("one "));
        QCOMPARE(maps.cached(), std::string());
        fs::remove(maps.cache);
        fs::create_directories(maps.cache / "map_catalog_cache.json");  // cannot be replaced by a file
        QCOMPARE(maps.scanned(), std::string("one "));
        QCOMPARE(std::distance(fs::directory_iterator(maps.cache), fs::directory_iterator()), std::ptrdiff_t(1));
    }

    // What was listed before the error is not taken for the whole, and what the cache knows of it is kept.
    void aListingThatFailsIsNoListing() {
        const MapRoot maps;
        maps.addMap("one");
        maps.write("two/b.map", "");
        maps.write("two/b.o", "");
        QCOMPARE(maps.scanned(), std::string("one two "));
        MapInfo two = loadCachedCatalog(maps.root, maps.cache)[1];
        failListing("map", 3);
        QCOMPARE(maps.scanned(), std::string());
        failListing("two", 3);
        QCOMPARE(maps.scanned(), std::string("one "));
        failListing("two", 3);
        QVERIFY(!computeMapFingerprint(two, maps.cache));
        failListing(nullptr, 0);
        QCOMPARE(maps.cached(), std::string("one two "));
    }

    void aFailedCloseLeavesTheOldCache() {
        if (!canFailClose()) {
            QSKIP("close cannot be made to fail here");
        }
        const MapRoot maps;
        maps.addMap("one");
        maps.scanned();
        maps.addMap("two");
        failClose(".tmp");
        maps.scanned();
        // However quickly one follows the other, no two writers share a temporary file.
        for (int i = 1; i < 100; ++i) {
            writeCatalogCache(maps.cache, {});
        }
        QCOMPARE(failClose(nullptr), std::size_t(100));
        QCOMPARE(maps.cached(), std::string("one "));
        QCOMPARE(std::distance(fs::directory_iterator(maps.cache), fs::directory_iterator()), std::ptrdiff_t(1));
    }

    // It cannot be read, but its digest is taken once.
    void aFileTooLargeCountsAsUnreadable() {
        const MapRoot maps;
        maps.addMap("large");
        fs::resize_file(maps.root / "large" / "large.map", (128U << 20U) + 1);
        const std::vector<MapInfo> scan = scanMapCatalog(maps.root, maps.cache);
        QVERIFY(scan.size() == 1 && scan[0].slotCount == 1 && scan[0].displayName == "large");
        QCOMPARE(maps.cached(), std::string("large "));
    }

    void fullDiskLeavesTheOldCache() {
        const MapRoot maps;
        fs::create_directories(maps.cache);
        const QStringList folder{QString::fromStdString(platform::pathToUtf8(maps.cache))};
        const QStringList smallDisk = QStringLiteral("-t tmpfs -o size=64k tmpfs").split(QLatin1Char(' '));
        if (QProcess::execute(QStringLiteral("mount"), smallDisk + folder) != 0) {
            QSKIP("no small disk can be mounted here");
        }
        maps.addMap("one");
        maps.scanned();
        maps.addMap("two", "side1_name=\"" + std::string(100'000, 'x') + "\"");
        const bool unharmed = maps.scanned() == "one two " && maps.cached() == "one ";
        const auto files = std::distance(fs::directory_iterator(maps.cache), fs::directory_iterator());
        QProcess::execute(QStringLiteral("umount"), folder);
        QVERIFY(unharmed && files == 1);
    }

    void locatingFiles() {
        for (const auto& [files, found] : kFolders) {
            const MapRoot maps;
            for (const QByteArray& file : QByteArray(files).split(' ')) {
                maps.write("y/" + file.toStdString(), "");
            }
            QCOMPARE(locateMapFile(maps.root / "y", "y", ".map").filename().string(), std::string(found));
        }
    }

    void smallRules() {
        QVERIFY(deriveDisplayName("__--__", "x/Folder") == "Folder" && deriveDisplayName("_a-b_", "x") == "a b");
        QVERIFY(defaultSideName(3, 5) == "蜀国" && defaultSideName(4, 5) == "魏国" && defaultSideName(1, 1) == "蜀国");
        const auto consistent = [](const char* type, bool open, int playerId) {
            return slotsAreConsistent({MapSlot{1, playerId, "", false, type, open, ""}});
        };
        QVERIFY(consistent("7", true, 1) && !consistent("7", true, 0) && !consistent("35", false, 1) &&
                !consistent("32", true, 1) && consistent("05", false, 1));
        const MapRoot maps;
        maps.write("f", "abc");
        const std::int64_t stamp = fileWriteStamp(maps.root / "f");
        QVERIFY(stamp != 0 && fileMatchesRecord(maps.root / "f", 3, stamp) && fileWriteStamp(maps.root / "g") == 0);
        QVERIFY(!fileMatchesRecord(maps.root / "f", 4, stamp) && !fileMatchesRecord(maps.root / "f", 3, stamp + 100));
    }

    void findingARoomsMap() {
        std::vector<MapInfo> catalog(3);
        catalog[0].name = "one";
        catalog[1].name = "two";
        catalog[1].displayName = "二";
        catalog[2].displayName = "一";
        const auto index = [&catalog](const char* id, const char* name) {
            const MapInfo* map = findMapForRoom(catalog, QString::fromUtf8(id), QString::fromUtf8(name));
            return map == nullptr ? -1 : static_cast<int>(map - catalog.data());
        };
        QVERIFY(index("two", "一") == 1 && index("none", "一") == 2 && index("", "") == -1 && index("Two", "") == -1);
        QVERIFY(findMapByName(catalog, QString()) == nullptr &&
                findMapByName(catalog, QStringLiteral("one")) != nullptr);
    }
};

NETPLAY_TEST(CatalogTest);
#include "catalog_test.moc"
