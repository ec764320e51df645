#include "maps/failing_calls.h"

#include <atomic>

namespace {

std::atomic<const char*> failingFolder = nullptr;
std::atomic<int> entriesLeft = 0;

}  // namespace

void failListing(const char* folder, int entries) {
    entriesLeft = entries;
    failingFolder = folder;
}

#ifdef __linux__

#include <cerrno>
#include <dirent.h>
#include <dlfcn.h>
#include <set>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace {

std::atomic<const char*> failingFile = nullptr;

std::set<std::string> failedNames;

std::string nameOf(int descriptor) {
    char name[4096];
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t length = ::readlink(link.c_str(), name, sizeof name);
    return std::string(name, length > 0 ? static_cast<std::size_t>(length) : 0);
}

}  // namespace

extern "C" dirent* readdir(DIR* folder) {
    static const auto real = reinterpret_cast<dirent* (*)(DIR*)>(::dlsym(RTLD_NEXT, "readdir"));
    const char* const failing = failingFolder;
    if (failing != nullptr && nameOf(::dirfd(folder)).ends_with(std::string("/") + failing) && entriesLeft-- <= 0) {
        errno = EIO;
        return nullptr;
    }
    return real(folder);
}

extern "C" int close(int descriptor) {
    const char* const failing = failingFile;
    const std::string name = failing != nullptr ? nameOf(descriptor) : std::string();
    const bool fails = failing != nullptr && name.ends_with(failing);
    if (fails) {
        failedNames.insert(name);
    }
    const auto result = static_cast<int>(::syscall(SYS_close, descriptor));
    errno = fails ? EIO : errno;
    return fails ? -1 : result;
}

bool canFailClose() {
    return true;
}

std::size_t failClose(const char* file) {
    failingFile = file;
    return std::exchange(failedNames, {}).size();
}

#else

#include <filesystem>
#include <windows.h>

namespace {

std::atomic<HANDLE> failingSearch = nullptr;

template<typename Function>
Function systemFunction(const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void (*)()>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), name)));
}

HANDLE WINAPI findFirst(LPCWSTR pattern, LPWIN32_FIND_DATAW entry) {
    const HANDLE search = systemFunction<decltype(&::FindFirstFileW)>("FindFirstFileW")(pattern, entry);
    const char* const failing = failingFolder;
    if (failing != nullptr && std::filesystem::path(pattern).parent_path().filename() == failing) {
        failingSearch = search;
        --entriesLeft;
    }
    return search;
}

BOOL WINAPI findNext(HANDLE search, LPWIN32_FIND_DATAW entry) {
    if (search == failingSearch && entriesLeft-- <= 0) {
        failingSearch = nullptr;
        ::SetLastError(ERROR_IO_DEVICE);
        return FALSE;
    }
    return systemFunction<decltype(&::FindNextFileW)>("FindNextFileW")(search, entry);
}

}  // namespace

// What calls of the system's functions go through, in place of the import library's.
extern "C" {
decltype(&::FindFirstFileW) __imp_FindFirstFileW = findFirst;
decltype(&::FindNextFileW) __imp_FindNextFileW = findNext;
}

bool canFailClose() {
    return false;
}

std::size_t failClose(const char*) {
    return 0;
}

#endif
