// The text inside a map file: bytes of UTF-8 or of code page 936, most of them often binary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>

namespace NetPlay {

// A map file that cannot be taken as it is: a number out of range, or far too many bytes or slots. what() is English.
class MapFormatError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A map file above this many bytes is not read.
inline constexpr std::uint64_t kMaxMapFileBytes = 128U << 20U;

// The file's bytes; empty when it cannot be opened. A read error or a stop request in the middle ends the reading.
// Throws MapFormatError when there are more than kMaxMapFileBytes.
std::string readMapBytes(const std::filesystem::path& path, const std::stop_token& stop = {});

// One step of a lenient UTF-8 decoder: the code point at `offset`, which moves behind it. A byte that begins no
// sequence gives U+FFFD and moves by one; overlong forms and surrogates pass. At or beyond the end 0, and `offset`
// stays.
std::uint32_t nextCodePoint(std::string_view text, std::size_t& offset);
std::size_t countCodePoints(std::string_view text);

// The code points that a person may read: ASCII text, Chinese and its punctuation, some symbols.
bool isReadable(std::uint32_t codePoint);

// The text's readable characters as UTF-8, without white space at both ends.
std::string cleanMapText(std::string_view text);

// Strips blanks, TAB, CR and LF at both ends; strips every byte of `set` at both ends.
std::string_view trimWhitespace(std::string_view text);
std::string_view trimChars(std::string_view text, std::string_view set);

// The whole file as UTF-8: the bytes themselves when they are UTF-8, otherwise read as code page 936.
std::string decodeMapText(std::string_view bytes);

// The same text without decoding it: places are offsets into the undecoded bytes, and only what a caller found is
// decoded. That works because all landmarks are ASCII. In code page 936 an ASCII byte may be the second half of a
// character; the finders skip such places.
class MapText {
public:
    static constexpr std::size_t npos = std::string_view::npos;

    explicit MapText(std::string_view bytes);

    std::string_view bytes() const { return bytes_; }
    std::size_t size() const { return bytes_.size(); }

    // The first place at or after `from` where `landmark` (ASCII, not empty) stands, or npos.
    std::size_t find(std::string_view landmark, std::size_t from) const;
    // The first place at or after `from` of a byte below 0x20, or npos.
    std::size_t firstControlByte(std::size_t from) const;

    // The characters from `begin` to before `end`, two places between characters.
    std::string decoded(std::size_t begin, std::size_t end) const;
    // The characters from `begin` on that fit `limit` bytes of UTF-8.
    std::string decodedUpTo(std::size_t begin, std::size_t limit) const;

    // Whether a character begins at `place`.
    bool isBetweenCharacters(std::size_t place) const;

private:
    std::string_view bytes_;
    bool isUtf8_;
};

}  // namespace NetPlay
