#include "maps/cache_fields.h"

#include "maps/map_records.h"
#include "maps/map_text.h"

#include <cerrno>
#include <cstdlib>
#include <limits>

namespace NetPlay {

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

// The value of a hexadecimal digit; -1 for any other byte.
int hexValue(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

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
    const std::string text(field);
    char* end = nullptr;
    errno = 0;
    const Number number = parse(text.c_str(), &end, 10);
    return end == text.c_str() || errno == ERANGE ? std::nullopt : std::optional(number);
}

std::optional<MapSlot> decodeSlot(const std::vector<std::string_view>& items) {
    const auto slot = decodeCount(items[0]);
    const auto playerId = items.size() == 7 ? decodeCount(items[6]) : std::optional<std::int32_t>(0);
    if (!slot || !playerId) {
        return std::nullopt;
    }
    return MapSlot{*slot,           *playerId,          hexDecode(items[1]), items[2] == "1", hexDecode(items[3]),
                   items[4] != "0", hexDecode(items[5])};
}

// Splits "key<separator>rest" pieces and hands the decoded key and the rest to `take`.
template<typename Take>
void forEachEntry(std::string_view field, char separator, Take take) {
    for (const std::string_view piece : splitPieces(field, ";")) {
        const std::size_t cut = piece.find(separator);
        if (cut != piece.npos) {
            take(hexDecode(piece.substr(0, cut)), piece.substr(cut + 1));
        }
    }
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
    std::string text;
    if (field.size() % 2 != 0) {
        return text;
    }
    text.reserve(field.size() / 2);
    for (std::size_t i = 0; i < field.size(); i += 2) {
        const int high = hexValue(field[i]);
        const int low = hexValue(field[i + 1]);
        if (high < 0 || low < 0) {
            return {};
        }
        text += static_cast<char>(high * 16 + low);
    }
    return text;
}

std::string encodeHexList(const std::vector<std::string>& items) {
    return joined(items, ',', hexEncode);
}

std::vector<std::string> decodeHexList(std::string_view field) {
    std::vector<std::string> items;
    if (!field.empty()) {
        for (const std::string_view piece : splitPieces(field, ",")) {
            items.push_back(hexDecode(piece));
        }
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
    if (field.empty()) {
        return slots;
    }
    for (const std::string_view piece : splitPieces(field, ";")) {
        const std::vector<std::string_view> items = splitPieces(piece, ",");
        if (items.size() != 6 && items.size() != 7) {
            continue;
        }
        auto slot = decodeSlot(items);
        if (!slot || slots.size() == kMaxSlots) {
            return std::nullopt;
        }
        slots.push_back(std::move(*slot));
    }
    return slots;
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
