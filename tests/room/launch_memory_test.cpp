// What is remembered of launches and what follows from it, as a table:
// EVENT FACTS status session seat number | memory before => result | memory after
// Facts: o signed in, m in the room "r", b busy; of an exit: c clean, s not to be followed, r relaunches are on. The
// number: the delay, 1 for a start in another room "q", the attempts left. Memory: a attempted, x and X exited key and
// room, l and L launched key and room, s scheduled key, ! armed, d due key, w a relaunch waits; a number stands for the
// key of that session of "r" by "me", and "started" and "relaunch" are of that session too.
#include "room/launch_memory.h"
#include "support/test_registry.h"

#include <QMap>
#include <QRegularExpression>
#include <QTest>

namespace {

const char kRows[] = R"(auto om PLAYING 7 ME 0 | => now | a7
auto m playing 7 me 0 | => 0 |
auto o playing 7 me 0 | => 0 |
auto omb playing 7 me 0 | => 0 |
auto om waiting 7 me 0 | => 0 |
auto om playing 7 you 0 | => 0 |
auto om playing 7 me -1 | a6 x6 Xq l6 Lr s6 ! => now | a7 x6 Xq l6 Lr
auto om playing 7 me 0 | l7 Lr => 0 | l7 Lr
auto om playing 7 me 0 | w => 0 | w
auto om playing 7 me 3600000 | d7 => now | a7 d7
auto om playing 7 me 1500 | d6 => 1500 | a7 d6 s7 !
auto om playing 7 me 0 | x7 => 0 | x7
auto om playing 8 me 0 | x7 Xr => 0 | x7 Xr
auto om playing 7 me 3600000 | => 5000 | a7 s7 !
auto om playing 7 me 1500 | a7 s7 ! => 0 | a7 s7 !
auto om playing 8 me 1500 | a7 s7 ! => 1500 | a8 s8 !
fire om playing 7 me 0 | a7 s7 ! => launch | a7 d7
fire om playing 8 me 0 | a7 s7 ! => launch | a8 d8
fire om playing 8 me 0 | a8 s8 ! => stop | a8 s8 !
fire om playing 8 me 0 | a7 Xr s7 ! => stop | a8 Xr d8
fire o playing 7 me 0 | a7 s7 ! => stop |
fire om waiting 7 me 0 | a7 s7 ! => stop |
started om playing 7 me 0 | x6 s7 ! d7 => | a7 x6 l7 Lr
started o playing 7 me 0 | s7 ! d7 => | a7 l7 Lr
started om playing 7 me 1 | a7 s7 ! => | a7 l7 Lq s7 !
exit omr Playing 7 ME 2 | a7 x5 Xq l7 Lr s7 ! => 游戏意外退出，正在尝试重连…（剩余 1 次）1 | x5 Xq w
exit omr playing 7 me 2 | a7 l6 Lq s7 ! => over2 | a7 x6 Xq s7 !
relaunch om playing 7 me 0 | a7 w => launch | a7
relaunch om playing 7 me 0 | a7 => stop | a7
exit om playing 7 me 2 | a7 l7 Lr => over2 | a7 x7 Xr
exit omcr playing 7 me 2 | a7 l7 Lr => over2 | a7 x7 Xr
exit omsr playing 7 me 2 | a7 l7 Lr => over2 | a7 x7 Xr
exit omr playing 7 me 0 | a7 l7 Lr => over0 | a7 x7 Xr
exit or playing 7 me 2 | l7 Lr => over2 | a7 x7 Xr
exit omr waiting 7 me 2 | l7 Lr s7 ! => over2 | a7 x7 Xr
exit omc playing 9 me 2 | a7 => over2 | a9 x9 Xr
exit oc playing 9 me 2 | a7 s7 ! => over2 | a7 s7 !
attempt om playing 7 me 0 | a7 x7 Xr l7 Lr s7 ! => | x7 Xr l7 Lr s7 !
exited om playing 7 me 0 | a7 x7 Xr l7 Lr s7 ! => | a7 Xr l7 Lr s7 !
both om playing 7 me 0 | a7 x7 Xr l7 Lr s7 ! => | a7 l7 Lr s7 !
over om playing 7 me 0 | a7 x7 Xr l7 Lr s7 ! d7 w => |
over om playing 7 me 0 | a7 x7 Xr l7 Lq s7 ! d7 w => | l7 Lq
all om playing 7 me 0 | a7 x7 Xr l7 Lq s7 ! d7 w => |)";

