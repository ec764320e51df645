// Environment variables of this process.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace platform {

// The value, or empty when the variable is not set, holds no text, or does not fit `bufferUnits` UTF-16 units with its
// terminating NUL.
std::optional<std::u16string> environmentVariable(const std::u16string& name, std::size_t bufferUnits = 32768);

// Sets a variable of this process for the object's lifetime, so that a child started meanwhile inherits it, and puts
// back what was there: the former value as read by environmentVariable with `bufferUnits`, or nothing. The environment
// belongs to the whole process: no two of these may live at once.
class ScopedEnvironmentVariable {
public:
    ScopedEnvironmentVariable(std::u16string name, const std::u16string& value, std::size_t bufferUnits);
    ScopedEnvironmentVariable(const ScopedEnvironmentVariable&) = delete;
    ScopedEnvironmentVariable& operator=(const ScopedEnvironmentVariable&) = delete;
    ~ScopedEnvironmentVariable();

private:
    std::u16string name_;
    std::optional<std::u16string> former_;
};

}  // namespace platform
