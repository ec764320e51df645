// What the room page shows, as tables. A slot is "number,marks,name,team,label,latency", the marks as in slotsOf().
#include "lobby/shown_text.h"
#include "room/lobby_rules.h"
#include "room/map_option_rows.h"
#include "room/room_signatures.h"
#include "room/room_texts.h"
#include "room/rows.h"
#include "room/slot_table.h"
#include "support/test_registry.h"

namespace {

QStringList cut(const QString& list, char separator) {
    return list.trimmed().split(QLatin1Char(separator), Qt::SkipEmptyParts);
}

QVector<RoomSlot> slotsOf(const QString& list) {
    QVector<RoomSlot> result;
    for (const QString& entry : cut(list, ' ')) {
        const QStringList parts = entry.split(QLatin1Char(','));
        const QString& marks = parts[1];
        result.append({parts[0].toInt(), 0, parts.value(2), parts.value(3), QString(), parts.value(4), has(marks, 'r'),
                       has(marks, 'l'), !has(marks, 's'), has(marks, 'c'), has(marks, 'a'), !has(marks, 'o'),
                       parts.value(5, text("-1")).toInt()});
    }
    return result;
}

// The map's slots | those who sit in them | names => the rows of a room of "Boss", own ones with "*".
const char kSlotRows[] = R"(||ann,bob => 1P:player:ann:未准备:在线 2P:player:bob:未准备:在线
2,,,red,,9 1,|5,o,BOSS 3,,ME,sea 2,r,ann|x => 1P:-:空位 · 等待加入:等待加入: 2P:red:ann:已准备:9 ms *3P:sea:ME:未准备:在线 5P:-:BOSS:房主:离线
7, 1,l 1,,x|7,l,ann 1,,ann| => 1P:-:已关闭:已关闭:在线 1P:-:x:未准备:在线 7P:-:已关闭:已关闭:在线
1,,,Computer,,5 2,c,,,Guard 3,a,bot|| => 1P:Computer:电脑:电脑: 2P:-:Guard:电脑: 3P:-:bot:电脑:
7,s,ann 0,s,,,Wall -1,s|| => 1P:-:不可加入:不可选择: 2P:-:Wall:不可选择: 7P:-:ann:不可选择:在线)";

// The facts (H host, P playing, B busy), a slot => the enabled entries.
const char kMenus[] = R"(H 3, => 换到此槽位 关闭槽位 添加电脑 设为观战槽位
H 3,,ann => 踢人 换房主
H 3,,ME =>
H 3,s => 关闭槽位 打开槽位 添加电脑 设为观战槽位
H 3,l => 打开槽位
H 0, => no menu
- 3, => no menu
HB 3, => no menu
HP 3, => no menu)";

const char kChatLines[] = R"(2026-01-02T13:45:00Z,ann,a %1 b => [13:45] ann: a %1 b
2026-01-02 13:45,%2,<b> => [13:45] %2: <b>
2026-01-02 T3:4,,x => [2026-01-02 T3:4] 系统: x
,a,x => [--:--] a: x)";

}  // namespace

class RoomPageTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void slotRowsAndMenu() {
        RoomInfo room;
        room.host = text("Boss");
        forEachRow(kSlotRows, [&room](const QString& given) {
            room.slotMeta = slotsOf(given.section(QLatin1Char('|'), 0, 0));
            room.playerSlots = slotsOf(given.section(QLatin1Char('|'), 1, 1));
            room.playerNames = cut(given.section(QLatin1Char('|'), 2), ',');
            QString shown;
            for (const SlotRow& row : slotRows(room, text("me"))) {
                shown +=
                    text(row.own ? " *" : " ") + QStringList(row.cells.begin(), row.cells.end()).join(QLatin1Char(':'));
            }
            return shown;
        });
        forEachRow(kMenus, [&room](const QString& given) {
            const RoomSlot slot = slotsOf(given.section(QLatin1Char(' '), 1))[0];
            room.host = has(given, 'H') ? text("Me") : text("ann");
            room.status = has(given, 'P') ? text("PLAYING") : text("waiting");
            const auto entries = slotMenu({room, text("me"), has(given, 'B'), slot.slot, slot.isPlayerSlot,
                                           !slot.name.isEmpty(), slot.locked, slot.name});
            QString enabled;
            for (const SlotMenuEntry& entry : entries) {
                enabled += entry.enabled ? text(" ") + entry.text : QString();
            }
            return entries.isEmpty() ? text(" no menu") : enabled;
        });
    }

    void options() {
        NetPlay::MapInfo map;
        const QString endless = text("x").repeated(kMaxChoiceLength + 1);
        map.optionIds = {"b", "a"};
        map.optionLabels = {{"a", "x"}, {"c", "2"}, {"d", "3"}};
        map.optionValues = {
            {"a", {"x", "y"}}, {"b", {"1", endless.toStdString(), "2"}}, {"c", {"1", "", "1", "2"}}, {"e", {""}}};
        RoomInfo room;
        room.mapOptions = {{text("z"), text("9")}, {text("a"), text("Y")}, {text("c"), {}}, {text("f"), endless}};
        const auto shown = [&room](const NetPlay::MapInfo* known) {
            QStringList rows;
            for (const MapOptionRow& row : mapOptionRows(room, known)) {
                rows += row.key + row.choices.join(QLatin1Char('/')) + QLatin1Char(':') + row.current;
            }
            return rows.join(QLatin1Char(' '));
        };
        QCOMPARE(shown(&map), text("b1/2: ax/y/Y:Y c1/2:2 d3:3 z9:9"));
        QCOMPARE(shown(nullptr), text("aY:Y z9:9"));
    }

    // However many options there are, and marks that turn the direction of what follows in any text of the server.
    void boundsOfWhatIsShown() {
        const QString mark = text("\u202E");
        RoomInfo room;
        for (int option = 0; option <= kMaxMapOptionRows; ++option) {
            room.mapOptions.insert(QString::number(option), text("v"));
        }
        QCOMPARE(mapOptionRows(room, nullptr).size(), kMaxMapOptionRows);
        for (QString* field : {&room.name, &room.host, &room.mode, &room.mapName, &room.players, &room.status}) {
            *field = mark + text("x");
        }
        room.slotMeta = slotsOf(QStringLiteral("1,,%1a,%1b 2,sc,,%1c,%1d").arg(mark));
        const RoomChatMessage message{QString(), mark + text("t"), mark + text("n"), mark + text("m"), QString()};
        QStringList shown = roomRowTexts(room)
                            << roomTitleText(room) << roomSettingsText(room) << roomChatText({message});
        for (const SlotRow& row : slotRows(room, QString())) {
            shown += QStringList(row.cells.begin(), row.cells.end());
        }
        for (const QString& one : shown) {
            QVERIFY2(!one.contains(mark), qPrintable(one));
        }
    }

    void textsAndSignatures() {
        forEachRow(kChatLines, [](const QString& given) {
            const QStringList parts = given.split(QLatin1Char(','));
            return text(" ") + roomChatText({{QString(), parts[0], parts[1], parts[2], QString()}});
        });
        // Only whole pairs, and the newest; no message begins a line of its own.
        QVector<RoomChatMessage> messages(60, {{}, {}, {}, text("😀").repeated(kMaxMessageLength / 2), {}});
        messages += RoomChatMessage{{}, text("\n"), text("a\r"), text("new\n[12:00] b: \uFDD0c"), {}};
        const QString shown = roomChatText(messages);
        QVERIFY(shown.size() <= kMaxChatLength && shown.size() > kMaxChatLength - kMaxMessageLength);
        QVERIFY(shown.endsWith(text("😀\n[ ] a : new [12:00] b:  c")));
        const QString marks = text("e\u0301\u0302\u0303\u0304");
        const QPair<QString, QString> cleaned[] = {
            {marks + text("\u0305\u202E\u0306f\u0301\U0001D167"), marks + text("f\u0301\U0001D167")},
            {text("\u2067a\u200Fb\u061C"), text("ab")},
            {text("a\tb\u2028\u2029\u0085\uFFFCc"), text("a b    c")},
            {text("👩\u200D🚀 1\uFE0F\u20E3"), text("👩\u200D🚀 1\uFE0F\u20E3")}};
        for (const auto& [raw, clean] : cleaned) {
            QCOMPARE(shownText(raw), clean);
        }
        RoomInfo room;
        room.id = text("7");
        room.playerCount = room.maxPlayers = 2;
        QCOMPARE(roomSettingsText(room), text("游戏名称：7\n当前房主：-\n游戏模式：普通战\n地图名称：\n人数：2/2 · 满\n"
                                              "槽位数量：2\n房间状态：等待中"));
        room.mapOptions[text("k")] = text("v");
        room.mapOptionIndexes = {{1, 2}};
        NetPlay::MapInfo map;
        map.optionIds = {"k"};
        map.optionLabels["k"] = "l";
        map.optionValues["k"] = {"v", "w"};
        QCOMPARE(roomSettingsSignature(room, true, &map),
                 text("1:7|0:|0:|0:|0:|0:|0:|0:|0:|2/2/0|1|1:k|1:v|1=2|0:|0:|1:k|1:k|1:l|1:k|1:v|1:w|"));
        room.slotMeta = slotsOf(text("3,rc,ab,T,L,7"));
        room.playerNames = QStringList{text("x|")};
        QCOMPARE(slotTableSignature(room), text("3|0|2:ab|1:T|0:|1:L|1|0|1|1|0|1|7|##2:x||0:|0:|"));
        QCOMPARE(chatSignature({{text("1"), text("t"), {}, text("x"), text("y")}}), text("1|1:1|1:t|0:|1:x|1:y|"));
        room.name = text("房").repeated(kMaxShownLength + 1);
        QCOMPARE(roomTitleText(room), text("自由对战>>%1…(普通战)").arg(room.name.mid(1)));
    }
};

NETPLAY_TEST(RoomPageTest);
#include "room_page_test.moc"