LaunchMemory memoryOf(const QString& text) {
    QMap<QChar, QString> field;
    for (const QString& word : text.split(u' ', Qt::SkipEmptyParts)) {
        field[word[0]] = (word[0].isLower() ? QStringLiteral("r:%1:me") : QStringLiteral("%1")).arg(word.mid(1));
    }
    return {field[u'a'], field[u'x'],          field[u'X'], field[u'l'],         field[u'L'],
            field[u's'], field.contains(u'!'), field[u'd'], field.contains(u'w')};
}

QString apply(LaunchMemory& memory, const QStringList& row, const LaunchFacts& facts) {
    const QString& event = row[1];
    if (event == QLatin1String("auto")) {
        const AutoLaunch decision = decideAutoLaunch(memory, facts);
        const bool now = decision.outcome == AutoLaunch::Outcome::now;
        return now ? QStringLiteral("now") : QString::number(decision.delayMs);
    }
    if (event == QLatin1String("fire")) {
        return QString::fromUtf8(takeScheduledLaunch(memory, QStringLiteral("r:7:me"), facts) ? "launch" : "stop");
    }
    if (event == QLatin1String("relaunch")) {
        return QString::fromUtf8(takeRelaunch(memory) ? "launch" : "stop");
    }
    if (event == QLatin1String("exit")) {
        const GameExit exit{row[2].contains(u'c'), row[2].contains(u's'), row[2].contains(u'r'), 3, row[6].toInt()};
        const GameExitOutcome outcome = takeGameExit(memory, facts, exit);
        return (outcome.relaunch ? outcome.roomText : QStringLiteral("over")) + QString::number(outcome.attemptsLeft);
    }
    event == QLatin1String("started")   ? rememberLaunch(memory, facts, QStringLiteral("r:7:me"),
                                                       row[6] == u'1' ? QStringLiteral("q") : QStringLiteral("r"))
      : event == QLatin1String("attempt") ? forgetAttemptedKey(memory)
    : event == QLatin1String("exited")  ? forgetExitedKey(memory)
    : event == QLatin1String("over")    ? forgetMatch(memory, facts.room.id)
    : event == QLatin1String("both")    ? forgetExitedKeyAndRoom(memory)
                                        : forgetAll(memory);
    return QString();
}

}  // namespace

class LaunchMemoryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void eventsAndWhatStays() {
        const QRegularExpression form(
            QStringLiteral("(\\w+) (\\w+) (\\w+) (\\w+) (\\w+) (\\S+) \\|(.*) => (.*)\\|(.*)"));
        for (const QString& line : QString::fromUtf8(kRows).split(QLatin1Char('\n'))) {
            const QStringList row = form.match(line).capturedTexts();
            RoomInfo room;
            room.id = QStringLiteral("r");
            room.status = row[3];
            room.sessionId = room.gameSlot = room.gameUserId = row[4].toInt();
            room.launchDelayMs = row[6].toInt();
            room.playerSlots = {{1, 1, row[5], {}, {}, {}}};
            LaunchMemory memory = memoryOf(row[7]);
            const bool busy = row[2].contains(u'b');
            const LaunchFacts facts{room, QStringLiteral("me"), row[2].contains(u'o'), row[2].contains(u'm'), busy};
            QCOMPARE(line + apply(memory, row, facts), line + row[8].trimmed());
            QVERIFY2(memory == memoryOf(row[9]), qUtf8Printable(line));
        }
    }
};

NETPLAY_TEST(LaunchMemoryTest);
#include "launch_memory_test.moc"
