#include "platform/game_window.h"

#include <windows.h>

namespace platform {

namespace {

struct Search {
    DWORD process;
    HWND window;
};

BOOL CALLBACK takeMainWindow(HWND window, LPARAM parameter) {
    auto* const search = reinterpret_cast<Search*>(parameter);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process != search->process || !IsWindowVisible(window) || GetWindow(window, GW_OWNER) != nullptr) {
        return TRUE;
    }
    search->window = window;
    return FALSE;
}

void takeFrameAway(HWND window) {
    constexpr DWORD kFrame = WS_CAPTION | WS_THICKFRAME | WS_MINIMIZEBOX | WS_MAXIMIZEBOX | WS_SYSMENU;
    constexpr DWORD kExtendedFrame = WS_EX_DLGMODALFRAME | WS_EX_CLIENTEDGE | WS_EX_STATICEDGE;
    const auto style = static_cast<DWORD>(GetWindowLongW(window, GWL_STYLE));
    SetWindowLongW(window, GWL_STYLE, static_cast<LONG>((style & ~kFrame) | WS_POPUP));
    const auto extended = static_cast<DWORD>(GetWindowLongW(window, GWL_EXSTYLE));
    SetWindowLongW(window, GWL_EXSTYLE, static_cast<LONG>(extended & ~kExtendedFrame));
}

bool place(HWND window, const WindowPlacement& placement) {
    UINT flags = SWP_NOZORDER | SWP_FRAMECHANGED | SWP_SHOWWINDOW;
    if (placement.borderless) {
        takeFrameAway(window);
    } else {
        flags |= SWP_NOSIZE;
    }
    return SetWindowPos(window, nullptr, placement.x, placement.y, placement.width, placement.height, flags) != 0;
}

}  // namespace

WindowOutcome placeMainWindow(ProcessId process, const WindowPlacement& placement,
                              const std::function<bool()>& lookAgain) {
    do {
        Search search{process, nullptr};
        EnumWindows(&takeMainWindow, reinterpret_cast<LPARAM>(&search));
        if (search.window != nullptr && place(search.window, placement)) {
            return WindowOutcome::placed;
        }
    } while (lookAgain && lookAgain());
    return WindowOutcome::notFound;
}

}  // namespace platform
