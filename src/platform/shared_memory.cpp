#include "platform/shared_memory.h"

#include <algorithm>
#include <utility>

namespace platform {

SharedMemory::SharedMemory(SharedMemory&& other) noexcept {
    *this = std::move(other);
}

SharedMemory& SharedMemory::operator=(SharedMemory&& other) noexcept {
    std::swap(open_, other.open_);
    std::swap(handle_, other.handle_);
    std::swap(size_, other.size_);
    std::swap(name_, other.name_);
    std::swap(user_, other.user_);
    return *this;
}

SharedMemory::~SharedMemory() {
    close();
}

bool isBlockName(std::u16string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char16_t unit) {
        return unit > 0x20 && unit < 0x7F && unit != u'/' && unit != u'\\';
    });
}

}  // namespace platform
