#include "maps/map_script.h"

#include "maps/map_options.h"
#include "maps/map_records.h"
#include "maps/script_patterns.h"
#include "platform/files.h"

#include <algorithm>
#include <map>
#include <optional>

namespace NetPlay {

namespace {

// What the patterns found, by side and bar number.
struct ScriptKeys {
    std::optional<std::int32_t> playerNum;
    std::map<std::int32_t, std::string> sideName;
    std::vector<std::pair<std::int32_t, std::int32_t>> sideSizes;
    std::map<std::int32_t, std::string> barSelect;
    std::map<std::int32_t, std::string> barName;
    std::map<std::int32_t, std::int32_t> barPlayerId;
};

// Whether the word stands right ahead of `end`.
bool standsAhead(const MapText& text, std::string_view word, std::size_t end) {
    const std::string_view ahead = text.bytes().substr(0, end);
    return ahead.ends_with(word.back()) && ahead.ends_with(word) && text.isBetweenCharacters(end - word.size());
}

// The patterns' matches, gathered on one walk along the underscores of a file: each pattern has one behind its leading
// word and number, and most of a file's time is spent on searching.
class KeyCollector {
public:
    KeyCollector(const MapText& text, ScriptKeys& keys) : text_(text), keys_(keys) {}

    void takeAt(std::size_t underscore) {
        std::size_t digits = underscore;
        while (digits > 0 && text_.bytes()[digits - 1] >= '0' && text_.bytes()[digits - 1] <= '9') {
            --digits;
        }
        if (digits == underscore) {
            takePlayerNum(underscore);
        } else if (standsAhead(text_, "side", digits)) {
            takeSide(digits - 4);
        } else if (standsAhead(text_, "bar", digits)) {
            takeBar(digits - 3);
        }
    }

private:
    // The first match counts.
    void takePlayerNum(std::size_t underscore) {
        if (!keys_.playerNum && standsAhead(text_, "PLAYER", underscore)) {
            if (const auto match = matchPlayerNum(text_, underscore - 6)) {
                keys_.playerNum = match->number;
            }
        }
    }
    void takeSide(std::size_t place) {
        if (const auto match = sideNames_.at(text_, place)) {
            keys_.sideName[match->number] = cleanMapText(match->text);
        }
        if (const auto match = sideSizes_.at(text_, place)) {
            keys_.sideSizes.emplace_back(match->number, match->value);
        }
    }
    void takeBar(std::size_t place) {
        if (const auto match = selectTypes_.at(text_, place)) {
            keys_.barSelect[match->number] = match->text;
        }
        if (const auto match = barNames_.at(text_, place)) {
            keys_.barName[match->number] = cleanMapText(match->text);
        }
        if (const auto match = playerIds_.at(text_, place)) {
            keys_.barPlayerId[match->number] = match->value;
        }
    }

