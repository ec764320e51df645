// Text encodings.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// UTF-16 to UTF-8; each unpaired surrogate becomes U+FFFD (WideCharToMultiByte with code page 65001).
std::string toUtf8(std::u16string_view text);

// UTF-8 to UTF-16; each byte that begins no valid sequence becomes one U+FFFD.
std::u16string fromUtf8(std::string_view bytes);

// Code page 936 (GBK) to UTF-16 as MultiByteToWideChar does with flags 0: zero bytes survive, and each lead byte that
// begins no character becomes "?", taking a trail byte other than zero with it. Never fails. Both systems give the same
// text for every input below 2 GiB; on Windows a longer one gives no text.
std::u16string decodeCodePage936(std::string_view bytes);

}  // namespace platform
