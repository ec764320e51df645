#include "maps/map_script.h"

#include "maps/map_options.h"
#include "platform/code_page.h"
#include "platform/files.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

namespace NetPlay {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The offset of the first byte from `offset` on that does not belong.
std::size_t skip(std::string_view text, std::size_t offset, bool (*belongs)(char)) {
    while (offset < text.size() && belongs(text[offset])) {
        ++offset;
    }
    return offset;
}

// The offset where the digits ahead of `end` begin.
std::size_t digitsAhead(std::string_view text, std::size_t end) {
    while (end > 0 && isDigit(text[end - 1])) {
        --end;
    }
    return end;
}

// A key's place: WORD, digits, and the underscore that all keys of the script have behind those.
struct KeyPlace {
    std::string_view word;  // empty: no key
    std::string_view number;
    std::size_t begin = 0;
    std::size_t underscore = 0;
};

KeyPlace keyAt(std::string_view text, std::size_t underscore) {
    if (underscore == 0 || !(isDigit(text[underscore - 1]) || text[underscore - 1] == 'R')) {
        return {};  // nearly always
    }
    const std::size_t digits = digitsAhead(text, underscore);
    const std::string_view ahead = text.substr(0, digits);
    for (const std::string_view word : {"side", "bar", "PLAYER"}) {
        if ((digits == underscore) == (word == "PLAYER") && ahead.ends_with(word)) {
            return {word, text.substr(digits, underscore - digits), digits - word.size(), underscore};
        }
    }
    return {};
}

// The pattern WORD(\d+)KEY\s*=\s*(\d+) or WORD(\d+)KEY\s*=\s*"([^"]*)", as ECMAScript matches it on bytes. std::regex
// itself is too slow here, and overflows the stack on long input.
class KeyPattern {
public:
    KeyPattern(std::string_view key, bool isQuoted) : key_(key), isQuoted_(isQuoted) {}

    // The value, where the pattern matches at the place. A match begins behind the last one.
    std::optional<std::string_view> valueAt(std::string_view text, const KeyPlace& place) {
        if (place.begin < next_ || !text.substr(place.underscore).starts_with(key_)) {
            return std::nullopt;
        }
        const std::size_t equals = skip(text, place.underscore + key_.size(), isBlank);
        if (!text.substr(equals).starts_with('=')) {
            return std::nullopt;
        }
        std::size_t begin = skip(text, equals + 1, isBlank);
        if (isQuoted_ && !text.substr(begin++).starts_with('"')) {
            return std::nullopt;
        }
        const std::size_t end = isQuoted_ ? text.find('"', begin) : skip(text, begin, isDigit);
        if (end == text.npos || (end == begin && !isQuoted_)) {
            return std::nullopt;
        }
        next_ = end + (isQuoted_ ? 1 : 0);
        return text.substr(begin, end - begin);
    }

private:
    std::string_view key_;
    bool isQuoted_;
    std::size_t next_ = 0;
};

struct BarKeys {
    std::optional<std::string_view> select;
    std::string_view name;
    std::optional<std::int32_t> playerId;
};

// What the patterns found. Texts are views into the file's.
struct ScriptKeys {
    std::optional<std::int32_t> playerNum;
    std::map<std::int32_t, std::string_view> sideName;
    std::vector<std::pair<std::int32_t, std::int32_t>> sideSizes;
    std::vector<BarKeys> bars{1};  // by number

