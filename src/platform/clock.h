// Time as the logs and names need it. Durations inside the program use std::chrono.
#pragma once

#include <cstdint>

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

}  // namespace platform
