#include "platform/shared_memory.h"

#include "platform/code_page.h"
#include "platform/files.h"
#include "platform/posix/descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace platform {

namespace {

// The system's name for the block, or nothing for a name that is not one.
std::string systemName(const std::u16string& name) {
    return isBlockName(name) ? toUtf8(u'/' + name) : std::string();
}

bool isFileSize(std::size_t size) {
    return size > 0 && size <= static_cast<std::size_t>(std::numeric_limits<off_t>::max());
}

bool lock(const Descriptor& block, int operation) {
    return retryInterrupted([&] { return ::flock(block.number(), operation); }) == 0;
}

bool hasName(const Descriptor& block) {
    struct stat status {};
    return ::fstat(block.number(), &status) == 0 && status.st_nlink > 0;
}

bool standsOnACommandLine(const std::string& text) {
    for (const FolderEntry& process : listFolder("/proc").value_or(std::vector<FolderEntry>())) {
        std::string line;
        if (process.isDirectory && readWholeFile("/proc" / process.name / "cmdline", line) &&
            line.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace

const std::uint32_t SharedMemory::kNameTaken = EEXIST;

std::uint32_t SharedMemory::create(const std::u16string& name, std::size_t size) {
    close();
    const std::string path = systemName(name);
    if (path.empty() || !isFileSize(size)) {
        return EINVAL;
    }
    Descriptor block(::shm_open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    // The lock tells others that the creator holds the block. A block that was taken for an abandoned one ahead of it
    // has no name any more.
    if (!block.isOpen() || !lock(block, LOCK_SH)) {
        return static_cast<std::uint32_t>(errno);
    }
    if (!hasName(block)) {
        return kNameTaken;
    }
    // Reserves the memory too: a block that is only sized kills its user later, when the memory is not there.
    int error = EINTR;
    while (error == EINTR) {
        error = ::posix_fallocate(block.number(), 0, static_cast<off_t>(size));
    }
    if (error != 0) {
        ::shm_unlink(path.c_str());
        return static_cast<std::uint32_t>(error);
    }
    open_ = true;
    handle_ = block.release();
    size_ = size;
    name_ = name;
    user_ = 0;
    return 0;
}

std::uint32_t SharedMemory::write(std::string_view bytes) {
    if (!open_ || bytes.size() > size_) {
        return ERANGE;
    }
    off_t position = 0;
    while (!bytes.empty()) {
        const ssize_t count =
            retryInterrupted([&] { return ::pwrite(static_cast<int>(handle_), bytes.data(), bytes.size(), position); });
        if (count <= 0) {
            return static_cast<std::uint32_t>(count < 0 ? errno : EIO);
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
        position += count;
    }
    return 0;
}

void SharedMemory::handTo(const Process& process) {
    user_ = process.id();
}

void SharedMemory::close() {
    if (open_) {
        const Descriptor closing(static_cast<int>(handle_));
        if (probeProcess(user_).state != ProcessProbe::State::running) {
            ::shm_unlink(systemName(name_).c_str());
        }
        open_ = false;
    }
}

void removeAbandonedBlocks(std::u16string_view prefix) {
    for (const FolderEntry& entry : listFolder("/dev/shm").value_or(std::vector<FolderEntry>())) {
        const std::string& name = entry.name.native();
        if (!name.starts_with(toUtf8(prefix))) {
            continue;
        }
        const std::string path = '/' + name;
        const Descriptor block(::shm_open(path.c_str(), O_RDWR | O_CLOEXEC, 0));
        if (block.isOpen() && lock(block, LOCK_EX | LOCK_NB) && hasName(block) && !standsOnACommandLine(name)) {
            ::shm_unlink(path.c_str());
        }
    }
}

std::optional<std::string> readSharedMemory(const std::u16string& name, std::size_t size) {
    const std::string path = systemName(name);
    const Descriptor block(path.empty() ? -1 : ::shm_open(path.c_str(), O_RDONLY | O_CLOEXEC, 0));
    struct stat status {};
    // The length is tested before the copy is made, so that no size asks for memory that no block has.
    if (!block.isOpen() || !isFileSize(size) || ::fstat(block.number(), &status) != 0 ||
        static_cast<std::size_t>(status.st_size) < size) {
        return std::nullopt;
    }
    std::string bytes(size, '\0');
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = retryInterrupted(
            [&] { return ::pread(block.number(), bytes.data() + done, size - done, static_cast<off_t>(done)); });
        if (count <= 0) {
            return std::nullopt;
        }
        done += static_cast<std::size_t>(count);
    }
    return bytes;
}

}  // namespace platform
