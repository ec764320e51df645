#include "platform/helper_system.h"

#include "platform/process.h"

#include <windows.h>

namespace {

HWND shown = nullptr;

HWND makeWindow(HWND owner, DWORD visible) {
    return CreateWindowExW(0, L"STATIC", L"helper", WS_OVERLAPPEDWINDOW | visible, 10, 20, 200, 100, owner, nullptr,
                           GetModuleHandleW(nullptr), nullptr);
}

}  // namespace

std::vector<std::u16string> programArguments(int, char**) {
    const std::wstring line = GetCommandLineW();
    std::vector<std::u16string> arguments = platform::splitCommandLine(std::u16string(line.begin(), line.end()));
    arguments.erase(arguments.begin());
    return arguments;
}

bool showWindows() {
    shown = makeWindow(nullptr, WS_VISIBLE);
    makeWindow(nullptr, 0);
    return shown != nullptr && makeWindow(shown, WS_VISIBLE) != nullptr;
}

std::string windowState() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        DispatchMessageW(&message);
    }
    RECT area{};
    GetWindowRect(shown, &area);
    const auto style = static_cast<DWORD>(GetWindowLongW(shown, GWL_STYLE));
    const bool bare = (style & 0x00CF0000) == 0 && (style & WS_POPUP) != 0;
    return std::to_string(area.left) + ' ' + std::to_string(area.top) + ' ' + std::to_string(area.right - area.left) +
           ' ' + std::to_string(area.bottom - area.top) + (bare ? " bare" : " framed");
}
