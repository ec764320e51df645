#include "maps/cache_fields.h"

#include "maps/map_records.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <limits>

namespace NetPlay {

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

// The value of each hexadecimal digit; -1 for any other byte.
constexpr std::array<std::int8_t, 256> kHexValues = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (std::size_t digit = 0; digit < kHexDigits.size(); ++digit) {
        const char lower = kHexDigits[digit];
        const char upper = lower >= 'a' ? static_cast<char>(lower - 'a' + 'A') : lower;
        values[static_cast<unsigned char>(lower)] = values[static_cast<unsigned char>(upper)] =
            static_cast<std::int8_t>(digit);
    }
    return values;
}();

template<typename Items, typename Encode>
std::string joined(const Items& items, char separator, Encode encode) {
    std::string text;
    bool first = true;
    for (const auto& item : items) {
        if (!first) {
            text += separator;
        }
        first = false;
        text += encode(item);
    }
    return text;
}

// The first number of the field, read by `parse` (strtoll or strtoull).
template<typename Number, typename Parse>
std::optional<Number> decodeNumber(std::string_view field, Parse parse) {
    Number plain = 0;
    if (std::from_chars(field.data(), field.data() + field.size(), plain).ec == std::errc()) {
        return plain;
    }
    const std::string text(field);
    char* end = nullptr;
    errno = 0;
    const Number number = parse(text.c_str(), &end, 10);
    return end == text.c_str() || errno == ERANGE ? std::nullopt : std::optional(number);
}

std::optional<MapSlot> decodeSlot(const std::array<std::string_view, 7>& items, bool hasPlayerId) {
    const auto slot = decodeCount(items[0]);
    const auto playerId = hasPlayerId ? decodeCount(items[6]) : std::optional<std::int32_t>(0);
    if (!slot || !playerId) {
        return std::nullopt;
    }
    return MapSlot{*slot,           *playerId,          hexDecode(items[1]), items[2] == "1", hexDecode(items[3]),
                   items[4] != "0", hexDecode(items[5])};
}

// Splits "key<separator>rest" pieces and hands the decoded key and the rest to `take`.
template<typename Take>
void forEachEntry(std::string_view field, char separator, Take take) {
    forEachPiece(field, ';', [&](std::string_view piece) {
        const std::size_t cut = piece.find(separator);
        if (cut != piece.npos) {
            take(hexDecode(piece.substr(0, cut)), piece.substr(cut + 1));
        }
    });
}

}  // namespace

std::string escapeCacheField(std::string_view text) {
    std::string field;
    field.reserve(text.size());
    for (const char c : text) {
        const char letter = c == '\\' ? '\\' : c == '\t' ? 't' : c == '\n' ? 'n' : c == '\r' ? 'r' : '\0';
        if (letter != '\0') {
            field += '\\';
        }
        field += letter != '\0' ? letter : c;
    }
    return field;
}

std::string unescapeCacheField(std::string_view field) {
    if (field.find('\\') == field.npos) {
        return std::string(field);
    }
    std::string text;
    text.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] != '\\' || i + 1 == field.size()) {
            text += field[i];
            continue;
        }
        const char c = field[++i];
        text += c == 't' ? '\t' : c == 'n' ? '\n' : c == 'r' ? '\r' : c;
    }
    return text;
}

std::string hexEncode(std::string_view text) {
    std::string field;
    field.reserve(text.size() * 2);
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        field += kHexDigits[byte >> 4U];
        field += kHexDigits[byte & 0x0FU];
    }
    return field;
}

std::string hexDecode(std::string_view field) {
    std::string text(field.size() / 2, '\0');
    int digits = field.size() % 2 == 0 ? 0 : -1;  // below 0 with any bad one
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = kHexValues[static_cast<unsigned char>(field[2 * i])];
        const int low = kHexValues[static_cast<unsigned char>(field[2 * i + 1])];
        digits |= high | low;
        text[i] = static_cast<char>(high * 16 + low);
    }
    return digits < 0 ? std::string() : text;
}

std::string encodeHexList(const std::vector<std::string>& items) {
    return joined(items, ',', hexEncode);
}

std::vector<std::string> decodeHexList(std::string_view field) {
    std::vector<std::string> items;
    if (!field.empty()) {
        forEachPiece(field, ',', [&items](std::string_view piece) { items.push_back(hexDecode(piece)); });
    }
    return items;
}

std::string encodeSlots(const std::vector<MapSlot>& slots) {
    return joined(slots, ';', [](const MapSlot& slot) {
        return std::to_string(slot.slot) + ',' + hexEncode(slot.team) + (slot.locked ? ",1," : ",0,") +
               hexEncode(slot.selectType) + (slot.isPlayerSlot ? ",1," : ",0,") + hexEncode(slot.slotLabel) + ',' +
               std::to_string(slot.playerId);
    });
}

std::optional<std::vector<MapSlot>> decodeSlots(std::string_view field) {
    std::vector<MapSlot> slots;
    bool good = true;
    forEachPiece(field, ';', [&](std::string_view piece) {
        std::array<std::string_view, 7> items;
        const std::size_t count = firstPieces(piece, ',', items);
        if (!good || (count != 6 && count != 7)) {
            return;
        }
        auto slot = decodeSlot(items, count == 7);
        good = slot && slots.size() < kMaxSlots;
        if (good) {
            slots.push_back(std::move(*slot));
        }
    });
    return good ? std::optional(std::move(slots)) : std::nullopt;
}

std::string encodeOptionValues(const std::map<std::string, std::vector<std::string>>& values) {
    return joined(values, ';',
                  [](const auto& entry) { return hexEncode(entry.first) + ':' + encodeHexList(entry.second); });
}

std::map<std::string, std::vector<std::string>> decodeOptionValues(std::string_view field) {
    std::map<std::string, std::vector<std::string>> values;
    forEachEntry(field, ':',
                 [&values](std::string key, std::string_view list) { values[std::move(key)] = decodeHexList(list); });
    return values;
}

std::string encodeOptionLabels(const std::map<std::string, std::string>& labels) {
    return joined(labels, ';',
                  [](const auto& entry) { return hexEncode(entry.first) + '=' + hexEncode(entry.second); });
}

std::map<std::string, std::string> decodeOptionLabels(std::string_view field) {
    std::map<std::string, std::string> labels;
    forEachEntry(field, '=',
                 [&labels](std::string key, std::string_view label) { labels[std::move(key)] = hexDecode(label); });
    return labels;
}

std::optional<std::int64_t> decodeSigned(std::string_view field) {
    return decodeNumber<long long>(field, std::strtoll);
}

std::optional<std::uint64_t> decodeUnsigned(std::string_view field) {
    return decodeNumber<unsigned long long>(field, std::strtoull);
}

std::optional<std::int32_t> decodeCount(std::string_view field) {
    const auto number = decodeSigned(field);
    if (!number || *number < std::numeric_limits<std::int32_t>::min() ||
        *number > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(*number);
}

}  // namespace NetPlay
