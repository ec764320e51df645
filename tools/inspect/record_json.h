// The program's records as JSON, under the names of their fields.
#pragma once

#include "launch/game_launch_request.h"
#include "lobby/room_info.h"
#include "maps/map_info.h"

#include <QJsonArray>
#include <QJsonObject>

QJsonObject toJson(const RoomInfo& room);
QJsonObject toJson(const NetPlay::MapInfo& map);
QJsonArray toJson(const QVector<MapOptionIndex>& pairs);  // [[option,value],...]

// A fresh request with the object's fields put in. False names the first field that is unknown, of the wrong type or
// out of range in `error`.
bool fromJson(const QJsonObject& object, GameLaunchRequest& request, QString& error);
