#include "maps/map_reference.h"

#include "maps/map_options.h"
#include "maps/map_records.h"
#include "maps/map_script.h"
#include "maps/map_text.h"

#include <regex>

using namespace NetPlay;

namespace {

const std::regex kSideName("side(\\d+)_name\\s*=\\s*\"([^\"]+)\"");
const std::regex kSideNum("side(\\d+)_num\\s*=\\s*(\\d+)");
const std::regex kBarSelect("bar(\\d+)_select_type\\s*=\\s*(\\d+)");
const std::regex kBarName("bar(\\d+)_name\\s*=\\s*\"([^\"]*)\"");
const std::regex kBarPlayer("bar(\\d+)_player_id\\s*=\\s*(\\d+)");
const std::regex kPlayerNum("PLAYER_NUM=(\\d+)");
const std::regex kModeNum("PLAYER_MODE_NUM=\\d+\\r?\\n");
const std::regex kStarred("\xE2\x98\x85([^\\r\\n]+?)\xE2\x98\x85");

// What `read` makes of each number's last value.
template<typename Read>
auto lastValues(const std::string& text, const std::regex& regex, Read read) {
    std::map<int, decltype(read(text))> values;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        values[std::stoi((*match)[1])] = read((*match)[2].str());
    }
    return values;
}

std::size_t findControl(const std::string& text, std::size_t from) {
    for (std::size_t i = from; i < text.size(); ++i) {
        if (static_cast<unsigned char>(text[i]) < 0x20) {
            return i;
        }
    }
    return std::string::npos;
}

std::string span(const std::string& text, std::size_t begin, std::size_t end, std::size_t limit) {
    return text.substr(begin, end == std::string::npos ? limit : end - begin);
}

void parseScript(const std::string& text, MapInfo& map) {
    std::smatch first;
    const int playerNum = std::regex_search(text, first, kPlayerNum) ? std::stoi(first[1]) : 0;
    auto sideName = lastValues(text, kSideName, cleanMapText);
    auto barName = lastValues(text, kBarName, cleanMapText);
    auto barSelect = lastValues(text, kBarSelect, [](const std::string& value) { return value; });
    auto barPlayerId = lastValues(text, kBarPlayer, [](const std::string& value) { return std::stoi(value); });
    std::vector<std::pair<int, int>> sideSizes;
    for (std::sregex_iterator match(text.begin(), text.end(), kSideNum), end; match != end; ++match) {
        sideSizes.emplace_back(std::stoi((*match)[1]), std::stoi((*match)[2]));
    }
    std::sort(sideSizes.begin(), sideSizes.end());
    const auto last = [](const auto& values) {
        return values.empty() ? 1 : values.rbegin()->first;
    };
    map.slotCount = std::max({1, playerNum, last(barSelect), last(barName), last(barPlayerId)});
    if (map.slotCount > kMaxSlots) {
        throw std::out_of_range("slots");
    }
    bool known = !barSelect.empty();
    for (const auto& [number, type] : barSelect) {
        known = known && (isPlayerSelectType(type) || isClosedSelectType(type));
    }
    map.maxPlayers = 0;
    for (int i = 1; i <= map.slotCount; ++i) {
        const int playerId = barPlayerId.try_emplace(i, i).first->second;
        const std::string type = barSelect.try_emplace(i, known ? "0" : "5").first->second;
        MapSlot slot{i, playerId, defaultSideName(i, map.slotCount), false, type, isPlayerSelectType(type), barName[i]};
        long long total = 0;
        for (const auto& [side, size] : sideSizes) {
            if (i > total && i <= total + size) {
                slot.team = sideName.count(side) ? sideName[side] : slot.team;
                break;
            }
            total += size;
        }
        map.maxPlayers += slot.isPlayerSlot ? 1 : 0;
        map.slots.push_back(slot);
    }
    if (map.maxPlayers == 0) {
        map.maxPlayers = playerNum != 0 ? playerNum : map.slotCount;
    }
    for (const auto& [number, name] : sideName) {
        map.sides.push_back(name);
    }
}

