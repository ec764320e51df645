#include "platform/shared_memory.h"

#include "platform/win32/handle.h"
#include "platform/win32/wide_text.h"

#include <cstring>
#include <limits>
#include <memory>
#include <utility>
#include <windows.h>

namespace platform {

namespace {

struct ViewCloser {
    void operator()(void* view) const { UnmapViewOfFile(view); }
};
using View = std::unique_ptr<void, ViewCloser>;

// Beyond half the address space the rounding up to whole pages may wrap.
constexpr std::size_t kLargestBlock = std::numeric_limits<std::size_t>::max() / 2;

}  // namespace

const std::uint32_t SharedMemory::kNameTaken = ERROR_ALREADY_EXISTS;

std::uint32_t SharedMemory::create(const std::u16string& name, std::size_t size) {
    close();
    if (!isBlockName(name) || size == 0 || size > kLargestBlock) {
        return ERROR_INVALID_PARAMETER;
    }
    const std::uint64_t length = size;
    const std::wstring wideName = toWide(name);
    UniqueHandle block =
        ownHandle(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, static_cast<DWORD>(length >> 32),
                                     static_cast<DWORD>(length), wideName.c_str()));
    // A block of that name that is there already is opened, not made.
    if (const DWORD error = GetLastError(); !block || error == ERROR_ALREADY_EXISTS) {
        return error;
    }
    open_ = true;
    handle_ = reinterpret_cast<std::intptr_t>(block.release());
    size_ = size;
    name_ = name;
    return 0;
}

std::uint32_t SharedMemory::write(std::string_view bytes) {
    if (!open_ || bytes.size() > size_) {
        return ERROR_BAD_LENGTH;
    }
    const View view(MapViewOfFile(reinterpret_cast<HANDLE>(handle_), FILE_MAP_WRITE, 0, 0, size_));
    if (!view) {
        return GetLastError();
    }
    std::memcpy(view.get(), bytes.data(), bytes.size());
    return 0;
}

void SharedMemory::handTo(const Process& process) {
    // Nobody uses or closes that handle: it holds the block until the system closes it with the process.
    DuplicateHandle(GetCurrentProcess(), reinterpret_cast<HANDLE>(handle_),
                    reinterpret_cast<HANDLE>(process.processHandle_), nullptr, 0, FALSE, DUPLICATE_SAME_ACCESS);
}

void SharedMemory::close() {
    const UniqueHandle closing(reinterpret_cast<HANDLE>(std::exchange(handle_, 0)));
    open_ = false;
}

void removeAbandonedBlocks(std::u16string_view) {}

std::optional<std::string> readSharedMemory(const std::u16string& name, std::size_t size) {
    if (!isBlockName(name) || size == 0) {
        return std::nullopt;
    }
    const UniqueHandle block = ownHandle(OpenFileMappingW(FILE_MAP_READ, FALSE, toWide(name).c_str()));
    const View view(block ? MapViewOfFile(block.get(), FILE_MAP_READ, 0, 0, 0) : nullptr);
    MEMORY_BASIC_INFORMATION region{};
    if (!view || VirtualQuery(view.get(), &region, sizeof region) == 0 || region.RegionSize < size) {
        return std::nullopt;
    }
    return std::string(static_cast<const char*>(view.get()), size);
}

}  // namespace platform
