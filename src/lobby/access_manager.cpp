#include "lobby/access_manager.h"

#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QSslError>
#include <QUrl>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace {

bool isLoopbackHost(const QUrl& url) {
    const QString host = url.host(QUrl::FullyDecoded).toLower();
    return host == QLatin1String("localhost") || host == QLatin1String("127.0.0.1") || host == QLatin1String("::1");
}

}  // namespace

QNetworkAccessManager* makeAccessManager(QObject* parent) {
    auto* manager = new QNetworkAccessManager(parent);
    manager->setProxy(QNetworkProxy::NoProxy);
    return manager;
}

void acceptOwnCertificate(QNetworkReply* reply) {
    QObject::connect(reply, &QNetworkReply::sslErrors, reply, [reply](const QList<QSslError>& errors) {
        if (isLoopbackHost(reply->url())) {
            reply->ignoreSslErrors(errors);
        }
    });
}

void releaseAccessManager(QNetworkAccessManager* manager) {
    constexpr std::chrono::milliseconds kLongestWait{50};
    // Here, as their timers cannot be stopped from another thread.
    qDeleteAll(manager->findChildren<QNetworkReply*>());
    manager->setParent(nullptr);
    manager->moveToThread(nullptr);
    auto deleted = std::make_shared<std::promise<void>>();
    const std::future<void> deletion = deleted->get_future();
    std::thread([manager, deleted] {
        delete manager;
        deleted->set_value();
    }).detach();
    deletion.wait_for(kLongestWait);
}
