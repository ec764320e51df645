#include "room/launch_plan.h"

#include "room/room_rules.h"

#include <algorithm>
#include <set>
#include <type_traits>

namespace {

// The map's options in the order by which the game counts them.
std::vector<std::string> orderedOptions(const NetPlay::MapInfo& map) {
    std::vector<std::string> ids = map.optionIds;
    const std::set<std::string> listed(ids.begin(), ids.end());
    for (const auto& [id, values] : map.optionValues) {
        if (listed.count(id) == 0) {
            ids.push_back(id);
        }
    }
    return ids;
}

// The position of the option's selected value, or -1 when it has none.
int selectedValue(const NetPlay::MapInfo& map, const std::string& id, const QMap<QString, QString>& selections) {
    const auto values = map.optionValues.find(id);
    if (values == map.optionValues.end()) {
        return -1;
    }
    std::string text = selections.value(QString::fromStdString(id)).toStdString();
    if (text.empty()) {
        const auto label = map.optionLabels.find(id);
        text = label == map.optionLabels.end() ? std::string() : label->second;
    }
    const auto hit = std::find(values->second.begin(), values->second.end(), text);
    return text.empty() || hit == values->second.end() ? -1 : static_cast<int>(hit - values->second.begin());
}

// A path's own text: UTF-16 on Windows, bytes taken as UTF-8 elsewhere. Never throws, unlike path::u16string.
template<typename Char>
std::u16string wideText(const std::basic_string<Char>& path) {
    if constexpr (std::is_same_v<Char, wchar_t>) {
        return {path.begin(), path.end()};
    } else {
        return QString::fromStdString(path).toStdU16String();
    }
}

}  // namespace

QString launchKey(const QString& roomId, int sessionId, const QString& userName) {
    return QStringLiteral("%1:%2:%3").arg(roomId, QString::number(std::max(1, sessionId)), userName);
}

bool hasLaunchIdentity(const RoomInfo& room) {
    return room.sessionId >= 1 && room.gameSlot >= 1 && room.gameUserId >= 1;
}

int launchDelay(int requestedMs) {
    return std::clamp(requestedMs, 0, kMaxLaunchDelayMs);
}

QVector<MapOptionIndex> mapOptionPairs(const RoomInfo& room, const QMap<QString, QString>& selections,
                                       const NetPlay::MapInfo* map) {
    if (map == nullptr) {
        return room.mapOptionIndexes;
    }
    QVector<MapOptionIndex> pairs;
    const std::vector<std::string> ids = orderedOptions(*map);
    for (std::size_t option = 0; option < ids.size(); ++option) {
        const int value = selectedValue(*map, ids[option], selections);
        if (value >= 0) {
            pairs.append({static_cast<int>(option), value});
        }
    }
    return pairs.isEmpty() ? room.mapOptionIndexes : pairs;
}

LaunchPlan planLaunch(const RoomInfo& room, const QString& userName, const LaunchDefaults& defaults,
                      const QMap<QString, QString>& selections, const NetPlay::MapInfo* map) {
    LaunchPlan plan;
    if (findOwnSlot(room, userName) == nullptr) {
        plan.error = QStringLiteral("启动失败:当前账号不在房间槽位中。");
        return plan;
    }
    if (!hasLaunchIdentity(room)) {
        plan.error = QStringLiteral("启动失败:房间启动身份不完整，请重新进入房间。");
        return plan;
    }
    plan.mapName = room.mapId.isEmpty() ? QStringLiteral("10078") : room.mapId;
    plan.host = room.pmHost.isEmpty() ? defaults.gameHost : room.pmHost;
    plan.port = room.pmPort >= 1 && room.pmPort <= 65535 ? room.pmPort : defaults.gamePort;

    GameLaunchRequest& request = plan.request;
    request.clientRoot = defaults.clientRoot.toStdU16String();
    request.gameHost = plan.host.toStdU16String();
    request.gamePort = static_cast<std::uint16_t>(plan.port);
    request.mapName = plan.mapName.toStdU16String();
    request.mapScriptPath = map == nullptr ? std::u16string() : wideText(map->oFilePath.native());
    request.slot = room.gameSlot;
    request.userId = room.gameUserId;
    request.playerName = userName.toStdU16String();
    request.sessionId = static_cast<std::uint32_t>(room.sessionId);
    request.restartExisting = defaults.compatibilityMode;
    request.patchGameSetting = false;
    request.compatibilityMode = defaults.compatibilityMode;
    request.dpiAware = defaults.dpiAware;
    request.mapOptionDisplay = defaults.displayPreset > 2 ? 0 : static_cast<std::int32_t>(defaults.displayPreset);
    for (const MapOptionIndex& pair : mapOptionPairs(room, selections, map)) {
        request.mapOptions.emplace_back(pair.option, pair.value);
    }
    return plan;
}
