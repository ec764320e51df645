#include "platform/process.h"

#include "platform/code_page.h"
#include "platform/files.h"
#include "platform/posix/descriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <fstream>
#include <limits>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace platform {

struct ProcessAccess {
    static Process make(pid_t id) {
        Process process;
        process.id_ = static_cast<ProcessId>(id);
        return process;
    }
};

namespace {

// What posix_spawn is told besides the program.
class SpawnSettings {
public:
    SpawnSettings() {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }

    // Returns 0 or an error number.
    int prepare(const std::string& workingDirectory) {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        if (!workingDirectory.empty()) {
            const int error = posix_spawn_file_actions_addchdir_np(&actions_, workingDirectory.c_str());
            if (error != 0) {
                return error;
            }
        }
        return posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    }

    const posix_spawn_file_actions_t* actions() const { return &actions_; }
    const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

// The program is looked for from here, not from the child's working directory.
std::string programPath(const std::string& named) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(named, error);
    return error ? named : absolute.native();
}

enum class OwnChild { running, ended, none };

OwnChild askOwnChild(ProcessId id, siginfo_t& information) {
    information = {};
    const int result = retryInterrupted(
        [&] { return ::waitid(P_PID, static_cast<id_t>(id), &information, WEXITED | WNOHANG | WNOWAIT); });
    if (result != 0) {
        return OwnChild::none;
    }
    return information.si_pid == 0 ? OwnChild::running : OwnChild::ended;
}

// The third field of /proc/<id>/stat; 0 when it cannot be read. The second is the program's name in parentheses, which
// may hold parentheses itself.
char processState(ProcessId id) {
    std::ifstream file("/proc/" + std::to_string(id) + "/stat");
    std::string line;
    std::getline(file, line);
    const std::size_t nameEnd = line.rfind(')');
    return nameEnd != std::string::npos && nameEnd + 2 < line.size() ? line[nameEnd + 2] : '\0';
}

bool isSystemId(ProcessId id) {
    return id != 0 && id <= static_cast<ProcessId>(std::numeric_limits<pid_t>::max());
}

// A descriptor of the process, or -1. The C library's own function for it cannot be linked from C++ everywhere.
int openProcess(pid_t id) {
    return static_cast<int>(::syscall(SYS_pidfd_open, id, 0));
}

void stopIfPathIs(pid_t id, std::u16string_view imageName, std::u16string_view path) {
    // Held before the image is looked at, so that a number that is given anew meanwhile is never hit.
    const Descriptor process(openProcess(id));
    if (!process.isOpen()) {
        return;
    }
    std::error_code error;
    const auto image = std::filesystem::read_symlink("/proc/" + std::to_string(id) + "/exe", error);
    if (!error && equalIgnoringCase(toWideText(image.filename()), imageName) &&
        equalIgnoringCase(toWideText(image), path)) {
        ::syscall(SYS_pidfd_send_signal, process.number(), SIGKILL, nullptr, 0);
    }
}

bool isBlank(char16_t unit) {
    return unit == u' ' || unit == u'\t';
}

// The argument that begins at `at`, which is moved behind it.
std::u16string takeArgument(std::u16string_view commandLine, std::size_t& at) {
    std::u16string argument;
    bool inQuotes = false;
    while (at < commandLine.size() && (inQuotes || !isBlank(commandLine[at]))) {
        const std::size_t behindBackslashes = std::min(commandLine.find_first_not_of(u'\\', at), commandLine.size());
        const std::size_t backslashes = behindBackslashes - at;
        at = behindBackslashes;
        if (at == commandLine.size() || commandLine[at] != u'"') {
            argument.append(backslashes, u'\\');
            if (backslashes == 0) {
                argument += commandLine[at++];
            }
            continue;
        }
        ++at;
        argument.append(backslashes / 2, u'\\');
        if (backslashes % 2 != 0) {
            argument += u'"';
        } else if (inQuotes && at < commandLine.size() && commandLine[at] == u'"') {
            argument += u'"';
            inQuotes = false;
            ++at;
        } else {
            inQuotes = !inQuotes;
        }
    }
    return argument;
}

}  // namespace

