// A named block of shared memory that another process opens by its name.
#pragma once

#include "platform/process.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// The creator's side. The block lives as long as this object, and as the process that it was handed to
// (CreateFileMappingW on the paging file; shm_open(3) under "/" and the name). On POSIX the name of a block stays
// behind where its creator ends ahead of that process, or is killed: removeAbandonedBlocks takes such names away.
class SharedMemory {
public:
    // What `create` answers when there is a block of that name already (ERROR_ALREADY_EXISTS; EEXIST).
    static const std::uint32_t kNameTaken;

    SharedMemory() = default;
    SharedMemory(SharedMemory&& other) noexcept;
    SharedMemory& operator=(SharedMemory&& other) noexcept;
    ~SharedMemory();

    // Makes the block, zeroed; one held before is closed first. Returns 0, or the system's error number. It takes a
    // block's name and a `size` of at least 1 byte.
    std::uint32_t create(const std::u16string& name, std::size_t size);
    // Copies `bytes` to the block's beginning. Returns 0, or the system's error number, one such when
    // `bytes` is longer than the block or nothing is open.
    std::uint32_t write(std::string_view bytes);
    // From here on the block can be opened by its name as long as `process` runs, also when this object, or this
    // process, is gone (DuplicateHandle into the process; on POSIX close() leaves the name). A process that has ended
    // already, or that lets nobody near it, changes nothing.
    void handTo(const Process& process);
    bool isOpen() const { return open_; }
    void close();

private:
    bool open_ = false;
    std::intptr_t handle_ = 0;
    std::size_t size_ = 0;
    std::u16string name_;
    ProcessId user_ = 0;
};

// Whether a block can have that name: printable ASCII without blanks and separators.
bool isBlockName(std::u16string_view name);

// Removes the blocks whose name begins with `prefix`, whose creator does not hold them any more, and whose name stands
// on no running process's command line. Does nothing on Windows, where such blocks are gone by themselves.
void removeAbandonedBlocks(std::u16string_view prefix);

// The other side: a copy of the block's first `size` bytes. Empty when there is no such block or it is shorter, which
// Windows tells in whole pages (OpenFileMappingW; shm_open(3)).
std::optional<std::string> readSharedMemory(const std::u16string& name, std::size_t size);

}  // namespace platform
