// How long the window stands still over what a lobby server may send: for each content the longest stretch between two
// turns of the event loop while the reply was read, shown and painted, of the quietest of five rounds. The window, the
// connection and the server are real. What counts is the processor time of the window's thread, as what else the
// machine does is not the window's; the time on the wall stands beside it. Prints a table; ends with 1 when a content
// is above its bound. usage: stall_probe [WORD]     (only the contents whose name has it)
#include "app/main_window.h"
#include "lobby/lobby_client.h"
#include "support/scripted_server.h"
#include "widgets/theme.h"

#include <QApplication>
#include <QEventLoop>
#include <QMutex>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

constexpr int kOrdinaryMs = 50;
constexpr int kHostileMs = 100;
constexpr int kRounds = 5;
constexpr int kSettleMs = 150;  // painting follows the reply by a few turns of the event loop

// Each element made by `make` from its number, with commas between.
template<typename Make>
QByteArray list(int count, Make make) {
    QByteArray result = "[";
    for (int i = 0; i < count; ++i) {
        result += (i == 0 ? "" : ",") + QByteArray(make(i));
    }
    return result + ']';
}

QByteArray number(int value) {
    return QByteArray::number(value);
}

QByteArray room(const QByteArray& id, const QByteArray& name, const QByteArray& more = {}) {
    return R"({"id":")" + id + R"(","name":")" + name +
           R"(","status":"waiting","map_id":"10078","map_name":"一张地图","owner":"host","host":"host",)"
           R"("player_count":2,"max_players":22)" +
           more + '}';
}

// Room "1", in which "me" has the second seat.
QByteArray ownRoom(int round, const QByteArray& more = {}) {
    const QByteArray seats = R"({"slot":1,"name":"host"},{"slot":2,"name":"me","latency_ms":)" + number(round) + '}';
    return room("1", "round " + number(round), R"(,"player_slots":[)" + seats + "]" + more);
}

QByteArray rooms(const QByteArray& array) {
    return R"({"ok":true,"rooms":)" + array + '}';
}

QByteArray manyRooms(int count, int round) {
    return rooms(
        list(count, [round](int i) { return room(number(i + 2), "房间 " + number(i) + '.' + number(round)); }));
}

QByteArray seats(int count, int round) {
    return list(count, [round](int i) {
        return R"({"slot":)" + number(i + 1) + R"(,"name":"player )" + number(i) + R"(","team":"蜀国","latency_ms":)" +
               number(round) + '}';
    });
}

QByteArray chat(int count, const QByteArray& text, int round) {
    return R"(,"messages":)" + list(count, [&](int i) {
               return R"({"id":)" + number(i * 10 + round) + R"(,"from":"host","text":")" + text + R"("})";
           });
}

QByteArray options(int count, int length, int round) {
    QByteArray result = R"(,"map_options":{)";
    for (int i = 0; i < count; ++i) {
        result += (i == 0 ? "\"" : ",\"") + number(i) + R"(":")" + number(round) + QByteArray(length, 'o') + '"';
    }
    return result + '}';
}

QByteArray mine(int round, const QByteArray& more) {
    return rooms('[' + ownRoom(round, more) + ']');
}

// As many whole elements as a reply of nearly 8 MiB holds.
QByteArray filled(const QByteArray& element) {
    return '[' + element + (',' + element).repeated((8'000'000 - element.size()) / (element.size() + 1)) + ']';
}

struct Content {
    const char* name;
    int boundMs;
    bool inRoom;  // seen from the room page, else from the lobby
    std::function<QByteArray(int round)> reply;
};

const QByteArray kMark = "\xCC\x81";  // U+0301, a combining acute accent

