// How the catalog cache writes values inside a field of a line. No encoded field holds a TAB or an LF.
#pragma once

#include "maps/map_info.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace NetPlay {

// Calls `take` with each piece between the separators, empty ones too. An empty text is one empty piece.
template<typename Take>
void forEachPiece(std::string_view text, char separator, Take take) {
    for (;;) {
        const std::size_t end = text.find(separator);
        take(text.substr(0, end));
        if (end == text.npos) {
            return;
        }
        text.remove_prefix(end + 1);
    }
}

// How many pieces there are, and the first of them, as many as fit.
template<std::size_t size>
std::size_t firstPieces(std::string_view text, char separator, std::array<std::string_view, size>& pieces) {
    std::size_t count = 0;
    forEachPiece(text, separator, [&](std::string_view piece) {
        if (count < size) {
            pieces[count] = piece;
        }
        ++count;
    });
    return count;
}

// Backslash, TAB, LF and CR as a backslash and a letter. Decoding takes any other byte behind a backslash as itself,
// and a backslash at the end too.
std::string escapeCacheField(std::string_view text);
std::string unescapeCacheField(std::string_view field);

// Two lower-case digits a byte. Decoding takes either case; an odd length or any other character gives an empty text.
std::string hexEncode(std::string_view text);
std::string hexDecode(std::string_view field);

// Items in hex, joined by ",". A bad item decodes to an empty one.
std::string encodeHexList(const std::vector<std::string>& items);
std::vector<std::string> decodeHexList(std::string_view field);

// Slots joined by ";", each "slot,team,locked,selectType,isPlayerSlot,slotLabel,playerId" with texts in hex. Decoding
// skips a piece that has not 6 or 7 items; with 6 the player id is 0. Empty when an item holds no number, or one out of
// range, or when there are more slots than a map may have.
std::string encodeSlots(const std::vector<MapSlot>& slots);
std::optional<std::vector<MapSlot>> decodeSlots(std::string_view field);

// Entries joined by ";": the key in hex, ":" and a hex list; the key in hex, "=" and the label in hex. A piece without
// its separator is skipped; a later piece of the same key replaces the earlier one.
std::string encodeOptionValues(const std::map<std::string, std::vector<std::string>>& values);
std::map<std::string, std::vector<std::string>> decodeOptionValues(std::string_view field);
std::string encodeOptionLabels(const std::map<std::string, std::string>& labels);
std::map<std::string, std::string> decodeOptionLabels(std::string_view field);

// A number by the rules of strtoll and strtoull: white space before it and anything behind it are accepted. Empty when
// there is no number or it is out of range.
std::optional<std::int64_t> decodeSigned(std::string_view field);
std::optional<std::uint64_t> decodeUnsigned(std::string_view field);
std::optional<std::int32_t> decodeCount(std::string_view field);

}  // namespace NetPlay
