// UTF-16 in the system's own character type.
#pragma once

#include <string>
#include <string_view>

namespace platform {

inline std::wstring toWide(std::u16string_view text) {
    return {text.begin(), text.end()};
}

inline std::u16string fromWide(std::wstring_view text) {
    return {text.begin(), text.end()};
}

}  // namespace platform
