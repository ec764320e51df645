#include "settings/client_settings.h"

#include "platform/files.h"
#include "settings/settings_choices.h"

#include <QByteArrayList>
#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <QSettings>
#include <QTemporaryDir>
#include <QUrl>
#include <QVector>

#include <algorithm>
#include <limits>
#include <optional>

namespace {

constexpr std::uint64_t kLargestFile = 4 << 20;  // bytes
constexpr int kNameUnits = 15;
constexpr int kDefaultPort = 40001;
constexpr int kMostReconnects = 10;
constexpr int kLegacyWidth = 1024;
constexpr int kLegacyHeight = 768;

const char* const kRetiredKeys[] = {"GameResolutionWidth", "GameResolutionHeight", "GameDisplayMode",
                                    "GameMonitorIndex",    "RememberGameWindow",   "GameWindowX",
                                    "GameWindowY"};

QString serverKey(const char* name) {
    return QLatin1String("Server/") + QLatin1String(name);
}

QString clientKey(const char* name) {
    return QLatin1String("Client/") + QLatin1String(name);
}

std::filesystem::path toPath(const QString& path) {
    return platform::toPath(path.toStdU16String());
}

// QSettings brings serialised values ("@Variant(...)") back to life, and a made-up one can ask for any amount of memory
// or stack. Each character of its beginning may stand as an escape or behind a quote, and more of them ahead.
bool holdsSerialisedValue(const QByteArray& ini) {
    static const QRegularExpression beginning(
        QStringLiteral(R"re([=,](?:[\s"\xEF\xBB\xBF]|\\[\s\S])*(?:@|\\x(?:0*|[0-9a-fA-F]*00)40|\\[0-7]*100))re"
                       R"re((?:V?a?r?i?a?n?t?|D?a?t?e?T?i?m?e?)["\\(])re"));
    return QString::fromLatin1(ini).contains(beginning);
}

// The file's bytes; none of one that is missing. Nothing when it cannot be read, is too large, or is no plain text.
std::optional<QByteArray> readIni(const QString& filePath) {
    std::string bytes;
    if (platform::fileStatus(toPath(filePath)) && !platform::readWholeFile(toPath(filePath), bytes, kLargestFile)) {
        return std::nullopt;
    }
    const QByteArray ini = QByteArray::fromStdString(bytes);
    return ini.contains('\0') || holdsSerialisedValue(ini) ? std::nullopt : std::optional(ini);
}

struct IniLine {
    QByteArray text;     // with its end
    QByteArray section;  // in lower case, as the key is
    QByteArray key;      // begins with a bracket in a heading, and is empty in a blank line
};

QVector<IniLine> iniLines(QByteArray ini) {
    ini.remove(0, ini.startsWith("\xEF\xBB\xBF") ? 3 : 0);
    ini += ini.isEmpty() || ini.endsWith('\n') ? "" : "\n";
    QVector<IniLine> lines;
    QByteArray section;
    for (int begin = 0; begin < ini.size(); begin += lines.last().text.size()) {
        const QByteArray text = ini.mid(begin, ini.indexOf('\n', begin) + 1 - begin);
        const QByteArray key = text.mid(0, text.indexOf('=')).trimmed().toLower();
        if (key.startsWith('[')) {
            section = key.mid(1, key.indexOf(']') - 1).trimmed();
        }
        lines.append({text, section, key});
    }
    return lines;
}

// `ini` with the client's own lines behind the headings of their sections. Every other line stays byte for byte, where
// QSettings would drop comments and the backslashes of foreign values.
QByteArray withOwnLines(const QByteArray& ini, const QByteArray& own) {
    QMap<QByteArray, QByteArray> sections;  // the client's, each with its heading
    QSet<QByteArray> keys;
    for (const char* key : kRetiredKeys) {
        keys.insert("client/" + QByteArray(key).toLower());
    }
    for (const IniLine& line : iniLines(own)) {
        if (!line.key.isEmpty()) {
            sections[line.section] += line.text;
            keys.insert(line.section + '/' + line.key);
        }
    }
    QByteArray result;
    for (const IniLine& line : iniLines(ini)) {
        if (line.key.startsWith('[')) {
            const QByteArray lines = sections.take(line.section);
            result += line.text + lines.mid(lines.indexOf('\n') + 1);
        } else if (!keys.contains(line.section + '/' + line.key)) {
            result += line.text;
        }
    }
    return result + QByteArrayList(sections.values()).join();
}

