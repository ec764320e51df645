#include "maps/map_text.h"

#include "platform/code_page.h"
#include "platform/files.h"

#include <cstring>

namespace NetPlay {

namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

unsigned byteAt(std::string_view text, std::size_t offset) {
    return static_cast<unsigned char>(text[offset]);
}

// How many continuation bytes a lead byte asks for; -1 when it is none.
int continuationCount(unsigned lead) {
    if ((lead & 0xE0U) == 0xC0U) {
        return 1;
    }
    if ((lead & 0xF0U) == 0xE0U) {
        return 2;
    }
    return (lead & 0xF8U) == 0xF0U ? 3 : -1;
}

// The offset of the first byte from `offset` on that is not ASCII, eight bytes at a time.
std::size_t skipAscii(std::string_view text, std::size_t offset) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080U;
    for (std::uint64_t word = 0; offset + sizeof word <= text.size(); offset += sizeof word) {
        std::memcpy(&word, text.data() + offset, sizeof word);
        if ((word & kHighBits) != 0) {
            break;
        }
    }
    while (offset < text.size() && byteAt(text, offset) < 0x80) {
        ++offset;
    }
    return offset;
}

bool isReadable(std::uint32_t codePoint) {
    const auto within = [codePoint](std::uint32_t first, std::uint32_t last) {
        return codePoint >= first && codePoint <= last;
    };
    return codePoint == '\r' || codePoint == '\n' || codePoint == '\t' || codePoint == 0xB7 || within(0x20, 0x7E) ||
           within(0x2000, 0x206F) || within(0x2100, 0x218F) || within(0x2600, 0x27BF) || within(0x3000, 0x9FFF) ||
           within(0xFF00, 0xFFEF);
}

}  // namespace

std::string readMapBytes(const std::filesystem::path& path, const std::stop_token& stop) {
    std::string bytes;
    const auto status = platform::fileStatus(path);
    if (!status || static_cast<std::uint64_t>(status->size) > kMaxMapFileBytes) {
        return bytes;
    }
    bytes.reserve(static_cast<std::size_t>(status->size));
    platform::readFileInBlocks(path, [&](std::string_view block) {
        bytes += block;
        return bytes.size() <= kMaxMapFileBytes && !stop.stop_requested();
    });
    return bytes.size() <= kMaxMapFileBytes ? bytes : std::string();
}

std::uint32_t nextCodePoint(std::string_view text, std::size_t& offset) {
    if (offset >= text.size()) {
        return 0;
    }
    const unsigned lead = byteAt(text, offset);
    if (lead < 0x80) {
        ++offset;
        return lead;
    }
    const int count = continuationCount(lead);
    const auto length = static_cast<std::size_t>(count) + 1;
    if (count < 0 || length > text.size() - offset) {
        ++offset;
        return kReplacement;
    }
    std::uint32_t value = lead & (0x3FU >> static_cast<unsigned>(count));
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned next = byteAt(text, offset + i);
        if ((next & 0xC0U) != 0x80U) {
            ++offset;
            return kReplacement;
        }
        value = value << 6U | (next & 0x3FU);
    }
    offset += length;
    return value;
}

std::size_t countCodePoints(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t offset = 0; offset < text.size(); ++count) {
        nextCodePoint(text, offset);
    }
    return count;
}

bool isMapTextUtf8(std::string_view bytes) {
    for (std::size_t offset = skipAscii(bytes, 0); offset < bytes.size(); offset = skipAscii(bytes, offset)) {
        if (nextCodePoint(bytes, offset) == kReplacement) {
            return false;
        }
    }
    return true;
}

std::string decodeMapText(std::string bytes) {
    if (isMapTextUtf8(bytes)) {
        return bytes;
    }
    return platform::decodeCodePage936(bytes);
}

std::string cleanMapText(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    for (std::size_t offset = 0; offset < text.size();) {
        const std::size_t plain = offset;
        while (offset < text.size() && text[offset] >= 0x20 && text[offset] <= 0x7E) {
            ++offset;
        }
        clean += text.substr(plain, offset - plain);
        const std::uint32_t c = nextCodePoint(text, offset);  // 0 at the end, which is not readable
        if (isReadable(c)) {
            platform::appendUtf8(clean, c);
        }
    }
    return std::string(trimWhitespace(clean));
}

std::string_view trimWhitespace(std::string_view text) {
    return trimChars(text, " \t\r\n");
}

std::string_view trimChars(std::string_view text, std::string_view set) {
    const std::size_t first = text.find_first_not_of(set);
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(set) - first + 1);
}

}  // namespace NetPlay
