#include "inspect/arguments.h"
#include "inspect/commands.h"
#include "inspect/record_json.h"
#include "maps/catalog.h"
#include "maps/map_script.h"
#include "platform/files.h"
#include "room/map_gate.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>

namespace {

// Absolute, without a separator at the end; empty for an empty text.
std::filesystem::path absolutePath(const QString& text) {
    if (text.isEmpty()) {
        return {};
    }
    const QString absolute = QDir::cleanPath(QFileInfo(text).absoluteFilePath());
    return platform::toPath(QDir::toNativeSeparators(absolute).toStdU16String());
}

}  // namespace

int inspectMaps(const QStringList& words) {
    const Arguments arguments(words, {QStringLiteral("cache")}, {QStringLiteral("cached"), QStringLiteral("summary")});
    const std::filesystem::path root = absolutePath(arguments.positional(1).first());
    const std::filesystem::path cache = absolutePath(arguments.text(QStringLiteral("cache"), QString()));
    QElapsedTimer timer;
    timer.start();
    const std::vector<NetPlay::MapInfo> maps = arguments.has(QStringLiteral("cached"))
                                                   ? NetPlay::loadCachedCatalog(root, cache)
                                                   : NetPlay::scanMapCatalog(root, cache);
    const qint64 elapsed = timer.elapsed();
    if (arguments.has(QStringLiteral("summary"))) {
        printDocument({{QStringLiteral("count"), static_cast<qint64>(maps.size())}, {QStringLiteral("ms"), elapsed}});
        return 0;
    }
    QJsonArray list;
    for (const NetPlay::MapInfo& map : maps) {
        list.append(toJson(map));
    }
    printDocument({{QStringLiteral("maps"), list}});
    return 0;
}

int inspectMapFile(const QStringList& words) {
    const Arguments arguments(words, {});
    NetPlay::MapInfo map;
    try {
        NetPlay::parseMapFile(absolutePath(arguments.positional(1).first()), map);
    } catch (const NetPlay::MapFormatError& error) {
        return printError(QString::fromUtf8(error.what()));
    }
    printDocument({{QStringLiteral("map"), toJson(map)}});
    return 0;
}

int inspectFingerprint(const QStringList& words) {
    const Arguments arguments(words, {QStringLiteral("cache")});
    NetPlay::MapInfo map;
    map.folderPath = absolutePath(arguments.positional(1).first());
    map.name = platform::pathToUtf8(map.folderPath.filename());
    QString message;
    if (!ensureMapFingerprint(map, absolutePath(arguments.text(QStringLiteral("cache"), QString())), message)) {
        return printError(message);
    }
    printDocument({{QStringLiteral("map"), toJson(map)}});
    return 0;
}
