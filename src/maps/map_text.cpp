#include "maps/map_text.h"

#include "platform/code_page.h"
#include "platform/files.h"

#include <cstring>

namespace NetPlay {

namespace {

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
    platform::readWholeFile(path, bytes, kMaxMapFileBytes, stop);
    return bytes;
}

std::uint32_t nextCodePoint(std::string_view text, std::size_t& offset) {
    if (offset >= text.size()) {
        return 0;
    }
    const auto [point, length] = platform::utf8SequenceAt(text, offset);
    offset += length;
    return point;
}

std::size_t countCodePoints(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t offset = 0; offset < text.size(); ++count) {
        nextCodePoint(text, offset);
    }
    return count;
}

bool isMapTextUtf8(std::string_view bytes) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080U;
    for (std::size_t offset = 0; offset < bytes.size();) {
        std::uint64_t word = kHighBits;
        if (bytes.size() - offset >= sizeof word) {
            std::memcpy(&word, bytes.data() + offset, sizeof word);
        }
        if ((word & kHighBits) == 0) {
            offset += sizeof word;
        } else if (nextCodePoint(bytes, offset) == 0xFFFD) {
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

std::vector<std::string_view> splitPieces(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> pieces;
    for (std::size_t begin = 0;;) {
        // The search for a byte is quicker than that for a text of one byte.
        const std::size_t end =
            separator.size() == 1 ? text.find(separator.front(), begin) : text.find(separator, begin);
        pieces.push_back(text.substr(begin, end - begin));
        if (end == text.npos) {
            return pieces;
        }
        begin = end + separator.size();
    }
}

}  // namespace NetPlay
