#include "platform/clock.h"

#include <windows.h>

namespace platform {

LocalTime localTime() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

std::uint32_t tickCount() {
    return GetTickCount();
}

}  // namespace platform
