#include "platform/environment.h"

#include "platform/code_page.h"
#include "platform/win32/wide_text.h"

#include <algorithm>
#include <windows.h>

namespace platform {

std::optional<std::u16string> environmentVariable(const std::u16string& name, std::size_t bufferUnits) {
    constexpr std::size_t kLongestValue = 32768;
    if (holdsNul(name)) {
        return std::nullopt;
    }
    std::wstring buffer(std::min(bufferUnits, kLongestValue), L'\0');
    const DWORD units = GetEnvironmentVariableW(toWide(name).c_str(), buffer.data(), static_cast<DWORD>(buffer.size()));
    if (units == 0 || units >= buffer.size()) {
        return std::nullopt;
    }
    buffer.resize(units);
    return fromWide(buffer);
}

ScopedEnvironmentVariable::ScopedEnvironmentVariable(std::u16string name, const std::u16string& value,
                                                     std::size_t bufferUnits)
    : name_(std::move(name)), former_(environmentVariable(name_, bufferUnits)) {
    SetEnvironmentVariableW(toWide(name_).c_str(), toWide(value).c_str());
}

ScopedEnvironmentVariable::~ScopedEnvironmentVariable() {
    SetEnvironmentVariableW(toWide(name_).c_str(), former_ ? toWide(*former_).c_str() : nullptr);
}

}  // namespace platform
