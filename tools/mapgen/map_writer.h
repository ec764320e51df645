// Sample map folders for the demonstration, the tests and the benchmarks. The same options give the same bytes on every
// system; a map depends on the seed and its number alone, not on how many there are.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace mapgen {

inline constexpr std::size_t kMaxMaps = 1'000'000;
inline constexpr std::size_t kMaxMapBytes = 128U << 20U;

struct MapSet {
    std::size_t count = 10;
    std::uint32_t seed = 1;
    std::size_t bytes = 20'000;   // of a .map file; the script, about 1 KB, is there however little this is
    std::uint32_t first = 10078;  // the number in the first map's name
    // With it, of every 16 maps one lacks its .map file, one its .o file, one has working copies beside its files, and
    // one has its extensions in capitals.
    bool oddities = true;
};

struct SampleFile {
    std::string name;  // UTF-8
    std::string bytes;
};

struct SampleMap {
    std::string name;   // the folder's, UTF-8; Chinese in one of ten
    std::string title;  // UTF-8, as a player reads it
    std::vector<SampleFile> files;
};

// The map at a position of the set, from 0. One of six is UTF-8 as a whole; the others have GBK texts amid binary.
SampleMap makeMap(const MapSet& set, std::size_t position);

// Writes the set into `folder`, one folder a map, creating what is missing and replacing files that are there. False
// with a sentence in `error` when something cannot be written.
bool writeMaps(const std::filesystem::path& folder, const MapSet& set, std::string& error);

}  // namespace mapgen
