// A lobby server for development, demonstration and tests: real HTTP, nothing kept on disk.
#include "devlobby/options.h"
#include "devlobby/service.h"

#include <QCoreApplication>
#include <QFile>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

namespace {

constexpr int kExitBadUsage = 2;
constexpr std::chrono::milliseconds kWatchInterval(50);

// A signal handler reaches nothing but what is static.
std::atomic<bool> stopRequested = false;

void requestStop(int) {
    stopRequested = true;
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

int run(const devlobby::Options& options) {
    devlobby::Service service(options.lobby, options.network);
    for (const auto& [name, password] : options.accounts) {
        if (const QString refusal = service.lobby.addAccount(name, password); !refusal.isEmpty()) {
            std::fprintf(stderr, "devlobby: account %s: %s\n", qPrintable(name), qPrintable(refusal));
            return kExitBadUsage;
        }
    }
    if (QString error; !options.traceFile.isEmpty() && !service.trace.open(options.traceFile, error)) {
        std::fprintf(stderr, "devlobby: cannot write %s: %s\n", qPrintable(options.traceFile), qPrintable(error));
        return 1;
    }
    service.flaws = options.flaws;
    service.http().setPacking(options.packing);
    const bool tls = !options.certificateFile.isEmpty();
    if (tls && !service.http().setTls(options.certificateFile, options.keyFile)) {
        std::fprintf(stderr, "devlobby: no certificate and key in %s and %s, or no TLS library on this machine\n",
                     qPrintable(options.certificateFile), qPrintable(options.keyFile));
        return 1;
    }
    const QString address = options.address.toString();
    if (!service.listen(options.port, options.address)) {
        std::fprintf(stderr, "devlobby: cannot listen on port %d of %s\n", options.port, qPrintable(address));
        return 1;
    }
    if (!options.address.isLoopback()) {
        std::fprintf(stderr,
                     "devlobby: other machines can reach this server. It is made for development: passwords lie "
                     "open in its memory,\nnobody is kept from asking too much, and all is lost when it ends.\n");
    }
    const bool ipv6 = options.address.protocol() == QAbstractSocket::IPv6Protocol;
    std::printf("devlobby listening on %s://%s:%d\n", tls ? "https" : "http",
                qPrintable(ipv6 ? QStringLiteral("[%1]").arg(address) : address), service.port());
    std::fflush(stdout);
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, &watch, [] {
        if (stopRequested) {
            QCoreApplication::quit();
        }
    });
    watch.start(kWatchInterval);
    return QCoreApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QString error;
    const std::optional<devlobby::Options> options = devlobby::readOptions(QCoreApplication::arguments(), error);
    if (!options) {
        std::fprintf(stderr, "devlobby: %s\n%s", qPrintable(error), devlobby::kUsage);
        return kExitBadUsage;
    }
    if (options->help) {
        std::fputs(devlobby::kUsage, stdout);
        return 0;
    }
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);
    if (options->exitWithStdin) {
        stopWhenStdinCloses();
    }
    return run(*options);
}
