// The .map parser: its rules as rows, and against the obvious way on made-up files.
#include "maps/map_options.h"
#include "maps/map_records.h"
#include "maps/map_reference.h"
#include "maps/map_script.h"
#include "maps/map_text.h"
#include "platform/files.h"
#include "support/test_registry.h"

#include <QTemporaryDir>
#include <QTest>

#include <random>

using namespace NetPlay;

namespace {

std::string describe(const MapInfo& map) {
    std::string text = map.displayName + " max " + std::to_string(map.maxPlayers);
    for (const MapSlot& slot : map.slots) {
        text += "\n" + std::to_string(slot.slot) + "," + std::to_string(slot.playerId) + "," + slot.team + "," +
                slot.selectType + "," + (slot.isPlayerSlot ? "open," : "closed,") + slot.slotLabel;
    }
    for (const std::string& side : map.sides) {
        text += "\nside " + side;
    }
    for (const std::string& id : map.optionIds) {
        text += "\noption " + id + "=" + map.optionLabels.at(id) + ":";
        for (const std::string& value : map.optionValues.at(id)) {
            text += " " + value;
        }
    }
    return text;
}

std::string parsed(const std::string& bytes) {
    MapInfo map;
    try {
        const MapText text(bytes);
        const MapScriptData data = parseMapScript(text);
        map.maxPlayers = data.playerSlotCount;
        map.slots = data.slots;
        map.sides = data.sides;
        readTitleAndOptions(text, map);
        return describe(map);
    } catch (const MapFormatError& error) {
        return error.what();
    }
}

std::string referenceParsed(const std::string& bytes) {
    MapInfo map;
    try {
        referenceParse(bytes, map);
        return describe(map);
    } catch (const std::exception&) {
        return "stoi argument out of range";
    }
}

// GBK: 魏国, 吴国, ★, 北方.
const std::string kWei = "\xCE\xBA\xB9\xFA";
const std::string kStarGbk = "\xA1\xEF";
const std::string kNorth = "\xB1\xB1\xB7\xBD";

// Pieces that made-up files are put together from: whole keys, halves of keys, and bytes that tear characters apart.
const std::vector<std::string> kPieces{"PLAYER_NUM=",
                                       "PLAYER_MODE_NUM=3\r\n",
                                       "PLAYER_MODE_NUM=",
                                       "\n",
                                       "\r",
                                       "side1_name",
                                       "side2_name=\"",
                                       "side1_num=",
                                       "side2_num =\t",
                                       "bar1_name = \"",
                                       "bar2_select_type=",
                                       "bar3_player_id\v=\f",
                                       "bar03_select_type=5",
                                       "side",
                                       "bar",
                                       "_name",
                                       "=",
                                       " ",
                                       "\"",
                                       "1",
                                       "2",
                                       "35",
                                       "99999999999",
                                       "#T#",
                                       "#T#a#\xBC\xD7",
                                       "#",
                                       "@",
                                       "@2#x#y",
                                       "@1#z",
                                       "@02#",
                                       "@",
                                       "x",
                                       "z#",
                                       kWei,
                                       kNorth,
                                       kStarGbk,
                                       kStarGbk + kNorth + kStarGbk,
                                       "\xE9\xAD\x8F",
                                       "\xE2\x98\x85",
                                       "\x05",
                                       "\x01",
                                       std::string(1, '\0'),
                                       "\x81",
                                       "\xFE",
                                       "\xFF",
                                       "\x80",
                                       "\xB0",
                                       "TYPE",
                                       "BM",
                                       "\xEF\xBF\xBD",
                                       "\xA1\xA1",
                                       "#T#a#L#T#b#M\n@2#x#y@1#z" + kNorth + "\x01"};

}  // namespace

class MapScriptTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rows_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const std::string& bytes, const char* expected) {
            QTest::newRow(name) << QByteArray::fromStdString(bytes) << QString::fromUtf8(expected);
        };
        row("nothing in it", "", " max 1\n1,1,蜀国,5,open,");
        row("later side name replaces", "side1_name=\"魏国\" side1_name=\"吴国\"",
            " max 1\n1,1,蜀国,5,open,\nside 吴国");
        row("sides end to end", "side1_num=1 side2_num=1 side1_name=\"A\" side2_name=\"B\" PLAYER_NUM=4",
            " max 4\n1,1,A,5,open,\n2,2,B,5,open,\n3,3,魏国,5,open,\n4,4,魏国,5,open,\nside A\nside B");
        row("a full table closes what it leaves out", "bar2_select_type=5",
            " max 1\n1,1,蜀国,0,closed,\n2,2,魏国,5,open,");
        row("an unknown type opens it", "bar2_select_type=9", " max 1\n1,1,蜀国,5,open,\n2,2,魏国,9,closed,");
        row("numbers count by value", "bar02_select_type=05 bar2_player_id=7",
            " max 1\n1,1,蜀国,5,open,\n2,7,魏国,05,closed,");
        row("first player number counts", "PLAYER_NUM=2 PLAYER_NUM=1", " max 2\n1,1,蜀国,5,open,\n2,2,魏国,5,open,");
        row("number too large", "side1_num=2147483648", "stoi argument out of range");
        row("too many slots", "PLAYER_NUM=65537", "stoi argument out of range");
        row("code page 936 as a whole", "side1_name=\"" + kWei + "\"\xB0", " max 1\n1,1,蜀国,5,open,\nside 魏国");
        row("a quote torn from its character", "bar1_name=\"\xB0\"x\" \xFF", " max 1\n1,1,蜀国,5,open,?x");
        row("options", "#T#a#甲选项#T#b#乙选项#T#\n@2#x#y@1#z",
            " max 1\n1,1,蜀国,5,open,\noption a=甲选项: x y\noption b=乙选项: z");
        row("options without values vanish", "#T#a#甲#T#b#乙\n@1#x", " max 1\n1,1,蜀国,5,open,\noption a=甲: x");
        row("title between stars", "PLAYER_MODE_NUM=2\r\n★abc★", "★abc★ max 1\n1,1,蜀国,5,open,");
        row("title behind the values wins", "PLAYER_MODE_NUM=2\n★甲★\x05#T#a#L\n@1#x\n@1#x北方之战\n",
            "北方之战 max 1\n1,1,蜀国,5,open,\noption a=L: x");
    }
    void rows() {
        QFETCH(const QByteArray, bytes);
        const std::string result = parsed(bytes.toStdString());
        QTEST(QString::fromStdString(result), "expected");
        QCOMPARE(QString::fromStdString(referenceParsed(bytes.toStdString())), QString::fromStdString(result));
    }

    void agreesWithTheObviousWay() {
        std::mt19937 random(20'240'917);
        for (int round = 0; round < 3000; ++round) {
            std::string bytes;
            const auto pieces = 1 + random() % 40;
            for (std::size_t i = 0; i < pieces; ++i) {
                bytes += kPieces[random() % kPieces.size()];
            }
            if (random() % 8 == 0) {
                bytes.insert(random() % (bytes.size() + 1), std::string(random() % 700, "x\xB0"[random() % 2]));
            }
            const std::string result = parsed(bytes);
            const std::string wanted = referenceParsed(bytes);
            if (result != wanted) {
                qWarning("round %d: %s", round, QByteArray::fromStdString(bytes).toHex().constData());
                QCOMPARE(QString::fromStdString(result), QString::fromStdString(wanted));
            }
        }
    }

    // With quadratic work none of these would come back within the program's time limit.
    void bigHostileFilesAreRead_data() {
        QTest::addColumn<QByteArray>("piece");
        QTest::addColumn<QByteArray>("head");
        const QByteArray options = "#T#a#L#T#b#M\n@1#x@1#x";
        for (const char* piece :
             {"side1_name=\"", "side1_num ", "bar1_name=\"\xB0\"", "@1#", "@1#x", "@1#x\xB1\xB1", "\xB0side1_", "#T#",
              "#T#a#b", "\"", "\xB0", "\xA1\xEF", "\x81", "PLAYER_MODE_NUM=1\n", "1", " ", "@"}) {
            QTest::addRow("%s", QByteArray(piece).toHex().constData()) << QByteArray(piece) << QByteArray();
            QTest::addRow("%s behind options", QByteArray(piece).toHex().constData()) << QByteArray(piece) << options;
            QTest::addRow("%s behind an open header", QByteArray(piece).toHex().constData())
                << QByteArray(piece) << QByteArray("PLAYER_MODE_NUM=1\n#T#a#L@1#x");
        }
    }
    void bigHostileFilesAreRead() {
        QFETCH(const QByteArray, piece);
        QFETCH(const QByteArray, head);
        const QByteArray body = piece.repeated(250'000 / piece.size());
        for (const char* end : {"", "\x01\xFF"}) {
            const std::string result = parsed((head + body + end).toStdString());
            QVERIFY(!result.empty());
        }
    }

    void titles_data() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("plausible");
        QTest::newRow("Chinese") << QStringLiteral("北方之战") << true;
        QTest::newRow("a star is enough") << QStringLiteral("★abc★") << true;
        QTest::newRow("Latin alone") << QStringLiteral("Plains") << false;
        QTest::newRow("chunk mark") << QStringLiteral("地图TYPE") << false;
        QTest::newRow("80 characters") << QString(80, QChar(0x5730)) << true;
        QTest::newRow("81 characters") << QString(81, QChar(0x5730)) << false;
        QTest::newRow("field mark") << QStringLiteral("地#图") << false;
    }
    void titles() {
        QFETCH(const QString, title);
        QTEST(isPlausibleMapTitle(title.toStdString()), "plausible");
    }

    void tokensAreCountedInCharacters() {
        QVERIFY(isCleanToken("二十四", 3) && !isCleanToken("二十四", 2) && !isCleanToken("", 5));
        QVERIFY(!isCleanToken(std::string_view("a\0b", 3), 5));
        const MapOptionHeader header =
            parseOptionHeader("#T#" + std::string(25, 'x') + "#l#T#only#T#a#first#T#a#second#more");
        QVERIFY(header.ids == std::vector<std::string>{"a"} && header.labels.at("a") == "first");
    }
};

NETPLAY_TEST(MapScriptTest);
#include "map_script_test.moc"
