#include "room/map_gate.h"
#include "support/test_registry.h"

#include <QTest>

namespace {

// Whether the catalog is ready; the room's fingerprint, its algorithm and its map; what becomes of it.
const std::tuple<bool, const char*, const char*, const char*, const char*> kRows[] = {
    {false, "", "", "one", "正在扫描本地地图，请稍后再进入房间。"},
    {true, "", "md5", "one", "房间缺少地图校验信息，请房主重新创建房间。"},
    {true, "sha256:1:2", "SHA256-map-o-v1", "none", "房间地图校验算法不支持，请更新客户端。"},
    {true, "sha256:1:2", "sha256-map-o-v1", "none", "本地缺少该地图。"},
    {true, "SHA256:1:2", "sha256-map-o-v1", "one", "地图版本不一致，请更新为房主地图版本。"},
    {true, "sha256:1:2", "sha256-map-o-v1", "two", "needs a fingerprint"},
    {true, "sha256:1:2", "sha256-map-o-v1", "one", "open"},
    {true, "sha256:1:2", "", "one", "open"}};

}  // namespace

class MapGateTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void order() {
        std::vector<NetPlay::MapInfo> catalog(2);
        catalog[0].name = "one";
        catalog[0].fingerprint = "sha256:1:2";
        catalog[1].name = "two";
        for (const auto& [ready, fingerprint, algo, mapId, result] : kRows) {
            RoomInfo room;
            room.mapId = QLatin1String(mapId);
            room.mapFingerprint = QLatin1String(fingerprint);
            room.mapFingerprintAlgo = QLatin1String(algo);
            const MapGate gate = judgeRoomMap(room, catalog, ready);
            QCOMPARE(gate.outcome == MapGate::Outcome::refused ? gate.message
                     : gate.outcome == MapGate::Outcome::open  ? QStringLiteral("open")
                                                               : QStringLiteral("needs a fingerprint"),
                     QString::fromUtf8(result));
        }
    }
};

NETPLAY_TEST(MapGateTest);
#include "map_gate_test.moc"