    void growTo(std::int32_t slots) {
        if (slots > kMaxSlots) {
            throw MapFormatError("too many slots");
        }
        bars.resize(std::max(bars.size(), static_cast<std::size_t>(slots) + 1));
    }
    BarKeys& bar(std::string_view number) {
        const std::int32_t position = toMapNumber(number);
        growTo(position);
        return bars[static_cast<std::size_t>(position)];
    }
};

// All patterns on one walk along the text's underscores.
ScriptKeys collectKeys(std::string_view text, const std::stop_token& stop) {
    ScriptKeys keys;
    KeyPattern sideName("_name", true);
    KeyPattern sideNum("_num", false);
    KeyPattern barSelect("_select_type", false);
    KeyPattern barName("_name", true);
    KeyPattern barPlayerId("_player_id", false);
    for (std::size_t at = text.find('_'); at != text.npos && !stop.stop_requested(); at = text.find('_', at + 1)) {
        const KeyPlace place = keyAt(text, at);
        if (place.word == "PLAYER" && !keys.playerNum && text.substr(at).starts_with("_NUM=")) {
            const std::size_t begin = at + 5;
            const std::size_t end = skip(text, begin, isDigit);
            if (end > begin) {
                keys.playerNum = toMapNumber(text.substr(begin, end - begin));
            }
        } else if (place.word == "side") {
            const auto name = sideName.valueAt(text, place);
            if (name && !name->empty()) {
                keys.sideName[toMapNumber(place.number)] = *name;
            }
            if (const auto size = sideNum.valueAt(text, place)) {
                keys.sideSizes.emplace_back(toMapNumber(place.number), toMapNumber(*size));
            }
            if (keys.sideName.size() > kMaxSides) {
                throw MapFormatError("too many sides");
            }
        } else if (place.word == "bar") {
            if (const auto select = barSelect.valueAt(text, place)) {
                keys.bar(place.number).select = *select;
            }
            if (const auto name = barName.valueAt(text, place)) {
                keys.bar(place.number).name = *name;
            }
            if (const auto playerId = barPlayerId.valueAt(text, place)) {
                keys.bar(place.number).playerId = toMapNumber(*playerId);
            }
        }
    }
    std::sort(keys.sideSizes.begin(), keys.sideSizes.end());
    return keys;
}

// A full table of known types closes the bars that it leaves out; without one they are open.
std::string_view undeclaredType(const std::vector<BarKeys>& bars) {
    bool anyType = false;
    for (const BarKeys& bar : bars) {
        if (bar.select && !isPlayerSelectType(*bar.select) && !isClosedSelectType(*bar.select)) {
            return "5";
        }
        anyType = anyType || bar.select;
    }
    return anyType ? "0" : "5";
}

// Behind the part that reading depends on: two quotes end every value that begins ahead of `place`, a byte 0x05 every
// span but those of a length in bytes, of which the longest is 600.
std::size_t behindScript(std::string_view bytes, std::size_t place) {
    constexpr std::size_t kTailBytes = 1300;  // two bytes give at least one
    int quotes = 0;
    bool ended = false;
    while (place < bytes.size() && !(ended && quotes >= 2)) {
        quotes += bytes[place] == '"' ? 1 : 0;
        ended = ended || bytes[place] == '\x05';
        const bool isPair =
            platform::isCodePage936Lead(bytes[place]) && place + 1 < bytes.size() && bytes[place + 1] != '\0';
        place += isPair ? 2 : 1;
    }
    return std::min(place + kTailBytes, bytes.size());
}

// The stretch of a file in code page 936 that reading depends on, from between two characters on: all landmarks are
// ASCII and consist of single bytes. Most of a file is binary, and decoding that would take several times as long as
// all the rest.
std::string_view scriptPart(std::string_view bytes) {
    std::size_t begin = bytes.size();
    std::size_t end = 0;
    for (std::size_t at = bytes.find('_'); at != bytes.npos; at = bytes.find('_', at + 1)) {
        if (const KeyPlace place = keyAt(bytes, at); !place.word.empty()) {
            begin = std::min(begin, place.begin);
            end = at;
        }
    }
    const std::size_t header = bytes.find("#T#");
    begin = std::min(begin, header);
    for (std::size_t at = header; at != bytes.npos; at = bytes.find('#', at + 1)) {
        const std::size_t digits = digitsAhead(bytes, at);
        const bool isList = digits < at && digits > 0 && bytes[digits - 1] == '@';
        end = isList || bytes.substr(at).starts_with("#T#") ? std::max(end, at) : end;
    }
    if (begin > end) {
        return {};
    }
    while (begin > 0 && platform::isCodePage936Lead(bytes[begin - 1])) {
        --begin;
    }
    return bytes.substr(begin, behindScript(bytes.substr(begin), end - begin));
}

// decodeMapText without what reading does not depend on.
std::string decodeScript(std::string bytes) {
    if (isMapTextUtf8(bytes)) {
        return bytes;
    }
    return platform::decodeCodePage936(scriptPart(bytes));
}

}  // namespace

