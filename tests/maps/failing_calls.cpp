#include "maps/failing_calls.h"

#ifdef __linux__

#include <atomic>
#include <cerrno>
#include <dirent.h>
#include <dlfcn.h>
#include <set>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace {

std::atomic<const char*> failingFolder = nullptr;
std::atomic<int> entriesLeft = 0;
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
    if (failing != nullptr && nameOf(::dirfd(folder)).ends_with(failing) && entriesLeft-- <= 0) {
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

bool canFailCalls() {
    return true;
}

void failReaddir(const char* folder, int entries) {
    entriesLeft = entries;
    failingFolder = folder;
}

std::size_t failClose(const char* file) {
    failingFile = file;
    return std::exchange(failedNames, {}).size();
}

#else

bool canFailCalls() {
    return false;
}

void failReaddir(const char*, int) {}
std::size_t failClose(const char*) {
    return 0;
}

#endif
