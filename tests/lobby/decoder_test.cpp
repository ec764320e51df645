#include "lobby/bounds.h"
#include "lobby/json_readers.h"
#include "lobby/room_decoder.h"
#include "support/test_registry.h"

#include <QTest>

#include <random>

// The fuzzer's: aborts where a record breaks a promise.
extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size);

namespace {

const QString kUser = QStringLiteral("alice");

QJsonObject object(const QByteArray& json) {
    return QJsonDocument::fromJson(json).object();
}

template<class... Values>
QString line(const Values&... values) {
    QString text;
    QTextStream stream(&text);
    ((stream << values << '|'), ...);
    return text.chopped(1);
}

// The part of a room that `part` names, its fields in the record's order.
QString shown(const RoomInfo& room, char part) {
    QMap<char, QStringList> lists{{'o', room.playerNames + room.mapOptions.keys() + room.mapOptions.values()}};
    for (const MapOptionIndex& index : room.mapOptionIndexes) {
        lists['o'] += QStringLiteral("%1:%2").arg(index.option).arg(index.value);
    }
    for (const RoomChatMessage& message : room.messages) {
        lists['c'] += message.id + message.time + message.from + message.text + message.type;
    }
    for (const RoomSlot& slot : room.slotMeta + room.playerSlots) {
        const QString texts = slot.name + slot.team + slot.selectType + slot.slotLabel;
        lists['s'] += line(texts, slot.slot, slot.playerId, slot.ready, slot.locked, slot.isPlayerSlot, slot.computer,
                           slot.ai, slot.online, slot.latencyMs);
    }
    const QMap<char, QString> lines{
        {'t', line(room.id, room.name, room.status, room.mode, room.players, room.owner, room.host, room.createdAt)},
        {'m', line(room.mapId, room.mapName, room.mapFile, room.mapFingerprint, room.mapFingerprintAlgo)},
        {'n', line(room.playerCount, room.maxPlayers, room.slotCount, room.isPrivate, room.hasPassword)},
        {'l', line(room.pmHost, room.pmPort, room.sessionId, room.launchDelayMs, room.lobbySlot, room.gameSlot,
                   room.gameUserId)}};
    return lines.value(part, lists[part].join(QLatin1Char('|')));
}

// JSON, as a bool with false and true as fallback, as an int with -7 as fallback, as text; | between, ; at the end.
const char kReaderRows[] =
    R"(true|1|1|1|true;false|0|0|0|false;null|0|1|-7|;[1]|0|1|-7|;-0.0|0|0|0|0;1e-10|0|0|0|0;-1e-8|1|1|0|-1e-08;)"
    R"(-2.9|1|1|-2|-2.9;12.0000000001|1|1|12|12;0.1234567890123456789|1|1|0|0.123456789012346;)"
    R"(2147483648|1|1|2147483647|2147483648;-1e300|1|1|-2147483648|-1e+300;)"
    R"(9223372036854774784|1|1|2147483647|9223372036854774784;9223372036854775808|1|1|2147483647|9.22337203685478e+18;)"
    R"(" Yes "|1|1|-7| Yes ;"1"|1|1|1|1;" oFF"|0|0|-7| oFF;""|0|1|-7|;"-12"|0|1|-12|-12;)"
    R"("2147483648"|0|1|-7|2147483648;"-2147483649"|0|1|-7|-2147483649;"99999999999"|0|1|-7|99999999999)";

// The part of the room that `shown` shows, JSON, and that.
const char kRoomRows[] = R"(t {"id":7} => 7|7|waiting||0/0|||
m {"id":7} => 10078|10078|10078.map||
l {"id":7} => |40001|0|0|0|0|0
t {"name":"","room_name":"r","status":" Playing\t","game_mode":"g","host":"h"} => |r|playing|g|0/0|h|h|
t {"name":"n","room_name":"r","status":"游戏中","mode":"m","owner":"o"} => |n|playing|m|0/0|o|o|
t {"status":" 等待中 ","owner":"o","host":"h","created_at":12,"players":3} => ||waiting||0/0|o|h|
t {"status":" Paused ","created_at":"12","players":"x"} => ||Paused||x|||12
t {"status":"WAITING","player_count":"3","max_players":8} => ||waiting||3/8|||
n {"max_players":8,"has_password":1} => 0|8|8|1|1
n {"max_players":8,"slot_count":9,"has_password":true,"is_private":false} => 0|8|9|0|1
m {"map":"m","map_name":"n","map_fingerprint":"f","map_fingerprint_algo":"a"} => m|n|m.map|f|a
m {"map_name":"n","map_file":"f.map"} => n|n|f.map||
m {"map":"m","map_id":5} => 5|5|5.map||
o {"player_names":["a",null,7,""],"map_options":{"k":1,"l":true},"map_option_indexes":[2,0,1.9,-1]} => a|7|k|l|1|true|0:2|1:0|2:1
o {"map_option_indexes":[[1],[2,3],{"option":-1,"value":1},"x",{"option_index":"4","value_index":2},[1e99,-0.5],{"value":8}]} => 2:3|4:2|2147483647:0|6:8
c {"messages":[{"content":"hi"},{"text":""},{"id":1,"ts":3,"time":2,"from":5,"text":6,"type":7}]} => hichat|13567
s {"slot_meta":[7,{"slot":3,"locked":true,"is_player_slot":true}]} => |3|3|0|1|0|0|0|1|-1
s {"slot_meta":[{"select_type":" 35 "}],"player_slots":[{}]} =>  35 |0|0|0|0|1|0|0|1|-1||0|0|0|0|1|0|0|1|-1
s {"slot_meta":[{"select_type":"6"},{"select_type":6,"is_player_slot":"?"}]} => 6|0|0|0|0|0|0|0|1|-1|6|0|0|0|0|1|0|0|1|-1
s {"slot_meta":[{"slot":2,"game_slot":4},{"slot":2,"game_slot":4,"control_id":9,"player_id":[]}]} => |2|4|0|0|1|0|0|1|-1||2|9|0|0|1|0|0|1|-1
s {"player_slots":[{"name":"a","team":1,"slot_label":"x","player_id":2,"ready":1,"computer":1,"ai":1,"online":0,"latency_ms":9}]} => a1x|0|2|1|0|1|1|1|0|9
l {"pm_host":"p","pm_host_ip":"","pm_port":"1","session_id":-5,"launch_delay_ms":-5} => p|1|0|0|0|0|0
l {"pm_host":"p","pm_host_ip":"i","session_id":5,"launch_delay_ms":6} => i|40001|5|6|0|0|0
l {"pm_launch_slots":[{"name":"ALICE","slot":30}]} => |40001|0|0|22|22|0
l {"player_slots":[{"name":"alice","slot":3}],"pm_launch_slots":[{"name":"alice","slot":4,"game_slot":99}]} => |40001|0|0|4|22|0
l {"player_slots":[{"name":"carol","slot":9},{"name":"alice","slot":-4}]} => |40001|0|0|1|0|0
l {"player_slots":[{"name":"alice","slot":3}],"pm_launch_slots":[{"slot":2,"user_id":8},{"lobby_slot":3,"game_slot":7,"user_id":9}]} => |40001|0|0|3|7|9
l {"pm_launch_slots":[{"name":"x","slot":1,"lobby_slot":2},{"name":"y","slot":"0","user_id":6}]} => |40001|0|0|0|1|6
l {"pm_launch_slots":[{"name":"alice","user_id":0,"game_user_id":4}]} => |40001|0|0|1|1|4)";

