#include "platform/process.h"

#include <utility>

namespace platform {

Process::Process(Process&& other) noexcept {
    *this = std::move(other);
}

Process& Process::operator=(Process&& other) noexcept {
    std::swap(id_, other.id_);
    std::swap(processHandle_, other.processHandle_);
    std::swap(threadHandle_, other.threadHandle_);
    return *this;
}

Process::~Process() {
    close();
}

}  // namespace platform
