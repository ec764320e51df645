// A lobby server for development, demonstration and tests: real HTTP, loopback only, nothing kept on disk.
#include "devlobby/lobby.h"
#include "devlobby/options.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QJsonDocument>

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <thread>

namespace {

constexpr int kExitBadUsage = 2;
constexpr std::size_t kLargestBody = 1 << 20;  // bytes
constexpr std::size_t kHttpThreads = 16;
constexpr std::chrono::seconds kPatience(5);  // for a peer that sends or takes nothing
constexpr std::chrono::milliseconds kWatchInterval(50);
constexpr char kLoopback[] = "127.0.0.1";

// A signal handler reaches nothing but what is static.
std::atomic<bool> stopRequested = false;

void requestStop(int) {
    stopRequested = true;
}

void serve(Lobby& lobby, std::mutex& mutex, const httplib::Request& request, httplib::Response& response) {
    LobbyReply reply;
    {
        const std::lock_guard lock(mutex);
        reply = lobby.handle({QString::fromStdString(request.method), QString::fromStdString(request.path),
                              QByteArray::fromStdString(request.body)},
                             QDateTime::currentMSecsSinceEpoch());
    }
    response.status = reply.status;
    response.set_content(QJsonDocument(reply.body).toJson(QJsonDocument::Compact).toStdString(), "application/json");
}

// A second server on the same port must be refused; a port that a server has just left must not.
void setSocketOptions(socket_t socket) {
    const int reuse = DEVLOBBY_REUSE_ADDRESS;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse), sizeof reuse);
}

void setUp(httplib::Server& server, Lobby& lobby, std::mutex& mutex) {
    const auto handler = [&lobby, &mutex](const httplib::Request& request, httplib::Response& response) {
        serve(lobby, mutex, request, response);
    };
    server.Get(".*", handler);
    server.Post(".*", handler);
    server.set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.body.empty()) {
            response.set_content(R"({"ok":false,"error":"bad request"})", "application/json");
        }
    });
    server.set_payload_max_length(kLargestBody);
    // An idle connection would hold a thread.
    server.set_keep_alive_max_count(1);
    server.set_read_timeout(kPatience);
    server.set_write_timeout(kPatience);
    server.new_task_queue = [] {
        return new httplib::ThreadPool(kHttpThreads);
    };
    server.set_socket_options(setSocketOptions);
}

void stopWhenStdinCloses() {
    std::thread([] {
        QFile input;
        char byte = 0;
        if (input.open(0, QIODevice::ReadOnly | QIODevice::Unbuffered)) {
            while (input.read(&byte, 1) > 0) {
            }
        }
        stopRequested = true;
    }).detach();
}

int run(const Options& options) {
    Lobby lobby(options.lobby);
    for (const auto& [name, password] : options.accounts) {
        if (const QString refusal = lobby.addAccount(name, password); !refusal.isEmpty()) {
            std::fprintf(stderr, "devlobby: account %s: %s\n", qPrintable(name), qPrintable(refusal));
            return kExitBadUsage;
        }
    }
    std::mutex mutex;
    httplib::Server server;
    setUp(server, lobby, mutex);
    const int port = options.port == 0                              ? server.bind_to_any_port(kLoopback)
                     : server.bind_to_port(kLoopback, options.port) ? options.port
                                                                    : -1;
    if (port < 0) {
        std::fprintf(stderr, "devlobby: cannot listen on port %d\n", options.port);
        return 1;
    }
    std::atomic<bool> ended = false;
    std::thread listener([&server, &ended] {
        server.listen_after_bind();
        ended = true;
    });
    // A server that isn't running yet cannot be stopped.
    while (!server.is_running() && !ended) {
        std::this_thread::yield();
    }
    std::printf("devlobby listening on http://%s:%d\n", kLoopback, port);
    std::fflush(stdout);
    while (!stopRequested && !ended) {
        std::this_thread::sleep_for(kWatchInterval);
    }
    server.stop();
    listener.join();
    return stopRequested ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QString error;
    const std::optional<Options> options = readOptions(QCoreApplication::arguments(), error);
    if (!options) {
        std::fprintf(stderr, "devlobby: %s\n%s", qPrintable(error), kUsage);
        return kExitBadUsage;
    }
    if (options->help) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);
    if (options->exitWithStdin) {
        stopWhenStdinCloses();
    }
    return run(*options);
}
