// What each operation sends, and what replies of every sort, also those that no honest server sends, become.
#include "lobby/access_manager.h"
#include "lobby/lobby_client.h"
#include "lobby/lobby_health.h"
#include "support/scripted_server.h"
#include "support/test_registry.h"

#include <QChildEvent>
#include <QFile>
#include <QHostInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QProcess>
#include <QSslKey>
#include <QTemporaryDir>
#include <QTest>
#include <QTestEventLoop>
#include <QTimer>

namespace {

// A client, signed in to a scripted server as "bob" with the token "t", and what it emitted since: one line a signal,
// its name and its arguments, rooms by their ids.
struct Player {
    Script answer{"HTTP/1.1 200 OK\r\nSet-Cookie: a=b\r\nConnection: close\r\nContent-Length: 36\r\n\r\n"
                  R"({"auth_token":"t","username":"bob"} )"};
    ScriptedServer server;
    std::unique_ptr<LobbyClient> client;
    QStringList lines;
    QTestEventLoop emitted;

    explicit Player(const Script& nextAnswer = ScriptedServer::reply("{}"))
        : server([this](const auto&) { return answer; }), client(std::make_unique<LobbyClient>(server.url())) {
        watch("login", &LobbyClient::loginResult);
        watch("rooms", &LobbyClient::roomsUpdated);
        watch("detail", &LobbyClient::roomDetailUpdated);
        watch("action", &LobbyClient::actionResult);
        watch("created", &LobbyClient::roomCreated);
        watch("roomAction", &LobbyClient::roomActionResult);
        watch("heartbeat", &LobbyClient::heartbeatResult);
        client->login(QStringLiteral("Bob"), QStringLiteral("secret"));
        await(1);
        lines.clear();
        server.requests.clear();
        answer = nextAnswer;
    }
    template<class... Arguments>
    void watch(const char* name, void (LobbyClient::*signal)(Arguments...)) {
        QObject::connect(client.get(), signal, [this, name](const Arguments&... arguments) {
            lines += QStringList{QString::fromLatin1(name), text(arguments)...}.join(QLatin1Char('|'));
            emitted.exitLoop();
        });
    }
    static QString text(bool ok) { return ok ? QStringLiteral("ok") : QStringLiteral("failed"); }
    static QString text(const QString& text) { return text; }
    static QString text(const RoomInfo& room) { return room.id; }
    static QString text(const QVector<RoomInfo>& rooms) {
        QStringList ids;
        std::transform(rooms.begin(), rooms.end(), std::back_inserter(ids), [](const auto& room) { return room.id; });
        return ids.join(QLatin1Char(','));
    }

