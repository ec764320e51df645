// What goes wrong on the way between the lobby and its clients: replies that are late, overtake each other, or are
// lost.
#pragma once

#include <QRandomGenerator>
#include <QString>

#include <map>
#include <optional>
#include <vector>

namespace devlobby {

struct Latency {
    int requestMs = 0;  // from a request's arrival until it is carried out
    int replyMs = 0;    // from there until its reply goes out
};

enum class Failure {
    unauthorized,  // answered with 401 instead of being carried out
    serverError,   // answered with 500 instead of being carried out
    redirect,      // answered with 302 instead of being carried out
    cut,           // carried out; the connection closes without a reply
    silent,        // carried out; the connection stays open without a reply
};

// Endpoints go by the names of endpointOf.
class NetworkConditions {
public:
    // "REQUEST_MS:REPLY_MS", then any number of ",ENDPOINT=REQUEST_MS:REPLY_MS" for endpoints with their own latency.
    // False when the text is none such, or a time is above a minute.
    bool setLatency(const QString& text);
    // From now on a latency is only the upper bound of a random time. The same seed gives the same times in turn.
    void setJitter(quint32 seed) { random_ = QRandomGenerator(seed); }
    // "KIND@ENDPOINT", and ":N" behind it when only the first N requests fail. KIND is 401, 500, 302, cut or silent;
    // the endpoint "*" stands for all. False when the text is none such.
    bool addFailure(const QString& text);

    // Those of the next request.
    Latency takeLatency(const QString& endpoint);
    std::optional<Failure> takeFailure(const QString& endpoint);

private:
    struct FailureRule {
        Failure failure;
        QString endpoint;
        int left;  // requests still to fail
    };

    Latency latency_;
    std::map<QString, Latency> ownLatency_;  // by endpoint
    std::optional<QRandomGenerator> random_;
    std::vector<FailureRule> failures_;
};

}  // namespace devlobby
