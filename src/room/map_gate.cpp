#include "room/map_gate.h"

#include "maps/map_finders.h"
#include "maps/map_records.h"

namespace {

MapGate refused(const QString& message) {
    return {MapGate::Outcome::refused, message, nullptr};
}

}  // namespace

MapGate judgeRoomMap(const RoomInfo& room, const std::vector<NetPlay::MapInfo>& catalog, bool catalogReady) {
    if (!catalogReady) {
        return refused(QStringLiteral("正在扫描本地地图，请稍后再进入房间。"));
    }
    if (room.mapFingerprint.isEmpty()) {
        return refused(QStringLiteral("房间缺少地图校验信息，请房主重新创建房间。"));
    }
    if (!room.mapFingerprintAlgo.isEmpty() && room.mapFingerprintAlgo.toStdString() != NetPlay::kFingerprintAlgo) {
        return refused(QStringLiteral("房间地图校验算法不支持，请更新客户端。"));
    }
    const NetPlay::MapInfo* map = NetPlay::findMapForRoom(catalog, room.mapId, room.mapName);
    if (map == nullptr) {
        return refused(QStringLiteral("本地缺少该地图。"));
    }
    if (map->fingerprint.empty()) {
        return {MapGate::Outcome::needsFingerprint, QString(), map};
    }
    if (QString::fromStdString(map->fingerprint) != room.mapFingerprint) {
        return refused(QStringLiteral("地图版本不一致，请更新为房主地图版本。"));
    }
    return {MapGate::Outcome::open, QString(), nullptr};
}
