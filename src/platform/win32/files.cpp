#include "platform/files.h"

#include "platform/clock.h"
#include "platform/code_page.h"
#include "platform/replacement.h"
#include "platform/win32/handle.h"
#include "platform/win32/wide_text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>
#include <windows.h>

namespace platform {

namespace {

// From this many units on, the system takes a path only in its "\\?\" form; folders get less room than files.
constexpr std::size_t kLongPath = 248;
constexpr DWORD kAnySharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// The path as the system's functions take it. Empty, which names nothing, for a path that holds a NUL.
std::wstring systemPath(const std::filesystem::path& path) {
    const std::wstring& text = path.native();
    if (text.find(L'\0') != text.npos) {
        return {};
    }
    std::wstring full(GetFullPathNameW(text.c_str(), 0, nullptr, nullptr), L'\0');
    const DWORD units = GetFullPathNameW(text.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (units < kLongPath || units >= full.size() || full.starts_with(LR"(\\?\)") || full.starts_with(LR"(\\.\)")) {
        return text;
    }
    full.resize(units);
    return full.starts_with(LR"(\\)") ? LR"(\\?\UNC)" + full.substr(1) : LR"(\\?\)" + full;
}

// Null for a device or a pipe, whatever name led there: those can hold the caller up.
UniqueHandle openFile(const std::filesystem::path& path, DWORD access, DWORD sharing, DWORD disposition) {
    UniqueHandle file = ownHandle(
        CreateFileW(systemPath(path).c_str(), access, sharing, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file && GetFileType(file.get()) == FILE_TYPE_DISK ? std::move(file) : nullptr;
}

// For what a path leads to, be it a file or a folder.
UniqueHandle openForAttributes(const std::filesystem::path& path) {
    return ownHandle(CreateFileW(systemPath(path).c_str(), FILE_READ_ATTRIBUTES, kAnySharing, nullptr, OPEN_EXISTING,
                                 FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

UniqueHandle openForReading(const std::filesystem::path& path) {
    return openFile(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING);
}

// True when the end was reached without an error and without `take` refusing a block.
bool readBlocks(HANDLE file, const std::function<bool(std::string_view)>& take) {
    std::array<char, 65536> block;
    for (;;) {
        DWORD length = 0;
        if (!ReadFile(file, block.data(), static_cast<DWORD>(block.size()), &length, nullptr)) {
            return false;
        }
        if (length == 0) {
            return true;
        }
        if (!take({block.data(), length})) {
            return false;
        }
    }
}

std::uint64_t joined(DWORD high, DWORD low) {
    return std::uint64_t{high} << 32 | low;
}

std::int64_t ticksOf(const FILETIME& time) {
    return static_cast<std::int64_t>(joined(time.dwHighDateTime, time.dwLowDateTime));
}

FileStatus makeStatus(DWORD attributes, std::uint64_t size, const FILETIME& written) {
    const bool directory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const bool regular = !directory && (attributes & FILE_ATTRIBUTE_DEVICE) == 0;
    return {directory, regular, static_cast<std::int64_t>(size), ticksOf(written)};
}

bool writeAll(HANDLE file, std::string_view bytes) {
    constexpr std::size_t kPiece = 1U << 30;
    while (!bytes.empty()) {
        DWORD written = 0;
        const auto length = static_cast<DWORD>(std::min(bytes.size(), kPiece));
        if (!WriteFile(file, bytes.data(), length, &written, nullptr) || written == 0) {
            return false;
        }
        bytes.remove_prefix(written);
    }
    return true;
}

struct FindCloser {
    void operator()(void* search) const { FindClose(search); }
};

// Calls `take` with every entry of the folder; false when it cannot be listed to its end. It asks for every name: the
// system's own patterns would match short names too.
template<typename Take>
bool forEachEntry(const std::filesystem::path& folder, Take take) {
    WIN32_FIND_DATAW entry{};
    const HANDLE first = FindFirstFileW(systemPath(folder / L"*").c_str(), &entry);
    const std::unique_ptr<void, FindCloser> search(first == INVALID_HANDLE_VALUE ? nullptr : first);
    if (!search) {
        return false;
    }
    do {
        take(entry);
    } while (FindNextFileW(search.get(), &entry));
    return GetLastError() == ERROR_NO_MORE_FILES;
}

}  // namespace

std::filesystem::path toPath(std::u16string_view text) {
    return toWide(text);
}

std::u16string toWideText(const std::filesystem::path& path) {
    return fromWide(path.native());
}

std::string pathToUtf8(const std::filesystem::path& path) {
    return toUtf8(toWideText(path));
}

std::filesystem::path pathFromUtf8(std::string_view text) {
    return toPath(fromUtf8(text));
}

std::optional<FileStatus> fileStatus(const std::filesystem::path& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(systemPath(path).c_str(), GetFileExInfoStandard, &data)) {
        return std::nullopt;
    }
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        return makeStatus(data.dwFileAttributes, joined(data.nFileSizeHigh, data.nFileSizeLow), data.ftLastWriteTime);
    }
    // Those were the link's own; the file behind it answers only to a handle.
    const UniqueHandle file = openForAttributes(path);
    BY_HANDLE_FILE_INFORMATION behind{};
    if (!file || !GetFileInformationByHandle(file.get(), &behind)) {
        return std::nullopt;
    }
    return makeStatus(behind.dwFileAttributes, joined(behind.nFileSizeHigh, behind.nFileSizeLow),
                      behind.ftLastWriteTime);
}

bool readWholeFile(const std::filesystem::path& path, std::string& bytes, std::uint64_t limit,
                   const std::stop_token& stop) {
    bytes.clear();
    const UniqueHandle file = openForReading(path);
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.get(), &size) || static_cast<std::uint64_t>(size.QuadPart) > limit) {
        return false;
    }
    bytes.reserve(static_cast<std::size_t>(size.QuadPart));
    bool fits = true;
    readBlocks(file.get(), [&](std::string_view block) {
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
    const UniqueHandle file = openForReading(path);
    return file && readBlocks(file.get(), take);
}

bool writeWholeFile(const std::filesystem::path& path, std::string_view bytes) {
    UniqueHandle file = openFile(path, GENERIC_WRITE, 0, CREATE_ALWAYS);
    return file && writeAll(file.get(), bytes) && CloseHandle(file.release());
}

std::filesystem::path followLinks(const std::filesystem::path& path) {
    const DWORD attributes = GetFileAttributesW(systemPath(path).c_str());
    const bool link = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    return link ? canonicalPath(path).value_or(path) : path;
}

bool writeThrough(const std::filesystem::path& path, std::string_view bytes, const std::filesystem::path& model) {
    const DWORD attributes = GetFileAttributesW(systemPath(model).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        return false;
    }
    UniqueHandle file = openFile(path, GENERIC_WRITE, 0, CREATE_ALWAYS);
    return file && writeAll(file.get(), bytes) && FlushFileBuffers(file.get()) && CloseHandle(file.release());
}

bool appendToFile(const std::filesystem::path& path, std::string_view bytes) {
    const UniqueHandle file = openFile(path, FILE_APPEND_DATA, FILE_SHARE_READ, OPEN_ALWAYS);
    return file && writeAll(file.get(), bytes);
}

bool replaceFile(const std::filesystem::path& source, const std::filesystem::path& target,
                 const std::stop_token& stop) {
    constexpr std::chrono::milliseconds kPatience{500};
    constexpr std::chrono::milliseconds kPause{10};
    const std::wstring from = systemPath(source);
    const std::wstring to = systemPath(target);
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const DWORD error = GetLastError();
        const bool passing = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
        if (!passing || std::chrono::steady_clock::now() >= deadline || !sleepFor(kPause, stop)) {
            return false;
        }
    }
    return true;
}

bool copyFile(const std::filesystem::path& source, const std::filesystem::path& target) {
    return CopyFileW(systemPath(source).c_str(), systemPath(target).c_str(), FALSE) != 0;
}

std::optional<std::vector<FolderEntry>> listFolder(const std::filesystem::path& folder) {
    std::vector<FolderEntry> entries;
    const bool listed = forEachEntry(folder, [&](const WIN32_FIND_DATAW& entry) {
        const std::wstring_view name = entry.cFileName;
        if (name == L"." || name == L"..") {
            return;
        }
        FileStatus status = makeStatus(entry.dwFileAttributes, 0, entry.ftLastWriteTime);
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
            status = fileStatus(folder / name).value_or(FileStatus());
        }
        entries.push_back({name, status.isDirectory, status.isRegularFile});
    });
    return listed ? std::optional(std::move(entries)) : std::nullopt;
}

std::optional<std::filesystem::path> canonicalPath(const std::filesystem::path& path) {
    const UniqueHandle file = openForAttributes(path);
    std::wstring text(file ? GetFinalPathNameByHandleW(file.get(), nullptr, 0, FILE_NAME_NORMALIZED) : 0, L'\0');
    const DWORD units = text.empty() ? 0
                                     : GetFinalPathNameByHandleW(file.get(), text.data(),
                                                                 static_cast<DWORD>(text.size()), FILE_NAME_NORMALIZED);
    if (units == 0 || units >= text.size()) {
        return std::nullopt;
    }
    text.resize(units);
    constexpr std::wstring_view kPrefix = LR"(\\?\)";
    constexpr std::wstring_view kShare = LR"(\\?\UNC\)";
    if (text.starts_with(kShare)) {
        text.replace(0, kShare.size(), LR"(\\)");
    } else if (text.starts_with(kPrefix)) {
        text.erase(0, kPrefix.size());
    }
    return text;
}

bool equalIgnoringCase(std::u16string_view left, std::u16string_view right) {
    if (left.size() != right.size() || left.empty()) {
        return left.size() == right.size();
    }
    const int length = static_cast<int>(left.size());
    return CompareStringOrdinal(toWide(left).c_str(), length, toWide(right).c_str(), length, TRUE) == CSTR_EQUAL;
}

std::filesystem::path executableFile() {
    constexpr std::size_t kLongestPath = 32768;
    std::wstring text(kLongestPath, L'\0');
    text.resize(GetModuleFileNameW(nullptr, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

std::optional<ExclusiveFile> ExclusiveFile::tryOpen(const std::filesystem::path& path) {
    UniqueHandle file = openFile(path, GENERIC_READ | GENERIC_WRITE, 0, OPEN_ALWAYS);
    if (!file) {
        return std::nullopt;
    }
    return ExclusiveFile(reinterpret_cast<std::intptr_t>(file.release()));
}

ExclusiveFile::ExclusiveFile(ExclusiveFile&& other) noexcept : handle_(std::exchange(other.handle_, 0)) {}

ExclusiveFile& ExclusiveFile::operator=(ExclusiveFile&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

ExclusiveFile::~ExclusiveFile() {
    const UniqueHandle closing(reinterpret_cast<HANDLE>(handle_));
}

}  // namespace platform
