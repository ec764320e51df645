#include "room/create_room_rules.h"

#include "lobby/shown_text.h"
#include "room/map_option_rows.h"
#include "room/room_texts.h"

#include <algorithm>

namespace {

constexpr std::size_t kListedMaps = 400;
constexpr std::size_t kListedMatches = 1000;
constexpr int kMaxCaptionLength = 200;  // UTF-16 units; wider than the list

bool qualifies(const NetPlay::MapInfo& map, const QString& filter) {
    return filter.isEmpty() ||
           QString::fromStdString(map.name + ' ' + map.displayName).contains(filter, Qt::CaseInsensitive);
}

}  // namespace

CreateRoomMapList createRoomMapList(const std::vector<NetPlay::MapInfo>& catalog, const QString& filter,
                                    const QString& keepId) {
    const QString wanted = filter.trimmed();
    const std::string keep = keepId.toStdString();
    const std::size_t limit = wanted.isEmpty() ? kListedMaps : kListedMatches;
    CreateRoomMapList list;
    for (std::size_t i = 0; i < catalog.size(); ++i) {
        const bool isKept = !keep.empty() && catalog[i].name == keep;
        if ((list.truncated && !isKept) || !qualifies(catalog[i], wanted)) {
            continue;
        }
        if (list.maps.size() >= limit && !isKept) {
            list.truncated = true;
            continue;
        }
        if (isKept) {
            list.keptRow = static_cast<int>(list.maps.size());
        }
        list.maps.push_back(i);
    }
    return list;
}

QString createRoomMapCaption(const NetPlay::MapInfo& map) {
    const std::string& text = map.displayName.empty() ? map.name : map.displayName;
    return beginning(singleLine(QString::fromStdString(text)), kMaxCaptionLength);
}

std::vector<CreateRoomOption> createRoomOptions(const NetPlay::MapInfo& map) {
    std::vector<CreateRoomOption> options;
    for (const QString& key : mapOptionKeys(map)) {
        CreateRoomOption option{key, listedChoices(map, key), 0};
        if (const std::optional<QString> initial = initialChoice(map, key)) {
            if (option.choices.isEmpty()) {
                option.choices += *initial;
            }
            option.selected = std::max(0, static_cast<int>(option.choices.indexOf(*initial)));
        }
        if (!option.choices.isEmpty()) {
            options.push_back(option);
        }
        if (options.size() == kMaxMapOptionRows) {
            break;
        }
    }
    return options;
}

QString suggestedRoomName(const QString& ownerName, const QString& title) {
    return beginning(singleLine(ownerName + QStringLiteral("的") + title), kMaxRoomNameLength);
}

QString createRoomRefusal(bool mapChosen, const QString& name, bool isPrivate, const QString& password) {
    if (!mapChosen) {
        return QStringLiteral("请先选择地图。");
    }
    if (name.trimmed().isEmpty()) {
        return QStringLiteral("请填写游戏名称。");
    }
    return isPrivate && password.isEmpty() ? QStringLiteral("私有房间需要设置密码。") : QString();
}

QVector<RoomSlot> createRoomSlots(const NetPlay::MapInfo& map) {
    QVector<RoomSlot> roomSlots;
    for (const NetPlay::MapSlot& mapSlot : map.slots) {
        RoomSlot slot;
        slot.slot = mapSlot.slot;
        slot.playerId = mapSlot.playerId;
        slot.team = QString::fromStdString(mapSlot.team);
        slot.locked = mapSlot.locked;
        slot.selectType = QString::fromStdString(mapSlot.selectType);
        slot.isPlayerSlot = mapSlot.isPlayerSlot;
        slot.slotLabel = QString::fromStdString(mapSlot.slotLabel);
        roomSlots.append(slot);
    }
    return roomSlots;
}
