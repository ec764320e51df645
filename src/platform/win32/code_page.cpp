#include "platform/code_page.h"

#include "platform/win32/wide_text.h"

#include <limits>
#include <windows.h>

namespace platform {

std::u16string decodeCodePage936(std::string_view bytes) {
    constexpr UINT kCodePage = 936;
    if (bytes.empty() || bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        return {};
    }
    const int length = static_cast<int>(bytes.size());
    // No byte gives more than one unit.
    std::wstring text(bytes.size(), L'\0');
    const int units = MultiByteToWideChar(kCodePage, 0, bytes.data(), length, text.data(), length);
    text.resize(static_cast<std::size_t>(units));
    return fromWide(text);
}

}  // namespace platform
