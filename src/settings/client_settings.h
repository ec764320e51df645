// The client's settings: Server.ini and the command line.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

struct ClientSettings {
    QString lobbyHttp = QStringLiteral("http://127.0.0.1:40000");  // without a trailing slash
    QString gameHost = QStringLiteral("127.0.0.1");                // used when the room names no host
    QString configFilePath;                                        // empty: settings are never saved
    QString serverProfile = QStringLiteral("local");               // "local", "public", "radmin" or "custom"
    QString defaultUsername = QStringLiteral("test001");           // at most 15 UTF-16 units once loaded
    QString defaultPassword;                                       // read from the file, never written
    bool autoLogin = false;
    int gamePort = 40001;            // 1 to 65535 once loaded; used when the room names no port
    unsigned gameDisplayPreset = 2;  // 0, 1 or 2 once loaded
    bool gameCompatibilityMode = false;
    bool gameDpiAware = false;
    bool reconnectOnCrash = false;
    int reconnectMaxAttempts = 3;   // 0 to 10 once loaded
    int reconnectAttemptsLeft = 0;  // not stored
};

// The settings of the file, each missing or unusable value replaced by its default, with the command line applied on
// top. `arguments` begins with the program's name. An unreadable file gives the defaults. `filePath` becomes
// configFilePath.
ClientSettings loadClientSettings(const QString& filePath, const QStringList& arguments);

// Writes the settings to their configFilePath and takes keys of older versions out; does nothing without a path. The
// password is never written. Every other line stays. False leaves the file as it was: it cannot be written, or what is
// there cannot be read (above 4 MiB, NULs, serialised values, quotes without an end, no file).
bool saveClientSettings(const ClientSettings& settings);

// Takes --user NAME, --username NAME, --user=NAME, --username=NAME, --auto-login and --autologin; ignores the rest.
void applyCommandLine(const QStringList& arguments, ClientSettings& settings);

// "local" or "radmin" when the three values are that profile's, otherwise "custom".
QString deriveServerProfile(const QString& lobbyHttp, const QString& gameHost, int gamePort);

// The text without the slashes at its end.
QString normalizeBaseUrl(const QString& url);

// A server's address as a player types it, normalised: without blanks around it, and with "http://" where it names no
// scheme. Empty for an empty one; nothing for what is no address of a server by HTTP or HTTPS.
std::optional<QString> completeBaseUrl(const QString& typed);

// "borderless" or "fullscreen", whatever the case and the blanks around; "windowed" for any other text.
QString normalizeDisplayMode(const QString& text);

// The preset that stands for the display settings of an older version.
unsigned displayPresetFromLegacy(int width, int height, const QString& mode);
