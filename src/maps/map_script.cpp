#include "maps/map_script.h"

#include "maps/map_options.h"
#include "maps/map_records.h"
#include "platform/code_page.h"
#include "platform/files.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <unordered_map>

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
    KeyPattern(std::string_view key, bool isQuoted, bool mayBeEmpty = true)
        : key_(key), isQuoted_(isQuoted), mayBeEmpty_(mayBeEmpty) {}

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
        if (end == text.npos || (end == begin && !(isQuoted_ && mayBeEmpty_))) {
            return std::nullopt;
        }
        next_ = end + (isQuoted_ ? 1 : 0);
        return text.substr(begin, end - begin);
    }

private:
    std::string_view key_;
    bool isQuoted_;
    bool mayBeEmpty_;
    std::size_t next_ = 0;
};

struct BarKeys {
    std::optional<std::string_view> select;
    std::optional<std::string_view> name;
    std::optional<std::int32_t> playerId;
};

// What the patterns found. Texts are views into the file's.
struct ScriptKeys {
    std::optional<std::int32_t> playerNum;
    std::unordered_map<std::int32_t, std::string_view> sideName;
    std::vector<std::pair<std::int32_t, std::int32_t>> sideSizes;
    std::vector<BarKeys> bars{1};  // by number

    BarKeys& bar(std::string_view number) {
        const std::int32_t position = toMapNumber(number);
        if (position > kMaxSlots) {
            throw MapFormatError("too many slots");
        }
        bars.resize(std::max(bars.size(), static_cast<std::size_t>(position) + 1));
        return bars[static_cast<std::size_t>(position)];
    }
};

