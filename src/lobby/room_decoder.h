// Room records from the lobby server's JSON (docs/protocol.md). Every missing or mistyped value gets its default; what
// a decoder rejects is a room without an id, or with that of a room before it. Lists and messages are read within the
// bounds of lobby/bounds.h. `userName` is the signed-in user, compared ignoring case.
#pragma once

#include "lobby/room_info.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

RoomInfo decodeRoom(const QJsonObject& object, const QString& userName);

// The rooms below `rooms`, or below `value` where `rooms` is missing or empty.
QVector<RoomInfo> decodeRoomList(const QJsonObject& object, const QString& userName);

// As decodeRoomList; the document may also be the bare array.
QVector<RoomInfo> decodeRoomsDocument(const QJsonDocument& document, const QString& userName);

// What a reply says of rooms: the one below `room`, which has no id where there is none, and the list.
struct RoomAnswer {
    RoomInfo room;
    QVector<RoomInfo> rooms;
};
RoomAnswer decodeRoomAnswer(const QJsonDocument& document, const QString& userName);

RoomSlot decodeRoomSlot(const QJsonObject& object);
RoomChatMessage decodeChatMessage(const QJsonObject& object);

// Takes [option, value] pairs, objects, and bare numbers (the value of the option at that position), also mixed. Pairs
// with a negative or unreadable number are left out.
QVector<MapOptionIndex> decodeMapOptionIndexes(const QJsonValue& value);
// Always the object form.
QJsonArray encodeMapOptionIndexes(const QVector<MapOptionIndex>& indexes);

// "playing" or "waiting", also for their Chinese names, in any case with blanks around; another word trimmed; "waiting"
// for an empty text.
QString normalizeRoomStatus(const QString& text);

// The user's lobby slot from 1 to 22, 0 when the user has none.
int findLobbySlot(const QJsonObject& object, const QString& userName);

// The user's entry of the launch table: by name, else by slot number; empty when there is none.
QJsonObject findLaunchEntry(const QJsonObject& object, const QString& userName, int lobbySlot);