    const MapText& text_;
    ScriptKeys& keys_;
    MatchWalk<NumberedTextMatch> sideNames_{matchSideName};
    MatchWalk<NumberPairMatch> sideSizes_{matchSideNum};
    MatchWalk<NumberedTextMatch> selectTypes_{matchBarSelectType};
    MatchWalk<NumberedTextMatch> barNames_{matchBarName};
    MatchWalk<NumberPairMatch> playerIds_{matchBarPlayerId};
};

ScriptKeys collectKeys(const MapText& text, const std::stop_token& stop) {
    ScriptKeys keys;
    KeyCollector collector(text, keys);
    for (std::size_t at = text.bytes().find('_'); at != MapText::npos && !stop.stop_requested();
         at = text.bytes().find('_', at + 1)) {
        collector.takeAt(at);
    }
    std::sort(keys.sideSizes.begin(), keys.sideSizes.end());
    return keys;
}

std::int32_t countSlots(const ScriptKeys& keys, std::int32_t playerNum) {
    std::int32_t count = std::max(1, playerNum);
    const auto raiseTo = [&count](const auto& table) {
        count = std::max(count, table.empty() ? 1 : table.rbegin()->first);
    };
    raiseTo(keys.barSelect);
    raiseTo(keys.barName);
    raiseTo(keys.barPlayerId);
    if (count > kMaxSlots) {
        throw MapFormatError("stoi argument out of range");
    }
    return count;
}

// The side of each slot: the sides' sizes laid end to end, the built-in sides where they don't reach or have no name.
void assignTeams(const ScriptKeys& keys, MapScriptData& data) {
    std::size_t next = 0;
    for (const auto& [side, size] : data.sideSizes) {
        const auto name = keys.sideName.find(side);
        for (std::int32_t i = 0; i < size && next < data.slots.size(); ++i, ++next) {
            data.slots[next].team =
                name != keys.sideName.end() ? name->second : defaultSideName(data.slots[next].slot, data.slotCount);
        }
    }
    for (; next < data.slots.size(); ++next) {
        data.slots[next].team = defaultSideName(data.slots[next].slot, data.slotCount);
    }
}

MapSlot makeSlot(const ScriptKeys& keys, std::int32_t number, const std::string& undeclaredType) {
    MapSlot slot;
    slot.slot = number;
    const auto playerId = keys.barPlayerId.find(number);
    slot.playerId = playerId != keys.barPlayerId.end() ? playerId->second : number;
    const auto selectType = keys.barSelect.find(number);
    slot.selectType = selectType != keys.barSelect.end() ? selectType->second : undeclaredType;
    slot.isPlayerSlot = isPlayerSelectType(slot.selectType);
    const auto label = keys.barName.find(number);
    slot.slotLabel = label != keys.barName.end() ? label->second : std::string();
    return slot;
}

}  // namespace

MapScriptData parseMapScript(const MapText& text, const std::stop_token& stop) {
    const ScriptKeys keys = collectKeys(text, stop);
    MapScriptData data;
    data.playerNum = keys.playerNum.value_or(0);
    data.sideSizes = keys.sideSizes;
    for (const auto& [number, name] : keys.sideName) {
        data.sides.push_back(name);
    }
    data.slotCount = countSlots(keys, data.playerNum);

    // A full table of known types closes the bars that it leaves out; without one they are open.
    const bool allTypesKnown =
        !keys.barSelect.empty() && std::all_of(keys.barSelect.begin(), keys.barSelect.end(), [](const auto& bar) {
            return isPlayerSelectType(bar.second) || isClosedSelectType(bar.second);
        });
    data.slots.reserve(static_cast<std::size_t>(data.slotCount));
    for (std::int32_t number = 1; number <= data.slotCount; ++number) {
        data.slots.push_back(makeSlot(keys, number, allTypesKnown ? "0" : "5"));
    }
    assignTeams(keys, data);
    data.playerSlotCount = static_cast<std::int32_t>(
        std::count_if(data.slots.begin(), data.slots.end(), [](const MapSlot& slot) { return slot.isPlayerSlot; }));
    if (data.playerSlotCount == 0) {
        data.playerSlotCount = data.playerNum != 0 ? data.playerNum : data.slotCount;
    }
    return data;
}

void parseMapBytes(std::string_view bytes, MapInfo& map, const std::stop_token& stop) {
    const MapText text(bytes);
    MapScriptData data = parseMapScript(text, stop);
    map.slotCount = data.slotCount;
    map.slots = std::move(data.slots);
    map.sides = std::move(data.sides);
    map.maxPlayers = data.playerSlotCount;
    readTitleAndOptions(text, map, stop);
}

void parseMapFile(const std::filesystem::path& path, MapInfo& map, const std::stop_token& stop) {
    if (!path.empty() && platform::fileStatus(path)) {
        parseMapBytes(readMapBytes(path, stop), map, stop);
    }
}

}  // namespace NetPlay