std::int32_t toMapNumber(std::string_view digits) {
    std::int32_t number = 0;
    const auto [last, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc()) {
        throw MapFormatError("stoi argument out of range");
    }
    return number;
}

MapScriptData parseMapScript(std::string_view text, const std::stop_token& stop) {
    ScriptKeys keys = collectKeys(text, stop);
    MapScriptData data;
    data.playerNum = keys.playerNum.value_or(0);
    data.sideSizes = std::move(keys.sideSizes);
    const std::string_view undeclared = undeclaredType(keys.bars);
    keys.growTo(std::max(1, data.playerNum));
    data.slotCount = static_cast<std::int32_t>(keys.bars.size()) - 1;

    std::size_t textBytes = 0;
    const auto counted = [&textBytes](std::string_view piece) {
        textBytes += piece.size();
        if (textBytes > kMaxSlotTextBytes) {
            throw MapFormatError("too much text for sides and slots");
        }
        return std::string(piece);
    };
    std::map<std::int32_t, std::string> sideName;
    for (const auto& [number, name] : keys.sideName) {
        data.sides.push_back(counted(cleanMapText(name)));
        sideName[number] = data.sides.back();
    }
    data.slots.resize(static_cast<std::size_t>(data.slotCount));
    for (std::int32_t number = 1; number <= data.slotCount; ++number) {
        const BarKeys& bar = keys.bars[static_cast<std::size_t>(number)];
        MapSlot& slot = data.slots[static_cast<std::size_t>(number) - 1];
        slot.slot = number;
        slot.playerId = bar.playerId.value_or(number);
        slot.team = defaultSideName(number, data.slotCount);
        slot.selectType = counted(bar.select.value_or(undeclared));
        slot.isPlayerSlot = isPlayerSelectType(slot.selectType);
        slot.slotLabel = counted(cleanMapText(bar.name));
        data.playerSlotCount += slot.isPlayerSlot ? 1 : 0;
    }
    if (data.playerSlotCount == 0) {
        data.playerSlotCount = data.playerNum != 0 ? data.playerNum : data.slotCount;
    }
    // The sides' sizes, laid end to end.
    auto slot = data.slots.begin();
    for (const auto& [side, size] : data.sideSizes) {
        const auto name = sideName.find(side);
        for (std::int32_t i = 0; i < size && slot != data.slots.end(); ++i, ++slot) {
            slot->team = name != sideName.end() ? counted(name->second) : slot->team;
        }
    }
    return data;
}

void parseMapBytes(std::string bytes, MapInfo& map, const std::stop_token& stop) {
    const std::string text = decodeScript(std::move(bytes));
    MapScriptData data = parseMapScript(text, stop);
    map.slotCount = data.slotCount;
    map.slots = std::move(data.slots);
    map.sides = std::move(data.sides);
    map.maxPlayers = data.playerSlotCount;
    if (!stop.stop_requested()) {
        readTitleAndOptions(text, map);
    }
}

void parseMapFile(const std::filesystem::path& path, MapInfo& map, const std::stop_token& stop) {
    if (!path.empty() && platform::fileStatus(path)) {
        parseMapBytes(readMapBytes(path, stop), map, stop);
    }
}

}  // namespace NetPlay
