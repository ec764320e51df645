// The text inside a map file: bytes of UTF-8 or of code page 936, most of them often binary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace NetPlay {

// A map script that cannot be taken as it is: a number out of range, or far too much of something. what() is English.
class MapFormatError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A map file above this many bytes counts as one that cannot be opened.
inline constexpr std::uint64_t kMaxMapFileBytes = 128U << 20U;

// The file's bytes; empty when it cannot be opened. A read error or a stop request in the middle ends the reading.
std::string readMapBytes(const std::filesystem::path& path, const std::stop_token& stop = {});

// One step of a lenient UTF-8 decoder: the code point at `offset`, which moves behind it. A byte that begins no
// sequence gives U+FFFD and moves by one; overlong forms and surrogates pass. At or beyond the end 0, and `offset`
// stays.
std::uint32_t nextCodePoint(std::string_view text, std::size_t& offset);
std::size_t countCodePoints(std::string_view text);

// The whole file as UTF-8: the bytes themselves when they are UTF-8 to this decoder, otherwise read as code page 936.
std::string decodeMapText(std::string bytes);
bool isMapTextUtf8(std::string_view bytes);

// The text's readable characters (ASCII, Chinese and its punctuation, some symbols), without white space at both ends.
std::string cleanMapText(std::string_view text);

// Strips blanks, TAB, CR and LF at both ends; strips every byte of `set` at both ends.
std::string_view trimWhitespace(std::string_view text);
std::string_view trimChars(std::string_view text, std::string_view set);

// The pieces between the separators, empty ones too. An empty text is one empty piece.
std::vector<std::string_view> splitPieces(std::string_view text, std::string_view separator);

}  // namespace NetPlay
