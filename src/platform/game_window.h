// Finding and placing the main window of another process.
//
// Windows: EnumWindows and SetWindowPos. POSIX: X11 only, through the properties _NET_WM_PID and _MOTIF_WM_HINTS; a
// window manager may decline. Without a display (DISPLAY unset, or Wayland alone, which lets no program place another's
// window) the answer is `unsupported`.
#pragma once

#include "platform/process.h"

#include <functional>

namespace platform {

struct WindowPlacement {
    int x = 0;  // pixels from the desktop's left edge
    int y = 0;  // pixels from its top edge
    int width = 0;
    int height = 0;
    bool borderless = false;  // take away the frame and set the size; otherwise the window is only moved
};

enum class WindowOutcome {
    placed,
    notFound,     // the process has no visible, unowned top-level window yet
    unsupported,  // this system offers no such operation
};

// Looks for the process's first visible top-level window without an owner, and places it. Looks again as long as there
// is none and `lookAgain`, which does the waiting, says so; without one it looks once.
WindowOutcome placeMainWindow(ProcessId process, const WindowPlacement& placement,
                              const std::function<bool()>& lookAgain = {});

}  // namespace platform
