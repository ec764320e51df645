#include "devlobby/service.h"

#include <QDateTime>
#include <QTimer>

namespace devlobby {

namespace {

LobbyReply refusal(int status, const QString& error) {
    return {status, {{QStringLiteral("ok"), false}, {QStringLiteral("error"), error}}};
}

}  // namespace

Service::Service(const LobbyOptions& options, NetworkConditions conditions)
    : lobby(options), conditions_(std::move(conditions)),
      server_([this](const LobbyRequest& request, const HttpServer::Connection& connection) {
          receive(request, connection);
      }) {}

bool Service::listen(int port, const QHostAddress& address) {
    return server_.listen(address, static_cast<quint16>(port));
}

void Service::after(int delayMs, const std::function<void()>& step) {
    if (delayMs == 0) {
        step();
    } else {
        QTimer::singleShot(delayMs, Qt::PreciseTimer, &server_, step);
    }
}

void Service::receive(const LobbyRequest& request, const HttpServer::Connection& connection) {
    const Held held{{++lastId_, request, 0, {}}, connection, conditions_.takeLatency(endpointOf(request))};
    trace.request(held, QDateTime::currentMSecsSinceEpoch());
    // A client that has given up meanwhile has asked all the same.
    after(held.latency.requestMs, [this, held] { carryOut(held); });
}

void Service::carryOut(Held held) {
    const std::optional<Failure> failure = conditions_.takeFailure(endpointOf(held.request));
    held.carriedOutAt = QDateTime::currentMSecsSinceEpoch();
    held.reply = failure == Failure::unauthorized   ? refusal(401, QStringLiteral("login expired"))
                 : failure == Failure::serverError  ? refusal(500, QStringLiteral("server failure"))
                 : failure == Failure::redirect     ? refusal(302, QStringLiteral("elsewhere"))
                 : flaws.leavesUndone(held.request) ? LobbyReply{200, {{QStringLiteral("ok"), true}}}
                                                    : lobby.handle(held.request, held.carriedOutAt);
    flaws.spoil(held.request, held.reply);
    after(held.latency.replyMs, [this, held, failure] { finish(held, failure); });
}

void Service::finish(const Held& held, std::optional<Failure> failure) {
    const bool lost = !held.connection || failure == Failure::cut || failure == Failure::silent;
    trace.reply(held, lost ? QStringLiteral("lost") : QStringLiteral("reply"), QDateTime::currentMSecsSinceEpoch());
    if (!lost) {
        server_.answer(held.connection, held.reply);
    } else if (failure == Failure::cut && held.connection) {
        held.connection->abort();
    }
}

}  // namespace devlobby
