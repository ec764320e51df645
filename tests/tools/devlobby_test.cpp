#include "devlobby/lobby.h"
#include "devlobby/network_conditions.h"
#include "support/test_registry.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

using namespace devlobby;

namespace {

// The texts behind several paths of keys and positions such as "room/slot_meta/0/name"; an array as JSON.
QString texts(const QJsonObject& json, const QString& paths) {
    QStringList found;
    for (const QString& path : paths.split(QLatin1Char(' '))) {
        QJsonValue value = json;
        for (const QString& step : path.split(QLatin1Char('/'))) {
            value = value.isArray() ? value[step.toInt()] : value[step];
        }
        const QByteArray array = QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact);
        found += value.isArray() ? QString::fromUtf8(array) : value.toVariant().toString();
    }
    return found.join(QLatin1Char(' '));
}

// Slot 1 locked, 2 and 4 for players, 3 a computer; the creator sits in slot 2.
const char kRoom[] = R"({"room":{"name":"房间","map_id":"10078","max_players":4,"password":"pw",
    "slot_meta":[{"slot":1,"locked":true},{"slot":2,"player_id":12},{"slot":3,"computer":true},{"slot":4,"player_id":99}],
    "map_options":{"o":"v"},"player_slots":[{"slot":2,"ready":true}]}})";

// The host asks as 0, the guest as 1, and a stranger as 2.
const char kRefusals[] = R"(2 rooms/1/join => wrong room password
2 rooms/1/join {"password":"pw"} => room is full
0 rooms {"room":{"map_id":"1","max_players":2,"slot_meta":[{"slot":1},{"slot":1}]}} => slot_meta must name different slots from 1 to 22
0 rooms {"room":{"map_id":"1","max_players":2}} => the creator's slot is not free
1 rooms/1/start => only the host may do that
0 rooms/1/start {"pm_host":"26.1.2.3","pm_port":40001} => not everybody is ready
1 rooms/1/move-slot {"target_slot":1} => slot is locked
1 rooms/1/move-slot {"target_slot":3} => slot is taken
1 rooms/1/move-slot {"target_slot":4.5} => no such slot
1 rooms/1/launch-done {"user_id":10002,"pid":1} => game not started
0 login {"password":"wrong"} => wrong username or password
0 register {"password":"p"} => username is taken
0 register {"username":"x","password":"p"} => username must have 2 to 15 characters
0 register {"username":"0123456789abcdef","password":"p"} => username must have 2 to 15 characters)";

// On a fresh lobby: matches last 50 seconds, sessions 100, and who is silent for more than 20 in a waiting room has
// left.
const char* const kStories[] = {R"(1 rooms/1/ready {"ready":true}
0 rooms/1/start {"pm_host":"127.0.0.1","pm_port":40001} => room/pm_host => 203.0.113.9
2 rooms/1/join {"password":"pw"} => game already started
1 rooms/1/ready {"ready":true} => game already started
+30000
0 rooms/1/detail => room/status room/players => playing 2/4
+20000
0 rooms/1/detail => room/status room/players => waiting 2/4
+15000
0 rooms/1/heartbeat
+15000
1 rooms/1/detail => room/players => 2/4
0 rooms/1/leave
1 rooms/1/detail => room/host room/owner => 乙乙 乙乙
1 rooms ROOM
0 rooms/1/detail => room not found
+50000
1 rooms/2/detail => login expired)",
                                R"(0 rooms/1/unlock-slot {"slot":1}
1 rooms/1/move-slot {"target_slot":1}
0 rooms/1/lock-slot {"slot":4}
0 rooms/1/unlock-slot {"slot":3}
1 rooms/1/heartbeat
+2040
1 rooms/1/heartbeat
0 rooms/1/transfer-host {"target_slot":1}
+8000
0 rooms/1/heartbeat
+1
2 rooms/1/detail => room/host room/slot_meta/0/name room/slot_meta/0/latency_ms => 乙乙 乙乙 40
2 rooms/1/detail => room/slot_meta/0/online room/slot_meta/1/online => false true
2 rooms/1/detail => room/slot_meta/2/computer room/slot_meta/2/is_player_slot room/slot_meta/3/locked => false true true
1 rooms/1/slot-meta {"slot":3,"mode":"observer"} => room/slot_meta/2/is_player_slot => false
1 rooms/1/kick {"target_slot":2}
0 rooms/1/ready {"ready":true} => not in room)",
                                R"(+15000
0 rooms/1/chat {"text":""} => text must have 1 to 300 characters
+5000
1 rooms/1/detail => room/players => 2/4
+15001
1 rooms/1/detail => room/host room/players => 乙乙 1/4
0 rooms/1/heartbeat => not in room
+20001
1 rooms/1/heartbeat => room not found)"};

}  // namespace

class DevlobbyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // What only the real program does; whole matches are played in e2e/.
    void codesOverHttp() {
        serve(QStringLiteral("--launch-delay-ms 250"));
        const QString rooms = QStringLiteral("/api/lobby/rooms");
        QCOMPARE(texts(post_(rooms, "{"), QStringLiteral("status")), QStringLiteral("400"));
        QCOMPARE(texts(post_(rooms, QByteArray((1 << 20) + 1, ' ')), QStringLiteral("status")), QStringLiteral("413"));
        play(R"(0 health GET => ok status => true 200
0 login {"password":"p:1"}
1 register {"username":"Host","password":"p"} => username is taken
0 rooms ROOM => room/id room/host room/has_password => 1 host true
0 logout
0 rooms/1/detail => status => 401
0 rooms GET => ok rooms => true [])");
        server_.closeWriteChannel();
        QVERIFY(server_.waitForFinished());
        QCOMPARE(server_.exitCode(), 0);
    }

    // What is held back or lost keeps nothing else waiting, neither a request nor the server's end.
    void roughNetwork() {
        const QTemporaryDir folder;
        const QString trace = folder.filePath(QStringLiteral("trace"));
        serve(QStringLiteral("--latency 0:0,detail=0:60000,join=60000:0 --fail 500@ready:1 --fail silent@chat:1 "
                             "--fail cut@leave --drop-seconds 0 --trace ") +
              trace);
        play("0 login {\"password\":\"p:1\"}\n0 rooms ROOM");
        QList<QNetworkReply*> held;
        for (const char* action : {"detail", "chat", "join"}) {
            const QJsonObject body{{QStringLiteral("username"), names_[0]},
                                   {QStringLiteral("auth_token"), tokens_[0]},
                                   {QStringLiteral("text"), QStringLiteral("you there?")}};
            held += send(QStringLiteral("/api/lobby/rooms/1/") + QLatin1String(action), QJsonDocument(body).toJson());
        }
        QTRY_COMPARE_WITH_TIMEOUT(texts(play("0 rooms GET"), QStringLiteral("rooms/0/messages/0/text")),
                                  QStringLiteral("you there?"), 30000);
        play(R"(0 rooms/1/ready {"ready":false} => status error => 500 server failure
0 rooms/1/ready {"ready":false} => room/player_slots/0/ready => false
0 rooms/1/leave => status => 0
0 rooms GET => rooms => [])");
        for (QNetworkReply* reply : held) {
            QVERIFY(reply->isRunning());
        }
        server_.closeWriteChannel();
        QVERIFY(server_.waitForFinished());
        for (QNetworkReply* reply : held) {
            QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), 30000);
        }

        QFile file(trace);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray lines = file.readAll();
        QVERIFY(lines.contains("HOST") && !lines.contains("p:1") && !lines.contains(tokens_[0].toUtf8()));
        QMap<QString, int> events;
        for (const QByteArray& line : lines.split('\n')) {
            const QJsonObject event = QJsonDocument::fromJson(line).object();
            ++events[texts(event, QStringLiteral("event")) +
                     texts(event, QStringLiteral("path")).section(QLatin1Char('/'), -1)];
        }
        QCOMPARE(events[QStringLiteral("requestdetail")], 1);
        QCOMPARE(events[QStringLiteral("replyready")], 2);
        QCOMPARE(events[QStringLiteral("lostchat")], 1);
        QVERIFY(events[QStringLiteral("lostleave")] >= 1);
    }

    void conditions() {
        for (const char* bad : {"", "1", "1:", "1:60001", "-1:0", "1:2,nowhere=1:1", "1:2,join=1", "1:2,join=1:2:3"}) {
            QVERIFY2(!NetworkConditions().setLatency(QLatin1String(bad)), bad);
        }
        for (const char* bad : {"401", "404@join", "cut@", "cut@nowhere", "cut@join:0", "cut@join:"}) {
            QVERIFY2(!NetworkConditions().addFailure(QLatin1String(bad)), bad);
        }
        NetworkConditions network;
        QVERIFY(network.setLatency(QStringLiteral("100:200,create=7:0")));
        const Latency own = network.takeLatency(QStringLiteral("create"));
        QVERIFY(own.requestMs == 7 && own.replyMs == 0);
        QSet<int> times;
        NetworkConditions twin;
        QVERIFY(twin.setLatency(QStringLiteral("100:200")));
        network.setJitter(5);
        twin.setJitter(5);
        for (int i = 0; i < 100; ++i) {
            const Latency one = network.takeLatency(QStringLiteral("join"));
            const Latency other = twin.takeLatency(QStringLiteral("join"));
            QVERIFY(one.requestMs == other.requestMs && one.replyMs == other.replyMs && one.requestMs <= 100 &&
                    one.replyMs <= 200);
            times += one.replyMs;
        }
        QVERIFY(times.size() > 10);
        QVERIFY(network.addFailure(QStringLiteral("cut@join:1")) && network.addFailure(QStringLiteral("401@*")));
        QVERIFY(network.takeFailure(QStringLiteral("rooms")) == Failure::unauthorized);
        QVERIFY(network.takeFailure(QStringLiteral("join")) == Failure::cut);
        QVERIFY(network.takeFailure(QStringLiteral("join")) == Failure::unauthorized);
    }

    void refusals() {
        populate();
        const QJsonObject before = play("0 rooms/1/detail");
        play(kRefusals);
        QCOMPARE(play("0 rooms/1/detail"), before);
        tokens_[0] = tokens_[1];
        play("0 rooms/1/detail => login expired");
    }

    void stories() {
        for (const char* story : kStories) {
            populate();
            play(story);
        }
    }

    void oldMessagesGo() {
        populate();
        play(QByteArray("0 rooms/1/chat {\"text\":\"x\"}\n").repeated(201));
        play("0 rooms/1/detail => room/messages/0/id room/messages/199/id room/messages/200 => 2 201 ");
    }

