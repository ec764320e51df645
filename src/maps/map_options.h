// A map's title and public options, found by landmarks in the decoded text of its .map file.
#pragma once

#include "maps/map_info.h"

#include <cstdint>
#include <map>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace NetPlay {

struct MapOptionHeader {
    std::vector<std::string> ids;  // in file order, without duplicates
    std::map<std::string, std::string> labels;
};
using OptionValues = std::map<std::string, std::vector<std::string>>;

// The lowest offset at or after `from` of a byte below 0x20; -1 without one and for an offset outside the text.
std::int64_t firstControlByte(std::string_view text, std::int64_t from);

// False for an empty text, for more than `limit` code points, and for one that holds "#", "@", NUL, CR, LF or TAB.
bool isCleanToken(std::string_view text, std::size_t limit);

// Whether a text looks like a title and not like a piece of the file's binary parts: at most 80 code points, with at
// least one Chinese character or star.
bool isPlausibleMapTitle(std::string_view text);

// The options that a header "#T#id#label#...#T#id#label#..." declares.
MapOptionHeader parseOptionHeader(std::string_view text);

// The values in lists "@n#value#value..."; the i-th list belongs to the i-th id. Throws MapFormatError when an n does
// not fit 32 bits.
OptionValues parseOptionValues(std::string_view text, const std::vector<std::string>& ids);

// The title that stands behind the options' value lists, which may be repeated from `start` on; the last one counts.
// Empty when there is none. Looks at 256 KiB at most, and at no stretch above 16 KiB, so that lists repeated without
// end cost no time.
std::string scanMapTitleAfterOptions(std::string_view text, const std::vector<std::string>& ids,
                                     const OptionValues& values, std::int64_t start);

// The text behind the last value of a cleaned span, from its first character that is not ASCII on.
std::string titleAfterLastValue(std::string_view span);

// Fills displayName, optionIds, optionValues and optionLabels. What is not found stays as it is. Of a title, a header
// or a list that no end mark ends within 64 KiB, that much is read. Throws MapFormatError as parseOptionValues does.
void readTitleAndOptions(std::string_view text, MapInfo& map);

}  // namespace NetPlay