const char kReply[] =
    R"({"ok":true,"room":{"id":"1","name":"r","pm_launch_slots":[{"name":"bob","slot":3,"lobby_slot":2,"game_slot":)"
    R"(4,"user_id":9}],"session_id":4,"launch_delay_ms":900,"map_option_indexes":[2,[3,1],{"option":3,"value":1}]},)"
    R"("rooms":[{"id":"2","status":"playing","player_count":2,"max_players":8,"map_options":{"a":"1"},)"
    R"("player_slots":[{"name":"bob","slot":3,"ready":true}],"slot_meta":[{"slot":3,"select_type":"5"}],)"
    R"("messages":[{"text":"hi","ts":5}],"player_names":["bob"]}],"value":[]})";
const char kValues[] =
    R"(null true -1 0.5 -2147483649 4294967297 1e308 "" "4294967297" "bob" [] {} [[-1,1e300],{}] [[[[[[[]]]]]]])";

// Puts values of other types where some of the reply's stand.
QByteArray damaged(std::mt19937& random) {
    const QByteArrayList values = QByteArray(kValues).split(' ');
    QByteArray reply = kReply;
    for (auto count = 1 + random() % 12; count > 0; --count) {
        const int at = reply.indexOf(':', static_cast<int>(random() & 0xFFFF) % reply.lastIndexOf(':')) + 1;
        int end = at;
        for (int depth = 0; depth > 0 || !QByteArray(",}]").contains(reply[end]); ++end) {
            depth += QByteArray("{[").contains(reply[end]) - QByteArray("}]").contains(reply[end]);
        }
        reply.replace(at, end - at, values.at(static_cast<int>(random() & 0xFFFF) % values.size()));
    }
    return reply;
}

}  // namespace

class DecoderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readers() {
        for (const QString& row : QString::fromUtf8(kReaderRows).split(QLatin1Char(';'))) {
            const QString json = row.section(QLatin1Char('|'), 0, 0);
            const QJsonObject holder = object("{\"k\":" + json.toUtf8() + "}");
            const QJsonValue value = holder.value(QLatin1String("k"));
            const int number = jsonInt(holder, QLatin1String("k"), -7);
            QCOMPARE(line(json, jsonBool(value, false), jsonBool(value, true), number, jsonString(value)), row);
        }
    }

    void rooms() {
        for (const QString& row : QString::fromUtf8(kRoomRows).split(QLatin1Char('\n'))) {
            const QByteArray json = row.mid(2).section(QStringLiteral(" => "), 0, 0).toUtf8();
            const QString read = shown(decodeRoom(object(json), kUser), row.at(0).toLatin1());
            QCOMPARE(row.left(2) + QString::fromUtf8(json) + QStringLiteral(" => ") + read, row);
        }
    }

    // Whatever comes, the records keep their promises.
    void damagedReplies() {
        std::mt19937 random(20240501);
        const QtMessageHandler previous = qInstallMessageHandler(nullptr);
        for (int number = 0; number < 1000; ++number) {
            QByteArray reply = damaged(random);
            QVERIFY2(QJsonDocument::fromJson(reply).isObject(), reply);
            LLVMFuzzerTestOneInput(reply.constData(), static_cast<std::size_t>(reply.size()));
            for (int i = 0; i < 3; ++i) {  // in its bytes too
                reply[static_cast<int>(random() & 0xFFFF) % reply.size()] = static_cast<char>(random() & 0xFF);
            }
            LLVMFuzzerTestOneInput(reply.constData(), static_cast<std::size_t>(reply.size()));
        }
        qInstallMessageHandler(previous);
    }

    // More of everything than is read: of messages the last stay, of the rest the first.
    void bounds() {
        QByteArray list;
        QByteArray options;
        for (int i = 0; i < kMaxRooms + 9; ++i) {
            const QByteArray number = QByteArray::number(i);
            list += R"({"id":)" + number + R"(,"text":)" + number + "},";
            options += '"' + number + "\":1,";
        }
        list = '[' + list.chopped(1) + ']';
        options = '{' + options.chopped(1) + '}';
        const QString longText = QStringLiteral("x").repeated(kMaxMessageLength - 1) + QStringLiteral("😀");
        RoomInfo room = decodeRoom(object("{\"player_slots\":" + list + ",\"slot_meta\":" + list +
                                          ",\"messages\":" + list + ",\"map_options\":" + options + "}"),
                                   kUser);
        QVERIFY(room.playerSlots.size() == kMaxSlots && room.slotMeta.size() == kMaxSlots);
        QVERIFY(room.mapOptions.size() == kMaxMapOptions && room.messages.size() == kMaxMessages);
        QCOMPARE(room.messages.last().text, QString::number(kMaxRooms + 8));
        room =
            decodeRoom({{QStringLiteral("messages"), QJsonArray{QJsonObject{{QStringLiteral("text"), longText}}}}}, {});
        QCOMPARE(room.messages[0].text, QString(longText.left(kMaxMessageLength - 1) + QStringLiteral("…")));
        QVector<RoomInfo> rooms = decodeRoomsDocument(QJsonDocument::fromJson(list), kUser);
        QVERIFY(rooms.size() == kMaxRooms && rooms.last().id == QString::number(kMaxRooms - 1));
        // An id counts once, where it comes first.
        rooms = decodeRoomList(object(R"({"rooms":[{"id":7,"name":"a"},{"id":8},{"id":"7","name":"b"}]})"), kUser);
        QVERIFY(rooms.size() == 2 && rooms[0].name == QLatin1String("a") && rooms[1].id == QLatin1String("8"));
    }
};

NETPLAY_TEST(DecoderTest);
#include "decoder_test.moc"
