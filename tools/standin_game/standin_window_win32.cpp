#include "standin_game/standin_window.h"

#include "platform/process.h"

#include <windows.h>

namespace {

constexpr UINT_PTR kWatchTimer = 1;

const wchar_t* wide(const std::u16string& text) {
    static_assert(sizeof(wchar_t) == sizeof(char16_t));
    return reinterpret_cast<const wchar_t*>(text.c_str());
}

LRESULT CALLBACK handleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_DESTROY) {
        PostQuitMessage(0);
        return 0;
    }
    if (message == WM_SIZE) {
        MoveWindow(GetDlgItem(window, 0), 16, 16, LOWORD(lParam) - 32, HIWORD(lParam) - 32, TRUE);
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

HWND createWindow(const std::u16string& title) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = handleMessage;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));  // IDC_ARROW
    windowClass.hbrBackground = GetSysColorBrush(COLOR_WINDOW);
    windowClass.lpszClassName = L"StandinGame";
    RegisterClassW(&windowClass);
    return CreateWindowExW(0, windowClass.lpszClassName, wide(title), WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT,
                           540, 420, nullptr, nullptr, windowClass.hInstance, nullptr);
}

// Named for Wine, where the face chosen by character set alone may lack Latin letters; Windows then picks its own.
HFONT chineseFont() {
    return CreateFontW(-16, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, GB2312_CHARSET, OUT_DEFAULT_PRECIS,
                       CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH | FF_DONTCARE, L"Noto Sans CJK SC");
}

}  // namespace

std::vector<std::u16string> programArguments(int, char**) {
    return platform::splitCommandLine(reinterpret_cast<const char16_t*>(GetCommandLineW()));
}

bool showWindow(const std::u16string& title, const std::u16string& text, const std::function<bool()>& ended) {
    const HWND window = createWindow(title);
    if (!window) {
        return false;
    }
    const HFONT font = chineseFont();
    const HWND label = CreateWindowExW(0, L"STATIC", wide(text), WS_CHILD | WS_VISIBLE | SS_NOPREFIX, 16, 16, 490, 350,
                                       window, nullptr, GetModuleHandleW(nullptr), nullptr);
    SendMessageW(label, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    ShowWindow(window, SW_SHOWNORMAL);
    SetTimer(window, kWatchTimer, 50, nullptr);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (message.message == WM_TIMER && ended()) {
            DestroyWindow(window);
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    DeleteObject(font);
    return true;
}
