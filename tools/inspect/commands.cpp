#include "inspect/commands.h"

#include "inspect/arguments.h"
#include "inspect/player.h"
#include "inspect/record_json.h"
#include "launch/command_line.h"
#include "launch/config_patcher.h"
#include "launch/game_launcher.h"
#include "launch/game_setting_patcher.h"
#include "launch/launch_block.h"
#include "lobby/room_decoder.h"
#include "settings/host_discovery.h"
#include "settings/ipv4.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <chrono>
#include <cstdio>
#include <limits>
#include <thread>

namespace {

constexpr std::int64_t kInt32Min = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kInt32Max = std::numeric_limits<std::int32_t>::max();
constexpr qint64 kMaxDocumentBytes = qint64{32} << 20;

// Prints the result of an operation that leaves a sentence when it fails.
int report(bool ok, const QJsonObject& result, const std::u16string& error) {
    if (!ok) {
        return printError(QString::fromStdU16String(error));
    }
    printDocument(result);
    return 0;
}

bool readJson(const QString& path, QJsonDocument& document, QString& error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    if (file.size() > kMaxDocumentBytes) {
        error = QStringLiteral("too large: %1").arg(path);
        return false;
    }
    QJsonParseError parseError;
    document = QJsonDocument::fromJson(file.readAll(), &parseError);
    error = QStringLiteral("bad JSON: ") + parseError.errorString();
    return parseError.error == QJsonParseError::NoError;
}

// Decodes a server's reply from a file as the user would; an empty answer means that it is no JSON object.
int inspectReply(const QStringList& words, QJsonObject (*decode)(const QJsonDocument& document, const QString& user)) {
    const Arguments arguments(words, {QStringLiteral("user")});
    const QString user = arguments.text(QStringLiteral("user"));
    QJsonDocument document;
    QString error;
    if (!readJson(arguments.positional(1).first(), document, error)) {
        return printError(error);
    }
    const QJsonObject answer = decode(document, user);
    if (answer.isEmpty()) {
        return printError(QStringLiteral("not a JSON object"));
    }
    printDocument(answer);
    return 0;
}

// An absolute path, so that a program's working directory makes no difference to it.
std::u16string absolutePath(const QString& path) {
    return QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath()).toStdU16String();
}

std::vector<std::pair<std::int32_t, std::int32_t>> toPairs(const QVector<MapOptionIndex>& options) {
    std::vector<std::pair<std::int32_t, std::int32_t>> pairs;
    for (const MapOptionIndex& option : options) {
        pairs.emplace_back(option.option, option.value);
    }
    return pairs;
}

}  // namespace

void printDocument(const QJsonObject& document) {
    const QByteArray line = QJsonDocument(document).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
    std::fflush(stdout);
}

int printError(const QString& error) {
    printDocument({{QStringLiteral("error"), error}});
    return 1;
}

int inspectRooms(const QStringList& words) {
    return inspectReply(words, [](const QJsonDocument& document, const QString& user) {
        QJsonArray rooms;
        for (const RoomInfo& room : decodeRoomsDocument(document, user)) {
            rooms.append(toJson(room));
        }
        return QJsonObject{{QStringLiteral("rooms"), rooms}};
    });
}

int inspectRoom(const QStringList& words) {
    return inspectReply(words, [](const QJsonDocument& document, const QString& user) {
        return document.isObject() ? QJsonObject{{QStringLiteral("room"), toJson(decodeRoom(document.object(), user))}}
                                   : QJsonObject{};
    });
}

int inspectPatchConfig(const QStringList& words) {
    const Arguments arguments(words, {QStringLiteral("slot"), QStringLiteral("display"), QStringLiteral("options")});
    const auto slot = static_cast<std::int32_t>(arguments.number(QStringLiteral("slot"), kInt32Min, kInt32Max));
    const auto display = static_cast<std::int32_t>(arguments.number(QStringLiteral("display"), kInt32Min, kInt32Max));
    const auto options = toPairs(arguments.pairs(QStringLiteral("options")));
    std::u16string error;
    const bool ok = patchConfigLua(absolutePath(arguments.positional(1).first()), slot, display, options, error);
    return report(ok, {}, error);
}

int inspectPatchGameSetting(const QStringList& words) {
    const Arguments arguments(words, {QStringLiteral("width"), QStringLiteral("height"), QStringLiteral("mode")});
    const auto width = static_cast<std::int32_t>(arguments.number(QStringLiteral("width"), kInt32Min, kInt32Max));
    const auto height = static_cast<std::int32_t>(arguments.number(QStringLiteral("height"), kInt32Min, kInt32Max));
    const auto mode = static_cast<std::int32_t>(arguments.number(QStringLiteral("mode"), kInt32Min, kInt32Max));
    std::u16string error;
    const bool ok = patchGameSetting(absolutePath(arguments.positional(1).first()), width, height, mode, &error);
    return report(ok, {}, error);
}

