// netplay-inspect: the client's logic from a console, for diagnosis and scripts. JSON on stdout in UTF-8; check-server
// prints a table.
//
// Exit code 0: the operation succeeded; 1: it reported failure, and the document has "error"; 2: wrong use.
#include "inspect/arguments.h"
#include "inspect/commands.h"

#include <QCoreApplication>
#include <QTextCodec>

#include <cstdio>

namespace {

struct Command {
    const char* name;
    const char* words;
    int (*run)(const QStringList&);
};

constexpr Command kCommands[] = {
    {"rooms", "FILE --user NAME", inspectRooms},
    {"room", "FILE --user NAME", inspectRoom},
    {"patch-config", "DATAROOT --slot N --display N [--options 0:1,2:3]", inspectPatchConfig},
    {"patch-game-setting", "DATAROOT --width W --height H --mode N", inspectPatchGameSetting},
    {"launch-block", "--map M --host H --port P --slot N --session N --user-id N --player NAME", inspectLaunchBlock},
    {"quote", "ARG...", inspectQuote},
    {"resolve", "HOST", inspectResolve},
    {"host-file", "FILE", inspectHostFile},
    {"launch", "REQUEST.json", inspectLaunch},
    {"maps", "MAPROOT [--cache DIR] [--cached] [--summary]", inspectMaps},
    {"map-file", "FILE", inspectMapFile},
    {"fingerprint", "MAPDIR [--cache DIR]", inspectFingerprint},
    {"play",
     "--lobby URL --user U --password P (--create NAME --map ID | --join ID | --join-first) --data-root DIR\n"
     "       [--start-with N] [--matches N] [--options 0:1,2:3] [--room-password P] [--game-host H] [--game-port P]\n"
     "       [--give-up SECONDS]",
     inspectPlay},
    {"check-server", "URL [--accounts A:P,B:P,C:P] [--match-end SECONDS] [--timeout MS]", inspectCheckServer},
};

void printUsage(std::FILE* file) {
    std::fputs("usage:\n", file);
    for (const Command& command : kCommands) {
        std::fprintf(file, "  netplay-inspect %s %s\n", command.name, command.words);
    }
}

}  // namespace

int main(int argc, char** argv) {
    // Words of the command line and file names are UTF-8 whatever the console's locale; Windows hands over UTF-16.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString name = arguments.value(1);
    for (const Command& command : kCommands) {
        if (name == QLatin1String(command.name)) {
            try {
                return command.run(arguments.mid(2));
            } catch (const HelpRequest&) {
                std::printf("usage: netplay-inspect %s %s\n", command.name, command.words);
                return 0;
            } catch (const UsageError& error) {
                std::fprintf(stderr, "netplay-inspect: %s\nusage: netplay-inspect %s %s\n", error.what(), command.name,
                             command.words);
                return 2;
            }
        }
    }
    const bool asked = name == QLatin1String("--help");
    printUsage(asked ? stdout : stderr);
    return asked ? 0 : 2;
}
