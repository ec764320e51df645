#include "platform/code_page.h"

#include "platform/code_page_pairs.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace platform {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// The well-formed sequences of the Unicode Standard, table 3-7: no overlong forms, no surrogates.
Utf8Sequence wellFormedAt(std::string_view bytes, std::size_t offset) {
    constexpr std::array<char32_t, 5> kLeastOfLength{0, 0, 0x80, 0x800, 0x10000};
    const Utf8Sequence sequence = utf8SequenceAt(bytes, offset);
    const auto [point, length] = sequence;
    const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
    return point < kLeastOfLength[length] || surrogate || point > 0x10FFFF ? Utf8Sequence{} : sequence;
}

// What stands for a byte and the one behind it, at `first << 8 | second`: up to three bytes of UTF-8, and how many.
using ShortText = std::array<char, 4>;

std::vector<ShortText> makeCodePage936() {
    CodePagePairs pairs;
    pairs.fill(u'?');
    readCodePage936(pairs);
    std::vector<ShortText> texts(pairs.size());
    for (std::size_t pair = 0; pair < pairs.size(); ++pair) {
        const auto first = static_cast<char>(pair >> 8);
        const auto single = static_cast<unsigned char>(first);
        std::string text;
        appendUtf8(text, isCodePage936Lead(first) ? pairs[pair]
                         : single == 0x80         ? u'\u20AC'
                         : single == 0xFF         ? u'\uF8F5'
                                                  : single);
        std::copy(text.begin(), text.end(), texts[pair].begin());
        texts[pair][3] = static_cast<char>(text.size());
    }
    return texts;
}

// 1 for each byte that takes the one behind it with it.
constexpr std::array<std::uint8_t, 256> makeLeads() {
    std::array<std::uint8_t, 256> leads{};
    for (std::size_t byte = 0; byte < leads.size(); ++byte) {
        leads[byte] = isCodePage936Lead(static_cast<char>(byte)) ? 1 : 0;
    }
    return leads;
}

// Writes the text of a pair to `out`, where four bytes must fit, and gives the place behind it.
char* writePair(const std::vector<ShortText>& table, char first, char second, char* out) {
    const std::size_t pair = static_cast<std::size_t>(static_cast<unsigned char>(first)) << 8;
    const ShortText text = table[pair | static_cast<unsigned char>(second)];
    std::memcpy(out, text.data(), text.size());
    return out + text[3];
}

// Decodes one character into `out`, and moves both behind it. Without a branch: what is no text is mostly noise.
void decodeOne(const std::vector<ShortText>& table, const char*& in, char second, char*& out) {
    static constexpr std::array<std::uint8_t, 256> kLeads = makeLeads();
    out = writePair(table, *in, second, out);
    in += 1 + (kLeads[static_cast<unsigned char>(*in)] & static_cast<int>(second != '\0'));
}

// Whether eight bytes are four characters of two bytes.
bool areFourPairs(const char* bytes) {
    bool all = true;
    for (int i = 0; i < 8; i += 2) {
        all &= isCodePage936Lead(bytes[i]) & (bytes[i + 1] != '\0');
    }
    return all;
}

}  // namespace

Utf8Sequence utf8SequenceAt(std::string_view bytes, std::size_t offset) {
    const auto lead = static_cast<std::uint8_t>(bytes[offset]);
    if (lead < 0x80) {
        return {lead, 1};
    }
    const std::size_t length = (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : (lead & 0xF8) == 0xF0 ? 4 : 0;
    if (length == 0 || bytes.size() - offset < length) {
        return {};
    }
    char32_t point = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<std::uint8_t>(bytes[offset + i]);
        if ((byte & 0xC0) != 0x80) {
            return {};
        }
        point = point << 6 | (byte & 0x3FU);
    }
    return {point, length};
}

void appendUtf8(std::string& bytes, char32_t point) {
    const auto continuation = [point](unsigned shift) {
        return static_cast<char>(0x80 | ((point >> shift) & 0x3F));
    };
    if (point < 0x80) {
        bytes += static_cast<char>(point);
    } else if (point < 0x800) {
        bytes += static_cast<char>(0xC0 | (point >> 6));
        bytes += continuation(0);
    } else if (point < 0x10000) {
        bytes += static_cast<char>(0xE0 | (point >> 12));
        bytes += continuation(6);
        bytes += continuation(0);
    } else {
        bytes += static_cast<char>(0xF0 | (point >> 18));
        bytes += continuation(12);
        bytes += continuation(6);
        bytes += continuation(0);
    }
}

std::string decodeCodePage936(std::string_view bytes) {
    static const std::vector<ShortText> table = makeCodePage936();
    constexpr std::size_t kBlock = 4096;
    constexpr std::ptrdiff_t kWord = 8;
    constexpr int kStretch = 32;  // characters between two looks for ASCII
    std::array<char, kBlock + kStretch * 4> block;
    std::string text;
    // Two bytes give at most three, but for the bytes 0x80 and 0xFF, which give three alone.
    const auto wide = std::count(bytes.begin(), bytes.end(), '\x80') + std::count(bytes.begin(), bytes.end(), '\xFF');
    text.reserve(bytes.size() + bytes.size() / 2 + 2 * static_cast<std::size_t>(wide) + 2);
    const char* in = bytes.data();
    const char* const end = in + bytes.size();
    while (in < end) {
        char* out = block.data();
        while (in < end && out < block.data() + kBlock) {
            while (end - in >= kWord && out < block.data() + kBlock) {
                std::uint64_t word = 0;
                std::memcpy(&word, in, kWord);
                if ((word & 0x8080808080808080U) == 0) {
                    std::memcpy(out, in, kWord);
                    in += kWord;
                    out += kWord;
                } else if (areFourPairs(in)) {
                    // In steps known beforehand, none waits for the one ahead of it.
                    for (int i = 0; i < 4; ++i, in += 2) {
                        out = writePair(table, in[0], in[1], out);
                    }
                } else {
                    break;
                }
            }
            for (int i = 0; i < kStretch && end - in > 1; ++i) {
                decodeOne(table, in, in[1], out);
            }
            if (end - in == 1) {
                decodeOne(table, in, '\0', out);
            }
        }
        text.append(block.data(), out);
    }
    return text;
}

std::string hexadecimal(std::span<const unsigned char> bytes) {
    std::string text;
    for (const unsigned char byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string toUtf8(std::u16string_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t point = text[i];
        if (point >= 0xD800 && point <= 0xDFFF) {
            const char32_t next = i + 1 < text.size() ? text[i + 1] : 0;
            if (point <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF) {
                point = 0x10000 + ((point - 0xD800) << 10) + (next - 0xDC00);
                ++i;
            } else {
                point = kReplacement;
            }
        }
        appendUtf8(bytes, point);
    }
    return bytes;
}

std::u16string fromUtf8(std::string_view bytes) {
    std::u16string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const auto [point, length] = wellFormedAt(bytes, i);
        if (point < 0x10000) {
            text += static_cast<char16_t>(point);
        } else {
            text += static_cast<char16_t>(0xD7C0 + (point >> 10));
            text += static_cast<char16_t>(0xDC00 + (point & 0x3FF));
        }
        i += length;
    }
    return text;
}

}  // namespace platform
