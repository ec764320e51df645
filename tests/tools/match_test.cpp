// A whole match between two console players: real server, real launches, real games.
#include "support/test_registry.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
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

QStringList words(const char* text) {
    return QString::fromUtf8(text).split(QLatin1Char(' '));
}

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) && file.write(bytes) >= 0);
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
        lobby.start(program("devlobby"),
                    words("--port 0 --exit-with-stdin --match-seconds 3 --account alice:a --account bob:b"));
        QTRY_VERIFY_WITH_TIMEOUT(lobby.canReadLine(), kTimeLimitMs);
        url_ = QString::fromLatin1(lobby.readLine()).section(QLatin1Char(' '), -1).trimmed();
        QProcess alice;
        QProcess bob;
        startPlayer(alice, "alice", "--password a --create 房间 --map 地图 --options 0:2");
        startPlayer(bob, "bob", "--password b --join-first");
        for (QProcess* player : {&alice, &bob}) {
            QVERIFY2(player->waitForFinished(kTimeLimitMs), player->readAll().constData());
            QVERIFY2(player->exitCode() == 0, player->readAll().constData());
        }
        checkGame("alice", 1);
        checkGame("bob", 2);
        lobby.closeWriteChannel();
        QVERIFY(lobby.waitForFinished(kTimeLimitMs));
    }

private:
    void startPlayer(QProcess& player, const char* user, const char* more) {
        const QString root = folder_.filePath(QString::fromUtf8(user)) + QLatin1Char('/');
        QVERIFY(QDir().mkpath(root + QStringLiteral("core")));
        QVERIFY(QFile::copy(program("game.exe"), root + QStringLiteral("core/game.exe")));
        write(root + QStringLiteral("map/地图/地图.map"), "PLAYER_NUM=2");
        write(root + QStringLiteral("map/地图/地图.o"), "script");
        write(root + QStringLiteral("config.lua"), "mine = 1\r\n");
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("STANDIN_GAME_REPORT"), root + QStringLiteral("report.json"));
        environment.insert(QStringLiteral("STANDIN_GAME_RUN_MS"), QStringLiteral("300"));
        player.setProcessEnvironment(environment);
        player.setProcessChannelMode(QProcess::MergedChannels);
        player.start(program("netplay-inspect"), words("play --matches 2 --lobby")
                                                     << url_ << words("--user") << words(user) << words("--data-root")
                                                     << root << words(more));
    }

    // What the game of the second match was told.
    void checkGame(const char* user, int slot) {
        const QString root = folder_.filePath(QString::fromUtf8(user)) + QLatin1Char('/');
        const QJsonObject game = QJsonDocument::fromJson(content(root + QStringLiteral("report.json"))).object();
        const QJsonObject expected{{QStringLiteral("mapName"), QStringLiteral("地图")},
                                   {QStringLiteral("host"), QStringLiteral("127.0.0.1")},
                                   {QStringLiteral("port"), 40001},
                                   {QStringLiteral("slot"), slot},
                                   {QStringLiteral("controlId"), slot},
                                   {QStringLiteral("sessionId"), 2},
                                   {QStringLiteral("playerName"), QString::fromUtf8(user)},
                                   {QStringLiteral("guards"), true},
                                   {QStringLiteral("mapOptions"), QJsonArray{QJsonArray{0, 2}}}};
        for (auto field = expected.begin(); field != expected.end(); ++field) {
            QCOMPARE(game.value(field.key()), field.value());
        }
        QVERIFY(content(root + QStringLiteral("config.lua")).contains("mine = 1"));
    }

    const QTemporaryDir folder_;
    QString url_;
};

NETPLAY_TEST(MatchTest);
#include "match_test.moc"
