#include "room/slot_table.h"

#include "lobby/shown_text.h"
#include "room/room_rules.h"

#include <QHash>

#include <algorithm>

namespace {

QVector<RoomSlot> namedSlots(const QStringList& names) {
    QVector<RoomSlot> result;
    result.reserve(names.size());
    for (const QString& name : names) {
        RoomSlot slot;
        slot.slot = result.size() + 1;
        slot.name = name;
        slot.team = QStringLiteral("player");
        result.append(slot);
    }
    return result;
}

QVector<RoomSlot> mergedSlots(const RoomInfo& room) {
    QVector<RoomSlot> merged = room.slotMeta;
    merged.reserve(merged.size() + room.playerSlots.size());
    QHash<int, int> firstRows;
    for (int row = merged.size() - 1; row >= 0; --row) {
        firstRows.insert(merged[row].slot, row);
    }
    for (const RoomSlot& player : room.playerSlots) {
        const auto hit = firstRows.constFind(player.slot);
        if (hit == firstRows.constEnd()) {
            if (merged.size() < kMaxSlots) {
                firstRows.insert(player.slot, merged.size());
                merged.append(player);
            }
            continue;
        }
        RoomSlot& slot = merged[*hit];
        slot.name = player.name;
        slot.ready = player.ready;
        slot.locked = slot.locked || player.locked;
        if (!player.team.isEmpty()) {
            slot.team = player.team;
        }
    }
    return merged;
}

QString playerText(const RoomSlot& slot) {
    if (slot.locked) {
        return QStringLiteral("已关闭");
    }
    if (!slot.name.isEmpty()) {
        return slot.name;
    }
    if (!isComputer(slot) && slot.isPlayerSlot) {
        return QStringLiteral("空位 · 等待加入");
    }
    if (!slot.slotLabel.isEmpty()) {
        return slot.slotLabel;
    }
    return isComputer(slot) ? QStringLiteral("电脑") : QStringLiteral("不可加入");
}

QString stateText(const RoomSlot& slot, const QString& host) {
    if (slot.locked) {
        return QStringLiteral("已关闭");
    }
    if (isComputer(slot)) {
        return QStringLiteral("电脑");
    }
    if (!slot.isPlayerSlot) {
        return QStringLiteral("不可选择");
    }
    if (slot.name.isEmpty()) {
        return QStringLiteral("等待加入");
    }
    if (isSameName(slot.name, host)) {
        return QStringLiteral("房主");
    }
    return slot.ready ? QStringLiteral("已准备") : QStringLiteral("未准备");
}

QString connectionText(const RoomSlot& slot) {
    if (slot.name.isEmpty() || isComputer(slot)) {
        return {};
    }
    if (slot.latencyMs >= 0) {
        return QStringLiteral("%1 ms").arg(slot.latencyMs);
    }
    return slot.online ? QStringLiteral("在线") : QStringLiteral("离线");
}

}  // namespace

QVector<SlotRow> slotRows(const RoomInfo& room, const QString& userName) {
    QVector<RoomSlot> merged = mergedSlots(room);
    if (merged.isEmpty()) {
        merged = namedSlots(room.playerNames);
    }
    std::stable_sort(merged.begin(), merged.end(),
                     [](const RoomSlot& left, const RoomSlot& right) { return left.slot < right.slot; });
    QVector<SlotRow> rows;
    rows.reserve(merged.size());
    for (const RoomSlot& slot : merged) {
        const int number = slot.slot < 1 ? rows.size() + 1 : slot.slot;
        const QString side = slot.team.isEmpty() ? QStringLiteral("-") : slot.team;
        rows.append({slot,
                     !slot.name.isEmpty() || isComputer(slot),
                     isSameName(slot.name, userName),
                     {QStringLiteral("%1P").arg(number), shownText(side), shownText(playerText(slot)),
                      stateText(slot, hostName(room)), connectionText(slot)}});
    }
    return rows;
}

QVector<SlotMenuEntry> slotMenu(const SlotMenuFacts& facts) {
    if (facts.number < 1 || facts.busy || isRoomPlaying(facts.room) || !isRoomHost(facts.room, facts.userName)) {
        return {};
    }
    const bool free = !facts.occupied && !facts.locked;
    const bool guest = !facts.name.isEmpty() && !isSameName(facts.name, hostName(facts.room));
    const SlotMenuEntry separator;
    return {
        {SlotCommand::none, QStringLiteral("%1P").arg(facts.number), false},
        separator,
        {SlotCommand::moveHere, QStringLiteral("换到此槽位"), facts.isPlayerSlot && free},
        {SlotCommand::kick, QStringLiteral("踢人"), guest},
        {SlotCommand::transferHost, QStringLiteral("换房主"), guest},
        separator,
        {SlotCommand::close, QStringLiteral("关闭槽位"), free},
        {SlotCommand::open, QStringLiteral("打开槽位"), facts.locked || !facts.isPlayerSlot},
        {SlotCommand::addComputer, QStringLiteral("添加电脑"), free},
        {SlotCommand::makeObserver, QStringLiteral("设为观战槽位"), free},
    };
}
