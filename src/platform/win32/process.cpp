#include "platform/process.h"

#include "platform/code_page.h"
#include "platform/files.h"
#include "platform/win32/handle.h"
#include "platform/win32/wide_text.h"

#include <algorithm>
#include <array>
#include <utility>
#include <windows.h>

#include <shellapi.h>
#include <tlhelp32.h>

namespace platform {

struct ProcessAccess {
    static Process make(const PROCESS_INFORMATION& information) {
        Process process;
        process.id_ = information.dwProcessId;
        process.processHandle_ = reinterpret_cast<std::intptr_t>(information.hProcess);
        process.threadHandle_ = reinterpret_cast<std::intptr_t>(information.hThread);
        return process;
    }
};

namespace {

std::u16string imagePath(HANDLE process) {
    constexpr std::size_t kLongestPath = 32768;
    std::wstring path(kLongestPath, L'\0');
    auto units = static_cast<DWORD>(path.size());
    path.resize(QueryFullProcessImageNameW(process, 0, path.data(), &units) ? units : 0);
    return fromWide(path);
}

}  // namespace

bool Process::waitForEnd(std::chrono::milliseconds timeout, const std::stop_token& stop) {
    constexpr std::int64_t kLongestWait = INFINITE - 1;
    const auto wait = static_cast<DWORD>(std::clamp<std::int64_t>(timeout.count(), 0, kLongestWait));
    const UniqueHandle stopped = ownHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const std::stop_callback wake(stop, [&stopped] { SetEvent(stopped.get()); });
    const std::array<HANDLE, 2> handles{reinterpret_cast<HANDLE>(processHandle_), stopped.get()};
    return !isOpen() || WaitForMultipleObjects(stopped ? 2 : 1, handles.data(), FALSE, wait) == WAIT_OBJECT_0;
}

void Process::close() {
    const UniqueHandle thread(reinterpret_cast<HANDLE>(std::exchange(threadHandle_, 0)));
    const UniqueHandle process(reinterpret_cast<HANDLE>(std::exchange(processHandle_, 0)));
    id_ = 0;
}

ProcessStartResult startProcess(const ProcessStart& start) {
    ProcessStartResult result;
    if (holdsNul(start.executable) || holdsNul(start.commandLine) || holdsNul(start.workingDirectory)) {
        result.error = ERROR_INVALID_PARAMETER;
        return result;
    }
    const std::wstring executable = toWide(start.executable);
    // The system writes into the command line while it works.
    std::wstring commandLine = toWide(start.commandLine);
    const std::wstring workingDirectory = toWide(start.workingDirectory);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    if (CreateProcessW(executable.empty() ? nullptr : executable.c_str(), commandLine.data(), nullptr, nullptr, FALSE,
                       0, nullptr, workingDirectory.empty() ? nullptr : workingDirectory.c_str(), &startup,
                       &information)) {
        result.process = ProcessAccess::make(information);
    } else {
        result.error = GetLastError();
    }
    return result;
}

std::vector<std::u16string> splitCommandLine(std::u16string_view commandLine) {
    std::vector<std::u16string> arguments;
    if (commandLine.empty()) {
        return arguments;
    }
    int count = 0;
    const std::unique_ptr<LPWSTR, decltype(&LocalFree)> list(CommandLineToArgvW(toWide(commandLine).c_str(), &count),
                                                             &LocalFree);
    for (int i = 0; list && i < count; ++i) {
        arguments.push_back(fromWide(list.get()[i]));
    }
    return arguments;
}

ProcessProbe probeProcess(ProcessId id) {
    ProcessProbe probe;
    const UniqueHandle process =
        ownHandle(id == 0 ? nullptr : OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    if (!process) {
        return probe;
    }
    if (WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT) {
        probe.state = ProcessProbe::State::running;
        return probe;
    }
    probe.state = ProcessProbe::State::ended;
    DWORD code = 0;
    if (GetExitCodeProcess(process.get(), &code) && code != STILL_ACTIVE) {
        probe.exitCode = code;
    }
    return probe;
}

void stopProcessesByPath(std::u16string_view imageName, std::u16string_view path) {
    const UniqueHandle snapshot = ownHandle(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    // The system may know the program by another spelling of the same path.
    const std::u16string canonical = toWideText(weaklyCanonicalPath(toPath(path)).value_or(toPath(path)));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (bool found = snapshot && Process32FirstW(snapshot.get(), &entry); found;
         found = Process32NextW(snapshot.get(), &entry) != 0) {
        if (!equalIgnoringCase(fromWide(entry.szExeFile), imageName)) {
            continue;
        }
        const UniqueHandle process =
            ownHandle(OpenProcess(PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ProcessID));
        const std::u16string image = process ? imagePath(process.get()) : std::u16string();
        if (!image.empty() && (equalIgnoringCase(image, path) || equalIgnoringCase(image, canonical))) {
            TerminateProcess(process.get(), 0);
        }
    }
}

ProcessId currentProcessId() {
    return GetCurrentProcessId();
}

}  // namespace platform
