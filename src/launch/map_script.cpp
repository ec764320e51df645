#include "launch/map_script.h"

#include "platform/files.h"
#include "settings/paths.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>

namespace {

struct FileName {
    std::u16string_view stem;
    std::u16string_view extension;  // with its dot; empty where there is none
};

// Cuts the last component as std::filesystem does, after either separator.
FileName cutFileName(std::u16string_view path) {
    const std::size_t separator = path.find_last_of(u"\\/");
    const std::u16string_view name = separator == std::u16string_view::npos ? path : path.substr(separator + 1);
    const std::size_t dot = name.rfind(u'.');
    if (dot == std::u16string_view::npos || dot == 0 || name == u"..") {
        return {name, {}};
    }
    return {name.substr(0, dot), name.substr(dot)};
}

bool liesBelow(const std::filesystem::path& path, const std::filesystem::path& root) {
    auto part = path.begin();
    return std::all_of(root.begin(), root.end(), [&](const std::filesystem::path& rootPart) {
        return part != path.end() &&
               platform::equalIgnoringCase(platform::toWideText(rootPart), platform::toWideText(*part++));
    });
}

// Follows every link, so that none leads out of the map folder unseen.
bool resolveGivenScript(const std::u16string& dataRoot, const std::u16string& given, std::u16string& scriptPath,
                        std::u16string& lastError) {
    const std::optional<std::filesystem::path> script = platform::canonicalPath(platform::toPath(given));
    if (!script) {
        lastError = u"invalid map script path: " + given;
        return false;
    }
    const std::u16string mapFolder = joinPath(dataRoot, u"map");
    const std::optional<std::filesystem::path> root = platform::weaklyCanonicalPath(platform::toPath(mapFolder));
    if (!root) {
        lastError = u"invalid map root: " + mapFolder;
        return false;
    }
    const std::u16string canonical = platform::toWideText(*script);
    if (!liesBelow(*script, *root)) {
        lastError = u"map script outside data root map folder: " + canonical;
        return false;
    }
    scriptPath = canonical;
    return true;
}

// A name for a map's folder and script, never a way out of the map folder.
bool isMapName(std::u16string_view name) {
    return !name.empty() && std::none_of(name.begin(), name.end(), [](char16_t unit) {
        return unit < 32 || unit == u'.' || unit == u'\\' || unit == u'/' || unit == u':';
    });
}

}  // namespace

bool resolveMapScript(const std::u16string& dataRoot, const GameLaunchRequest& request, std::u16string& startupMap,
                      std::u16string& scriptPath, std::u16string& lastError) {
    const auto fail = [&lastError](std::u16string_view what, std::u16string_view name) {
        lastError = std::u16string(what).append(name);
        return false;
    };
    startupMap = request.mapName;
    const std::u16string& given = request.mapScriptPath;
    if (given.empty()) {
        if (!isMapName(startupMap)) {
            return fail(u"invalid map name (path/separators/control chars rejected): ", startupMap);
        }
        scriptPath = joinPath(joinPath(joinPath(dataRoot, u"map"), startupMap), startupMap + u".o");
        return true;
    }
    const FileName name = cutFileName(given);
    if (!platform::equalIgnoringCase(name.extension, u".o")) {
        return fail(u"invalid map script extension: ", given);
    }
    if (!isMapName(name.stem)) {
        return fail(u"invalid map script name (path/separators/control chars rejected): ", name.stem);
    }
    if (!fileExists(given)) {
        return fail(u"map file not found: ", given);
    }
    if (!resolveGivenScript(dataRoot, given, scriptPath, lastError)) {
        return false;
    }
    startupMap = name.stem;
    return true;
}
