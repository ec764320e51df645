// What a .map file says, found the slow and obvious way: the whole text decoded, std::regex, every search anew. Fit for
// small texts; the product's scanners must agree with it.
#pragma once

#include "maps/map_info.h"

#include <string>

// Throws std::exception for a number out of range.
void referenceParse(const std::string& bytes, NetPlay::MapInfo& map);
