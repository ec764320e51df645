// A lobby server for development, demonstration and tests: real HTTP, loopback only, nothing kept on disk.
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
    if (!service.listen(options.port)) {
        std::fprintf(stderr, "devlobby: cannot listen on port %d\n", options.port);
        return 1;
    }
    std::printf("devlobby listening on http://127.0.0.1:%d\n", service.port());
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