// All patterns on one walk along the text's underscores.
ScriptKeys collectKeys(std::string_view text, const std::stop_token& stop) {
    ScriptKeys keys;
    KeyPattern sideName("_name", true, false);
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
            if (const auto name = sideName.valueAt(text, place)) {
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

// Adds a text to those of the record.
class TextCounter {
public:
    const std::string& counted(const std::string& text) {
        bytes_ += text.size();
        if (bytes_ > kMaxSlotTextBytes) {
            throw MapFormatError("too much text for sides and slots");
        }
        return text;
    }

private:
    std::size_t bytes_ = 0;
};

// The side of each slot: the sides' sizes laid end to end, the built-in sides where they don't reach or have no name.
void assignTeams(const std::map<std::int32_t, std::string>& sideName, MapScriptData& data, TextCounter& texts) {
    std::size_t next = 0;
    for (const auto& [side, size] : data.sideSizes) {
        const auto name = sideName.find(side);
        for (std::int32_t i = 0; i < size && next < data.slots.size(); ++i, ++next) {
            if (name != sideName.end()) {
                data.slots[next].team = texts.counted(name->second);
            }
        }
    }
}

MapSlot makeSlot(const BarKeys& bar, std::int32_t number, std::int32_t slotCount, std::string_view undeclaredType) {
    MapSlot slot;
    slot.slot = number;
    slot.playerId = bar.playerId.value_or(number);
    slot.team = defaultSideName(number, slotCount);
    slot.selectType = bar.select.value_or(undeclaredType);
    slot.isPlayerSlot = isPlayerSelectType(slot.selectType);
    slot.slotLabel = cleanMapText(bar.name.value_or(""));
    return slot;
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

// Calls `visit` with every place but the first where `isAt` holds of the byte ahead and the byte there. A block where
// it holds nowhere is passed over by a loop without branches, which compilers turn into a few vector instructions:
// binary files are full of single bytes of every kind.
template<typename IsAt, typename Visit>
void forEachPlace(std::string_view bytes, IsAt isAt, Visit visit) {
    constexpr std::size_t kBlock = 64;
    const auto anyInBlock = [isAt](const char* ahead) {
        unsigned char any = 0;
        for (std::size_t i = 0; i < kBlock; ++i) {
            any |= static_cast<unsigned char>(isAt(ahead[i], ahead[i + 1]));
        }
        return any != 0;
    };
    for (std::size_t begin = 0, end = 0; begin < bytes.size(); begin = end) {
        end = std::min(begin + kBlock, bytes.size());
        if (begin > 0 && end - begin == kBlock && !anyInBlock(bytes.data() + begin - 1)) {
            continue;
        }
        for (std::size_t place = std::max<std::size_t>(begin, 1); place < end; ++place) {
            if (isAt(bytes[place - 1], bytes[place])) {
                visit(place);
            }
        }
    }
}

// The stretch of a file in code page 936 that reading depends on, from between two characters on: all landmarks are
// ASCII and consist of single bytes. Most of a file is binary, and decoding that would take several times as long as
// all the rest.
std::string_view scriptPart(std::string_view bytes) {
    std::size_t begin = bytes.size();
    std::size_t end = 0;
    const auto take = [&](std::size_t first, std::size_t last) {
        begin = std::min(begin, first);
        end = std::max(end, last);
    };
    // An underscore behind a key's word and number; the last byte of "#T#" and, behind that, of a list's "@n#".
    bool hasHeader = false;
    const auto isAt = [](char ahead, char c) {
        const int digit = (ahead >= '0') & (ahead <= '9');
        return ((c == '_') & (digit | (ahead == 'R'))) | ((c == '#') & (digit | (ahead == 'T')));
    };
    forEachPlace(bytes, isAt, [&](std::size_t at) {
        if (bytes[at] == '_') {
            if (const KeyPlace place = keyAt(bytes, at); !place.word.empty()) {
                take(place.begin, at);
            }
        } else if (bytes.substr(0, at).ends_with("#T")) {
            take(at - 2, at);
            hasHeader = true;
        } else if (hasHeader && isDigit(bytes[at - 1])) {
            const std::size_t digits = digitsAhead(bytes, at);
            if (digits > 0 && bytes[digits - 1] == '@') {
                take(digits - 1, at);
            }
        }
    });
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
    data.slotCount = std::max({1, data.playerNum, static_cast<std::int32_t>(keys.bars.size()) - 1});
    if (data.slotCount > kMaxSlots) {
        throw MapFormatError("too many slots");
    }
    TextCounter texts;
    std::map<std::int32_t, std::string> sideName;
    for (const auto& [number, name] : keys.sideName) {
        sideName[number] = texts.counted(cleanMapText(name));
    }
    for (const auto& [number, name] : sideName) {
        data.sides.push_back(name);
    }

    // A full table of known types closes the bars that it leaves out; without one they are open.
    bool anyType = false;
    bool allTypesKnown = true;
    for (const BarKeys& bar : keys.bars) {
        anyType = anyType || bar.select;
        allTypesKnown =
            allTypesKnown && (!bar.select || isPlayerSelectType(*bar.select) || isClosedSelectType(*bar.select));
    }
    keys.bars.resize(static_cast<std::size_t>(data.slotCount) + 1);
    data.slots.reserve(static_cast<std::size_t>(data.slotCount));
    for (std::int32_t number = 1; number <= data.slotCount; ++number) {
        const BarKeys& bar = keys.bars[static_cast<std::size_t>(number)];
        data.slots.push_back(makeSlot(bar, number, data.slotCount, anyType && allTypesKnown ? "0" : "5"));
        texts.counted(data.slots.back().selectType);
        texts.counted(data.slots.back().slotLabel);
    }
    assignTeams(sideName, data, texts);
    data.playerSlotCount = static_cast<std::int32_t>(
        std::count_if(data.slots.begin(), data.slots.end(), [](const MapSlot& slot) { return slot.isPlayerSlot; }));
    if (data.playerSlotCount == 0) {
        data.playerSlotCount = data.playerNum != 0 ? data.playerNum : data.slotCount;
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
