// The real windows for a long time.
//
// usage: soak memory [MATCHES]
//        soak lobby [MINUTES]
//        soak simulation [MATCHES [SEED [LATENCY_MS [PLAYERS]]]]
//        soak joins [JOINS [LATENCY [PLAYERS]]]
//
// memory: one window through 10 matches with two players from the console; what its process holds after each.
// lobby: the lobby page of one window, with 500 rooms that are all new every second, for 30 minutes.
// simulation: 12 players press at random through 1000 matches, with replies up to 300 ms late each way. The window's
// own times are shortened as much as the latency is below 3 s. Prints what went wrong, and how far apart games started.
// joins: 10 players enter and leave a room, together 200 times, with the latency as devlobby takes it,
// "0:50,rooms=0:300" unless given, and the window's own times. Prints how often one was put out of the room although
// the seat was kept.
#include "bench/simulation.h"
#include "support/scripted_server.h"

#include <QApplication>

#include <algorithm>
#include <cstdio>

namespace {

QString argument(int index, const QString& otherwise) {
    return QCoreApplication::arguments().value(index + 1, otherwise);
}

void printMemory(const char* what, int number) {
    QFile status(text("/proc/self/status"));
    const QByteArray lines = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
    const int memory = lines.mid(lines.indexOf("VmRSS:") + 6, 12).simplified().split(' ').value(0).toInt();
    std::printf("%s %d: %d KiB, %d descriptors\n", what, number, memory,
                QDir(text("/proc/self/fd")).entryList(QDir::Files | QDir::System).size());
    std::fflush(stdout);
}

void printTimes(const char* what, QVector<qint64> times) {
    if (!times.isEmpty()) {
        std::sort(times.begin(), times.end());
        std::printf("%s: median %lld ms, nine in ten within %lld ms, at most %lld ms\n", what,
                    times.at(times.size() / 2), times.at(times.size() * 9 / 10), times.last());
    }
}

}  // namespace

class Soak : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void memory() {
        Lobby lobby(text("--match-seconds 2 --account third:secret"));
        Player host(kHost, lobby.url());  // for its folders
        Player guest(kGuest, lobby.url());
        Player third(text("third"), lobby.url());
        const auto play = [&](QProcess& process, const Player& player, const char* more) {
            const QString words = text("play --password secret --matches 1000000 --lobby %1 --data-root %2 %3")
                                      .arg(lobby.url(), player.path("gametest"), text(more));
            process.setStandardOutputFile(QProcess::nullDevice());
            process.start(QCoreApplication::applicationDirPath() + text("/netplay-inspect"), words.split(u' '));
        };
        for (Player* player : {&host, &guest, &third}) {
            player->letGamesEnd(true);
        }
        QProcess hosting;
        QProcess joining;
        play(hosting, host, "--user 房主 --create soak --map 10078 --start-with 3");
        guest.signIn();
        guest.joinRoom();
        play(joining, third, "--user third --join-first");
        const int matches = argument(1, text("10")).toInt();
        for (int match = 1; match <= matches; ++match) {
            guest.press("准备");
            TRY(guest.told("游戏已退出，正在刷新房间...") == match);
            printMemory("match", match);
        }
        for (QProcess* process : {&hosting, &joining}) {
            process->kill();
            process->waitForFinished();
        }
    }

    void lobby() {
        int answered = 0;
        ScriptedServer server([&answered](const ScriptedRequest& request) {
            if (request.method != "GET") {
                return ScriptedServer::reply(R"({"auth_token":"t"})");
            }
            QByteArray rooms;
            for (int i = 0; i < 500; ++i) {
                const QByteArray number = QByteArray::number(answered * 500 + i);
                rooms += (i == 0 ? "" : ",") + (R"({"id":")" + number + R"(","name":"房间 )" + number +
                                                R"(","map_name":")" + number + R"("})");
            }
            ++answered;
            return ScriptedServer::reply(R"({"rooms":[)" + rooms + "]}");
        });
        Player guest(kGuest, server.url());
        guest.signIn();
        guest.timer("roomPollTimer")->setInterval(1000);
        const int minutes = argument(1, text("30")).toInt();
        for (int minute = 0; minute <= minutes; ++minute) {
            printMemory("minute", minute);
            QTest::qWait(minute == minutes ? 0 : 60'000);
        }
        std::printf("%d lists\n", answered);
    }

    void simulation() {
        SimulationOptions options;
        options.matches = argument(1, text("1000")).toInt();
        options.seed = argument(2, text("1")).toUInt();
        const int latencyMs = argument(3, text("300")).toInt();
        options.players = argument(4, text("12")).toInt();
        options.latency = text("%1:%1").arg(latencyMs);
        options.launchDelayMs = latencyMs;
        options.pollMs = latencyMs * 2 / 3;
        options.pauseMs = latencyMs;
        options.patienceMs = 10'000;
        options.tokenSeconds = 120;
        QElapsedTimer clock;
        clock.start();
        Simulation simulation(options);
        const int faults = simulation.run();
        std::printf("%d matches, %d joins, %d starts in %lld s; %d faults, %d of them doubled starts, %d wrong exits\n",
                    simulation.matches(), simulation.joins, simulation.starts, clock.elapsed() / 1000, faults,
                    simulation.doubledStarts, simulation.wrongExits);
        printTimes("first game behind the start", simulation.delays);
        printTimes("last game behind the first", simulation.spreads);
        QCOMPARE(faults, 0);
    }

    void joins() {
        SimulationOptions options;
        options.joins = argument(1, text("200")).toInt();
        options.latency = argument(2, text("0:50,rooms=0:300"));
        options.players = argument(3, text("10")).toInt() + 1;
        options.jitter = false;
        options.pollMs = 2000;
        Simulation simulation(options);
        simulation.run();
        std::printf("%d of %d joins ended with a wrong exit\n", simulation.wrongExits, simulation.joins);
        QCOMPARE(simulation.wrongExits, 0);
    }
};

int main(int argc, char** argv) {
    qputenv("QTEST_FUNCTION_TIMEOUT", "2147483647");
    QApplication application(argc, argv);
    Soak soak;
    return QTest::qExec(&soak, QStringList{text("soak"), argument(0, text("simulation"))});
}

#include "soak.moc"
