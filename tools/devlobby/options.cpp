#include "devlobby/options.h"

const char* const kUsage =
    "usage: devlobby [options]\n"
    "\n"
    "A development lobby server on 127.0.0.1. It keeps everything in memory.\n"
    "\n"
    "  --port N                 port to listen on, 40000 without it; 0 picks a free one\n"
    "  --account NAME:PASSWORD  an account to begin with; may be given several times\n"
    "  --launch-delay-ms N      from a start to the start of the games, 0 to 60000, 0 without it\n"
    "  --match-seconds N        ends a match N seconds after its start, 0 to 86400; 0: its host ends it\n"
    "  --drop-seconds N         a player of whom nothing was heard for N seconds (no action, heartbeat or detail of "
    "the\n"
    "                           room) loses the seat, 0 to 86400, 30 without it; 0: keeps it. Not in a playing room.\n"
    "  --token-life N           a session ends N seconds after its sign-in, 0 to 86400; 0, or without it: never\n"
    "  --exit-with-stdin        ends when the standard input closes\n"
    "  --help                   this text\n"
    "\n"
    "POST /api/lobby/rooms/ID/end, sent by the room's host, ends a match too.\n";

namespace {

std::optional<int> readNumber(const QString& text, int most) {
    bool ok = false;
    const int number = text.toInt(&ok);
    return ok && number >= 0 && number <= most ? std::optional(number) : std::nullopt;
}

// False when the option is unknown or its value is wrong.
bool applyOption(const QString& option, const QString& value, Options& options) {
    if (option == QLatin1String("--account")) {
        const int colon = value.indexOf(QLatin1Char(':'));
        options.accounts.emplace_back(value.left(colon), value.mid(colon + 1));
        return colon > 0;
    }
    const auto take = [&value](int most, auto& target) {
        const std::optional<int> number = readNumber(value, most);
        target = number.value_or(0);
        return number.has_value();
    };
    return option == QLatin1String("--port")              ? take(65535, options.port)
           : option == QLatin1String("--launch-delay-ms") ? take(60000, options.lobby.launchDelayMs)
           : option == QLatin1String("--match-seconds")   ? take(86400, options.lobby.matchSeconds)
           : option == QLatin1String("--drop-seconds")    ? take(86400, options.lobby.dropSeconds)
           : option == QLatin1String("--token-life")      ? take(86400, options.lobby.tokenSeconds)
                                                          : false;
}

}  // namespace

std::optional<Options> readOptions(const QStringList& arguments, QString& error) {
    Options options;
    for (int i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("--help")) {
            options.help = true;
        } else if (argument == QLatin1String("--exit-with-stdin")) {
            options.exitWithStdin = true;
        } else if (!applyOption(argument, arguments.value(i + 1), options)) {
            error = QStringLiteral("unknown option or bad value: ") + argument;
            return std::nullopt;
        } else {
            ++i;
        }
    }
    return options;
}
