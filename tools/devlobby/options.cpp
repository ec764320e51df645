#include "devlobby/options.h"

#include <QFileInfo>

#include <limits>

namespace devlobby {

const char* const kUsage =
    "usage: devlobby [options]\n"
    "\n"
    "A development lobby server. It keeps everything in memory. For players of your own: docs/server.md.\n"
    "\n"
    "  --port N                 port to listen on, 40000 without it; 0 picks a free one\n"
    "  --bind ADDRESS           the address to listen on, 127.0.0.1 without it; 0.0.0.0: every address of this "
    "machine\n"
    "  --tls CERT:KEY           speaks https with this certificate and its key, both PEM files; tried on Linux\n"
    "  --account NAME:PASSWORD  an account to begin with; may be given several times\n"
    "  --launch-delay-ms N      from a start to the start of the games, 0 to 60000, 0 without it\n"
    "  --match-seconds N        ends a match N seconds after its start, 0 to 86400; 0: its host ends it\n"
    "  --drop-seconds N         a player of whom nothing was heard for N seconds (no action, heartbeat or detail of "
    "the\n"
    "                           room) loses the seat, 0 to 86400, 30 without it; 0: keeps it. Not in a playing room.\n"
    "  --token-life N           a session ends N seconds after its sign-in, 0 to 86400; 0, or without it: never\n"
    "  --latency REQUEST_MS:REPLY_MS[,ENDPOINT=REQUEST_MS:REPLY_MS...]\n"
    "                           holds each request back before it is carried out, and its reply before it goes out,\n"
    "                           0 to 60000 each; those of an ENDPOINT named here for its own times instead\n"
    "  --jitter SEED            makes of each latency a random time up to it, the same for the same SEED\n"
    "  --fail KIND@ENDPOINT[:N] lets the requests to ENDPOINT fail, or only the first N; may be given several times,\n"
    "                           the first that fits counts. KIND is\n"
    "                             401, 500, 302: answered with that status and not carried out\n"
    "                             cut:           carried out, then the connection is closed without a reply\n"
    "                             silent:        carried out, and never answered\n"
    "  --flaw NAME              serves in a way that breaks clients; may be given several times. NAME is\n"
    "                             light-list:    the list's rooms lack seats, messages and launch data\n"
    "                             no-session:    no room has a session_id\n"
    "                             same-session:  the session_id is 1 for every match\n"
    "                             magic-word:    every refusal holds \"auth\"\n"
    "                             keep-leavers:  a leave is answered and not carried out\n"
    "                             odd-ids:       rooms have ids that break their paths\n"
    "  --packing NAME           gzip: bodies go out packed; drip: in chunks, one after another. Every client takes "
    "both\n"
    "  --trace FILE             writes a JSON line into FILE, - for the standard output, for every request and every\n"
    "                           reply, passwords and tokens left out\n"
    "  --exit-with-stdin        ends when the standard input closes\n"
    "  --help                   this text\n"
    "\n"
    "ENDPOINT is \"rooms\" for the list of rooms (GET), \"create\" for a new room (POST), else the last word of the "
    "path:\n"
    "health, login, register, logout, detail, join, leave, ready, start, heartbeat, launch-done, and so on; after @ "
    "also\n"
    "* for all.\n"
    "\n"
    "POST /api/lobby/rooms/ID/end, sent by the room's host, ends a match too.\n";

namespace {

std::optional<int> readNumber(const QString& text, int most) {
    bool ok = false;
    const int number = text.toInt(&ok);
    return ok && number >= 0 && number <= most ? std::optional(number) : std::nullopt;
}

// A Windows path holds a colon itself, so the files tell which of them divides the two.
bool readTls(const QString& value, Options& options) {
    for (int colon = value.indexOf(QLatin1Char(':')); colon >= 0; colon = value.indexOf(QLatin1Char(':'), colon + 1)) {
        options.certificateFile = value.left(colon);
        options.keyFile = value.mid(colon + 1);
        if (QFileInfo(options.certificateFile).isFile() && QFileInfo(options.keyFile).isFile()) {
            return true;
        }
    }
    return false;
}

// False when the option is unknown or its value is wrong.
bool applyOption(const QString& option, const QString& value, Options& options) {
    if (option == QLatin1String("--account")) {
        const int colon = value.indexOf(QLatin1Char(':'));
        options.accounts.emplace_back(value.left(colon), value.mid(colon + 1));
        return colon > 0;
    }
    if (option == QLatin1String("--trace")) {
        options.traceFile = value;
        return !value.isEmpty();
    }
    if (option == QLatin1String("--latency")) {
        return options.network.setLatency(value);
    }
    if (option == QLatin1String("--fail")) {
        return options.network.addFailure(value);
    }
    if (option == QLatin1String("--flaw")) {
        return options.flaws.add(value);
    }
    if (option == QLatin1String("--packing")) {
        options.packing = value == QLatin1String("gzip") ? HttpServer::Packing::gzip : HttpServer::Packing::drip;
        return value == QLatin1String("gzip") || value == QLatin1String("drip");
    }
    if (option == QLatin1String("--bind")) {
        return options.address.setAddress(value);
    }
    if (option == QLatin1String("--tls")) {
        return readTls(value, options);
    }
    if (option == QLatin1String("--jitter")) {
        const std::optional<int> seed = readNumber(value, std::numeric_limits<int>::max());
        options.network.setJitter(static_cast<quint32>(seed.value_or(0)));
        return seed.has_value();
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

}  // namespace devlobby
