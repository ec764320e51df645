// Time as the logs and names need it. Durations inside the program use std::chrono.
#pragma once

#include <chrono>
#include <cstdint>
#include <stop_token>

namespace platform {

struct LocalTime {
    int year = 0;   // four digits
    int month = 0;  // 1 to 12
    int day = 0;    // 1 to 31
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

// The wall clock in the machine's time zone.
LocalTime localTime();

// Milliseconds since the machine started, modulo 2^32 (GetTickCount; CLOCK_BOOTTIME).
std::uint32_t tickCount();

// Sleeps for `duration`, or until `stop` is requested; false in the latter case.
bool sleepFor(std::chrono::milliseconds duration, const std::stop_token& stop);

}  // namespace platform
