// Text encodings.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace platform {

// UTF-16 to UTF-8; each unpaired surrogate becomes U+FFFD (WideCharToMultiByte with code page 65001).
std::string toUtf8(std::u16string_view text);

// UTF-8 to UTF-16; each byte that begins no valid sequence becomes one U+FFFD.
std::u16string fromUtf8(std::string_view bytes);

// A code point and how many bytes it takes.
struct Utf8Sequence {
    char32_t point = 0xFFFD;
    std::size_t length = 1;
};

// The sequence at `offset`, which is inside the text. Lenient: overlong forms, surrogates and points above U+10FFFF
// pass. U+FFFD of one byte where none begins.
Utf8Sequence utf8SequenceAt(std::string_view bytes, std::size_t offset);

// Adds the code point, at most U+10FFFF.
void appendUtf8(std::string& bytes, char32_t point);

// Code page 936 (GBK) to UTF-8 as MultiByteToWideChar reads it with flags 0: zero bytes survive, and each lead byte
// that begins no character becomes "?", taking a trail byte other than zero with it. Never fails. Both systems give the
// same text. Takes the text's memory and no more.
std::string decodeCodePage936(std::string_view bytes);

// Whether the byte takes the one behind it with it, unless that is zero.
constexpr bool isCodePage936Lead(char byte) {
    return static_cast<unsigned char>(byte) >= 0x81 && static_cast<unsigned char>(byte) <= 0xFE;
}

// Whether the text holds a NUL, which the system's functions would take for its end.
constexpr bool holdsNul(std::u16string_view text) {
    return text.find(u'\0') != text.npos;
}

// Two lower-case digits for each byte.
std::string hexadecimal(std::span<const unsigned char> bytes);

// ASCII letters in lower case, all other bytes as they are.
constexpr char toLowerAscii(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + ('a' - 'A')) : byte;
}

}  // namespace platform