const Content kContents[] = {
    {"500 rooms of 22 slots", kOrdinaryMs, false,
     [](int round) {
         return rooms(list(500, [round](int i) {
             return room(number(i + 2), "房间 " + number(round), R"(,"player_slots":)" + seats(22, round));
         }));
     }},
    {"room of 22 slots, 200 messages, 20 options", kOrdinaryMs, true,
     [](int round) {
         return mine(round, R"(,"slot_meta":)" + seats(22, round) + chat(200, "你好，准备好了吗？", round) +
                                options(20, 4, round));
     }},
    {"5,000 rooms", kHostileMs, false,
     [](int round) {
         return manyRooms(5'000, round);
     }},
    {"20,000 rooms", kHostileMs, false,
     [](int round) {
         return manyRooms(20'000, round);
     }},
    {"20,000 rooms, seen from a room", kHostileMs, true,
     [](int round) {
         return rooms('[' + ownRoom(round) + ',' + manyRooms(20'000, round).mid(20).chopped(1));
     }},
    {"31 MB of rooms", kHostileMs, false,
     [](int round) {
         return manyRooms(200'000, round);
     }},
    {"own id 1,000 times", kHostileMs, true,
     [](int round) {
         return rooms(list(1'000, [round](int) { return ownRoom(round); }));
     }},
    {"own id 20,000 times", kHostileMs, true,
     [](int round) {
         return rooms(list(20'000, [round](int) { return ownRoom(round); }));
     }},
    {"100,000 combining marks in a message", kHostileMs, true,
     [](int round) {
         return mine(round, chat(1, "a" + kMark.repeated(100'000), round));
     }},
    {"100,000 combining marks in every name", kHostileMs, true,
     [](int round) {
         const QByteArray marks = "a" + kMark.repeated(100'000);
         return mine(round, R"(,"mode":")" + marks + R"(","map_options":{")" + marks + R"(":"1"},"slot_meta":)" +
                                list(22, [&marks](int i) {
                                    return R"({"slot":)" + number(i + 1) + R"(,"team":")" + marks + R"("})";
                                }));
     }},
    {"messages of combining marks to the full", kHostileMs, true,
     [](int round) {
         return mine(round, chat(4'000, ("a" + kMark.repeated(5)).repeated(160), round));
     }},
    {"one word of 100,000 letters", kHostileMs, true,
     [](int round) {
         return mine(round, chat(1, QByteArray(100'000, 'w'), round));
     }},
    {"8,000 messages of 1,000 letters", kHostileMs, true,
     [](int round) {
         return mine(round, chat(8'000, QByteArray(1'000 - 60, 'w'), round));
     }},
    {"200,000 messages of one letter", kHostileMs, true,
     [](int round) {
         return mine(round, R"(,"messages":)" + filled(R"({"text":")" + number(round) + R"("})"));
     }},
    {"300 options of 1,000 characters", kHostileMs, true,
     [](int round) {
         return mine(round, options(300, 1'000, round));
     }},
    {"100 options of 190 characters", kHostileMs, true,
     [](int round) {
         return mine(round, options(100, 190, round));
     }},
    {"400,000 options", kHostileMs, true,
     [](int round) {
         return mine(round, options(400'000, 1, round));
     }},
    {"65,536 slots", kHostileMs, true,
     [](int round) {
         return mine(round, R"(,"slot_meta":)" + seats(65'536, round));
     }},
    {"600,000 names", kHostileMs, true,
     [](int round) {
         return mine(round, R"(,"player_names":)" + filled(R"("name)" + number(round) + '"'));
     }},
    {"2,000,000 launch entries", kHostileMs, true,
     [](int round) {
         return mine(round, R"(,"pm_launch_slots":)" + filled("{}"));
     }},
    {"a name of 8 MB", kHostileMs, false,
     [](int round) {
         return rooms('[' + room("2", number(round) + QByteArray(8'000'000, 'n')) + ']');
     }},
    {"a seat's name of 8 MB", kHostileMs, true,
     [](int round) {
         return mine(round, R"(,"slot_meta":[{"slot":3,"name":")" + QByteArray(8'000'000, 'n') + R"("}])");
     }},
    {"an error of 8 MB", kHostileMs, false,
     [](int round) {
         return R"({"ok":false,"error":")" + QByteArray(8'000'000, 'e') + number(round) + R"("})";
     }},
    {"4,000,000 numbers", kHostileMs, false,
     [](int) {
         return filled("0");
     }},
    {"2,700,000 empty lists", kHostileMs, false,
     [](int) {
         return filled("[]");
     }},
    {"800,000 keys", kHostileMs, false,
     [](int) {
         QByteArray object = "{";
         for (int i = 0; object.size() < 8'000'000; ++i) {
             object += (i == 0 ? "\"" : ",\"") + number(i) + "\":0";
         }
         return object + '}';
     }},
    {"8 MB that are not JSON", kHostileMs, false,
     [](int) {
         return QByteArray(8'000'000, 'x');
     }},
};

// In a thread of its own, so that its work is none of the window's.
class Server : public QThread {
public:
    Server() {
        start();
        ready_.acquire();
    }
    ~Server() override {
        quit();
        wait();
    }
    QString url() const { return url_; }
    void setRooms(const QByteArray& body) {
        const QMutexLocker lock(&mutex_);
        rooms_ = body;
    }

private:
    void run() override {
        ScriptedServer server([this](const ScriptedRequest& request) {
            const QMutexLocker lock(&mutex_);
            return ScriptedServer::reply(request.method == "GET"            ? rooms_
                                         : request.target.endsWith("login") ? R"({"auth_token":"t"})"
                                                                            : R"({"room":)" + ownRoom(0) + '}');
        });
        url_ = server.url();
        ready_.release();
        exec();
    }

    QSemaphore ready_;
    QMutex mutex_;
    QByteArray rooms_ = rooms(list(1, [](int) { return ownRoom(0); }));
    QString url_;
};

struct Stall {
    double workedMs = 0;
    double wallMs = 0;
};

double milliseconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// Runs the event loop until `signal` has come and what it left to do is done, with an event that is due every
// millisecond.
template<typename Signal, typename Ask>
Stall longestStall(LobbyClient& client, Signal signal, Ask ask) {
    QEventLoop loop;
    QObject::connect(&client, signal, &loop, [&loop] { QTimer::singleShot(kSettleMs, &loop, &QEventLoop::quit); });
    Stall longest;
    double worked = milliseconds(CLOCK_THREAD_CPUTIME_ID);
    double wall = milliseconds(CLOCK_MONOTONIC);
    QTimer beat;
    QObject::connect(&beat, &QTimer::timeout, &loop, [&] {
        longest.workedMs = std::max(longest.workedMs, milliseconds(CLOCK_THREAD_CPUTIME_ID) - worked);
        longest.wallMs = std::max(longest.wallMs, milliseconds(CLOCK_MONOTONIC) - wall);
        worked = milliseconds(CLOCK_THREAD_CPUTIME_ID);
        wall = milliseconds(CLOCK_MONOTONIC);
    });
    beat.start(1);
    ask();
    loop.exec();
    return longest;
}

Stall measure(LobbyClient& client, Server& server, const Content& content) {
    Stall quietest{1e9, 1e9};
    for (int round = 1; round <= kRounds; ++round) {
        // Also takes the window back to the lobby, as the room is not in the list.
        server.setRooms(rooms("[]"));
        longestStall(client, &LobbyClient::roomsUpdated, [&] { client.fetchRooms(); });
        if (content.inRoom) {
            server.setRooms(mine(0, {}));
            longestStall(client, &LobbyClient::roomActionResult,
                         [&] { client.roomAction(QStringLiteral("1"), QStringLiteral("join"), {}); });
        }
        Stall longest;
        // Where nothing was, and as the next poll's change.
        for (const int change : {round, round + kRounds}) {
            server.setRooms(content.reply(change));
            const Stall stall = longestStall(client, &LobbyClient::roomsUpdated, [&] { client.fetchRooms(); });
            longest.workedMs = std::max(longest.workedMs, stall.workedMs);
            longest.wallMs = std::max(longest.wallMs, stall.wallMs);
        }
        quietest.workedMs = std::min(quietest.workedMs, longest.workedMs);
        quietest.wallMs = std::min(quietest.wallMs, longest.wallMs);
    }
    return quietest;
}

}  // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    application.setStyleSheet(applicationStyleSheet());
    const QTemporaryDir folder;
    ClientPaths paths;
    paths.clientRoot = paths.configDir = paths.dataRoot = folder.path().toStdU16String();
    Server server;
    MainWindow window(paths, {QStringLiteral("stall_probe")});
    window.show();
    auto* client = window.findChild<LobbyClient*>();
    client->setBaseUrl(server.url());
    longestStall(*client, &LobbyClient::roomsUpdated,
                 [client] { client->login(QStringLiteral("me"), QStringLiteral("secret")); });
    window.findChild<QTimer*>(QStringLiteral("roomPollTimer"))->stop();
    bool good = true;
    for (const Content& content : kContents) {
        if (argc > 1 && std::strstr(content.name, argv[1]) == nullptr) {
            continue;
        }
        const Stall stall = measure(*client, server, content);
        const bool within = stall.workedMs <= content.boundMs;
        good = good && within;
        std::printf("%-45s %8.1f ms, %8.1f ms on the wall (bound: %d ms)%s\n", content.name, stall.workedMs,
                    stall.wallMs, content.boundMs, within ? "" : "  ABOVE");
        std::fflush(stdout);
    }
    return good ? 0 : 1;
}
