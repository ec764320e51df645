#include "room/map_option_rows.h"

namespace {

QStringList listedChoices(const NetPlay::MapInfo& map, const std::string& id) {
    QStringList choices;
    const auto values = map.optionValues.find(id);
    if (values != map.optionValues.end()) {
        for (const std::string& value : values->second) {
            choices += QString::fromStdString(value);
        }
    }
    choices.removeAll(QString());
    choices.removeDuplicates();
    return choices;
}

QString initialChoice(const NetPlay::MapInfo& map, const std::string& id) {
    const auto label = map.optionLabels.find(id);
    return label == map.optionLabels.end() ? QString() : QString::fromStdString(label->second);
}

}  // namespace

QStringList mapOptionKeys(const NetPlay::MapInfo& map) {
    QStringList keys;
    for (const std::string& id : map.optionIds) {
        keys += QString::fromStdString(id);
    }
    for (const auto& label : map.optionLabels) {
        keys += QString::fromStdString(label.first);
    }
    for (const auto& values : map.optionValues) {
        keys += QString::fromStdString(values.first);
    }
    keys.removeDuplicates();
    return keys;
}

QVector<MapOptionRow> mapOptionRows(const RoomInfo& room, const NetPlay::MapInfo* map) {
    QStringList keys = map == nullptr ? QStringList() : mapOptionKeys(*map);
    keys += room.mapOptions.keys();
    keys.removeDuplicates();
    QVector<MapOptionRow> rows;
    for (const QString& key : keys) {
        MapOptionRow row{key, {}, room.mapOptions.value(key)};
        if (map != nullptr) {
            const std::string id = key.toStdString();
            row.choices = listedChoices(*map, id);
            if (row.current.isEmpty()) {
                row.current = initialChoice(*map, id);
            }
        }
        if (!row.current.isEmpty() && !row.choices.contains(row.current)) {
            row.choices += row.current;
        }
        if (!row.choices.isEmpty()) {
            rows.append(row);
        }
        if (rows.size() == kMaxMapOptionRows) {
            break;
        }
    }
    return rows;
}
