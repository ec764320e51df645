// Spreads work over the machine's cores.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <future>
#include <stop_token>
#include <thread>
#include <vector>

namespace NetPlay {

// Calls `work` with each number below `count`, on all cores, until a stop is requested. An exception of a call is
// thrown again here, once no call is running.
template<typename Work>
void forEachOnAllCores(std::size_t count, const std::stop_token& stop, Work work) {
    std::atomic<std::size_t> next = 0;
    const auto loop = [&] {
        for (std::size_t i = next++; i < count && !stop.stop_requested(); i = next++) {
            work(i);
        }
    };
    const std::size_t threads = std::min<std::size_t>(std::thread::hardware_concurrency(), count);
    std::vector<std::future<void>> helpers;
    while (helpers.size() + 1 < threads) {
        // Deferred where no thread is to be had: this one does it all.
        helpers.push_back(std::async(std::launch::async | std::launch::deferred, loop));
    }
    loop();
    for (std::future<void>& helper : helpers) {
        helper.get();
    }
}

}  // namespace NetPlay