bool Process::waitForEnd(std::chrono::milliseconds timeout, const std::stop_token& stop) {
    using namespace std::chrono;
    constexpr milliseconds kLongestWait{std::numeric_limits<int>::max()};
    const auto deadline = steady_clock::now() + std::clamp(timeout, milliseconds::zero(), kLongestWait);
    const Descriptor process(isOpen() ? openProcess(static_cast<pid_t>(id_)) : -1);
    const Descriptor stopped(::eventfd(0, EFD_CLOEXEC));
    const std::stop_callback wake(stop, [&stopped] { ::eventfd_write(stopped.number(), 1); });
    siginfo_t information{};
    while (isOpen() && askOwnChild(id_, information) == OwnChild::running) {
        const auto left = ceil<milliseconds>(deadline - steady_clock::now());
        if (left <= milliseconds::zero() || stop.stop_requested()) {
            return false;
        }
        std::array<pollfd, 2> events{{{process.number(), POLLIN, 0}, {stopped.number(), POLLIN, 0}}};
        ::poll(events.data(), events.size(), static_cast<int>(left.count()));
    }
    return true;
}

void Process::close() {
    if (isOpen()) {
        siginfo_t information{};
        retryInterrupted([&] { return ::waitid(P_PID, static_cast<id_t>(id_), &information, WEXITED | WNOHANG); });
        id_ = 0;
    }
}

ProcessStartResult startProcess(const ProcessStart& start) {
    ProcessStartResult result;
    result.error = EINVAL;
    if (holdsNul(start.executable) || holdsNul(start.commandLine) || holdsNul(start.workingDirectory)) {
        return result;
    }
    std::vector<std::string> arguments;
    for (const std::u16string& argument : splitCommandLine(start.commandLine)) {
        arguments.push_back(toUtf8(argument));
    }
    std::string program = toUtf8(start.executable);
    if (arguments.empty()) {
        arguments.push_back(program);
    }
    if (program.empty()) {
        program = arguments.front();
    }
    if (program.empty()) {
        return result;
    }
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);

    SpawnSettings settings;
    result.error = static_cast<std::uint32_t>(settings.prepare(toUtf8(start.workingDirectory)));
    if (result.error != 0) {
        return result;
    }
    const bool search = start.executable.empty() && program.find('/') == std::string::npos;
    const auto spawn = search ? &::posix_spawnp : &::posix_spawn;
    const std::string path = search ? program : programPath(program);
    pid_t id = 0;
    result.error = static_cast<std::uint32_t>(
        spawn(&id, path.c_str(), settings.actions(), settings.attributes(), pointers.data(), environ));
    if (result.error == 0) {
        result.process = ProcessAccess::make(id);
    }
    return result;
}

std::vector<std::u16string> splitCommandLine(std::u16string_view commandLine) {
    std::vector<std::u16string> arguments;
    if (commandLine.empty()) {
        return arguments;
    }
    // The program's name knows no escapes: it ends at the next quote, or else at the next blank.
    const bool quotedName = commandLine.front() == u'"';
    const std::size_t nameStart = quotedName ? 1 : 0;
    const std::size_t nameEnd =
        std::min(commandLine.find_first_of(quotedName ? u"\"" : u" \t", nameStart), commandLine.size());
    arguments.emplace_back(commandLine.substr(nameStart, nameEnd - nameStart));
    std::size_t at = std::min(nameEnd + nameStart, commandLine.size());
    while (at < commandLine.size()) {
        if (isBlank(commandLine[at])) {
            ++at;
        } else {
            arguments.push_back(takeArgument(commandLine, at));
        }
    }
    return arguments;
}

ProcessProbe probeProcess(ProcessId id) {
    ProcessProbe probe;
    if (!isSystemId(id)) {
        return probe;
    }
    siginfo_t information{};
    switch (askOwnChild(id, information)) {
    case OwnChild::running:
        probe.state = ProcessProbe::State::running;
        break;
    case OwnChild::ended: {
        probe.state = ProcessProbe::State::ended;
        const int status = information.si_status;
        probe.exitCode = static_cast<std::uint32_t>(information.si_code == CLD_EXITED ? status : 128 + status);
        break;
    }
    case OwnChild::none:
        if (const char state = processState(id); state == 'Z' || state == 'X') {
            probe.state = ProcessProbe::State::ended;
        } else if (state != '\0') {
            probe.state = ProcessProbe::State::running;
        }
        break;
    }
    return probe;
}

void stopProcessesByPath(std::u16string_view imageName, std::u16string_view path) {
    const auto canonical = weaklyCanonicalPath(toPath(path));
    if (!canonical) {
        return;
    }
    const std::u16string image = toWideText(*canonical);
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().native();
        pid_t id = 0;
        const auto [last, failure] = std::from_chars(name.data(), name.data() + name.size(), id);
        if (failure == std::errc() && last == name.data() + name.size()) {
            stopIfPathIs(id, imageName, image);
        }
    }
}

ProcessId currentProcessId() {
    return static_cast<ProcessId>(::getpid());
}

}  // namespace platform
