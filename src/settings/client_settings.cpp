#include "settings/client_settings.h"

#include "platform/files.h"
#include "settings/settings_choices.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>

#include <algorithm>
#include <limits>
#include <optional>
#include <tuple>

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

// A path may end in a backslash, and QSettings takes the next line for a part of it: that one is empty then.
QByteArray withoutContinuations(QByteArray ini) {
    return ini.replace("\\\r\n", "\\\r\n\n").replace("\\\n", "\\\n\n");
}

// The file's bytes; none of one that is missing. Nothing when it cannot be read, is too large, or is no text.
std::optional<QByteArray> readIni(const QString& filePath) {
    std::string bytes;
    if (platform::fileStatus(toPath(filePath)) && !platform::readWholeFile(toPath(filePath), bytes, kLargestFile)) {
        return std::nullopt;
    }
    const bool isText = bytes.find('\0') == std::string::npos;
    return isText ? std::optional(withoutContinuations(QByteArray::fromStdString(bytes))) : std::nullopt;
}

bool writeCopy(const QByteArray& ini, const QString& path) {
    return platform::writeWholeFile(toPath(path), ini.toStdString());
}

// QSettings brings serialised values back to life ("@Variant(...)"), and a made-up one can ask for any amount of memory
// or stack. So it reads a copy in which this mark, a character of nobody's, stands ahead of each value and of each part
// of a list: then none begins with an "@", in whatever spelling.
constexpr QChar kMark(0xE100);

QByteArray withMarks(const QByteArray& ini) {
    static const QRegularExpression beginnings(QStringLiteral("([=,][ \\t]*)"));
    const QString mark = QString::fromLatin1(QString(kMark).toUtf8());
    return QString::fromLatin1(ini).replace(beginnings, QStringLiteral("\\1") + mark).toLatin1();
}

// For the same reason, and as it would write a foreign value in spellings of its own, it saves into a copy in which
// every byte of a value is a character of nobody's.
constexpr ushort kDisguise = 0xE000;

QByteArray disguised(const QByteArray& ini) {
    QByteArray copy;
    for (const QByteArray& line : ini.split('\n')) {
        const int end = line.endsWith('\r') ? line.size() - 1 : line.size();
        const int equals = line.startsWith('[') ? -1 : line.indexOf('=');
        const int value = equals < 0 ? end : equals + 1;
        QString hidden = QString::fromLatin1(line.mid(value, end - value));
        for (QChar& character : hidden) {
            character = QChar(kDisguise + character.unicode());
        }
        copy += line.left(value) + hidden.toUtf8() + '\n';
    }
    return copy;
}

QByteArray revealed(const QByteArray& copy) {
    QByteArray ini;
    QString plain;
    for (const QChar character : QString::fromUtf8(copy)) {
        if ((character.unicode() & 0xFF00) == kDisguise) {
            ini += plain.toUtf8();
            plain.clear();
            ini += static_cast<char>(character.unicode() & 0xFF);
        } else {
            plain += character;
        }
    }
    return ini + plain.toUtf8();
}

// A hand-written comma makes QSettings see a list.
QString readText(const QSettings& file, const QString& key, const QString& fallback) {
    return file.contains(key) ? file.value(key).toStringList().join(QStringLiteral(", ")).remove(kMark) : fallback;
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

// Whether a file tells what was to be saved. Unbalanced quotes of a foreign value can swallow the rest.
bool holds(const QByteArray& ini, const QString& copy, const ClientSettings& settings) {
    const auto saved = [](const ClientSettings& s) {
        return std::tuple(normalizeBaseUrl(s.lobbyHttp), s.gameHost, s.gamePort, s.serverProfile, s.gameDisplayPreset,
                          s.gameCompatibilityMode, s.gameDpiAware, s.reconnectOnCrash, s.reconnectMaxAttempts,
                          s.defaultUsername.left(kNameUnits));
    };
    ClientSettings back;
    if (writeCopy(withMarks(ini), copy)) {
        readFile(copy, back);
    }
    return saved(back) == saved(settings);
}

}  // namespace

ClientSettings loadClientSettings(const QString& filePath, const QStringList& arguments) {
    ClientSettings settings;
    settings.configFilePath = filePath;
    const std::optional<QByteArray> ini = filePath.isEmpty() ? std::nullopt : readIni(filePath);
    const QTemporaryDir folder;
    QString readable = folder.filePath(QStringLiteral("Server.ini"));
    // Without these two no value begins with an "@". Few files have them, and the file may hold a password.
    if (ini && !ini->contains('@') && !ini->contains('\\')) {
        readable = filePath;
    } else if (ini) {
        writeCopy(withMarks(*ini), readable);
    }
    readFile(readable, settings);
    applyCommandLine(arguments, settings);
    settings.defaultUsername = settings.defaultUsername.left(kNameUnits);
    return settings;
}

bool saveClientSettings(const ClientSettings& settings) {
    if (settings.configFilePath.isEmpty()) {
        return true;
    }
    const std::optional<QByteArray> ini = readIni(settings.configFilePath);
    const QTemporaryDir folder;
    const QString copy = folder.filePath(QStringLiteral("Server.ini"));
    if (!ini || !writeCopy(disguised(*ini), copy)) {
        return false;
    }
    QSettings file(copy, QSettings::IniFormat);
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
    const QByteArray saved = withoutContinuations(revealed(readIni(copy).value_or(QByteArray())));
    return holds(saved, folder.filePath(QStringLiteral("Saved.ini")), settings) &&
           QDir().mkpath(QFileInfo(settings.configFilePath).path()) &&
           platform::replaceContent(toPath(settings.configFilePath), saved.toStdString());
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
