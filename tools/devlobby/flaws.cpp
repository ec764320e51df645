#include "devlobby/flaws.h"

namespace devlobby {

bool Flaws::add(const QString& name) {
    names_ += name;
    return QStringList{QStringLiteral("light-list"), QStringLiteral("no-session"),   QStringLiteral("same-session"),
                       QStringLiteral("magic-word"), QStringLiteral("keep-leavers"), QStringLiteral("odd-ids")}
        .contains(name);
}

bool Flaws::leavesUndone(const LobbyRequest& request) const {
    return has("keep-leavers") && endpointOf(request) == QLatin1String("leave");
}

void Flaws::spoil(const LobbyRequest& request, LobbyReply& reply) const {
    QJsonObject& body = reply.body;
    const QString error = QStringLiteral("error");
    if (has("magic-word") && body.contains(error)) {
        body[error] = body[error].toString() + QStringLiteral(" (author unknown)");
    }
    const QString room = QStringLiteral("room");
    if (body.contains(room)) {
        body[room] = spoilRoom(body[room].toObject(), false);
    }
    const QString rooms = QStringLiteral("rooms");
    if (body.contains(rooms)) {
        QJsonArray spoilt;
        for (const QJsonValue one : body[rooms].toArray()) {
            spoilt.append(spoilRoom(one.toObject(), endpointOf(request) == rooms));
        }
        body[rooms] = spoilt;
    }
}

QJsonObject Flaws::spoilRoom(QJsonObject room, bool listed) const {
    const QString session = QStringLiteral("session_id");
    if (has("light-list") && listed) {
        for (const char* key : {"player_slots", "slot_meta", "messages", "pm_launch_slots"}) {
            room.remove(QLatin1String(key));
        }
    }
    if (has("no-session")) {
        room.remove(session);
    }
    if (has("same-session") && room.contains(session)) {
        room[session] = 1;
    }
    if (has("odd-ids")) {
        const QString id = QStringLiteral("id");
        room[id] = room[id].toString() + QStringLiteral("?1");
    }
    return room;
}

}  // namespace devlobby
