#include "platform/clock.h"

#include <condition_variable>
#include <mutex>

namespace platform {

bool sleepFor(std::chrono::milliseconds duration, const std::stop_token& stop) {
    std::mutex nobodyElses;
    std::unique_lock lock(nobodyElses);
    std::condition_variable_any sleep;
    sleep.wait_for(lock, stop, duration, [] { return false; });
    return !stop.stop_requested();
}

}  // namespace platform
