// What a region of a page was built from, as one text: equal texts mean that nothing has to be built anew. Lengths
// stand ahead of the texts, so that no text can imitate another's boundary.
#pragma once

#include "lobby/room_info.h"
#include "maps/map_info.h"

#include <QString>
#include <QVector>

// Appends length, ":", the text, "|".
void appendSignatureField(QString& signature, const QString& text);
// Appends the decimal value and the separator.
void appendSignatureNumber(QString& signature, int number, char separator = '|');
// Appends "0|" or "1|".
void appendSignatureFlag(QString& signature, bool flag);

QString slotSignature(const RoomSlot& slot);
QString slotTableSignature(const RoomInfo& room);

QString roomBaseSignature(const RoomInfo& room);
// `map` is the local map of the room, or null.
QString roomSettingsSignature(const RoomInfo& room, bool isHost, const NetPlay::MapInfo* map);

QString chatSignature(const QVector<RoomChatMessage>& messages);