int inspectLaunchBlock(const QStringList& words) {
    const Arguments arguments(words, {QStringLiteral("map"), QStringLiteral("host"), QStringLiteral("port"),
                                      QStringLiteral("slot"), QStringLiteral("session"), QStringLiteral("user-id"),
                                      QStringLiteral("player")});
    arguments.positional(0);
    GameLaunchRequest request;
    request.mapName = arguments.text(QStringLiteral("map")).toStdU16String();
    request.gameHost = arguments.text(QStringLiteral("host")).toStdU16String();
    request.gamePort = static_cast<std::uint16_t>(arguments.number(QStringLiteral("port"), 0, 65535));
    request.slot = static_cast<std::int32_t>(arguments.number(QStringLiteral("slot"), kInt32Min, kInt32Max));
    request.sessionId = static_cast<std::uint32_t>(
        arguments.number(QStringLiteral("session"), 0, std::numeric_limits<std::uint32_t>::max()));
    request.userId = static_cast<std::int32_t>(arguments.number(QStringLiteral("user-id"), kInt32Min, kInt32Max));
    const std::u16string player = arguments.text(QStringLiteral("player")).toStdU16String();
    std::vector<std::uint8_t> block;
    std::u16string error;
    const bool ok = buildLaunchBlock(request, player, block, error);
    const QByteArray hex =
        QByteArray(reinterpret_cast<const char*>(block.data()), static_cast<int>(block.size())).toHex();
    return report(ok, {{QStringLiteral("block"), QString::fromLatin1(hex)}}, error);
}

int inspectQuote(const QStringList& words) {
    std::vector<std::u16string> arguments;
    for (const QString& word : words) {
        arguments.push_back(word.toStdU16String());
    }
    printDocument({{QStringLiteral("commandLine"), QString::fromStdU16String(buildCommandLine(arguments))}});
    return 0;
}

int inspectResolve(const QStringList& words) {
    const Arguments arguments(words, {});
    Ipv4Bytes bytes{};
    std::u16string error;
    const bool ok = resolveIpv4Host(arguments.positional(1).first().toStdU16String(), bytes, error);
    const QString address = QStringLiteral("%1.%2.%3.%4").arg(bytes[0]).arg(bytes[1]).arg(bytes[2]).arg(bytes[3]);
    return report(ok, {{QStringLiteral("address"), address}}, error);
}

int inspectHostFile(const QStringList& words) {
    const Arguments arguments(words, {});
    const QString& path = arguments.positional(1).first();
    const std::optional<QString> text = readCurrentHostFile(path);
    if (!text) {
        return printError(QStringLiteral("cannot read %1, or it is too large").arg(path));
    }
    ServerFields fields;
    if (!parseCurrentHostText(*text, fields)) {
        return printError(QStringLiteral("no LobbyHttp, GameHost and GamePort in %1").arg(path));
    }
    printDocument({{QStringLiteral("lobbyHttp"), fields.lobbyHttp},
                   {QStringLiteral("gameHost"), fields.gameHost},
                   {QStringLiteral("gamePort"), fields.gamePort}});
    return 0;
}

int inspectLaunch(const QStringList& words) {
    const Arguments arguments(words, {});
    QJsonDocument document;
    QString error;
    if (!readJson(arguments.positional(1).first(), document, error)) {
        return printError(error);
    }
    GameLaunchRequest request;
    if (!document.isObject() || !fromJson(document.object(), request, error)) {
        return printError(document.isObject() ? error : QStringLiteral("not a JSON object"));
    }
    GameLauncher launcher;
    const bool ok = launcher.launch(request);
    const int code = report(ok, {{QStringLiteral("pid"), static_cast<qint64>(launcher.pid())}}, launcher.lastError());
    while (ok && platform::probeProcess(launcher.pid()).state == platform::ProcessProbe::State::running) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return code;
}

int inspectPlay(const QStringList& words) {
    const Arguments arguments(words,
                              {QStringLiteral("lobby"), QStringLiteral("user"), QStringLiteral("password"),
                               QStringLiteral("create"), QStringLiteral("map"), QStringLiteral("join"),
                               QStringLiteral("start-with"), QStringLiteral("data-root"), QStringLiteral("matches"),
                               QStringLiteral("options"), QStringLiteral("room-password"), QStringLiteral("game-host"),
                               QStringLiteral("game-port"), QStringLiteral("give-up")},
                              {QStringLiteral("join-first")});
    arguments.positional(0);
    const int ways = arguments.has(QStringLiteral("create")) + arguments.has(QStringLiteral("join")) +
                     arguments.has(QStringLiteral("join-first"));
    if (ways != 1 || arguments.has(QStringLiteral("create")) != arguments.has(QStringLiteral("map"))) {
        throw UsageError(QStringLiteral("give one of --create NAME --map ID, --join ID, --join-first"));
    }
    PlayerOptions options;
    options.lobby = arguments.text(QStringLiteral("lobby"));
    options.user = arguments.text(QStringLiteral("user"));
    options.password = arguments.text(QStringLiteral("password"));
    options.createName = arguments.text(QStringLiteral("create"), QString());
    options.mapId = arguments.text(QStringLiteral("map"), QString());
    options.mapOptions = arguments.pairs(QStringLiteral("options"));
    options.joinId = arguments.text(QStringLiteral("join"), QString());
    options.roomPassword = arguments.text(QStringLiteral("room-password"), QString());
    options.startWith = static_cast<int>(arguments.number(QStringLiteral("start-with"), 1, 22, 2));
    options.dataRoot = QString::fromStdU16String(absolutePath(arguments.text(QStringLiteral("data-root"))));
    options.gameHost = arguments.text(QStringLiteral("game-host"), QStringLiteral("127.0.0.1"));
    options.gamePort = static_cast<int>(arguments.number(QStringLiteral("game-port"), 1, 65535, 40001));
    options.matches = static_cast<int>(arguments.number(QStringLiteral("matches"), 1, 1'000'000, 1));
    options.giveUpSeconds = static_cast<int>(arguments.number(QStringLiteral("give-up"), 1, 86'400, 60));
    Player player(options, printDocument);
    QObject::connect(&player, &Player::finished, &QCoreApplication::exit);
    QTimer::singleShot(0, &player, &Player::start);
    return QCoreApplication::exec();
}