private:
    // Starts the real program, with the account "host" and more options.
    void serve(const QString& options) {
        const QString words = QStringLiteral("--port 0 --exit-with-stdin --account host:p:1 ") + options;
        server_.start(QCoreApplication::applicationDirPath() + QStringLiteral("/devlobby"),
                      words.split(QLatin1Char(' ')));
        QVERIFY(server_.waitForStarted());
        QVERIFY(QTest::qWaitFor([this] { return server_.canReadLine(); }, 30000));
        const QString greeting = QString::fromLatin1(server_.readLine()).trimmed();
        QVERIFY2(greeting.startsWith(QStringLiteral("devlobby listening on http://127.0.0.1:")), qPrintable(greeting));
        url_ = greeting.section(QLatin1Char(' '), -1);
        names_ = QStringList{QStringLiteral("HOST"), QStringLiteral("客人")};
        post_ = [this](const QString& path, const QByteArray& body) {
            QNetworkReply* reply = send(path, body);
            QSignalSpy(reply, &QNetworkReply::finished).wait(30000);
            QJsonObject json = QJsonDocument::fromJson(reply->readAll()).object();
            json.insert(QStringLiteral("status"), reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt());
            reply->deleteLater();
            return json;
        };
    }

    QNetworkReply* send(const QString& path, const QByteArray& body) {
        QNetworkRequest request{QUrl(url_ + path)};
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        if (!body.isEmpty()) {
            return network_.post(request, body);
        }
        // Under Wine Qt now and then keeps a request back that goes to a connection which the server is just closing.
        request.setTransferTimeout(3000);
        return network_.get(request);
    }

    // A fresh lobby with 甲甲 as host of room 1, 乙乙 in its slot 4 and 丙丙 outside.
    void populate() {
        lobby_ = std::make_unique<Lobby>(LobbyOptions{0, 50, 20, 100});
        names_ = QStringList{QStringLiteral("甲甲"), QStringLiteral("乙乙"), QStringLiteral("丙丙")};
        post_ = [this](const QString& path, const QByteArray& body) {
            LobbyReply reply =
                lobby_->handle({QStringLiteral("POST"), path, body, QStringLiteral("203.0.113.9")}, now_);
            reply.body.insert(QStringLiteral("status"), reply.status);
            return reply.body;
        };
        play("0 register {\"password\":\"p\"}\n1 register {\"password\":\"p\"}\n2 register {\"password\":\"p\"}");
        play("0 rooms ROOM\n1 rooms/1/join {\"password\":\"pw\"}");
    }

    // Plays steps, one a line, and gives the last reply. Who asks, path, body, and the refusal that must come; or
    // paths into the reply and the texts behind them. ROOM stands for kRoom; "+5" lets five milliseconds pass.
    QJsonObject play(const char* story) {
        QJsonObject reply;
        for (const QString& step : QString::fromUtf8(story).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const QStringList parts = step.split(QStringLiteral(" => "));
            const QStringList words = parts[0].split(QLatin1Char(' '));
            if (step[0] == QLatin1Char('+')) {
                now_ += step.toInt();
                continue;
            }
            const int user = words[0].toInt();
            const QByteArray json = words.mid(2).join(QLatin1Char(' ')).toUtf8().replace("ROOM", kRoom);
            QJsonObject body{{QStringLiteral("username"), names_[user]}, {QStringLiteral("auth_token"), tokens_[user]}};
            const QJsonObject own = QJsonDocument::fromJson(json).object();
            for (auto field = own.begin(); field != own.end(); ++field) {
                body.insert(field.key(), field.value());
            }
            reply = post_(QStringLiteral("/api/lobby/") + words[1], json == "GET" ? "" : QJsonDocument(body).toJson());
            tokens_[user] = reply.value(QStringLiteral("auth_token")).toString(tokens_[user]);
            const QString found = texts(reply, parts.size() == 3 ? parts[1] : QStringLiteral("error"));
            QTest::qCompare(found, parts.mid(1).value(parts.size() - 2), qPrintable(step), "", __FILE__, __LINE__);
        }
        return reply;
    }

    QProcess server_;
    QString url_;
    QNetworkAccessManager network_;
    qint64 now_ = 1000;
    std::unique_ptr<Lobby> lobby_;
    QStringList names_;
    QString tokens_[3];
    // Gives the reply with the HTTP status in "status".
    std::function<QJsonObject(const QString& path, const QByteArray& body)> post_;
};

NETPLAY_TEST(DevlobbyTest);
#include "devlobby_test.moc"
