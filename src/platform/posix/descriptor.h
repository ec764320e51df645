// A file descriptor that closes itself.
#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace platform {

class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() {
        if (number_ >= 0) {
            ::close(number_);
        }
    }

    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }
    int release() { return std::exchange(number_, -1); }

private:
    int number_;
};

// Calls `systemCall` again as long as a signal interrupts it.
template<typename Call>
auto retryInterrupted(Call systemCall) {
    auto result = systemCall();
    while (result < 0 && errno == EINTR) {
        result = systemCall();
    }
    return result;
}

}  // namespace platform
