#include "platform/shared_memory.h"
#include "support/test_registry.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray utf16(const QString& text) {
    return QByteArray(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
}

// Map 演示, host 26.1.2.3:40001, slot 3, session 0xFFFFFFFE, user -2, player 玩家一.
QByteArray launchBlock() {
    QByteArray block(1078, '\0');
    block.replace(2, 4, utf16(QStringLiteral("演示")));
    block.replace(66, 7, QByteArray::fromHex("1a010203419c03"));
    block.replace(74, 8, QByteArray::fromHex("fefffffffeffffff"));
    return block.replace(644, 6, utf16(QStringLiteral("玩家一")));
}

// Launch block (none at all when empty), start of the argument that names it, the report's error.
const std::tuple<QByteArray, const char*, const char*> kBadHandouts[] = {
    {launchBlock().replace(644, 32, QByteArray(32, 'x')), "MemoryMapName=", "the player's name has no proper end"},
    {launchBlock().replace(1077, 1, "x"), "MemoryMapName=", "a reserved byte behind offset 676 is not zero"},
    {{}, "MemoryMapName=", "there is no launch block of that name"},
    {launchBlock(), "", "the argument MemoryMapName= is missing"}};

}  // namespace

class StandinGameTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void badHandouts() {
        for (const auto& [block, prefix, error] : kBadHandouts) {
            const QJsonObject report = play(block, QLatin1String(prefix));
            QCOMPARE(report.value(QStringLiteral("error")).toString(), QString::fromLatin1(error));
        }
    }

private:
    // Hands the block out and lets the game play until the end file, which is put there once the report is.
    QJsonObject play(const QByteArray& block, const QString& prefix) {
        // Names of its own: the last game's end may still be on its way through the system.
        mapping_ = QStringLiteral("standin_test_%1_%2").arg(QCoreApplication::applicationPid()).arg(++played_);
        platform::SharedMemory memory;
        if (!block.isEmpty() && (memory.create(mapping_.toStdU16String(), 1078) || memory.write(block.toStdString()))) {
            return {};
        }
        QFile report(folder_.filePath(QStringLiteral("报告%1.json")).arg(played_));
        QFile end(folder_.filePath(QStringLiteral("end%1")).arg(played_));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("STANDIN_GAME_REPORT"), report.fileName());
        environment.insert(QStringLiteral("STANDIN_GAME_END_FILE"), end.fileName());
        QProcess game;
        game.setProcessEnvironment(environment);
        game.setWorkingDirectory(folder_.path());
        game.start(QCoreApplication::applicationDirPath() + QStringLiteral("/game.exe"), {prefix + mapping_});
        constexpr int kTimeLimitMs = 60'000;
        // Open as soon as it can be: on Windows not while it is being put in place.
        const bool played =
            QTest::qWaitFor([&] { return report.exists() && report.open(QIODevice::ReadOnly); }, kTimeLimitMs) &&
            end.open(QIODevice::WriteOnly) && game.waitForFinished(kTimeLimitMs) && game.exitCode() == 2;
        return played ? QJsonDocument::fromJson(report.readAll()).object() : QJsonObject();
    }

    const QTemporaryDir folder_;
    QString mapping_;
    int played_ = 0;
};

NETPLAY_TEST(StandinGameTest);
#include "standin_game_test.moc"
