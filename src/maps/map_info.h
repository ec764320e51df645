// What the client knows of one local map. Text is UTF-8.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace NetPlay {

struct MapSlot {
    std::int32_t slot = 0;      // the bar number, from 1
    std::int32_t playerId = 0;  // the game's player id of this bar
    std::string team;           // the side that this bar belongs to
    bool locked = false;
    std::string selectType;  // the code from the map, kept as text
    bool isPlayerSlot = true;
    std::string slotLabel;  // the bar's name from the map; may be empty
};

struct MapInfo {
    std::string name;         // the folder's name; identity of the map
    std::string displayName;  // the title shown to people
    std::filesystem::path folderPath;
    std::filesystem::path mapFilePath;  // empty when none was found
    std::filesystem::path oFilePath;    // empty when none was found
    std::int64_t mapFileSize = 0;       // bytes; -1 when it could not be read
    std::int64_t oFileSize = 0;         // bytes; -1 when it could not be read
    std::string mapFileHash;            // 64 lower-case hexadecimal digits
    std::string oFileHash;
    std::string fingerprint;
    std::string fingerprintAlgo;         // set only together with both hashes and the fingerprint
    std::int32_t maxPlayers = 6;         // how many slots people may take
    std::int32_t slotCount = 6;          // how many slots the map has in all
    std::vector<MapSlot> slots;          // one per slot, numbered from 1
    std::vector<std::string> sides;      // side names in ascending side number
    std::vector<std::string> optionIds;  // public options in file order, without duplicates
    std::map<std::string, std::vector<std::string>> optionValues;  // values of an option, in file order
    std::map<std::string, std::string> optionLabels;               // an option's initial value
    std::int64_t lastModified = 0;
};

}  // namespace NetPlay
