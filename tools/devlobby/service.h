// The lobby on the network: conditions hold requests and replies up or lose them, a trace tells of them.
#pragma once

#include "devlobby/flaws.h"
#include "devlobby/http_server.h"
#include "devlobby/network_conditions.h"
#include "devlobby/trace.h"

namespace devlobby {

// On one thread: what is held up is a timer and keeps nothing else waiting, and all of that ends with the service.
class Service {
public:
    Service(const LobbyOptions& options, NetworkConditions conditions);

    // 0: any free port. False when it cannot be had.
    bool listen(int port, const QHostAddress& address = QHostAddress::LocalHost);
    int port() const { return server_.serverPort(); }
    HttpServer& http() { return server_; }

    Lobby lobby;
    Trace trace;
    Flaws flaws;

private:
    struct Held : Exchange {
        HttpServer::Connection connection;
        Latency latency;
    };

    void receive(const LobbyRequest& request, const HttpServer::Connection& connection);
    void carryOut(Held held);
    void finish(const Held& held, std::optional<Failure> failure);
    // Now, or after `delayMs`.
    void after(int delayMs, const std::function<void()>& step);

    NetworkConditions conditions_;
    HttpServer server_;
    int lastId_ = 0;
};

}  // namespace devlobby