// A hand-written comma makes QSettings see a list.
QString readText(const QSettings& file, const QString& key, const QString& fallback) {
    return file.contains(key) ? file.value(key).toStringList().join(QStringLiteral(", ")) : fallback;
}

// By its text: QVariant would take a number beyond 32 bits modulo 2^32.
qint64 readNumber(const QSettings& file, const QString& key, qint64 fallback) {
    bool ok = false;
    const qint64 number = readText(file, key, QString()).toLongLong(&ok);
    return ok ? number : fallback;
}

int readInt(const QSettings& file, const QString& key, int fallback) {
    return static_cast<int>(std::clamp<qint64>(readNumber(file, key, fallback), std::numeric_limits<int>::min(),
                                               std::numeric_limits<int>::max()));
}

bool readBool(const QSettings& file, const QString& key) {
    return QVariant(readText(file, key, QString())).toBool();
}

QString readProfile(const QSettings& file, const ClientSettings& settings) {
    const QString derived = deriveServerProfile(settings.lobbyHttp, settings.gameHost, settings.gamePort);
    const QString profile = readText(file, clientKey("ServerProfile"), derived);
    for (const ServerProfile& known : serverProfiles()) {
        if (known.key == profile) {
            return profile;
        }
    }
    return derived;
}

unsigned readDisplayPreset(const QSettings& file) {
    if (file.contains(clientKey("GameDisplayPreset"))) {
        const qint64 preset = readNumber(file, clientKey("GameDisplayPreset"), 0);
        return preset >= 0 && preset <= 2 ? static_cast<unsigned>(preset) : 0;
    }
    return displayPresetFromLegacy(readInt(file, clientKey("GameResolutionWidth"), kLegacyWidth),
                                   readInt(file, clientKey("GameResolutionHeight"), kLegacyHeight),
                                   readText(file, clientKey("GameDisplayMode"), QString()));
}

void readFile(const QString& filePath, ClientSettings& settings) {
    QSettings file(filePath, QSettings::IniFormat);
    file.setIniCodec("UTF-8");
    settings.lobbyHttp = normalizeBaseUrl(readText(file, serverKey("LobbyHttp"), settings.lobbyHttp));
    settings.gameHost = readText(file, serverKey("GameHost"), settings.gameHost);
    const int port = readInt(file, serverKey("GamePort"), settings.gamePort);
    settings.gamePort = port >= 1 && port <= 65535 ? port : kDefaultPort;
    settings.serverProfile = readProfile(file, settings);
    settings.gameDisplayPreset = readDisplayPreset(file);
    settings.gameCompatibilityMode = readBool(file, clientKey("GameCompatibilityMode"));
    settings.gameDpiAware = readBool(file, clientKey("GameDpiAware"));
    settings.reconnectOnCrash = readBool(file, clientKey("ReconnectOnCrash"));
    settings.reconnectMaxAttempts =
        std::clamp(readInt(file, clientKey("ReconnectMaxAttempts"), settings.reconnectMaxAttempts), 0, kMostReconnects);
    settings.defaultUsername = readText(file, clientKey("DefaultUsername"), settings.defaultUsername).left(kNameUnits);
    settings.defaultPassword = readText(file, clientKey("DefaultPassword"), QString());
}

// The lines of the file that tell the settings, as QSettings writes them. Empty when they cannot be written.
QByteArray ownLines(const ClientSettings& settings) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("Server.ini"));
    QSettings file(path, QSettings::IniFormat);
    file.setIniCodec("UTF-8");
    file.setValue(serverKey("LobbyHttp"), normalizeBaseUrl(settings.lobbyHttp));
    file.setValue(serverKey("GameHost"), settings.gameHost);
    file.setValue(serverKey("GamePort"), settings.gamePort);
    file.setValue(clientKey("ServerProfile"), settings.serverProfile);
    file.setValue(clientKey("GameDisplayPreset"), settings.gameDisplayPreset);
    file.setValue(clientKey("GameCompatibilityMode"), settings.gameCompatibilityMode);
    file.setValue(clientKey("GameDpiAware"), settings.gameDpiAware);
    file.setValue(clientKey("ReconnectOnCrash"), settings.reconnectOnCrash);
    file.setValue(clientKey("ReconnectMaxAttempts"), settings.reconnectMaxAttempts);
    file.setValue(clientKey("DefaultUsername"), settings.defaultUsername);
    file.sync();
    return readIni(path).value_or(QByteArray());
}

}  // namespace

