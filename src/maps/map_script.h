// What a .map file's script says about players, sides and slots.
#pragma once

#include "maps/map_info.h"
#include "maps/map_records.h"
#include "maps/map_text.h"

#include <cstdint>
#include <stop_token>
#include <string_view>
#include <utility>
#include <vector>

namespace NetPlay {

// What a script may ask for at most, beside kMaxSlots. More is taken for a number out of range.
inline constexpr std::size_t kMaxSides = 10'000;
inline constexpr std::size_t kMaxSlotTextBytes = 256U << 10U;  // of all sides' names and all slots' texts

struct MapScriptData {
    std::int32_t playerNum = 0;  // 0 when the script does not say
    std::int32_t slotCount = 0;
    std::vector<std::string> sides;                                // by ascending side number
    std::vector<std::pair<std::int32_t, std::int32_t>> sideSizes;  // (side number, bars), sorted
    std::vector<MapSlot> slots;                                    // exactly slotCount
    std::int32_t playerSlotCount = 0;
};

// Reads the script out of a map's decoded text, whatever surrounds it. Without any of its keys there is one open slot.
// Throws MapFormatError on a number that does not fit 32 bits and on more than the bounds above. Takes linear time.
// When a stop is requested meanwhile, it soon ends and the result is of no use; so do the functions below.
MapScriptData parseMapScript(std::string_view text, const std::stop_token& stop = {});

// Fills the record's slots, sides, title and options from the bytes of a .map file. Throws MapFormatError as
// parseMapScript does; the record then keeps what was filled before.
void parseMapBytes(std::string bytes, MapInfo& map, const std::stop_token& stop = {});

// The same from the file; does nothing when `path` is empty or does not exist. A file that cannot be opened reads as
// empty.
void parseMapFile(const std::filesystem::path& path, MapInfo& map, const std::stop_token& stop = {});

// Decimal digits as a number; throws MapFormatError above 2147483647.
std::int32_t toMapNumber(std::string_view digits);

}  // namespace NetPlay
