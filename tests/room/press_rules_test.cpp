// Who may press what, as tables. A room is written "status players/capacity owner,host | name[+ready],... | computers".
#include "room/lobby_rules.h"
#include "room/room_rules.h"
#include "room/rows.h"
#include "support/test_registry.h"

namespace {

RoomInfo roomOf(const QString& text) {
    const QStringList parts = text.split(QLatin1Char('|'));
    const QStringList head = parts[0].trimmed().split(QLatin1Char(' '));
    RoomInfo room;
    room.id = QStringLiteral("7");
    room.status = head[0];
    room.playerCount = head[1].section(QLatin1Char('/'), 0, 0).toInt();
    room.maxPlayers = head[1].section(QLatin1Char('/'), 1).toInt();
    room.owner = head.value(2).section(QLatin1Char(','), 0, 0);
    room.host = head.value(2).section(QLatin1Char(','), 1);
    for (QString name : parts[1].trimmed().split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        RoomSlot slot;
        slot.slot = room.playerSlots.size() + 1;
        slot.ready = name.endsWith(QLatin1Char('+'));
        slot.name = name.remove(QLatin1Char('+'));
        room.playerSlots.append(slot);
    }
    for (const QChar kind : parts.value(2).trimmed()) {  // c, a, t: marked in one of three ways; x: closed
        RoomSlot slot;
        slot.computer = kind == QLatin1Char('c') || kind == QLatin1Char('x');
        slot.ai = kind == QLatin1Char('a');
        slot.team = kind == QLatin1Char('t') ? QStringLiteral("Computer") : QString();
        slot.locked = kind == QLatin1Char('x');
        room.slotMeta.append(slot);
    }
    return room;
}

// facts => what "me" sees of the room page. The facts: o online, m in the room, b busy, c a chat text is
// typed. A button is "(text)" when disabled, "-" when hidden; behind "!" the tooltip.
const char kRoomRows[] = R"(om waiting 2/8 me,me|me,you+| => 退出房间 - 开始游戏 - chat
om waiting 2/8 me,me|me+,you| => 退出房间 - (开始游戏)!还有玩家未准备：you - chat
omc waiting 3/8 A,ME|me,a,b,c+| => 退出房间 - (开始游戏)!还有玩家未准备：a, b - send
om waiting 1/8 me,me|me|x => 退出房间 - (开始游戏)!至少需要两名玩家才能开始。 - chat
om waiting 1/8 me,me|me|cat => 退出房间 - 开始游戏 - chat
omb waiting 2/8 me,me|me,you+| => (退出房间) - (开始游戏) - -
m waiting 2/8 me,me|me,you+| => 退出房间 - (开始游戏) - -
o waiting 2/8 me,me|me,you+| => 退出房间 - (开始游戏) - -
om waiting 2/8 you,you|you,me| => 退出房间 准备 - - chat
om waiting 2/8 you,you|you,ME+| => (退出房间)!已准备时不能退出，先取消准备。 取消准备 - - chat
om waiting 2/8|me,you+| => 退出房间 - 开始游戏 - chat
om waiting 2/8|you,me| => 退出房间 准备 - - chat
om PLAYING 2/8 you,you|you,me+| => 返回大厅 - - (游戏中) chat
om playing 2/8 me,me|me,you+| => 返回大厅 - (游戏中) - chat)";

// facts => the lobby's buttons. The facts: o online, b busy, k maps are known, s the room is selected.
const char kLobbyRows[] = R"(oks waiting 1/2 a,a|a => all ＋ 创建游戏 join
os waiting 1/2 a,a|a => most 地图加载中... join
ok waiting 1/2 a,a|a => all ＋ 创建游戏 -
obks waiting 1/2 a,a|a => none ＋ 创建游戏 -
ks waiting 1/2 a,a|a => none ＋ 创建游戏 -
oks Playing 1/2 a,a|a => all ＋ 创建游戏 -房间游戏中，无法进入
oks waiting 2/2 a,a|a,b => all ＋ 创建游戏 -该房间已满员
oks waiting 2/2 a,a|a,ME => all ＋ 创建游戏 join
oks waiting 5/0 a,a|a => all ＋ 创建游戏 join)";