    // Runs the event loop until there are `count` lines, at most 20 seconds for each.
    bool await(int count) {
        while (lines.size() < count && !emitted.timeout()) {
            emitted.enterLoop(20);
        }
        return lines.size() >= count;
    }
    void call(const QByteArray& operation, const QString& id = QStringLiteral("7")) {
        using std::placeholders::_1;
        const QString carol = QStringLiteral("Carol");
        const QString password = QStringLiteral("p\"w");
        const QJsonObject extra{{QStringLiteral("username"), 1}};
        const QMap<QByteArray, std::function<void(const QString&)>> calls{
            {"login", std::bind(&LobbyClient::login, client.get(), carol, password)},
            {"register", std::bind(&LobbyClient::registerAccount, client.get(), carol, password)},
            {"logout", std::bind(&LobbyClient::logout, client.get())},
            {"rooms", std::bind(&LobbyClient::fetchRooms, client.get())},
            {"create", std::bind(&LobbyClient::createRoom, client.get(), CreateRoomRequest())},
            {"detail", std::bind(&LobbyClient::fetchRoomDetail, client.get(), _1)},
            {"leave", std::bind(&Player::leave, this, _1)},
            {"heartbeat", std::bind(&LobbyClient::sendHeartbeat, client.get(), _1, extra)}};
        const QString action = QString::fromLatin1(operation);
        calls.value(operation, std::bind(&LobbyClient::roomAction, client.get(), _1, action, extra))(id);
    }
    void leave(const QString& id) {
        // Only a server that says nothing is left before it has had its time.
        const int timeoutMs = answer.bytes.isEmpty() ? 0 : 30'000;
        lines += client->leaveRoomBlocking(id, timeoutMs) ? QStringLiteral("left") : QStringLiteral("not left");
    }
};

// Operation -> method, path and body.
const QMap<QByteArray, QByteArray> kRequests{
    {"login", R"(POST /api/lobby/login {"password":"p\"w","username":"Carol"})"},
    {"register", R"(POST /api/lobby/register {"password":"p\"w","username":"Carol"})"},
    {"logout", R"(POST /api/lobby/logout {"auth_token":"t","username":"bob"})"},
    {"rooms", "GET /api/lobby/rooms "},
    {"detail", R"(POST /api/lobby/rooms/7/detail {"auth_token":"t","player_name":"bob","username":"bob"})"},
    {"leave", R"(POST /api/lobby/rooms/7/leave {"auth_token":"t","player_name":"bob","username":"bob"})"},
    {"kick", R"(POST /api/lobby/rooms/7/kick {"auth_token":"t","player_name":"bob","username":1})"},
    {"heartbeat",
     R"(POST /api/lobby/rooms/7/heartbeat {"auth_token":"t","client_state":"room","player_name":"bob","username":1})"},
    {"create",
     R"(POST /api/lobby/rooms {"auth_token":"t","room":{"map_file":"10078.map","map_id":"10078","map_name":"10078",)"
     R"("max_players":2,"name":"Local Room","player_slots":[{"name":"bob","ready":true,"slot":1}],)"
     R"("slot_count":2},"username":"bob"})"}};

const char kWholeRoom[] =
    R"({"auth_token":"t","room":{"map_file":"m.map","map_fingerprint":"n","map_fingerprint_algo":"sha256-map-o-v1",)"
    R"("map_id":"m","map_name":"n","map_option_indexes":[{"option":3,"value":1}],"map_options":{"k":"v"},)"
    R"("max_players":22,"mode":"n","name":"n","password":"n","player_slots":[{"name":"bob","ready":true,"slot":4}],)"
    R"("slot_count":30,"slot_meta":[{"ai":true,"computer":true,"control_id":9,"is_player_slot":true,"locked":true,)"
    R"("player_id":9,"select_type":"","slot":3,"slot_label":"","team":""},{"control_id":4,"is_player_slot":true,)"
    R"("locked":false,"player_id":4,"select_type":"t","slot":4,"slot_label":"t","team":"t"}]},"username":"bob"})";

struct AnswerRow {
    const char* operation;
    Script answer;
    const char* emitted;  // one line a signal; %1 stands for the address asked
    const char* session = "t bob";
};

Script reply(const QByteArray& body, const QByteArray& status = "200 OK") {
    return ScriptedServer::reply(body, status);
}

Script raw(const QByteArray& bytes, bool closes = false) {
    return {"HTTP/1.1 200 OK\r\n" + bytes, closes};
}

