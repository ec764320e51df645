// A named block of shared memory that another process opens by its name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// The creator's side. The block lives as long as this object, and on Windows as long as any other process holds it
// (CreateFileMappingW on the paging file; shm_open(3) under "/" and the name, unlinked by close()). A POSIX process
// that is killed leaves its block behind until the machine restarts.
class SharedMemory {
public:
    SharedMemory() = default;
    SharedMemory(SharedMemory&& other) noexcept;
    SharedMemory& operator=(SharedMemory&& other) noexcept;
    ~SharedMemory();

    // Makes the block, zeroed; one held before is closed first. Returns 0, or the system's error number, also when
    // there is a block of that name already. `name` is printable ASCII without blanks and separators, `size` at least 1
    // byte.
    std::uint32_t create(const std::u16string& name, std::size_t size);
    // Copies `bytes` to the block's beginning. Returns 0, or the system's error number, one such when
    // `bytes` is longer than the block or nothing is open.
    std::uint32_t write(std::string_view bytes);
    bool isOpen() const { return open_; }
    void close();

private:
    bool open_ = false;
    std::intptr_t handle_ = 0;
    std::size_t size_ = 0;
    std::u16string name_;
};

// The other side: a copy of the block's first `size` bytes. Empty when there is no such block or it is shorter, which
// Windows tells in whole pages (OpenFileMappingW; shm_open(3)).
std::optional<std::string> readSharedMemory(const std::u16string& name, std::size_t size);

}  // namespace platform
