#include "lobby/access_manager.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

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
