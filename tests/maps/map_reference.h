// What a .map file says, by its rules taken word for word with std::regex: slow, but easy to believe.
#pragma once

#include "maps/map_info.h"

#include <string_view>

// False when the file is refused.
bool referenceParse(std::string_view bytes, NetPlay::MapInfo& map);
// The same by the code under test.
bool parseMap(std::string_view bytes, NetPlay::MapInfo& map);
// All that was read, to compare.
std::string describeMap(const NetPlay::MapInfo& map);
