#include "room/map_option_rows.h"

QStringList listedChoices(const NetPlay::MapInfo& map, const QString& key) {
    QStringList choices;
    const auto values = map.optionValues.find(key.toStdString());
    if (values != map.optionValues.end()) {
        for (const std::string& value : values->second) {
            const QString choice = QString::fromStdString(value);
            if (choice.size() <= kMaxChoiceLength) {
                choices += choice;
            }
        }
    }
    return choices;
}

std::optional<QString> initialChoice(const NetPlay::MapInfo& map, const QString& key) {
    const auto label = map.optionLabels.find(key.toStdString());
    if (label == map.optionLabels.end()) {
        return std::nullopt;
    }
    const QString choice = QString::fromStdString(label->second);
    return choice.size() <= kMaxChoiceLength ? std::optional(choice) : std::nullopt;
}

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
        if (row.current.size() > kMaxChoiceLength) {
            row.current.clear();
        }
        if (map != nullptr) {
            row.choices = listedChoices(*map, key);
            row.choices.removeAll(QString());
            row.choices.removeDuplicates();
            if (row.current.isEmpty()) {
                row.current = initialChoice(*map, key).value_or(QString());
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
