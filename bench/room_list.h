// The reply that the benchmarks decode.
#pragma once

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

// A list of 500 rooms with 12 slots each, as a busy server sends it.
inline QByteArray roomListReply() {
    QJsonArray rooms;
    for (int i = 0; i < 500; ++i) {
        QJsonArray playerSlots;
        for (int slot = 1; slot <= 12; ++slot) {
            playerSlots.append(QJsonObject{{QStringLiteral("slot"), slot},
                                           {QStringLiteral("player_id"), slot},
                                           {QStringLiteral("name"), QStringLiteral("player %1").arg(slot * 500 + i)},
                                           {QStringLiteral("team"), QStringLiteral("蜀国")},
                                           {QStringLiteral("select_type"), QStringLiteral("5")},
                                           {QStringLiteral("ready"), slot % 2 == 0},
                                           {QStringLiteral("online"), true},
                                           {QStringLiteral("latency_ms"), 20 + slot}});
        }
        rooms.append(QJsonObject{{QStringLiteral("id"), i + 1},
                                 {QStringLiteral("name"), QStringLiteral("房间 %1").arg(i)},
                                 {QStringLiteral("status"), QStringLiteral("waiting")},
                                 {QStringLiteral("map_id"), QStringLiteral("10078")},
                                 {QStringLiteral("map_name"), QStringLiteral("一张地图")},
                                 {QStringLiteral("owner"), QStringLiteral("player %1").arg(i)},
                                 {QStringLiteral("player_count"), 12},
                                 {QStringLiteral("max_players"), 12},
                                 {QStringLiteral("player_slots"), playerSlots}});
    }
    return QJsonDocument(QJsonObject{{QStringLiteral("ok"), true}, {QStringLiteral("rooms"), rooms}})
        .toJson(QJsonDocument::Compact);
}
