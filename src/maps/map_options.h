// A map's title and public options, found by landmarks in the text of its .map file.
#pragma once

#include "maps/map_info.h"
#include "maps/map_text.h"

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

// The title that stands behind the options' value lists, searched from `start` (an offset into the undecoded bytes);
// empty when there is none. When a stop is requested meanwhile, it soon ends with what it has.
std::string scanMapTitleAfterOptions(const MapText& text, const std::vector<std::string>& ids,
                                     const OptionValues& values, std::size_t start, const std::stop_token& stop = {});

// The text behind the last value of a cleaned span, from its first character that is not ASCII on.
std::string_view titleAfterLastValue(std::string_view span);

// Fills displayName, optionIds, optionValues and optionLabels. What is not found stays as it is.
void readTitleAndOptions(const MapText& text, MapInfo& map, const std::stop_token& stop = {});

}  // namespace NetPlay
