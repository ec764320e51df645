#include "platform/code_page_pairs.h"

#include <windows.h>

namespace platform {

void readCodePage936(CodePagePairs& pairs) {
    constexpr UINT kCodePage = 936;
    for (unsigned pair = 0x8101; pair <= 0xFEFF; ++pair) {
        const std::array<char, 2> bytes{static_cast<char>(pair >> 8), static_cast<char>(pair)};
        std::array<wchar_t, 2> units{};
        if (MultiByteToWideChar(kCodePage, 0, bytes.data(), 2, units.data(), 2) == 1) {
            pairs[pair] = static_cast<char16_t>(units[0]);
        }
    }
}

}  // namespace platform
