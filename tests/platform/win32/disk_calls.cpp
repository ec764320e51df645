#include "platform/disk_calls.h"

#include <utility>
#include <windows.h>

namespace {

std::string calls;

template<typename Function>
Function systemFunction(const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

BOOL WINAPI flushFile(HANDLE file) {
    calls += "flush ";
    return systemFunction<decltype(&flushFile)>("FlushFileBuffers")(file);
}

BOOL WINAPI moveFile(LPCWSTR from, LPCWSTR to, DWORD flags) {
    calls += (flags & MOVEFILE_WRITE_THROUGH) != 0 ? "replace folder " : "replace ";
    return systemFunction<decltype(&moveFile)>("MoveFileExW")(from, to, flags);
}

}  // namespace

// The linker takes these in the place of the import library's.
extern "C" {
extern decltype(&flushFile) __imp_FlushFileBuffers;
extern decltype(&moveFile) __imp_MoveFileExW;
decltype(&flushFile) __imp_FlushFileBuffers = &flushFile;
decltype(&moveFile) __imp_MoveFileExW = &moveFile;
}

std::string takeDiskCalls() {
    return std::exchange(calls, {});
}
