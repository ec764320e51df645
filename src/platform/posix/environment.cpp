#include "platform/environment.h"

#include "platform/code_page.h"

#include <cstdlib>

namespace platform {

std::optional<std::u16string> environmentVariable(const std::u16string& name, std::size_t bufferUnits) {
    const char* const bytes = holdsNul(name) ? nullptr : std::getenv(toUtf8(name).c_str());
    if (bytes == nullptr || *bytes == '\0') {
        return std::nullopt;
    }
    std::u16string value = fromUtf8(bytes);
    return value.size() < bufferUnits ? std::optional(std::move(value)) : std::nullopt;
}

ScopedEnvironmentVariable::ScopedEnvironmentVariable(std::u16string name, const std::u16string& value,
                                                     std::size_t bufferUnits)
    : name_(std::move(name)), former_(environmentVariable(name_, bufferUnits)) {
    setenv(toUtf8(name_).c_str(), toUtf8(value).c_str(), 1);
}

ScopedEnvironmentVariable::~ScopedEnvironmentVariable() {
    const std::string name = toUtf8(name_);
    if (former_) {
        setenv(name.c_str(), toUtf8(*former_).c_str(), 1);
    } else {
        unsetenv(name.c_str());
    }
}

}  // namespace platform
