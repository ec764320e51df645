#include "settings/client_settings.h"

#include "platform/files.h"
#include "settings/settings_choices.h"

#include <QSettings>

#include <algorithm>
#include <limits>

namespace {

constexpr qint64 kLargestFile = 1 << 20;  // bytes
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

unsigned digitValue(char character) {
    const auto place = std::string_view("0123456789abcdef0123456789ABCDEF").find(character);
    return place == std::string_view::npos ? 16 : static_cast<unsigned>(place % 16);
}

// Whether the text holds a NUL character, plain or as an escape of the INI format.
bool holdsNul(std::string_view ini) {
    for (std::size_t i = 0; i < ini.size(); ++i) {
        if (ini[i] == '\0') {
            return true;
        }
        if (ini[i] != '\\' || ++i == ini.size()) {
            continue;
        }
        const unsigned base = ini[i] == 'x' ? 16 : 8;
        const std::size_t begin = base == 16 ? i + 1 : i;
        std::size_t end = begin;
        unsigned code = 0;
        for (; end < ini.size() && digitValue(ini[end]) < base; ++end) {
            code = code * base + digitValue(ini[end]);
        }
        if (end > begin) {
            if ((code & 0xFFFF) == 0) {
                return true;
            }
            i = end - 1;
        }
    }
    return false;
}

// Whether QSettings may be let loose on the file. It brings serialised values back to life ("@Variant(...)", which
// begins with NUL characters), and a made-up one can ask for any amount of memory or stack.
bool isFitForReading(const QString& filePath) {
    const std::filesystem::path path = platform::toPath(filePath.toStdU16String());
    const auto status = platform::fileStatus(path);
    std::string bytes;
    return !status || (status->isRegularFile && platform::readWholeFile(path, bytes, kLargestFile) && !holdsNul(bytes));
}

// A hand-written comma makes QSettings see a list.
QString readText(const QSettings& file, const QString& key, const QString& fallback) {
    const QVariant value = file.value(key);
    if (value.type() == QVariant::StringList) {
        return value.toStringList().join(QStringLiteral(", "));
    }
    return value.canConvert<QString>() ? value.toString() : fallback;
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

void readFile(ClientSettings& settings) {
    QSettings file(settings.configFilePath, QSettings::IniFormat);
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

}  // namespace

ClientSettings loadClientSettings(const QString& filePath, const QStringList& arguments) {
    ClientSettings settings;
    settings.configFilePath = filePath;
    if (!filePath.isEmpty() && isFitForReading(filePath)) {
        readFile(settings);
    } else {
        // What an empty file gives.
        settings.gameDisplayPreset = displayPresetFromLegacy(kLegacyWidth, kLegacyHeight, QString());
    }
    applyCommandLine(arguments, settings);
    settings.defaultUsername = settings.defaultUsername.left(kNameUnits);
    return settings;
}

void saveClientSettings(const ClientSettings& settings) {
    if (settings.configFilePath.isEmpty() || !isFitForReading(settings.configFilePath)) {
        return;
    }
    QSettings file(settings.configFilePath, QSettings::IniFormat);
    file.setIniCodec("UTF-8");
    file.setValue(serverKey("LobbyHttp"), normalizeBaseUrl(settings.lobbyHttp));
    file.setValue(serverKey("GameHost"), settings.gameHost);
    file.setValue(serverKey("GamePort"), settings.gamePort);
    file.setValue(clientKey("ServerProfile"), settings.serverProfile);
    file.setValue(clientKey("GameDisplayPreset"), settings.gameDisplayPreset);
    for (const char* key : kRetiredKeys) {
        file.remove(clientKey(key));
    }
    file.setValue(clientKey("GameCompatibilityMode"), settings.gameCompatibilityMode);
    file.setValue(clientKey("GameDpiAware"), settings.gameDpiAware);
    file.setValue(clientKey("ReconnectOnCrash"), settings.reconnectOnCrash);
    file.setValue(clientKey("ReconnectMaxAttempts"), settings.reconnectMaxAttempts);
    file.setValue(clientKey("DefaultUsername"), settings.defaultUsername);
    file.sync();
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
