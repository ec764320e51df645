#include "maps/map_text.h"

#include "platform/code_page.h"
#include "platform/files.h"

#include <algorithm>
#include <cstring>

namespace NetPlay {

namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::string_view kBlanks = " \t\r\n";

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

bool isUtf8(std::string_view bytes) {
    for (std::size_t offset = skipAscii(bytes, 0); offset < bytes.size(); offset = skipAscii(bytes, offset)) {
        if (nextCodePoint(bytes, offset) == kReplacement) {
            return false;
        }
    }
    return true;
}

// As string_view::find. That looks at every place of the first byte, and binary files are full of those; a block where
// first and last byte never stand right is passed over by a loop without branches, which compilers turn into a few
// vector instructions.
std::size_t findBytes(std::string_view text, std::string_view wanted, std::size_t from) {
    constexpr std::size_t kBlock = 64;
    const std::size_t last = wanted.size() - 1;
    for (; from <= text.size() && text.size() - from >= kBlock + last; from += kBlock) {
        const char* const heads = text.data() + from;
        const char* const tails = heads + last;
        unsigned char any = 0;
        for (std::size_t i = 0; i < kBlock; ++i) {
            const int headFits = heads[i] == wanted.front();
            const int tailFits = tails[i] == wanted.back();
            any |= static_cast<unsigned char>(headFits & tailFits);
        }
        if (any != 0) {
            const std::size_t found = text.substr(from, kBlock + last).find(wanted);
            if (found != text.npos) {
                return from + found;
            }
        }
    }
    return text.find(wanted, from);
}

// The code points kept by cleanMapText have at most three bytes.
void appendUtf8(std::string& text, std::uint32_t c) {
    if (c < 0x80) {
        text += static_cast<char>(c);
    } else if (c < 0x800) {
        text += static_cast<char>(0xC0U | c >> 6U);
        text += static_cast<char>(0x80U | (c & 0x3FU));
    } else {
        text += static_cast<char>(0xE0U | c >> 12U);
        text += static_cast<char>(0x80U | (c >> 6U & 0x3FU));
        text += static_cast<char>(0x80U | (c & 0x3FU));
    }
}

}  // namespace

std::string readMapBytes(const std::filesystem::path& path, const std::stop_token& stop) {
    const auto status = platform::fileStatus(path);
    std::string bytes;
    bytes.reserve(status && status->isRegularFile ? std::min<std::uint64_t>(status->size, kMaxMapFileBytes) : 0);
    platform::readFileInBlocks(path, [&](std::string_view block) {
        if (block.size() > kMaxMapFileBytes - bytes.size()) {
            throw MapFormatError("map file too large");
        }
        bytes += block;
        return !stop.stop_requested();
    });
    return bytes;
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

bool isReadable(std::uint32_t codePoint) {
    const auto within = [codePoint](std::uint32_t first, std::uint32_t last) {
        return codePoint >= first && codePoint <= last;
    };
    return codePoint == '\r' || codePoint == '\n' || codePoint == '\t' || codePoint == 0xB7 || within(0x20, 0x7E) ||
           within(0x2000, 0x206F) || within(0x2100, 0x218F) || within(0x2600, 0x27BF) || within(0x3000, 0x9FFF) ||
           within(0xFF00, 0xFFEF);
}

std::string cleanMapText(std::string_view text) {
    std::string clean;
    for (std::size_t offset = 0; offset < text.size();) {
        const std::uint32_t c = nextCodePoint(text, offset);
        if (isReadable(c)) {
            appendUtf8(clean, c);
        }
    }
    return std::string(trimWhitespace(clean));
}

std::string_view trimWhitespace(std::string_view text) {
    return trimChars(text, kBlanks);
}

std::string_view trimChars(std::string_view text, std::string_view set) {
    const std::size_t first = text.find_first_not_of(set);
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(set) - first + 1);
}

std::string decodeMapText(std::string_view bytes) {
    return MapText(bytes).decoded(0, bytes.size());
}

MapText::MapText(std::string_view bytes) : bytes_(bytes), isUtf8_(isUtf8(bytes)) {}

std::size_t MapText::find(std::string_view landmark, std::size_t from) const {
    std::size_t place = findBytes(bytes_, landmark, from);
    while (place != npos && !isBetweenCharacters(place)) {
        place = findBytes(bytes_, landmark, place + 1);
    }
    return place;
}

std::size_t MapText::firstControlByte(std::size_t from) const {
    for (std::size_t place = from; place < bytes_.size(); ++place) {
        if (byteAt(bytes_, place) < 0x20 && isBetweenCharacters(place)) {
            return place;
        }
    }
    return npos;
}

std::string MapText::decoded(std::size_t begin, std::size_t end) const {
    const std::string_view part = bytes_.substr(begin, end - begin);
    return isUtf8_ ? std::string(part) : platform::toUtf8(platform::decodeCodePage936(part));
}

std::string MapText::decodedUpTo(std::size_t begin, std::size_t limit) const {
    // Two bytes give at least one.
    std::string text = decoded(begin, begin + std::min(size() - begin, 2 * limit));
    if (text.size() > limit) {
        std::size_t end = limit;
        while (end > 0 && (byteAt(text, end) & 0xC0U) == 0x80U) {
            --end;
        }
        text.resize(end);
    }
    return text;
}

// A byte of 0x81 to 0xFE takes the next one with it, unless that is NUL. Behind any other byte a character begins, so
// only the run of such bytes before the place decides.
bool MapText::isBetweenCharacters(std::size_t place) const {
    if (isUtf8_ || place >= bytes_.size() || bytes_[place] == '\0') {
        return true;
    }
    std::size_t run = place;
    while (run > 0 && byteAt(bytes_, run - 1) >= 0x81 && byteAt(bytes_, run - 1) <= 0xFE) {
        --run;
    }
    return (place - run) % 2 == 0;
}

}  // namespace NetPlay
