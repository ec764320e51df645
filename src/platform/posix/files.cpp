#include "platform/files.h"

#include "platform/code_page.h"
#include "platform/posix/descriptor.h"
#include "platform/replacement.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cwctype>
#include <fcntl.h>
#include <locale.h>
#include <memory>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace platform {

namespace {

bool holdsNul(const std::filesystem::path& path) {
    return path.native().find('\0') != std::string::npos;
}

// O_NONBLOCK keeps a FIFO or a device from holding the caller up; regular files do not know the difference.
Descriptor openRegularFile(const std::filesystem::path& path, int flags) {
    if (holdsNul(path)) {
        return Descriptor();
    }
    Descriptor file(retryInterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666); }));
    struct stat status {};
    const bool regular = file.isOpen() && ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode);
    return regular ? std::move(file) : Descriptor();
}

// True when the end was reached without an error and without `take` refusing a block.
bool readBlocks(const Descriptor& file, const std::function<bool(std::string_view)>& take) {
    std::array<char, 65536> block;
    for (;;) {
        const ssize_t count = retryInterrupted([&] { return ::read(file.number(), block.data(), block.size()); });
        if (count <= 0) {
            return count == 0;
        }
        if (!take({block.data(), static_cast<std::size_t>(count)})) {
            return false;
        }
    }
}

bool writeAll(const Descriptor& file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = retryInterrupted([&] { return ::write(file.number(), bytes.data(), bytes.size()); });
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool flush(const Descriptor& file) {
    return retryInterrupted([&] { return ::fsync(file.number()); }) == 0;
}

std::int64_t ticksOf(const timespec& time) {
    constexpr std::uint64_t kTicksFrom1601To1970 = 116'444'736'000'000'000;
    // Unsigned, so that a date that no file should have wraps instead of being undefined.
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.tv_sec) * 10'000'000 +
                                     static_cast<std::uint64_t>(time.tv_nsec) / 100 + kTicksFrom1601To1970);
}

char16_t upperCase(char16_t unit) {
    static const locale_t unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (unit < 0x80 || unicode == nullptr) {
        return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - (u'a' - u'A')) : unit;
    }
    const std::wint_t upper = ::towupper_l(unit, unicode);
    // A letter outside ASCII, such as the dotless i, never stands for one inside.
    return upper < 0x80 || upper > 0xFFFF ? unit : static_cast<char16_t>(upper);
}

}  // namespace

std::filesystem::path toPath(std::u16string_view text) {
    return toUtf8(text);
}

std::u16string toWideText(const std::filesystem::path& path) {
    return fromUtf8(path.native());
}

std::string pathToUtf8(const std::filesystem::path& path) {
    return path.native();
}

std::filesystem::path pathFromUtf8(std::string_view text) {
    return text;
}

