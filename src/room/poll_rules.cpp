#include "room/poll_rules.h"

#include "room/lobby_rules.h"
#include "room/room_rules.h"
#include "room/room_signatures.h"

#include <QStringList>

#include <algorithm>

RoomUpdate judgeRoomUpdate(const QString& roomId, const QVector<RoomInfo>& rooms, const QString& userName) {
    const auto fresh =
        std::find_if(rooms.begin(), rooms.end(), [&](const RoomInfo& room) { return room.id == roomId; });
    if (fresh == rooms.end()) {
        return {};
    }
    if (!isRoomMember(*fresh, userName)) {
        return {RoomUpdate::Outcome::removed, &*fresh};
    }
    return {RoomUpdate::Outcome::present, &*fresh, isRoomPlaying(*fresh)};
}

bool callsPlayer(const RoomInfo& before, const RoomInfo& now, const QString& userName) {
    if (before.id != now.id) {
        return false;
    }
    const bool starts = isRoomPlaying(now) && !isRoomPlaying(before);
    const bool allReady = isRoomHost(now, userName) && canStartRoom(now, true, userName, nullptr) &&
                          !canStartRoom(before, true, userName, nullptr);
    const bool written = !now.messages.isEmpty() && chatSignature(now.messages) != chatSignature(before.messages) &&
                         !now.messages.last().from.isEmpty() && !isSameName(now.messages.last().from, userName);
    return starts || allReady || written;
}

int connectionStateAfter(int heartbeatFailures) {
    constexpr int kFailuresUntilDisconnected = 3;
    return heartbeatFailures == 0 ? 0 : heartbeatFailures < kFailuresUntilDisconnected ? 1 : 2;
}

ConnectionLook connectionLook(int state) {
    const QString style = QStringLiteral("color: %1; font-size: 12px; padding: 4px 8px;");
    switch (state) {
    case 0:
        return {QStringLiteral("● 已连接"), style.arg(QStringLiteral("#4caf50"))};
    case 1:
        return {QStringLiteral("● 重连中..."), style.arg(QStringLiteral("#ff9800"))};
    default:
        return {QStringLiteral("● 连接断开"), style.arg(QStringLiteral("#f44336"))};
    }
}

ActionOutcome actionOutcome(const QString& action, bool ready) {
    if (action == QLatin1String("join")) {
        return {QStringLiteral("已进入房间。"), true};
    }
    if (action == QLatin1String("start")) {
        return {QStringLiteral("已开始游戏，正在为房间玩家自动启动。"), false, false, true};
    }
    if (action == QLatin1String("map-options")) {
        return {QString(), false, true, true};
    }
    if (action == QLatin1String("move-slot") || action == QLatin1String("launch-done")) {
        return {};
    }
    if (action == QLatin1String("chat")) {
        return {QStringLiteral("消息已发送。")};
    }
    if (action == QLatin1String("ready")) {
        return {ready ? QStringLiteral("已准备。") : QStringLiteral("已取消准备。")};
    }
    static const QStringList settingsActions{QStringLiteral("kick"), QStringLiteral("transfer-host"),
                                             QStringLiteral("lock-slot"), QStringLiteral("unlock-slot"),
                                             QStringLiteral("slot-meta")};
    if (settingsActions.contains(action)) {
        return {QStringLiteral("房间设置已更新。")};
    }
    return {QStringLiteral("[%1] 操作成功").arg(action), true, false};
}
