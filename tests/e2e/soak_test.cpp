// One window through many matches with two players from the console: NETPLAY_SOAK names how many. Prints what the
// window's process holds after each. Not among the usual tests, as it takes minutes.
#include "e2e/match_fixture.h"
#include "support/test_registry.h"

#include <QCoreApplication>
#include <QDir>

#include <cstdio>

class SoakTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void manyMatches() {
        const QString matches = qEnvironmentVariable("NETPLAY_SOAK");
        if (matches.isEmpty()) {
            QSKIP("NETPLAY_SOAK is not set");
        }
        Lobby lobby({QStringLiteral("--match-seconds"), QStringLiteral("2"), QStringLiteral("--account"),
                     QStringLiteral("third:secret")});
        Player host(kHost, lobby.url());  // for its folders
        Player guest(kGuest, lobby.url());
        Player third(QStringLiteral("third"), lobby.url());
        const auto play = [&](QProcess& process, const Player& player, const char* more) {
            const QString words =
                QStringLiteral("play --password secret --matches 1000 --lobby %1 --data-root %2 %3")
                    .arg(lobby.url(), player.path(QStringLiteral("gametest")), QString::fromUtf8(more));
            process.setStandardOutputFile(QProcess::nullDevice());
            process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/netplay-inspect"),
                          words.split(QLatin1Char(' ')));
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
        for (int match = 1; match <= matches.toInt(); ++match) {
            guest.press(QStringLiteral("准备"));
            TRY(guest.told(QStringLiteral("游戏已退出，正在刷新房间...")) == match);
            QFile status(QStringLiteral("/proc/self/status"));
            const QByteArray text = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
            const int memory = text.mid(text.indexOf("VmRSS:") + 6, 12).simplified().split(' ').value(0).toInt();
            std::printf("match %d: %d KiB, %d descriptors\n", match, memory,
                        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size());
            std::fflush(stdout);
        }
        hosting.kill();
        joining.kill();
        hosting.waitForFinished();
        joining.waitForFinished();
    }
};

NETPLAY_TEST(SoakTest);
#include "soak_test.moc"