std::optional<FileStatus> fileStatus(const std::filesystem::path& path) {
    struct stat status {};
    if (holdsNul(path) || ::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return FileStatus{S_ISDIR(status.st_mode), S_ISREG(status.st_mode), status.st_size, ticksOf(status.st_mtim)};
}

bool readWholeFile(const std::filesystem::path& path, std::string& bytes, std::uint64_t limit,
                   const std::stop_token& stop) {
    bytes.clear();
    const Descriptor file = openRegularFile(path, O_RDONLY);
    if (!file.isOpen()) {
        return false;
    }
    struct stat status {};
    const bool known = ::fstat(file.number(), &status) == 0;
    const auto size = known ? static_cast<std::uint64_t>(status.st_size) : 0;
    if (size > limit) {
        return false;
    }
    bytes.reserve(static_cast<std::size_t>(size));
    bool fits = true;
    readBlocks(file, [&](std::string_view block) {
        fits = block.size() <= limit - bytes.size();
        bytes.append(fits ? block : std::string_view());
        return fits && !stop.stop_requested();
    });
    if (!fits) {
        bytes.clear();
    }
    return fits;
}

bool readFileInBlocks(const std::filesystem::path& path, const std::function<bool(std::string_view)>& take) {
    const Descriptor file = openRegularFile(path, O_RDONLY);
    return file.isOpen() && readBlocks(file, take);
}

bool writeWholeFile(const std::filesystem::path& path, std::string_view bytes) {
    Descriptor file = openRegularFile(path, O_WRONLY | O_CREAT | O_TRUNC);
    return file.isOpen() && writeAll(file, bytes) && ::close(file.release()) == 0;
}

std::filesystem::path followLinks(const std::filesystem::path& path) {
    struct stat status {};
    const bool link = !holdsNul(path) && ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    return link ? canonicalPath(path).value_or(path) : path;
}

bool writeThrough(const std::filesystem::path& path, std::string_view bytes, const std::filesystem::path& model) {
    Descriptor file = openRegularFile(path, O_WRONLY | O_CREAT | O_TRUNC);
    struct stat status {};
    return file.isOpen() && writeAll(file, bytes) &&
           (::stat(model.c_str(), &status) != 0 || ::fchmod(file.number(), status.st_mode & ALLPERMS) == 0) &&
           flush(file) && ::close(file.release()) == 0;
}

bool appendToFile(const std::filesystem::path& path, std::string_view bytes) {
    const Descriptor file = openRegularFile(path, O_WRONLY | O_CREAT | O_APPEND);
    return file.isOpen() && retryInterrupted([&] { return ::write(file.number(), bytes.data(), bytes.size()); }) ==
                                static_cast<ssize_t>(bytes.size());
}

bool replaceFile(const std::filesystem::path& source, const std::filesystem::path& target, const std::stop_token&) {
    if (holdsNul(source) || holdsNul(target) || ::rename(source.c_str(), target.c_str()) != 0) {
        return false;
    }
    // The file is in its place, whatever becomes of this.
    const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
    flush(Descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    return true;
}

bool copyFile(const std::filesystem::path& source, const std::filesystem::path& target) {
    std::error_code error;
    return !holdsNul(source) && !holdsNul(target) &&
           std::filesystem::copy_file(source, target, std::filesystem::copy_options::overwrite_existing, error);
}

std::optional<std::vector<FolderEntry>> listFolder(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::directory_iterator entry;
    if (holdsNul(folder) || (entry = std::filesystem::directory_iterator(folder, error), error)) {
        return std::nullopt;
    }
    std::vector<FolderEntry> entries;
    for (const std::filesystem::directory_iterator end; !error && entry != end; entry.increment(error)) {
        std::error_code unknown;
        entries.push_back({entry->path().filename(), entry->is_directory(unknown), entry->is_regular_file(unknown)});
    }
    return error ? std::nullopt : std::optional(std::move(entries));
}

std::optional<std::filesystem::path> canonicalPath(const std::filesystem::path& path) {
    if (holdsNul(path)) {
        return std::nullopt;
    }
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
    return resolved ? std::optional<std::filesystem::path>(resolved.get()) : std::nullopt;
}

bool equalIgnoringCase(std::u16string_view left, std::u16string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char16_t a, char16_t b) { return upperCase(a) == upperCase(b); });
}

std::filesystem::path executableFile() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

std::optional<ExclusiveFile> ExclusiveFile::tryOpen(const std::filesystem::path& path) {
    Descriptor file = openRegularFile(path, O_RDWR | O_CREAT);
    if (!file.isOpen() || retryInterrupted([&] { return ::flock(file.number(), LOCK_EX | LOCK_NB); }) != 0) {
        return std::nullopt;
    }
    return ExclusiveFile(file.release());
}

ExclusiveFile::ExclusiveFile(ExclusiveFile&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

ExclusiveFile& ExclusiveFile::operator=(ExclusiveFile&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

ExclusiveFile::~ExclusiveFile() {
    const Descriptor closing(static_cast<int>(handle_));
}

}  // namespace platform