const QString kMe = QStringLiteral("me");

}  // namespace

class PressRulesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void roomPage() {
        forEachRow(kRoomRows, [](const QString& row) {
            const QString facts = row.section(u' ', 0, 0);
            const RoomButtons buttons =
                roomButtons({roomOf(row.section(u' ', 1)), kMe, has(facts, 'o'), has(facts, 'm'), has(facts, 'b'),
                             text(has(facts, 'c') ? " hi " : "  ")});
            QString shown;
            for (const RoomButton& button : {buttons.leave, buttons.ready, buttons.start, buttons.launch}) {
                const QString tip = button.tip.isEmpty() ? QString() : u'!' + button.tip;
                const QString label = button.enabled ? button.text : u'(' + button.text + u')';
                shown += u' ' + (button.visible ? label + tip : text("-"));
            }
            return QString(shown + text(buttons.sendChat ? " send" : buttons.chatEdit ? " chat" : " -"));
        });
    }

    void lobbyPage() {
        forEachRow(kLobbyRows, [](const QString& row) {
            const QString facts = row.section(u' ', 0, 0);
            const RoomInfo room = roomOf(row.section(u' ', 1));
            const LobbyButtons buttons = lobbyButtons(
                {has(facts, 'o'), has(facts, 'b'), has(facts, 'k'), has(facts, 's') ? &room : nullptr, kMe});
            const int enabled = buttons.refresh + buttons.logout + buttons.createRoom;
            return QString(text(enabled == 3   ? " all "
                                : enabled == 2 ? " most "
                                               : " none ") +
                           buttons.createRoomText + text(buttons.join ? " join" : " -") + buttons.joinTip);
        });
    }

    // Where a room names nobody its host sits in slot 1, or at the server's word.
    void hostOfARoomThatNamesNone() {
        RoomInfo room = roomOf(QStringLiteral("waiting 2/8|you,me|"));
        QVERIFY(!isRoomHost(room, kMe) && isRoomHost(room, QStringLiteral("you")));
        room.lobbySlot = 1;
        QVERIFY(isRoomHost(room, kMe));
    }

    void startOutsideARoom() {
        QString message;
        QVERIFY(!canStartRoom(RoomInfo(), false, kMe, &message) && !canStartRoom(RoomInfo(), true, kMe, nullptr));
        QCOMPARE(message, QStringLiteral("请先进入房间。"));
    }

    void rowsAndFilter() {
        RoomInfo room = roomOf(QStringLiteral("Paused 3/3 Boss,Host|Zoë,"));
        room.name = QStringLiteral("<b>房间</b>");
        room.mapId = QStringLiteral("10078");
        room.isPrivate = true;
        const QStringList texts{QStringLiteral("🔒 <b>房间</b>"), QStringLiteral("Paused"), QStringLiteral("3/3 · 满"),
                                room.mapId};
        QCOMPARE(roomRowTexts(room), texts);
        for (const char* hit : {"", "  ", " zoË ", "paused", "BOSS", "7 <b>", "10078"}) {
            QVERIFY2(roomMatchesFilter(room, QString::fromUtf8(hit)), hit);
        }
        QVERIFY(!roomMatchesFilter(room, QStringLiteral("游戏中")));
    }

    void signatureTellsRoomsApart() {
        const RoomInfo room = roomOf(QStringLiteral("waiting 1/8 a,b|c"));
        const QString before = roomTableSignature({room}, QString(), QString());
        RoomInfo chatted = room;
        chatted.messages.append(RoomChatMessage());
        chatted.playerSlots.clear();
        QCOMPARE(roomTableSignature({chatted}, QString(), QString()), before);
        RoomInfo moved = room;
        moved.owner = QStringLiteral("a|");  // a separator inside a text
        RoomInfo fuller = room;
        fuller.playerCount = 2;
        for (const RoomInfo& other : {moved, fuller}) {
            QVERIFY(roomTableSignature({other}, QString(), QString()) != before);
        }
        QVERIFY(roomTableSignature({room}, QStringLiteral("w"), QString()) != before);
        QVERIFY(roomTableSignature({room}, QString(), QStringLiteral("7")) != before);
    }
};

NETPLAY_TEST(PressRulesTest);
#include "press_rules_test.moc"