QVector<AnswerRow> answerRows() {
    const auto challenge = [](const char* scheme) {
        return reply(R"({"error":"who?"})", QByteArray("401 Oops\r\nWWW-Authenticate: ") + scheme);
    };
    const char* const oops = "rooms||Error transferring %1 - server replied: Oops";
    const QByteArray large = R"({"error":"auth"})" + QByteArray(9 << 20, ' ');
    const QByteArray zlib = qCompress(large).mid(4);  // Qt puts the size before it
    const QByteArray zlibHead = "Content-Encoding: deflate\r\nContent-Length: " + QByteArray::number(zlib.size());
    const QByteArray brokenGzip = QByteArray::fromHex("1f8b08000000000000ff3f3f");
    return {
        {"login", reply(R"({"auth_token":"n"})"), "login|ok|login ok (HTTP plaintext)", "n Carol"},
        {"register", reply(R"({"auth_token":"n","username":"c"})"), "login|ok|register ok (HTTP plaintext)", "n c"},
        {"login", reply(R"({"auth_token":123})"), "login|failed|登录失败:缺少 auth_token"},
        {"register", reply("[]"), "login|failed|register failed: missing auth_token"},
        {"logout", reply("{}"), ""},
        {"rooms", reply(R"([{"id":"a"},null])"), "rooms|a|"},
        {"rooms", reply(R"({"rooms":[{"id":""},{"id":[]},5,{"id":2},{"id":"b"}],"value":[{"id":"c"}]})"), "rooms|2,b|"},
        {"rooms", reply(R"({"rooms":{"id":"a"},"value":[{"id":"c"}]})"), "rooms|c|"},
        {"detail", reply(R"({"room":{"id":7}})"), "detail|ok|7|"},
        {"detail", reply(R"({"room":{"name":"x"}})"), "detail|failed||房间详情为空"},
        {"detail", reply(R"({"ok":false,"error":"e","room":{"id":7}})"), "detail|failed||e"},
        {"kick", reply(R"({"room":{"id":7},"rooms":[{"id":8}]})"), "action|kick|ok|操作成功\nroomAction|kick|ok|7|8|"},
        {"kick", reply(R"({"ok":0,"error":"e","room":{"id":7}})"), "action|kick|failed|e\nroomAction|kick|failed|||e"},
        {"create", reply(R"({"room":{"id":3},"rooms":[{"id":1}]})"), "action|create|ok|房间已创建\ncreated|ok|3|1|"},
        {"create", reply(R"({"rooms":[{"id":"1"},{"id":2}]})"), "action|create|ok|房间已创建\ncreated|ok|1|1,2|"},
        {"create", reply(R"({"ok":true})"),
         "action|create|failed|创建成功但缺少房间信息\ncreated|failed|||创建成功但缺少房间信息"},
        {"create", reply(R"({"ok":false,"message":"m"})"), "action|create|failed|m\ncreated|failed|||m"},
        {"heartbeat", reply(""), "heartbeat|ok"},
        {"heartbeat", reply(R"({"ok":false})"), "heartbeat|failed"},
        {"leave", reply(R"({"ok":false,"error":"auth"})", "204 No Content"), "left"},
        {"leave", reply("", "302 Found"), "not left"},
        {"leave", {}, "not left"},
        {"rooms", reply(R"({"error":"auth"})"), "rooms||"},
        {"rooms", reply("", "204 No Content"), "rooms||"},
        {"rooms", reply(R"({"ok":"no","message":"x"})"), "rooms||x"},
        {"rooms", reply(R"({"ok":"maybe"})"), "rooms||server rejected request"},
        {"rooms", reply(R"({"ok":false,"error":42,"message":"m"})"), "rooms||42"},
        {"rooms", reply(R"({"ok":0,"error":"Please Login"})"), "rooms||Please Login", " "},
        {"rooms", reply(R"({"ok":false,"error":"bad auth_token"})"), "rooms||bad auth_token", " "},
        {"rooms", reply(R"({"ok":false,"message":"LOGIN EXPIRED"})"), "rooms||LOGIN EXPIRED", " "},
        {"rooms", reply(R"({"error":"auth")"), "rooms||bad JSON: unterminated string"},
        {"rooms", reply("{\"error\":\"\xff\xfe\"}"), "rooms||bad JSON: invalid UTF8 string"},
        {"rooms", reply(QByteArray(100000, '[')), "rooms||bad JSON: too deeply nested document"},
        {"rooms", reply("sorry, auth", "500 Oops"), oops},
        {"rooms", reply(R"({"error":"Unauthorized"})", "500 Oops"), "rooms||Unauthorized", " "},
        {"rooms", reply(R"({"error":"who?"})", "401 Oops"), "rooms||who?", " "},
        {"rooms", reply("<html>over there</html>", "302 Found"), "rooms||server rejected request"},
        {"detail", reply(R"({"room":{"id":7},"message":"moved"})", "301 Moved"), "detail|failed||moved"},
        {"rooms", raw("Content-Encoding: gzip\r\nContent-Length: 12\r\n\r\n" + brokenGzip), "rooms||Data corrupted"},
        {"rooms", raw("Content-Encoding: gzip\r\nContent-Length: 10\r\n\r\n" + brokenGzip.left(10)),
         "rooms||bad JSON: empty packed body"},
        {"rooms", challenge("NTLM"), "rooms||who?", " "},
        {"kick", challenge("Negotiate"), "action|kick|failed|who?\nroomAction|kick|failed|||who?", " "},
        {"rooms", challenge("Basic realm=r"), "rooms||who?", " "},
        {"login", challenge("Digest realm=r, nonce=n"), "login|failed|who?", " "},
        {"leave", reply("", "407 Oops\r\nProxy-Authenticate: NTLM"), "not left"},
        {"detail", raw("Content-Length: 90\r\n\r\n{\"ok\":true", true), "detail|failed||Connection closed"},
        {"detail", {"HTTP/1.1 200 OK\r\nContent-Length: 90\r\n\r\n{", false, true}, "detail|failed||Connection closed"},
        {"detail", raw("Content-Length: 9\r\n\r\n{\"ok\":true}"), "detail|failed||bad JSON: illegal value"},
        {"rooms", raw("Content-Length: 8388609\r\n\r\n{", true), "rooms||Operation canceled"},
        {"rooms", raw(zlibHead + "\r\n\r\n" + zlib), "rooms||Operation canceled"},
        {"rooms", reply(large.left(8 << 20)), "rooms||"},
    };
}

}  // namespace

class ClientTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void answers() {
        for (const AnswerRow& row : answerRows()) {
            Player player(row.answer);
            player.call(row.operation);
            const QString address = player.server.url() + QStringLiteral("/api/lobby/rooms");
            const QString emitted = QString::fromUtf8(row.emitted).replace(QLatin1String("%1"), address);
            QVERIFY2(player.await(emitted.count(QLatin1Char('\n')) + !emitted.isEmpty()), row.emitted);
            QTRY_COMPARE(player.server.requests.size(), 1);
            QCOMPARE(player.lines.join(QLatin1Char('\n')), emitted);
            QCOMPARE(QString(player.client->authToken() + QLatin1Char(' ') + player.client->userName()),
                     QString::fromLatin1(row.session));
            const ScriptedRequest request = player.server.requests.first();
            QCOMPARE(request.method + ' ' + request.target + ' ' + request.body, kRequests.value(row.operation));
            const QByteArray type = request.headers.value("content-type");
            QCOMPARE(type, QByteArray(request.body.isEmpty() ? "" : "application/json"));
            QVERIFY(!request.headers.contains("cookie") && !request.headers.contains("authorization"));
        }
    }

    void refusals() {
        Player player;
        for (const char* operation : {"detail", "kick", "heartbeat", "leave"}) {
            player.call(operation, QString());
        }
        player.client->clearSession();
        for (const char* operation : {"detail", "kick", "create", "heartbeat", "leave", "logout"}) {
            player.call(operation);
        }
        // Whatever had been sent would arrive before this.
        player.call("rooms");
        QVERIFY(player.await(11));
        QCOMPARE(player.lines.join(QLatin1Char(' ')),
                 QStringLiteral("detail|failed||请先选择房间 action|kick|failed|请先选择房间 "
                                "roomAction|kick|failed|||请先选择房间 not left detail|failed||请先登录 "
                                "action|kick|failed|请先登录 roomAction|kick|failed|||请先登录 "
                                "action|create|failed|请先登录 created|failed|||请先登录 not left rooms||"));
        QCOMPARE(player.server.requests.size(), 1);
    }

    void newRoom() {
        CreateRoomRequest request;
        request.mapId = QStringLiteral("m");
        request.name = request.mapName = request.mapFingerprint = request.mode = request.password = QStringLiteral("n");
        request.maxPlayers = request.slotCount = 30;
        request.isPrivate = true;
        request.mapOptions.insert(QStringLiteral("k"), QStringLiteral("v"));
        request.mapOptionIndexes = {{3, 1}};
        request.slotMeta.resize(2);
        request.slotMeta[0].slot = 3;
        request.slotMeta[0].playerId = 9;
        request.slotMeta[0].locked = request.slotMeta[0].computer = request.slotMeta[0].ai = true;
        request.slotMeta[1].slot = 4;
        request.slotMeta[1].team = request.slotMeta[1].slotLabel = request.slotMeta[1].selectType = QStringLiteral("t");
        Player player;
        player.client->createRoom(request);
        request.isPrivate = false;
        request.mapFingerprint.clear();
        request.slotMeta[1].slot = -2;
        player.client->createRoom(request);
        QVERIFY(player.await(4));
        QCOMPARE(player.server.requests.at(0).body, QByteArray(kWholeRoom));
        const QByteArray bare = player.server.requests.at(1).body;
        QVERIFY2(!bare.contains("\"password") && !bare.contains("_algo") && bare.contains("\"slot\":1}]"), bare);
    }

    void roomIdsStayOnTheServer() {
        // Room id -> where the request must arrive on the one server that it may reach.
        const QMap<QByteArray, QByteArray> targets{
            {"@evil/", "rooms/@evil//kick"},       {"http://evil/", "rooms/http://evil//kick"},
            {"\\\\evil", "rooms/%5C%5Cevil/kick"}, {"../x", "x/kick"},
            {"房", "rooms/%E6%88%BF/kick"},        {"a\r\nHost: evil", "rooms/a%0D%0AHost:%20evil/kick"}};
        for (const QByteArray& id : targets.keys()) {
            Player player;
            player.call("kick", QString::fromUtf8(id));
            QVERIFY2(player.await(2), id);
            const ScriptedRequest request = player.server.requests.first();
            QCOMPARE(request.target, "/api/lobby/" + targets[id]);
            QCOMPARE("http://" + request.headers.value("host"), player.server.url().toLatin1());
        }
    }

    void timeouts() {
        const QMap<QByteArray, int> intervals{{"kick", 8000}, {"start", 15000}, {"Start", 8000}, {"heartbeat", 5000}};
        for (const QByteArray& operation : intervals.keys()) {
            Player player{Script()};
            qApp->installEventFilter(this);
            player.call(operation);
            qApp->removeEventFilter(this);
            auto* timer = qobject_cast<QTimer*>(lastOfReply_);
            QVERIFY(timer && timer->isActive() && timer->isSingleShot());
            QCOMPARE(timer->interval(), intervals[operation]);
            timer->start(1);
            QVERIFY(player.await(1));
            const QByteArray emitted = "action|" + operation + "|failed|Operation canceled";
            QCOMPARE(player.lines.first().toUtf8(), operation == "heartbeat" ? "heartbeat|failed" : emitted);
            QCOMPARE(player.client->authToken(), QStringLiteral("t"));
        }
    }

    // What was sent before the head of a reply came to an end is lost; what is sent after its timeout is not.
    void endlessHeads() {
        const std::pair<const char*, const char*> heads[] = {
            {"HTTP/1.1 200 OK\r\nA: b\r\n", "A: b\r\n"},
            {"HTTP/1.1 200 OK\r\nA: b", "bbbbbbbb"},
            {"HTTP/1.1 100 Continue\r\n\r\n", "HTTP/1.1 100 Continue\r\n\r\n"}};
        for (const auto& [begin, endless] : heads) {
            Player player(Script{begin, false, false, false, endless});
            qApp->installEventFilter(this);
            player.call("rooms");
            qApp->removeEventFilter(this);
            auto* timer = qobject_cast<QTimer*>(lastOfReply_);
            QTRY_COMPARE(player.server.requests.size(), 1);
            timer->start(1);
            QVERIFY(player.await(1));
            player.answer = reply("{}");
            player.call("rooms");
            QVERIFY(player.await(2));
            QCOMPARE(player.lines.join(QLatin1Char(' ')), QStringLiteral("rooms||Operation canceled rooms||"));
        }
    }

    void aSessionBelongsToOneServer() {
        Player player(reply(R"({"room":{"id":"7"}})"));
        player.client->setBaseUrl(player.server.url() + QStringLiteral("//"));
        QCOMPARE(player.client->authToken(), QStringLiteral("t"));
        player.call("detail");
        player.answer = reply(R"({"auth_token":"of another server","room":{"id":"7"}})");
        player.call("login");
        player.client->setBaseUrl(ScriptedServer({}).url());
        QVERIFY(player.await(2));  // the replies still arrive; at the new address nobody listens
        QVERIFY(player.client->authToken().isEmpty() && player.client->userName().isEmpty());
        player.call("rooms");
        QVERIFY(player.await(3));
        player.lines.sort();
        QCOMPARE(player.lines.join(QLatin1Char(' ')),
                 QStringLiteral("detail|ok|7| login|failed|服务器已切换，请重新登录。 rooms||Connection refused"));
    }

    // Requests are numbered as they are sent; each answer tells its own, also when they come in another order.
    void answersNameTheirRequests() {
        Player player;
        QMap<quint64, QString> asked;
        QStringList answered;
        const auto note = [&] {
            const LobbyRequest& request = player.client->answered();
            answered += asked.value(request.number, QStringLiteral("none")) + request.roomId;
        };
        QObject::connect(player.client.get(), &LobbyClient::roomsUpdated, note);
        QObject::connect(player.client.get(), &LobbyClient::roomActionResult, note);
        player.answer.held = true;
        asked[player.client->fetchRooms()] = QStringLiteral("rooms");
        QTRY_COMPARE(player.server.requests.size(), 1);
        player.answer.held = false;
        asked[player.client->roomAction(QStringLiteral("7"), QStringLiteral("kick"), {})] = QStringLiteral("kick");
        QVERIFY(player.await(2) && asked.size() == 2 && player.client->requestsSent() == asked.lastKey());
        player.server.release();
        QVERIFY(player.await(3));
        QCOMPARE(player.client->roomAction(QString(), QStringLiteral("kick"), {}), 0ULL);
        QCOMPARE(answered.join(QLatin1Char(' ')), QStringLiteral("kick7 rooms none"));
    }

    // What an earlier session is told leaves the one of now alone.
    void aSessionEndsByItsOwnAnswers() {
        Player player(reply(R"({"error":"who?"})", "401 Oops"));
        player.answer.held = true;
        player.call("heartbeat");
        QTRY_COMPARE(player.server.requests.size(), 1);
        player.client->clearSession();
        player.answer = reply(R"({"auth_token":"new"})");
        player.call("login");
        QVERIFY(player.await(1));
        player.server.release();
        QVERIFY(player.await(2));
        QCOMPARE(player.client->authToken(), QStringLiteral("new"));
        player.answer = reply(R"({"error":"who?"})", "401 Oops");
        player.call("heartbeat");
        QVERIFY(player.await(3) && player.client->authToken().isEmpty());
    }

    void repliesOutliveNoClient() {
        Player player(raw("\r\n{"));
        player.call("rooms");
        player.call("login");
        QTRY_COMPARE(player.server.requests.size(), 2);
        player.client.reset();
        QTRY_VERIFY(player.server.findChildren<QTcpSocket*>().isEmpty());
        QVERIFY(player.lines.isEmpty());
    }

    // Whatever becomes of the connection, the server may have carried out what it was sent.
    void postsAreSentOnce() {
        for (const Script& broken :
             {Script{{}, true}, Script{{}, false, true}, raw("HTTP", true), {"no HTTP\r\n\r\n"}}) {
            Player player;
            player.call("kick");  // leaves a connection that is used again
            QVERIFY(player.await(2));
            player.answer = broken;
            player.call("kick");
            QVERIFY(player.await(4));
            QCOMPARE(player.lines.at(2), QStringLiteral("action|kick|failed|Connection closed"));
            QCOMPARE(player.server.requests.size(), 2);
        }
    }

    // Not by the proxy that the system names; a loopback address would not go there in any case.
    void connectsDirectly() {
        Player player;
        const ScriptedServer proxy([](const auto&) { return reply(R"({"ok":true})"); });
        qputenv("http_proxy", proxy.url().toLatin1());
        const QString nobody = QStringLiteral("http://0.0.0.0:1");
        player.client->setBaseUrl(nobody);
        player.call("login");
        QVERIFY(player.await(1) && !healthOf(nobody).good);
        qunsetenv("http_proxy");
        QVERIFY(player.lines.first().startsWith(QLatin1String("login|failed|")) && proxy.requests.isEmpty());
    }

    void health() {
        const std::tuple<QByteArray, const char*, bool> rows[] = {
            {"{\"ok\":true,\"x\":[]}", "200 OK", true},
            {"{\"ok\":\"true\"}", "200 OK", false},
            {"{\"ok\":true}", "202 Accepted", false},
            {"", "401 Oops\r\nWWW-Authenticate: NTLM", false},
            {"", "401 Oops\r\nWWW-Authenticate: Negotiate", false},
            {"{\"ok\":true}" + QByteArray(64 << 10, ' '), "200 OK", false}};
        for (const auto& [body, status, good] : rows) {
            const ScriptedServer server([script = reply(body, status)](const auto&) { return script; });
            const LobbyHealth health = healthOf(server.url());
            QVERIFY2(health.good == good && health.status == QByteArray(status).left(3).toInt(), body.left(99));
            QVERIFY(server.requests.size() == 1 && !server.requests[0].headers.contains("authorization"));
            QCOMPARE(server.requests[0].target, QByteArray("/api/lobby/health"));
        }
    }

    // Good enough for this machine's own names, refused elsewhere.
    void selfSignedCertificates() {
        const QTemporaryDir folder;
        QFile pem(folder.filePath(QStringLiteral("both.pem")));
        QString options = QStringLiteral("req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=self -keyout %1 -out %1");
        QProcess openssl;
        openssl.start(QStringLiteral("openssl"), options.arg(pem.fileName()).split(QLatin1Char(' ')));
        openssl.waitForFinished();
        if (!QSslSocket::supportsSsl() || !pem.open(QIODevice::ReadOnly)) {
            QSKIP("no TLS library, or no openssl program to make a certificate with");
        }
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        tls.setPrivateKey(QSslKey(&pem, QSsl::Rsa));
        tls.setLocalCertificate(QSslCertificate::fromPath(pem.fileName()).value(0));
        for (const char* host : {"127.0.0.1", "LocalHost", "127.0.0.2", "[::1]"}) {
            const bool isIpv6 = *host == '[';
            const QHostAddress address(isIpv6 ? QHostAddress::LocalHostIPv6 : QHostAddress::AnyIPv4);
            if (!QTcpServer().listen(address) ||
                (!isIpv6 && QHostInfo::fromName(QLatin1String(host)).addresses().isEmpty())) {
                qWarning("this machine does not know %s", host);
                continue;
            }
            const auto answer = std::bind(reply, R"({"auth_token":"t","ok":true})", "200 OK");
            ScriptedServer server(answer, address, tls);
            Player player;
            const QString url = QStringLiteral("https://%1:%2").arg(QLatin1String(host)).arg(server.serverPort());
            player.client->setBaseUrl(url);
            player.call("login");
            QVERIFY(player.await(1));
            // Nothing is said of plaintext here, and nothing sent to a server that is not trusted.
            const bool accepted = player.lines.first() == QLatin1String("login|ok|login ok");
            QVERIFY2(accepted == (qstrcmp(host, "127.0.0.2") != 0), qPrintable(player.lines.first()));
            QCOMPARE(server.requests.size(), accepted ? 1 : 0);
            QCOMPARE(healthOf(url).good, accepted);
        }
    }

private:
    static LobbyHealth healthOf(const QString& url) {
        const std::unique_ptr<QNetworkAccessManager> network(makeAccessManager(nullptr));
        QNetworkReply* reply = requestLobbyHealth(*network, url, 30'000);
        const bool finished = QTest::qWaitFor([reply] { return reply->isFinished(); }, 30'000);
        return finished ? readLobbyHealth(*reply) : LobbyHealth();
    }

    bool eventFilter(QObject* receiver, QEvent* event) override {
        if (event->type() == QEvent::ChildAdded && qobject_cast<QNetworkReply*>(receiver)) {
            lastOfReply_ = static_cast<QChildEvent*>(event)->child();
        }
        return false;
    }

    QPointer<QObject> lastOfReply_;
};

NETPLAY_TEST(ClientTest);
#include "client_test.moc"
