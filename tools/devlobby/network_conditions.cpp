#include "devlobby/network_conditions.h"

#include "devlobby/lobby.h"

#include <algorithm>
#include <limits>

namespace devlobby {

namespace {

constexpr int kMostLatencyMs = 60000;

std::optional<int> readNumber(const QString& text, int least, int most) {
    bool ok = false;
    const int number = text.toInt(&ok);
    return ok && number >= least && number <= most ? std::optional(number) : std::nullopt;
}

std::optional<Latency> readLatency(const QString& text) {
    const QStringList parts = text.split(QLatin1Char(':'));
    const std::optional<int> request = readNumber(parts.at(0), 0, kMostLatencyMs);
    const std::optional<int> reply = readNumber(parts.value(1), 0, kMostLatencyMs);
    return parts.size() == 2 && request && reply ? std::optional(Latency{*request, *reply}) : std::nullopt;
}

}  // namespace

bool NetworkConditions::setLatency(const QString& text) {
    QStringList parts = text.split(QLatin1Char(','));
    const std::optional<Latency> everywhere = readLatency(parts.takeFirst());
    latency_ = everywhere.value_or(Latency());
    return everywhere && std::all_of(parts.begin(), parts.end(), [this](const QString& part) {
               const QString endpoint = part.section(QLatin1Char('='), 0, 0);
               const std::optional<Latency> own = readLatency(part.section(QLatin1Char('='), 1));
               ownLatency_[endpoint] = own.value_or(Latency());
               return own && endpoints().contains(endpoint);
           });
}

bool NetworkConditions::addFailure(const QString& text) {
    static const std::map<QString, Failure> kKinds = {{QStringLiteral("401"), Failure::unauthorized},
                                                      {QStringLiteral("500"), Failure::serverError},
                                                      {QStringLiteral("302"), Failure::redirect},
                                                      {QStringLiteral("cut"), Failure::cut},
                                                      {QStringLiteral("silent"), Failure::silent}};
    const auto kind = kKinds.find(text.section(QLatin1Char('@'), 0, 0));
    const QString where = text.section(QLatin1Char('@'), 1);
    const QString endpoint = where.section(QLatin1Char(':'), 0, 0);
    constexpr int kMost = std::numeric_limits<int>::max();
    const std::optional<int> count =
        where.contains(QLatin1Char(':')) ? readNumber(where.section(QLatin1Char(':'), 1), 1, kMost) : kMost;
    const bool known = endpoint == QLatin1String("*") || endpoints().contains(endpoint);
    if (kind == kKinds.end() || !known || !count) {
        return false;
    }
    failures_.push_back({kind->second, endpoint, *count});
    return true;
}

Latency NetworkConditions::takeLatency(const QString& endpoint) {
    const auto own = ownLatency_.find(endpoint);
    Latency latency = own == ownLatency_.end() ? latency_ : own->second;
    if (random_) {
        latency.requestMs = random_->bounded(latency.requestMs + 1);
        latency.replyMs = random_->bounded(latency.replyMs + 1);
    }
    return latency;
}

std::optional<Failure> NetworkConditions::takeFailure(const QString& endpoint) {
    for (FailureRule& rule : failures_) {
        if ((rule.endpoint == endpoint || rule.endpoint == QLatin1String("*")) && rule.left > 0) {
            --rule.left;
            return rule.failure;
        }
    }
    return std::nullopt;
}

}  // namespace devlobby
