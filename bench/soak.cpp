// One window through many matches with two players from the console. Prints what the window's process holds after each.
// usage: soak [MATCHES]     (10 unless given)
#include "e2e/match_fixture.h"

#include <QApplication>

#include <cstdio>

class Soak : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void manyMatches() {
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
        const int matches = QCoreApplication::arguments().value(1, text("10")).toInt();
        for (int match = 1; match <= matches; ++match) {
            guest.press("准备");
            TRY(guest.told("游戏已退出，正在刷新房间...") == match);
            QFile status(text("/proc/self/status"));
            const QByteArray lines = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
            const int memory = lines.mid(lines.indexOf("VmRSS:") + 6, 12).simplified().split(' ').value(0).toInt();
            std::printf("match %d: %d KiB, %d descriptors\n", match, memory,
                        QDir(text("/proc/self/fd")).entryList(QDir::Files | QDir::System).size());
            std::fflush(stdout);
        }
        for (QProcess* process : {&hosting, &joining}) {
            process->kill();
            process->waitForFinished();
        }
    }
};

int main(int argc, char** argv) {
    qputenv("QTEST_FUNCTION_TIMEOUT", "2147483647");
    QApplication application(argc, argv);
    Soak soak;
    return QTest::qExec(&soak, QStringList{text("soak")});
}

#include "soak.moc"
