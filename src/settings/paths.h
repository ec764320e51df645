// The client's folders, found by looking at the disk.
#pragma once

#include <string>
#include <string_view>

struct ClientPaths {
    std::u16string clientRoot;
    std::u16string configDir;
    std::u16string reservedPath;
    std::u16string pluginDir;
    std::u16string lobbyDir;
    std::u16string homepageDir;
    std::u16string dataRoot;
    std::u16string coreDir;
    std::u16string scriptsDir;
};

// Puts platform::pathSeparator between the two unless `base` ends in a backslash or a slash. An empty part gives the
// other.
std::u16string joinPath(std::u16string_view base, std::u16string_view relative);

// The path cut at its last backslash or slash; with neither, the path itself.
std::u16string parentDir(std::u16string_view path);

// The path exists and isn't a directory; the path exists and is one.
bool fileExists(const std::u16string& path);
bool dirExists(const std::u16string& path);

// The folder of the running program; "." when the system does not tell.
std::u16string executableDir();

// The nearest folder, from `startDir` upwards and at most 8 folders, that holds both a settings file and the game or
// its plug-ins; otherwise the parent of `startDir`.
std::u16string findClientRoot(const std::u16string& startDir = executableDir());

// The game's folder near the client: "gametest" or "game" beside it, else what TALVERON_DATA_ROOT names. When none
// holds the game, "gametest" beside the client, though it has no game.
std::u16string findDataRoot(const std::u16string& clientRoot);

ClientPaths discoverClientPaths(const std::u16string& startDir = executableDir());
