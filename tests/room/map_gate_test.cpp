#include "room/map_gate.h"
#include "support/test_registry.h"

#include <QTest>

class MapGateTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void order_data() {
        QTest::addColumn<bool>("ready");
        QTest::addColumn<QString>("fingerprint");
        QTest::addColumn<QString>("algo");
        QTest::addColumn<QString>("mapId");
        QTest::addColumn<QString>("result");
        const QString good = QStringLiteral("sha256:1:2");
        const QString algo = QStringLiteral("sha256-map-o-v1");
        const QString one = QStringLiteral("one");
        QTest::newRow("not scanned") << false << QString() << QString() << one
                                     << QStringLiteral("正在扫描本地地图，请稍后再进入房间。");
        QTest::newRow("no fingerprint") << true << QString() << QStringLiteral("md5") << one
                                        << QStringLiteral("房间缺少地图校验信息，请房主重新创建房间。");
        QTest::newRow("other algorithm") << true << good << QStringLiteral("SHA256-map-o-v1") << QStringLiteral("none")
                                         << QStringLiteral("房间地图校验算法不支持，请更新客户端。");
        QTest::newRow("no such map") << true << good << algo << QStringLiteral("none")
                                     << QStringLiteral("本地缺少该地图。");
        QTest::newRow("other version") << true << QStringLiteral("SHA256:1:2") << algo << one
                                       << QStringLiteral("地图版本不一致，请更新为房主地图版本。");
        QTest::newRow("to be hashed") << true << good << algo << QStringLiteral("two")
                                      << QStringLiteral("needs a fingerprint");
        QTest::newRow("same") << true << good << algo << one << QStringLiteral("open");
        QTest::newRow("no algorithm word") << true << good << QString() << one << QStringLiteral("open");
    }
    void order() {
        QFETCH(const bool, ready);
        QFETCH(const QString, fingerprint);
        QFETCH(const QString, algo);
        QFETCH(const QString, mapId);
        std::vector<NetPlay::MapInfo> catalog(2);
        catalog[0].name = "one";
        catalog[0].fingerprint = "sha256:1:2";
        catalog[1].name = "two";
        RoomInfo room;
        room.mapId = mapId;
        room.mapFingerprint = fingerprint;
        room.mapFingerprintAlgo = algo;
        const MapGate gate = judgeRoomMap(room, catalog, ready);
        QTEST(gate.outcome == MapGate::Outcome::refused ? gate.message
              : gate.outcome == MapGate::Outcome::open  ? QStringLiteral("open")
                                                        : QStringLiteral("needs a fingerprint"),
              "result");
    }
};

NETPLAY_TEST(MapGateTest);
#include "map_gate_test.moc"
