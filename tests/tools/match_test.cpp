// A whole match between two console players: real server, real launches, real games.
#include "support/test_registry.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int kTimeLimitMs = 60'000;

QString program(const char* name) {
    return QDir(QCoreApplication::applicationDirPath()).filePath(QString::fromUtf8(name));
}

QStringList words(const QString& text) {
    return text.split(QLatin1Char(' '));
}

QByteArray content(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace

class MatchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void twoPlayersTwoMatches() {
        QProcess lobby;
        lobby.start(
            program("devlobby"),
            words(QStringLiteral("--port 0 --exit-with-stdin --match-seconds 3 --account alice:a --account bob:b")));
        QTRY_VERIFY_WITH_TIMEOUT(lobby.canReadLine(), kTimeLimitMs);
        url_ = QString::fromLatin1(lobby.readLine()).section(QLatin1Char(' '), -1).trimmed();
        QProcess alice;
        QProcess bob;
        startPlayer(alice, QStringLiteral("alice"), QStringLiteral("--create 房间 --map 地图 --options 0:2"));
        startPlayer(bob, QStringLiteral("bob"), QStringLiteral("--join-first"));
        for (QProcess* player : {&alice, &bob}) {
            QVERIFY2(player->waitForFinished(kTimeLimitMs), player->readAll().constData());
            QVERIFY2(player->exitCode() == 0, player->readAll().constData());
        }
        checkGame(QStringLiteral("alice"), 1);
        checkGame(QStringLiteral("bob"), 2);
        lobby.closeWriteChannel();
        QVERIFY(lobby.waitForFinished(kTimeLimitMs));
    }

private:
    void startPlayer(QProcess& player, const QString& user, const QString& more) {
        const QString root = folder_.filePath(user) + QLatin1Char('/');
        QVERIFY(QDir().mkpath(root + QStringLiteral("core")) && QDir().mkpath(root + QStringLiteral("map/地图")));
        QVERIFY(QFile::copy(program("game.exe"), root + QStringLiteral("core/game.exe")));
        for (const char* name : {"map/地图/地图.map", "map/地图/地图.o", "config.lua"}) {
            QFile file(root + QString::fromUtf8(name));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("PLAYER_NUM=2\r\n") > 0);
        }
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("STANDIN_GAME_REPORT"), root + QStringLiteral("report.json"));
        environment.insert(QStringLiteral("STANDIN_GAME_RUN_MS"), QStringLiteral("300"));
        player.setProcessEnvironment(environment);
        player.setProcessChannelMode(QProcess::MergedChannels);
        const QString arguments = QStringLiteral("play --matches 2 --lobby %1 --user %2 --password %3 --data-root");
        player.start(program("netplay-inspect"), words(arguments.arg(url_, user, user.left(1))) << root << words(more));
    }

    // What the game of the second match was told.
    void checkGame(const QString& user, int slot) {
        const QString root = folder_.filePath(user) + QLatin1Char('/');
        const QJsonObject game = QJsonDocument::fromJson(content(root + QStringLiteral("report.json"))).object();
        QJsonObject expected = QJsonDocument::fromJson(R"({"mapName":"地图","host":"127.0.0.1","port":40001,
            "sessionId":2,"guards":true,"mapOptions":[[0,2]]})")
                                   .object();
        expected[QStringLiteral("slot")] = expected[QStringLiteral("controlId")] = slot;
        expected[QStringLiteral("playerName")] = user;
        for (auto field = expected.begin(); field != expected.end(); ++field) {
            QCOMPARE(game.value(field.key()), field.value());
        }
        QVERIFY(content(root + QStringLiteral("config.lua")).contains("PLAYER_NUM=2\r\n"));
    }

    const QTemporaryDir folder_;
    QString url_;
};

NETPLAY_TEST(MatchTest);
#include "match_test.moc"
