// Files and folders, as the logic needs them of the operating system.
//
// Paths are std::filesystem::path and are given to the system as they are: no quoting, no environment expansion. A path
// that holds a NUL unit names nothing: every function treats it as a file that does not exist and cannot be made.
// Failures are results, never exceptions (memory that runs out apart). All functions may be called from any thread.
// Only regular files are opened: a device or a pipe fails at once, whatever its name.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// What stands between two parts of a path in texts that people and the game see.
#ifdef _WIN32
inline constexpr char16_t pathSeparator = u'\\';
#else
inline constexpr char16_t pathSeparator = u'/';
#endif

// Converts between wide text and the system's path form. Unpaired surrogates, which POSIX file names cannot hold,
// become U+FFFD there; bytes of a POSIX file name that are not UTF-8 become U+FFFD in the text.
std::filesystem::path toPath(std::u16string_view text);
std::u16string toWideText(const std::filesystem::path& path);

// The same in UTF-8. On POSIX these are the path's own bytes, so every path comes back from its text as it was.
std::string pathToUtf8(const std::filesystem::path& path);
std::filesystem::path pathFromUtf8(std::string_view text);

struct FileStatus {
    bool isDirectory = false;
    bool isRegularFile = false;
    std::int64_t size = 0;        // bytes
    std::int64_t writeTicks = 0;  // last write: units of 100 ns since 1601-01-01 00:00 UTC
};

// Asks the system once, following symbolic links. Empty when the path cannot be asked.
std::optional<FileStatus> fileStatus(const std::filesystem::path& path);

// Reads the whole file as bytes, in pieces; others may read and replace it meanwhile. False when the file cannot be
// opened or holds more than `limit` bytes; `bytes` is then empty. A read error or a request to stop in the middle ends
// the reading: what was read is kept and the result is true.
bool readWholeFile(const std::filesystem::path& path, std::string& bytes,
                   std::uint64_t limit = std::numeric_limits<std::uint64_t>::max(), const std::stop_token& stop = {});

// Hands the file's bytes to `take`, block by block, until the end or until `take` returns false. True when the whole
// file was read and taken; a read error is a failure here.
bool readFileInBlocks(const std::filesystem::path& path, const std::function<bool(std::string_view)>& take);

// Creates or truncates the file and writes all bytes, without sharing. False when it cannot be opened, not all bytes
// could be written, or closing it failed.
bool writeWholeFile(const std::filesystem::path& path, std::string_view bytes);

// Appends the bytes in one write, creating the file if it is missing; others may read it meanwhile. False also, on
// Windows, while somebody else has it open for writing.
bool appendToFile(const std::filesystem::path& path, std::string_view bytes);

// Puts `source` in the place of `target` in one step: whoever opens `target` sees the old file or the new one, never a
// part (rename(2) and fsync(2) of the folder; MoveFileExW, replacing and written through). A sharing violation or
// access denial, as virus scanners cause on Windows, is tried again for at most half a second and not beyond a request
// to stop. False leaves both files as they are.
bool replaceFile(const std::filesystem::path& source, const std::filesystem::path& target,
                 const std::stop_token& stop = {});

// Gives the file, or the one that a link leads to, new content in one step: whoever opens it, also after a power cut,
// sees the old bytes or the new ones. They are flushed to the disk in "NAME.<process id>.tmp" beside the file, or with
// ".<tag>" ahead of ".tmp", which takes the file's place and on POSIX its mode; on Windows a read-only file is
// refused. Such files of processes that are gone are removed first. Two writers of one process need different tags.
// False leaves the file as it was, and no temporary.
bool replaceContent(const std::filesystem::path& path, std::string_view bytes, std::string_view tag = {},
                    const std::stop_token& stop = {});

// Copies the content over `target`, replacing what is there.
bool copyFile(const std::filesystem::path& source, const std::filesystem::path& target);

struct FolderEntry {
    std::filesystem::path name;
    bool isDirectory = false;  // of what a link leads to
    bool isRegularFile = false;
};

// The folder's direct entries in the system's order, without "." and "..". Empty when it cannot be listed to its end.
std::optional<std::vector<FolderEntry>> listFolder(const std::filesystem::path& folder);

// The file of `directory` with the latest last-write time among those whose name begins with `prefix` and ends with
// `suffix`, the two not overlapping, ASCII case ignored. Directories are left out. Of equal times the first in the
// system's order wins. Empty when nothing matches or the directory cannot be listed.
std::filesystem::path newestFile(const std::filesystem::path& directory, std::string_view prefix,
                                 std::string_view suffix);

// The absolute path with every link and relative part resolved; empty when the path does not exist or cannot be opened
// (realpath(3); GetFinalPathNameByHandleW without its "\\?\" prefix).
std::optional<std::filesystem::path> canonicalPath(const std::filesystem::path& path);

// The same for as much of the path as exists, with the rest appended in normal form.
std::optional<std::filesystem::path> weaklyCanonicalPath(const std::filesystem::path& path);

// True when the two texts name the same file-system entry if letter case is ignored, each unit by itself and whatever
// the user's language (CompareStringOrdinal; on POSIX Unicode's simple upper case, by towupper of the locale C.UTF-8,
// or ASCII alone where that locale is missing).
bool equalIgnoringCase(std::u16string_view left, std::u16string_view right);

// The running program's own file. Empty when the system does not tell.
std::filesystem::path executableFile();

// A file held open so that no other process, and no other ExclusiveFile of this process, can hold it too. The hold ends
// with the object or with the process, however that ends; the file itself stays (CreateFileW without sharing;
// flock(2)).
class ExclusiveFile {
public:
    // Opens for reading and writing, creating the file if it is missing. Empty when somebody else holds the file or it
    // cannot be opened. Does not wait.
    static std::optional<ExclusiveFile> tryOpen(const std::filesystem::path& path);

    ExclusiveFile(ExclusiveFile&& other) noexcept;
    ExclusiveFile& operator=(ExclusiveFile&& other) noexcept;
    ~ExclusiveFile();

private:
    explicit ExclusiveFile(std::intptr_t handle) : handle_(handle) {}
    std::intptr_t handle_;
};

}  // namespace platform
