// The .map parser: its rules as rows, and against the obvious way on made-up files.
#include "maps/map_options.h"
#include "maps/map_reference.h"
#include "maps/map_script.h"
#include "support/test_registry.h"

#include <QTest>

#include <random>

using namespace NetPlay;

namespace {

std::string described(bool (*parse)(std::string_view, MapInfo&), const std::string& bytes) {
    MapInfo map;
    return parse(bytes, map) ? describeMap(map) : "refused";
}

// 魏国 in GBK.
const std::string kWei = "\xCE\xBA\xB9\xFA";

// Pieces that made-up files are put together from: whole keys, halves of keys, and bytes that tear characters apart.
const char kPieces[] =
    "PLAYER_NUM=|PLAYER_MODE_NUM=3\r\n|PLAYER_MODE_NUM=|\n|\r|side1_name|side2_name=\"|side1_num=|side2_num =\t|"
    "bar1_name = \"|bar2_select_type=|bar3_player_id\v=\f|bar03_select_type=5|side|bar|_name|=| |\"|1|2|35|99999999999|"
    "#T#|#T#a#\xBC\xD7|#|@|@2#x#y|@1#z|@02#|@|x|z#|\xCE\xBA\xB9\xFA|\xB1\xB1\xB7\xBD|\xA1\xEF|"
    "\xA1\xEF\xB1\xB1\xB7\xBD\xA1\xEF|\xE9\xAD\x8F|\xE2\x98\x85|\x05|\x01|\0|\x81|\xFE|\xFF|\x80|\xB0|TYPE|BM|"
    "\xEF\xBF\xBD|\xA1\xA1|#T#a#L#T#b#M\n@2#x#y@1#z\xB1\xB1\xB7\xBD\x01";

// A file, and what is read from it.
const std::pair<std::string, const char*> kRows[] = {
    {"", " max 1\n1,1,蜀国,5,open,"},
    {"side1_name=\"魏国\" side1_name=\"吴国\"", " max 1\n1,1,蜀国,5,open,\nside 吴国"},
    {"side1_num=1 side2_num=1 side1_name=\"A\" side2_name=\"B\" PLAYER_NUM=4",
     " max 4\n1,1,A,5,open,\n2,2,B,5,open,\n3,3,魏国,5,open,\n4,4,魏国,5,open,\nside A\nside B"},
    // A full table of types closes what it leaves out, an unknown type opens it.
    {"bar2_select_type=5", " max 1\n1,1,蜀国,0,closed,\n2,2,魏国,5,open,"},
    {"bar2_select_type=9", " max 1\n1,1,蜀国,5,open,\n2,2,魏国,9,closed,"},
    {"bar02_select_type=05 bar2_player_id=7", " max 1\n1,1,蜀国,5,open,\n2,7,魏国,05,closed,"},
    {"PLAYER_NUM=2 PLAYER_NUM=1", " max 2\n1,1,蜀国,5,open,\n2,2,魏国,5,open,"},
    {"side1_num=2147483648", "refused"},
    {"PLAYER_NUM=65537", "refused"},
    // Code page 936 as a whole, and a quote torn from its character.
    {"side1_name=\"" + kWei + "\"\xB0", " max 1\n1,1,蜀国,5,open,\nside 魏国"},
    {"bar1_name=\"\xB0\"x\" \xFF", " max 1\n1,1,蜀国,5,open,?x"},
    // Options, and the title between stars or, first of all, behind the values.
    {"#T#a#甲选项#T#b#乙选项#T#\n@2#x#y@1#z", " max 1\n1,1,蜀国,5,open,\noption a=甲选项: x y\noption b=乙选项: z"},
    {"#T#a#甲#T#b#乙\n@1#x", " max 1\n1,1,蜀国,5,open,\noption a=甲: x"},
    {"PLAYER_MODE_NUM=2\r\n★abc★", "★abc★ max 1\n1,1,蜀国,5,open,"},
    {"PLAYER_MODE_NUM=2\n★甲★\x05#T#a#L\n@1#x\n@1#x北方之战\n", "北方之战 max 1\n1,1,蜀国,5,open,\noption a=L: x"},
    // An overlong "@" becomes one when the text is cleaned.
    {"#T#a#L\n@1#x\n@1#x北\xC1\x80\xC1\x80 1#北方之战\n", "北方之战 max 1\n1,1,蜀国,5,open,\noption a=L: x"}};

}  // namespace

class MapScriptTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rows() {
        for (const auto& [bytes, expected] : kRows) {
            QCOMPARE(QString::fromStdString(described(parseMap, bytes)), QString::fromUtf8(expected));
            QCOMPARE(described(referenceParse, bytes), std::string(expected));
        }
    }

    void agreesWithTheObviousWay() {
        const QByteArrayList all = QByteArray(kPieces, sizeof kPieces - 1).split('|');
        std::mt19937 random(20'240'917);
        for (int round = 0; round < 3000; ++round) {
            std::string bytes;
            for (auto pieces = 1 + random() % 40; pieces > 0; --pieces) {
                bytes += all[static_cast<int>(random() & 0xFFFF) % all.size()].toStdString();
            }
            if (random() % 8 == 0) {
                bytes.insert(random() % (bytes.size() + 1), std::string(random() % 700, "x\xB0"[random() % 2]));
            }
            QVERIFY2(described(parseMap, bytes) == described(referenceParse, bytes),
                     QByteArray::fromStdString(bytes).toHex());
        }
    }

    // With quadratic work this would not end within the program's time limit.
    void bigHostileFilesAreRead() {
        for (const QByteArray piece :
             {"side1_name=\"", "side1_num ", "bar1_name=\"\xB0\"", "@1#", "@1#x", "@1#x\xB1\xB1", "\xB0side1_", "#T#",
              "#T#a#b", "\"", "\xB0", "\xA1\xEF", "\x81", "PLAYER_MODE_NUM=1\n", "1", " ", "@"}) {
            const QByteArray body = piece.repeated(250'000 / piece.size());
            for (const QByteArray head : {"", "#T#a#L#T#b#M\n@1#x@1#x", "PLAYER_MODE_NUM=1\n#T#a#L@1#x"}) {
                QVERIFY(!described(parseMap, (head + body).toStdString()).empty());
                QVERIFY(!described(parseMap, (head + body + "\x01\xFF").toStdString()).empty());
            }
        }
        const QByteArray lists = "#T#a#L\n@1#x\n" + QByteArray("@1#x").repeated(250'000);
        const QByteArray behind = QString(250'000, QChar(0x5730)).toUtf8();
        QCOMPARE(described(parseMap, (lists + behind + "\n").toStdString()),
                 std::string(" max 1\n1,1,蜀国,5,open,\noption a=L: x"));
    }

    void aStopEndsParsing() {
        std::stop_source source;
        source.request_stop();
        MapInfo map;
        parseMapBytes("PLAYER_NUM=4 PLAYER_MODE_NUM=2\n★甲★\x05", map, source.get_token());
        QVERIFY(map.displayName.empty() && map.slotCount == 1);
    }

    void optionsAreMergedIntoARecord() {
        MapInfo map;
        for (const char* bytes : {"#T#a#L#T#b#M\n@1#x@1#y", "#T#a#L\n@1#z", "#T#c#N\n@1#v"}) {
            QVERIFY(parseMap(bytes, map));
        }
        QCOMPARE(QString::fromStdString(describeMap(map)),
                 QStringLiteral(" max 1\n1,1,蜀国,5,open,\noption a=L: z\noption b=M: y\noption c=N: v"));
    }

    // More than any map needs, in a few bytes.
    void hugeScriptsAreRefused() {
        const std::string name(900, 'x');
        QCOMPARE(described(parseMap, "PLAYER_NUM=65536 side1_num=65536 side1_name=\"" + name + "\""),
                 std::string("refused"));
        QVERIFY(described(parseMap, "PLAYER_NUM=5000 side1_num=5000 side1_name=\"甲\"") != "refused");
        QString sides;
        for (int i = 0; i < 10'001; ++i) {
            sides += QStringLiteral("side%1_name=\"x\"").arg(i);
        }
        QCOMPARE(described(parseMap, sides.toStdString()), std::string("refused"));
    }

    void titlesAndTokens() {
        const std::string longest = QString(80, QChar(0x5730)).toStdString();
        for (const std::string& title : std::vector<std::string>{"北方之战", "★abc★", longest}) {
            QVERIFY2(isPlausibleMapTitle(title), title.c_str());
        }
        for (const std::string& title : std::vector<std::string>{"Plains", "地图TYPE", "地#图", longest + "x"}) {
            QVERIFY2(!isPlausibleMapTitle(title), title.c_str());
        }
        QVERIFY(isCleanToken("二十四", 3) && !isCleanToken("二十四", 2) && !isCleanToken("", 5));
        QVERIFY(!isCleanToken(std::string_view("a\0b", 3), 5));
        const MapOptionHeader header =
            parseOptionHeader("#T#" + std::string(25, 'x') + "#l#T#only#T#a#first#T#a#second#more");
        QVERIFY(header.ids == std::vector<std::string>{"a"} && header.labels.at("a") == "first");
    }
};

NETPLAY_TEST(MapScriptTest);
#include "map_script_test.moc"
