#include "room/room_texts.h"

#include "lobby/shown_text.h"
#include "room/room_rules.h"

#include <QStringList>

#include <algorithm>

namespace {

QString roomMode(const RoomInfo& room) {
    return room.mode.isEmpty() ? QStringLiteral("普通战") : room.mode;
}

// Hours and minutes of the two forms that servers send; any other text stays whole.
QString chatClock(const QString& time) {
    constexpr int kClockLength = 5;
    constexpr int kDateLength = 10;
    const int marker = time.indexOf(QLatin1Char('T'));
    if (marker >= 0 && time.size() - marker - 1 >= kClockLength) {
        return time.mid(marker + 1, kClockLength);
    }
    if (time.size() > kDateLength + kClockLength && time[kDateLength].isSpace()) {
        return time.mid(kDateLength + 1, kClockLength);
    }
    return time.isEmpty() ? QStringLiteral("--:--") : time;
}

// Each part by itself, so that no text can begin a line in another's name.
QString chatLine(const RoomChatMessage& message) {
    const QString who = message.from.isEmpty() ? QStringLiteral("系统") : shownText(message.from);
    return QStringLiteral("[%1] %2: %3")
        .arg(shownText(chatClock(message.time)), who, shownText(message.text, kMaxMessageLength));
}

}  // namespace

const QString& roomName(const RoomInfo& room) {
    return room.name.isEmpty() ? room.id : room.name;
}

QString statusDisplayText(const QString& status) {
    if (status.isEmpty() || status.compare(QLatin1String("waiting"), Qt::CaseInsensitive) == 0) {
        return QStringLiteral("等待中");
    }
    return status.compare(QLatin1String("playing"), Qt::CaseInsensitive) == 0 ? QStringLiteral("游戏中") : status;
}

RoomDisplayTexts roomDisplayTexts(const RoomInfo& room) {
    QString occupancy = room.players;
    if (occupancy.isEmpty()) {
        occupancy = QStringLiteral("%1/%2").arg(room.playerCount).arg(room.maxPlayers);
    }
    if (isRoomFull(room)) {
        occupancy += QStringLiteral(" · 满");
    }
    return {occupancy, hostName(room), statusDisplayText(room.status),
            room.mapName.isEmpty() ? room.mapId : room.mapName};
}

QString roomTitleText(const RoomInfo& room) {
    return QStringLiteral("自由对战>>%1(%2)").arg(shownText(roomName(room)), shownText(roomMode(room)));
}

QString roomSettingsText(const RoomInfo& room) {
    const RoomDisplayTexts texts = roomDisplayTexts(room);
    const int slotCount = room.slotCount > 0 ? room.slotCount : std::max(room.maxPlayers, room.playerSlots.size());
    const QStringList lines{
        QStringLiteral("游戏名称：") + shownText(roomName(room)),
        QStringLiteral("当前房主：") + (texts.host.isEmpty() ? QStringLiteral("-") : shownText(texts.host)),
        QStringLiteral("游戏模式：") + shownText(roomMode(room)),
        QStringLiteral("地图名称：") + shownText(texts.map),
        QStringLiteral("人数：") + shownText(texts.occupancy),
        QStringLiteral("槽位数量：") + QString::number(slotCount),
        QStringLiteral("房间状态：") + shownText(texts.status),
    };
    return lines.join(QLatin1Char('\n'));
}

QString roomChatText(const QVector<RoomChatMessage>& messages) {
    if (messages.isEmpty()) {
        return QStringLiteral("[系统] 暂无聊天消息。");
    }
    QStringList lines;
    int space = kMaxChatLength;
    for (auto message = messages.crbegin(); message != messages.crend() && space > 0; ++message) {
        lines.prepend(beginning(chatLine(*message), space));
        space -= lines.first().size() + 1;
    }
    return lines.join(QLatin1Char('\n'));
}
