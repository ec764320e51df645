// Starting, watching and stopping processes. All functions may be called from any thread; one Process object belongs to
// one thread at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

using ProcessId = std::uint32_t;

// A child process that this process started. Destroying or closing the object lets go of the process without ending it.
class Process {
public:
    Process() = default;
    Process(Process&& other) noexcept;
    Process& operator=(Process&& other) noexcept;
    ~Process();

    bool isOpen() const { return id_ != 0; }
    // 0 when not open.
    ProcessId id() const { return id_; }
    // True when the process has ended, waiting for that at most `timeout` and not beyond a request to stop. True for an
    // object that is not open.
    bool waitForEnd(std::chrono::milliseconds timeout, const std::stop_token& stop = {});
    // Lets go of the process and, where the system keeps a record of an ended child, of that record. On POSIX the
    // record of a child that is let go of while it runs stays, once it has ended, until this process ends.
    void close();

private:
    friend struct ProcessAccess;
    friend class SharedMemory;
    ProcessId id_ = 0;
    std::intptr_t processHandle_ = 0;
    std::intptr_t threadHandle_ = 0;
};

struct ProcessStart {
    // Path of the program, seen from this process's working directory; empty: the first word of the command line names
    // it.
    std::u16string executable;
    std::u16string commandLine;       // arguments in the quoting of splitCommandLine, the program's name first
    std::u16string workingDirectory;  // empty: this process's own
};

struct ProcessStartResult {
    Process process;          // open on success
    std::uint32_t error = 0;  // the system's error number (GetLastError; errno), 0 on success
};

// Starts a process with this process's environment and no inherited handles beyond the standard streams (CreateProcessW
// with creation flags 0; posix_spawn with the command line cut by splitCommandLine).
ProcessStartResult startProcess(const ProcessStart& start);

// Cuts a command line into its arguments as CommandLineToArgvW does, which it is on Windows: the program's name ends at
// the next quote or else blank, and of two quotes inside quotes one is meant and the other ends the quoting. An empty
// line gives no arguments.
std::vector<std::u16string> splitCommandLine(std::u16string_view commandLine);

struct ProcessProbe {
    enum class State {
        running,
        ended,  // the process has ended and the system still knows about it
        gone,   // no such process can be opened
    };
    State state = State::gone;
    std::optional<std::uint32_t> exitCode;  // only for `ended`, when the system tells it; 128 + signal number on POSIX
};

// Looks at a process by its number, whoever started it. Id 0 is always gone. Takes nothing away: asking again gives the
// same answer (OpenProcess with SYNCHRONIZE and PROCESS_QUERY_LIMITED_INFORMATION; waitid(2) with WNOWAIT, /proc).
ProcessProbe probeProcess(ProcessId id);

// Ends at once every process whose executable is named `imageName` and whose full image path equals `path`, as given or
// in canonical form, both ignoring case (TerminateProcess with exit code 0; SIGKILL). Copies of the program in other
// folders are left alone. Does nothing when the processes cannot be listed, and does not wait for the end of what it
// stopped.
void stopProcessesByPath(std::u16string_view imageName, std::u16string_view path);

ProcessId currentProcessId();

}  // namespace platform
