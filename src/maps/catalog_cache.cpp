#include "maps/catalog_cache.h"

#include "maps/all_cores.h"
#include "maps/cache_fields.h"
#include "maps/map_files.h"
#include "maps/map_records.h"
#include "platform/clock.h"

#include <QtGlobal>

#include <algorithm>
#include <array>
#include <atomic>

namespace NetPlay {

namespace {

constexpr std::string_view kFirstLine = "# map catalog cache v3";
constexpr const char* kFileName = "map_catalog_cache.json";
constexpr std::size_t kLeastSeparatorsInLine = 20;  // of the form that is written
constexpr std::size_t kLinesInBlock = 1024;

std::size_t countSeparators(std::string_view text) {
    constexpr std::size_t kBlock = 255;  // what a byte can count: the compiler adds many bytes at once
    std::size_t separators = 0;
    for (; !text.empty(); text.remove_prefix(std::min(kBlock, text.size()))) {
        std::uint8_t found = 0;
        for (const char c : text.substr(0, kBlock)) {
            found = static_cast<std::uint8_t>(found + ((c == ',') | (c == ';') | (c == '\t') | (c == '\n')));
        }
        separators += found;
    }
    return separators;
}

// False, and the field is 0 or empty, where nothing could be decoded.
template<typename Value>
bool take(std::optional<Value> decoded, Value& field) {
    field = std::move(decoded).value_or(Value());
    return decoded.has_value();
}

bool decodeLine(std::string_view line, MapCacheEntry& entry) {
    std::array<std::string_view, 20> fields;
    const std::size_t count = firstPieces(line, '\t', fields);
    const bool isOldForm = count == 12;
    if (!isOldForm && count != 20 && count != 21) {
        return false;
    }
    entry.name = unescapeCacheField(fields[0]);
    entry.mapFilePathText = unescapeCacheField(fields[1]);
    entry.oFilePathText = unescapeCacheField(fields[4]);
    entry.mapFileHash = unescapeCacheField(fields[7]);
    entry.oFileHash = unescapeCacheField(fields[8]);
    entry.fingerprint = unescapeCacheField(fields[9]);
    if (entry.name.empty() || !take(decodeUnsigned(fields[2]), entry.mapFileSize) ||
        !take(decodeSigned(fields[3]), entry.mapFileStamp) || !take(decodeUnsigned(fields[5]), entry.oFileSize) ||
        !take(decodeSigned(fields[6]), entry.oFileStamp)) {
        return false;
    }
    if (isOldForm) {
        return true;
    }
    entry.displayName = hexDecode(fields[12]);
    entry.sides = decodeHexList(fields[16]);
    entry.optionIds = decodeHexList(fields[17]);
    entry.optionValues = decodeOptionValues(fields[18]);
    entry.optionLabels = decodeOptionLabels(fields[19]);
    return take(decodeCount(fields[13]), entry.maxPlayers) && take(decodeCount(fields[14]), entry.slotCount) &&
           take(decodeSlots(fields[15]), entry.slots);
}

// The lines' entries, made on all cores. One without a name stands for a line that cannot be read.
std::vector<MapCacheEntry> decodeLines(const std::vector<std::string_view>& lines) {
    std::vector<MapCacheEntry> entries(lines.size());
    forEachOnAllCores(lines.size(), {}, [&](std::size_t i) {
        if (lines[i].size() >= kMaxCacheLineBytes || !decodeLine(lines[i], entries[i])) {
            entries[i].name.clear();
        }
    });
    return entries;
}

void appendLine(std::string& text, const MapCacheEntry& entry) {
    // A line that begins with "#" would be a comment; readers take the escaped one for itself.
    text += entry.name.starts_with('#') ? "\\" : "";
    for (const std::string& field : {escapeCacheField(entry.name),
                                     escapeCacheField(entry.mapFilePathText),
                                     std::to_string(entry.mapFileSize),
                                     std::to_string(entry.mapFileStamp),
                                     escapeCacheField(entry.oFilePathText),
                                     std::to_string(entry.oFileSize),
                                     std::to_string(entry.oFileStamp),
                                     escapeCacheField(entry.mapFileHash),
                                     escapeCacheField(entry.oFileHash),
                                     escapeCacheField(entry.fingerprint),
                                     std::string(),
                                     std::string(),
                                     hexEncode(entry.displayName),
                                     std::to_string(entry.maxPlayers),
                                     std::to_string(entry.slotCount),
                                     encodeSlots(entry.slots),
                                     encodeHexList(entry.sides),
                                     encodeHexList(entry.optionIds),
                                     encodeOptionValues(entry.optionValues),
                                     encodeOptionLabels(entry.optionLabels)}) {
        text += field;
        text += '\t';
    }
    text.back() = '\n';
}

bool isDirectlyBelow(const std::filesystem::path& folder, const std::filesystem::path& mapRoot) {
    const std::filesystem::path parent = folder.parent_path();
    std::error_code error;
    return parent == mapRoot || parent.lexically_normal() == (mapRoot / "").lexically_normal().parent_path() ||
           std::filesystem::equivalent(parent, mapRoot, error);
}

}  // namespace

std::string cacheKey(const std::string& name, const std::string& mapFilePathText) {
    return name + '|' + mapFilePathText;
}

bool CatalogCacheText::add(const MapCacheEntry& entry) {
    const std::size_t before = text_.size();
    appendLine(text_, entry);
    const std::size_t separators = separators_ + countSeparators(std::string_view(text_).substr(before));
    if (text_.size() - before > kMaxCacheLineBytes || text_.size() > kMaxCacheBytes ||
        separators > kMaxCacheSeparators) {
        text_.resize(before);
        return false;
    }
    separators_ = separators;
    return true;
}

MapCatalogCache parseCatalogCache(std::string_view bytes, bool* isCurrent) {
    MapCatalogCache table;
    std::string_view rest = bytes;
    const auto nextLine = [&rest] {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        return line;
    };
    if (nextLine() != kFirstLine || bytes.size() > kMaxCacheBytes) {
        return table;
    }
    const std::size_t separators = countSeparators(bytes);
    if (separators > kMaxCacheSeparators) {
        return table;
    }
    table.reserve(separators / kLeastSeparatorsInLine);
    std::size_t lines = 0;
    int skipped = 0;
    // In blocks, so that few lines stand in memory beside the table.
    std::vector<std::string_view> block;
    while (!rest.empty()) {
        for (block.clear(); !rest.empty() && block.size() < kLinesInBlock; ++lines) {
            const std::string_view line = nextLine();
            if (!line.empty() && line.front() != '#') {
                block.push_back(line);
            }
        }
        for (MapCacheEntry& entry : decodeLines(block)) {
            if (entry.name.empty()) {
                ++skipped;
            } else {
                std::string key = cacheKey(entry.name, entry.mapFilePathText);
                table.insert_or_assign(std::move(key), std::move(entry));
            }
        }
    }
    if (skipped > 0) {
        qWarning("map cache: %d unreadable lines skipped", skipped);
    }
    if (isCurrent != nullptr) {
        *isCurrent = lines == table.size();
    }
    return table;
}

MapCatalogCache readCatalogCache(const std::filesystem::path& cacheDir, bool* isCurrent) {
    std::string bytes;
    if (cacheDir.empty() || !platform::readWholeFile(cacheDir / kFileName, bytes, kMaxCacheBytes)) {
        return {};
    }
    return parseCatalogCache(bytes, isCurrent);
}

void writeCatalogCache(const std::filesystem::path& cacheDir, const MapCatalogCache& table) {
    CatalogCacheText text;
    for (const auto& [key, entry] : table) {
        text.add(entry);
    }
    text.write(cacheDir);
}

void CatalogCacheText::write(const std::filesystem::path& cacheDir) const {
    if (cacheDir.empty()) {
        return;
    }
    // No two writers of this process share a temporary file.
    static std::atomic<std::uint64_t> tag = platform::tickCount();
    std::error_code error;
    std::filesystem::create_directories(cacheDir, error);
    platform::replaceContent(cacheDir / kFileName, text_, std::to_string(tag++));
}

bool isUsable(const MapCacheEntry& entry) {
    return !entry.displayName.empty() && entry.maxPlayers >= 1 && entry.slotCount >= 1 &&
           slotsAreConsistent(entry.slots);
}

void takeFingerprint(const MapCacheEntry& entry, MapInfo& map) {
    if (!entry.mapFileHash.empty() && !entry.oFileHash.empty() && !entry.fingerprint.empty()) {
        map.mapFileHash = entry.mapFileHash;
        map.oFileHash = entry.oFileHash;
        map.fingerprint = entry.fingerprint;
        map.fingerprintAlgo = kFingerprintAlgo;
    }
}

bool mapInfoFromCacheEntry(const std::filesystem::path& mapRoot, MapCacheEntry entry, MapInfo& map) {
    if (entry.name.empty() || entry.mapFilePathText.empty() || entry.oFilePathText.empty() || !isUsable(entry)) {
        return false;
    }
    map.mapFilePath = platform::pathFromUtf8(entry.mapFilePathText);
    map.oFilePath = platform::pathFromUtf8(entry.oFilePathText);
    map.folderPath = map.mapFilePath.parent_path();
    if (map.folderPath.empty() || !isDirectlyBelow(map.folderPath, mapRoot)) {
        return false;
    }
    map.mapFileSize = static_cast<std::int64_t>(entry.mapFileSize);
    map.oFileSize = static_cast<std::int64_t>(entry.oFileSize);
    platform::FileStatus mapFile;
    platform::FileStatus oFile;
    if (!fileMatchesRecord(map.mapFilePath, map.mapFileSize, entry.mapFileStamp, &mapFile) ||
        !fileMatchesRecord(map.oFilePath, map.oFileSize, entry.oFileStamp, &oFile)) {
        return false;
    }
    map.lastModified = lastModifiedTicks(platform::fileStatus(map.folderPath), mapFile, oFile);
    map.name = std::move(entry.name);
    takeFingerprint(entry, map);
    takeParsedFields(std::move(entry), map);
    return true;
}

}  // namespace NetPlay
