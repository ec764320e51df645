#include "settings/paths.h"

#include "platform/environment.h"
#include "platform/files.h"

namespace {

constexpr int kLevelsSearched = 8;
constexpr std::size_t kDataRootUnits = 260;  // MAX_PATH with its terminating NUL
constexpr std::u16string_view kSeparators = u"\\/";

bool holdsSettings(const std::u16string& configDir) {
    return fileExists(joinPath(configDir, u"Server.ini"));
}

std::u16string besideClient(const std::u16string& root) {
    return joinPath(root, u"config");
}

std::u16string insideLauncher(const std::u16string& root) {
    return joinPath(joinPath(root, u"ClientLauncher"), u"config");
}

bool isClientRoot(const std::u16string& dir) {
    const bool hasSettings = holdsSettings(besideClient(dir)) || holdsSettings(insideLauncher(dir));
    return hasSettings && (dirExists(joinPath(joinPath(dir, u"game"), u"core")) || dirExists(joinPath(dir, u"Plugin")));
}

bool holdsGame(const std::u16string& dataRoot) {
    return !dataRoot.empty() && fileExists(joinPath(joinPath(dataRoot, u"core"), u"game.exe"));
}

}  // namespace

std::u16string joinPath(std::u16string_view base, std::u16string_view relative) {
    std::u16string joined(base);
    if (!base.empty() && !relative.empty() && kSeparators.find(base.back()) == kSeparators.npos) {
        joined += platform::pathSeparator;
    }
    return joined.append(relative);
}

std::u16string parentDir(std::u16string_view path) {
    return std::u16string(path.substr(0, path.find_last_of(kSeparators)));
}

bool fileExists(const std::u16string& path) {
    const auto status = platform::fileStatus(platform::toPath(path));
    return status && !status->isDirectory;
}

bool dirExists(const std::u16string& path) {
    const auto status = platform::fileStatus(platform::toPath(path));
    return status && status->isDirectory;
}

std::u16string executableDir() {
    const std::u16string file = platform::toWideText(platform::executableFile());
    const std::size_t cut = file.find_last_of(kSeparators);
    return cut == file.npos ? u"." : file.substr(0, cut);
}

std::u16string findClientRoot(const std::u16string& startDir) {
    std::u16string dir = startDir;
    for (int level = 0; level < kLevelsSearched && !dir.empty(); ++level) {
        if (isClientRoot(dir)) {
            return dir;
        }
        std::u16string parent = parentDir(dir);
        if (parent == dir) {
            break;
        }
        dir = std::move(parent);
    }
    return parentDir(startDir);
}

std::u16string findDataRoot(const std::u16string& clientRoot) {
    const std::u16string neighbourhood = parentDir(clientRoot);
    const std::u16string gametest = joinPath(neighbourhood, u"gametest");
    const std::u16string candidates[] = {
        gametest, joinPath(neighbourhood, u"game"),
        platform::environmentVariable(u"TALVERON_DATA_ROOT", kDataRootUnits).value_or(std::u16string())};
    for (const std::u16string& candidate : candidates) {
        if (holdsGame(candidate)) {
            return candidate;
        }
    }
    return gametest;
}

ClientPaths discoverClientPaths(const std::u16string& startDir) {
    ClientPaths paths;
    paths.clientRoot = findClientRoot(startDir);
    paths.configDir = besideClient(paths.clientRoot);
    if (!holdsSettings(paths.configDir)) {
        paths.configDir = insideLauncher(paths.clientRoot);
    }
    paths.pluginDir = joinPath(paths.clientRoot, u"Plugin");
    paths.lobbyDir = joinPath(paths.pluginDir, u"Lobby");
    paths.homepageDir = joinPath(paths.pluginDir, u"Homepage");
    paths.dataRoot = findDataRoot(paths.clientRoot);
    paths.coreDir = joinPath(paths.dataRoot, u"core");
    paths.scriptsDir = joinPath(paths.clientRoot, u"scripts");
    return paths;
}
