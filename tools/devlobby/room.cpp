#include "devlobby/room.h"

#include "devlobby/fields.h"

#include <algorithm>

namespace devlobby {

namespace {

constexpr std::size_t kMostMessages = 200;
constexpr int kLongestChat = 300;  // UTF-16 units
constexpr int kLongestHost = 253;  // a DNS name's length
constexpr int kHeartbeatPeriodMs = 2000;
constexpr int kMostLatencyMs = 60000;
constexpr qint64 kGameOutlivesMatchMs = 2 * 3600 * 1000;

bool isSame(const QString& left, const QString& right) {
    return left.compare(right, Qt::CaseInsensitive) == 0;
}

}  // namespace

bool Slot::isComputer() const {
    return computer || ai || isSame(team, QStringLiteral("computer"));
}

void Slot::setMode(const QString& mode) {
    isPlayerSlot = mode == QLatin1String("player");
    computer = mode == QLatin1String("computer");
    ai = computer;
    team = isPlayerSlot && !isSame(mapTeam, QStringLiteral("computer")) ? mapTeam : mode;
}

bool Room::isEmpty() const {
    return playerCount() == 0;
}

bool Room::isHost(const QString& name) const {
    return isSame(host_, name);
}

Slot* Room::slotOf(const QString& name) {
    const auto slot = std::find_if(slots_.begin(), slots_.end(), [&name](const Slot& candidate) {
        return candidate.occupant && isSame(candidate.occupant->player.name, name);
    });
    return slot == slots_.end() ? nullptr : &*slot;
}

Slot* Room::slotNamed(const QJsonObject& request, const char* key) {
    const std::optional<qint64> number = numberField(request, key, 1, kMostSlots);
    const auto slot = std::find_if(slots_.begin(), slots_.end(),
                                   [&number](const Slot& candidate) { return candidate.slot == number; });
    return slot == slots_.end() ? nullptr : &*slot;
}

int Room::playerCount() const {
    return static_cast<int>(
        std::count_if(slots_.begin(), slots_.end(), [](const Slot& slot) { return slot.occupant.has_value(); }));
}

QString Room::join(const Player& player, const QJsonObject& request, qint64 now) {
    if (slotOf(player.name)) {
        return QString();
    }
    if (isPlaying()) {
        return QStringLiteral("game already started");
    }
    if (!password_.isEmpty() && request.value(QLatin1String("password")).toString() != password_) {
        return QStringLiteral("wrong room password");
    }
    const auto free = std::find_if(slots_.begin(), slots_.end(), [](const Slot& slot) { return slot.isFree(); });
    if (free == slots_.end() || playerCount() >= maxPlayers_) {
        return QStringLiteral("room is full");
    }
    free->occupant = Occupant{player, false, now};
    return QString();
}

QString Room::leave(const Player& player) {
    slotOf(player.name)->occupant.reset();
    const auto next =
        std::find_if(slots_.begin(), slots_.end(), [](const Slot& slot) { return slot.occupant.has_value(); });
    if (isHost(player.name) && next != slots_.end()) {
        host_ = next->occupant->player.name;
    }
    return QString();
}

QString Room::setReady(const Player& player, const QJsonObject& request) {
    const std::optional<bool> ready = boolField(request, "ready");
    if (!ready) {
        return QStringLiteral("ready must be true or false");
    }
    slotOf(player.name)->occupant->ready = *ready;
    return QString();
}

QString Room::chat(const Player& player, const QJsonObject& request, qint64 now) {
    const QString text = textField(request, "text", kLongestChat);
    if (text.isEmpty()) {
        return QStringLiteral("text must have 1 to %1 characters").arg(kLongestChat);
    }
    messages_.push_back({++lastMessageId_, now, player.name, text});
    if (messages_.size() > kMostMessages) {
        messages_.pop_front();
    }
    return QString();
}

QString Room::kick(const Player& host, const QJsonObject& request) {
    Slot* const slot = slotNamed(request, "target_slot");
    if (!slot || !slot->occupant || isSame(slot->occupant->player.name, host.name)) {
        return QStringLiteral("no other player in that slot");
    }
    slot->occupant.reset();
    return QString();
}

QString Room::transferHost(const Player& host, const QJsonObject& request) {
    const Slot* const slot = slotNamed(request, "target_slot");
    if (!slot || !slot->occupant || isSame(slot->occupant->player.name, host.name)) {
        return QStringLiteral("no other player in that slot");
    }
    host_ = slot->occupant->player.name;
    return QString();
}

QString Room::moveSlot(const Player& player, const QJsonObject& request) {
    Slot* const target = slotNamed(request, "target_slot");
    if (!target) {
        return QStringLiteral("no such slot");
    }
    if (target->locked) {
        return QStringLiteral("slot is locked");
    }
    if (!target->isFree()) {
        return QStringLiteral("slot is taken");
    }
    target->occupant.swap(slotOf(player.name)->occupant);
    return QString();
}

QString Room::setLocked(const QJsonObject& request, bool locked) {
    Slot* const slot = slotNamed(request, "slot");
    if (!slot) {
        return QStringLiteral("no such slot");
    }
    if (slot->occupant) {
        return QStringLiteral("slot is taken");
    }
    slot->locked = locked;
    if (!locked) {
        slot->setMode(QStringLiteral("player"));
    }
    return QString();
}

QString Room::setSlotMode(const QJsonObject& request) {
    Slot* const slot = slotNamed(request, "slot");
    if (!slot) {
        return QStringLiteral("no such slot");
    }
    if (slot->occupant) {
        return QStringLiteral("slot is taken");
    }
    const QString mode = textField(request, "mode", 16);
    if (mode != QLatin1String("player") && mode != QLatin1String("computer") && mode != QLatin1String("observer")) {
        return QStringLiteral("mode must be player, computer or observer");
    }
    slot->setMode(mode);
    return QString();
}

QString Room::start(const Player& host, const QJsonObject& request, int sessionId, int launchDelayMs, qint64 now) {
    int participants = 0;
    for (const Slot& slot : slots_) {
        participants += slot.occupant || (slot.isComputer() && !slot.locked) ? 1 : 0;
        if (slot.occupant && !slot.occupant->ready && !isSame(slot.occupant->player.name, host.name)) {
            return QStringLiteral("not everybody is ready");
        }
    }
    if (participants < 2) {
        return QStringLiteral("at least two players are needed");
    }
    const QString gameHost = textField(request, "pm_host", kLongestHost);
    const std::optional<qint64> gamePort = numberField(request, "pm_port", 1, 65535);
    if (gameHost.isEmpty() || !gamePort) {
        return QStringLiteral("pm_host or pm_port is missing");
    }
    if (const QString refusal = setMapOptions(request); !refusal.isEmpty()) {
        return refusal;
    }
    match_ = Match{sessionId, launchDelayMs, now, gameHost, static_cast<int>(*gamePort), {}};
    for (const Slot& slot : slots_) {
        if (slot.occupant) {
            match_->launchTable.push_back(
                {slot.occupant->player, slot.slot, std::clamp(slot.playerId, 1, kMostSlots), 0});
        }
    }
    return QString();
}

QString Room::launchDone(const Player& player, const QJsonObject& request) {
    const std::optional<qint64> pid = numberField(request, "pid", 0, 0xFFFFFFFF);
    if (!isPlaying()) {
        return QStringLiteral("game not started");
    }
    if (!pid || numberField(request, "user_id", 1, 0x7FFFFFFF) != player.userId) {
        return QStringLiteral("user_id or pid is wrong");
    }
    for (LaunchEntry& entry : match_->launchTable) {
        if (entry.player.userId == player.userId) {
            entry.pid = *pid;
        }
    }
    return QString();
}

QString Room::heartbeat(const Player& player, const QJsonObject& request, qint64 now) {
    Occupant& occupant = *slotOf(player.name)->occupant;
    if (const std::optional<qint64> told = numberField(request, "latency_ms", 0, kMostLatencyMs)) {
        occupant.latencyMs = static_cast<int>(*told);
    } else if (occupant.lastHeartbeat > 0) {
        // All that can be seen from here without the client's help: how late it came behind its beat.
        const qint64 late = now - occupant.lastHeartbeat - kHeartbeatPeriodMs;
        occupant.latencyMs = static_cast<int>(std::clamp<qint64>(late, 0, kMostLatencyMs));
    }
    occupant.lastHeartbeat = now;
    return QString();
}

void Room::endMatch(qint64 now) {
    match_.reset();
    for (Slot& slot : slots_) {
        if (slot.occupant) {
            slot.occupant->ready = false;
            // A client is silent as long as its game runs.
            slot.occupant->lastSeen = now + kGameOutlivesMatchMs;
            slot.occupant->lastHeartbeat = 0;
        }
    }
}

void Room::dropSilent(qint64 time) {
    for (const Slot& slot : slots_) {
        if (slot.occupant && slot.occupant->lastSeen < time) {
            leave(Player(slot.occupant->player));
        }
    }
}

}  // namespace devlobby