ClientSettings loadClientSettings(const QString& filePath, const QStringList& arguments) {
    ClientSettings settings;
    settings.configFilePath = filePath;
    settings.gameDisplayPreset = 0;  // as where the file does not tell
    if (!filePath.isEmpty() && readIni(filePath)) {
        readFile(filePath, settings);
    }
    applyCommandLine(arguments, settings);
    settings.defaultUsername = settings.defaultUsername.left(kNameUnits);
    return settings;
}

bool saveClientSettings(const ClientSettings& settings) {
    const QString& path = settings.configFilePath;
    if (path.isEmpty()) {
        return true;
    }
    const std::optional<QByteArray> before = readIni(path);
    const QByteArray own = ownLines(settings);
    const auto replace = [&path](const QByteArray& ini) {
        return platform::replaceContent(toPath(path), ini.toStdString());
    };
    if (!before || own.isEmpty() || !QDir().mkpath(QFileInfo(path).path()) || !replace(withOwnLines(*before, own))) {
        return false;
    }
    ClientSettings expected = settings;
    expected.defaultUsername = expected.defaultUsername.left(kNameUnits);
    if (ownLines(loadClientSettings(path, {})) != ownLines(expected)) {
        // A quote without an end, in a foreign value, can swallow what comes behind it.
        replace(*before);
        return false;
    }
    return true;
}

void applyCommandLine(const QStringList& arguments, ClientSettings& settings) {
    for (int i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("--user") || argument == QLatin1String("--username")) {
            if (i + 1 < arguments.size()) {
                settings.defaultUsername = arguments.at(++i);
            }
        } else if (argument.startsWith(QLatin1String("--user=")) || argument.startsWith(QLatin1String("--username="))) {
            settings.defaultUsername = argument.mid(argument.indexOf(QLatin1Char('=')) + 1);
        } else if (argument == QLatin1String("--auto-login") || argument == QLatin1String("--autologin")) {
            settings.autoLogin = true;
        }
    }
}

QString deriveServerProfile(const QString& lobbyHttp, const QString& gameHost, int gamePort) {
    const ClientSettings local;
    const QString url = normalizeBaseUrl(lobbyHttp);
    if (url == local.lobbyHttp && gameHost == local.gameHost && gamePort == local.gamePort) {
        return QStringLiteral("local");
    }
    // Radmin VPN gives every machine an address of this network.
    const bool onRadmin = gameHost.startsWith(QLatin1String("26."));
    if (gamePort == kDefaultPort && onRadmin && url == QStringLiteral("http://%1:40000").arg(gameHost)) {
        return QStringLiteral("radmin");
    }
    return QStringLiteral("custom");
}

QString normalizeBaseUrl(const QString& url) {
    int length = url.size();
    while (length > 0 && url.at(length - 1) == QLatin1Char('/')) {
        --length;
    }
    return url.left(length);
}

std::optional<QString> completeBaseUrl(const QString& typed) {
    const QString text = typed.trimmed();
    const bool namesScheme = text.contains(QLatin1String("://"));
    const bool beginsAsHttp = text.startsWith(QLatin1String("http:"), Qt::CaseInsensitive) ||
                              text.startsWith(QLatin1String("https:"), Qt::CaseInsensitive);
    const QString whole = namesScheme || text.isEmpty() ? text : QLatin1String("http://") + text;
    const QUrl url(whole);
    const bool isServer = url.isValid() && !url.host().isEmpty() && !url.hasQuery() && !url.hasFragment();
    if (!text.isEmpty() && (namesScheme != beginsAsHttp || !isServer)) {
        return std::nullopt;
    }
    return normalizeBaseUrl(whole);
}

QString normalizeDisplayMode(const QString& text) {
    const QString mode = text.trimmed().toLower();
    const bool known = mode == QLatin1String("borderless") || mode == QLatin1String("fullscreen");
    return known ? mode : QStringLiteral("windowed");
}

unsigned displayPresetFromLegacy(int width, int height, const QString& mode) {
    if (normalizeDisplayMode(mode) == QLatin1String("fullscreen")) {
        return 2;
    }
    return width == 1600 && height == 1200 ? 1 : 0;
}
