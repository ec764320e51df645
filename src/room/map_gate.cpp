#include "room/map_gate.h"

#include "maps/catalog.h"
#include "maps/map_records.h"

const NetPlay::MapInfo* findLocalMap(const RoomInfo& room, const std::vector<NetPlay::MapInfo>& catalog,
                                     bool catalogReady, QString& message) {
    if (!catalogReady) {
        message = QStringLiteral("正在扫描本地地图，请稍后再进入房间。");
    } else if (room.mapFingerprint.isEmpty()) {
        message = QStringLiteral("房间缺少地图校验信息，请房主重新创建房间。");
    } else if (!room.mapFingerprintAlgo.isEmpty() &&
               room.mapFingerprintAlgo.toStdString() != NetPlay::kFingerprintAlgo) {
        message = QStringLiteral("房间地图校验算法不支持，请更新客户端。");
    } else if (const auto* map = NetPlay::findMapForRoom(catalog, room.mapId, room.mapName)) {
        return map;
    } else {
        message = QStringLiteral("本地缺少该地图。");
    }
    return nullptr;
}

bool isMapOfRoom(const NetPlay::MapInfo& map, const RoomInfo& room, QString& message) {
    if (map.fingerprint.empty()) {
        message = QStringLiteral("本地地图文件不完整，无法校验版本。");
    } else if (QString::fromStdString(map.fingerprint) != room.mapFingerprint) {
        message = QStringLiteral("地图版本不一致，请更新为房主地图版本。");
    } else {
        return true;
    }
    return false;
}

bool roomMapMatchesLocal(const RoomInfo& room, std::vector<NetPlay::MapInfo>& catalog, bool catalogReady,
                         const std::filesystem::path& cacheDir, QString& message) {
    const NetPlay::MapInfo* found = findLocalMap(room, catalog, catalogReady, message);
    if (found == nullptr) {
        return false;
    }
    NetPlay::MapInfo& map = catalog[static_cast<std::size_t>(found - catalog.data())];
    return ensureMapFingerprint(map, cacheDir, message) && isMapOfRoom(map, room, message);
}

bool ensureMapFingerprint(NetPlay::MapInfo& map, const std::filesystem::path& cacheDir, QString& message) {
    const bool has = NetPlay::computeMapFingerprint(map, cacheDir);
    if (!has) {
        message = QStringLiteral("地图文件不完整或无法读取，不能校验联机版本。");
    }
    return has;
}