std::string titleBehindOptions(const std::string& text, const MapOptionHeader& header, const OptionValues& values,
                               std::size_t start) {
    std::string result;
    if (header.ids.empty() || values.count(header.ids[0]) == 0) {
        return result;
    }
    const auto mark = [&](const std::string& id) {
        return "@" + std::to_string(values.at(id).size()) + "#";
    };
    std::string lists;
    for (std::size_t i = 0; i < header.ids.size() && values.count(header.ids[i]) != 0; ++i) {
        lists += mark(header.ids[i]);
        for (const std::string& value : values.at(header.ids[i])) {
            lists += value + "#";
        }
        lists.pop_back();
    }
    const std::string marker = mark(header.ids[0]);
    for (std::size_t pos = text.find(marker, start); pos != std::string::npos; pos = text.find(marker, pos + 1)) {
        const auto offer = [&](std::string_view candidate) {
            if (isPlausibleMapTitle(candidate)) {
                result = std::string(candidate);
            }
        };
        if (values.size() == header.ids.size() && text.compare(pos, lists.size(), lists) == 0) {
            const std::size_t p = pos + lists.size();
            const std::string clean = cleanMapText(span(text, p, findControl(text, p), 80));
            offer(trimChars(clean, "#@"));
        }
        const std::string clean = cleanMapText(span(text, pos, findControl(text, pos), 240));
        offer(titleAfterLastValue(trimChars(clean, "#@")));
    }
    return result;
}

void parseTitleAndOptions(const std::string& text, MapInfo& map) {
    std::smatch match;
    if (std::regex_search(text, match, kModeNum)) {
        const auto begin = static_cast<std::size_t>(match.position() + match.length());
        const std::size_t mark = text.find('\x05', begin);
        const std::string area =
            cleanMapText(span(text, begin, mark == std::string::npos ? text.find("#T#", begin) : mark, 600));
        if (std::regex_search(area, match, kStarred)) {
            const std::string title = "\xE2\x98\x85" + match[1].str() + "\xE2\x98\x85";
            map.displayName = isPlausibleMapTitle(title) ? title : map.displayName;
        }
    }
    const std::size_t header = text.find("#T#");
    if (header == std::string::npos) {
        return;
    }
    const std::size_t headerEnd = findControl(text, header);
    const MapOptionHeader options = parseOptionHeader(span(text, header, headerEnd, 300));
    const std::size_t lists = text.find('@', headerEnd == std::string::npos ? header : headerEnd);
    if (lists == std::string::npos) {
        return;
    }
    const OptionValues values = parseOptionValues(span(text, lists, findControl(text, lists), 500), options.ids);
    for (const std::string& id : options.ids) {
        if (values.count(id) != 0) {
            map.optionLabels[id] = options.labels.at(id);
            map.optionIds.push_back(id);
        }
    }
    map.optionValues = values;
    const std::string title = titleBehindOptions(text, options, values, lists);
    map.displayName = title.empty() ? map.displayName : title;
}

}  // namespace

std::string describeMap(const MapInfo& map) {
    std::string text = map.displayName + " max " + std::to_string(map.maxPlayers);
    for (const MapSlot& slot : map.slots) {
        text += "\n" + std::to_string(slot.slot) + "," + std::to_string(slot.playerId) + "," + slot.team + "," +
                slot.selectType + "," + (slot.isPlayerSlot ? "open," : "closed,") + slot.slotLabel;
    }
    for (const std::string& side : map.sides) {
        text += "\nside " + side;
    }
    for (const std::string& id : map.optionIds) {
        text += "\noption " + id + "=" + map.optionLabels.at(id) + ":";
        for (const std::string& value : map.optionValues.at(id)) {
            text += " " + value;
        }
    }
    return text;
}

bool parseMap(std::string_view bytes, MapInfo& map) {
    try {
        parseMapBytes(std::string(bytes), map);
        return true;
    } catch (const MapFormatError&) {
        return false;
    }
}

bool referenceParse(std::string_view bytes, MapInfo& map) {
    try {
        const std::string text = decodeMapText(std::string(bytes));
        parseScript(text, map);
        parseTitleAndOptions(text, map);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}
