#include "maps/catalog_cache.h"

#include "maps/cache_fields.h"
#include "maps/map_files.h"
#include "maps/map_records.h"
#include "platform/process.h"

#include <QtGlobal>

#include <algorithm>
#include <atomic>
#include <chrono>

namespace NetPlay {

namespace {

constexpr std::string_view kFirstLine = "# map catalog cache v3";
constexpr const char* kFileName = "map_catalog_cache.json";

std::size_t countSeparators(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return c == ',' || c == ';' || c == '\t' || c == '\n'; }));
}

// Fields 0 to 9.
bool decodeFileFields(const std::vector<std::string_view>& fields, MapCacheEntry& entry) {
    const auto mapFileSize = decodeUnsigned(fields[2]);
    const auto mapFileStamp = decodeSigned(fields[3]);
    const auto oFileSize = decodeUnsigned(fields[5]);
    const auto oFileStamp = decodeSigned(fields[6]);
    if (!mapFileSize || !mapFileStamp || !oFileSize || !oFileStamp) {
        return false;
    }
    entry.name = unescapeCacheField(fields[0]);
    entry.mapFilePathText = unescapeCacheField(fields[1]);
    entry.mapFileSize = *mapFileSize;
    entry.mapFileStamp = *mapFileStamp;
    entry.oFilePathText = unescapeCacheField(fields[4]);
    entry.oFileSize = *oFileSize;
    entry.oFileStamp = *oFileStamp;
    entry.mapFileHash = unescapeCacheField(fields[7]);
    entry.oFileHash = unescapeCacheField(fields[8]);
    entry.fingerprint = unescapeCacheField(fields[9]);
    return true;
}

// Fields 12 to 19.
bool decodeParsedFields(const std::vector<std::string_view>& fields, MapCacheEntry& entry) {
    const auto maxPlayers = decodeCount(fields[13]);
    const auto slotCount = decodeCount(fields[14]);
    auto slots = decodeSlots(fields[15]);
    if (!maxPlayers || !slotCount || !slots) {
        return false;
    }
    entry.displayName = hexDecode(fields[12]);
    entry.maxPlayers = *maxPlayers;
    entry.slotCount = *slotCount;
    entry.slots = std::move(*slots);
    entry.sides = decodeHexList(fields[16]);
    entry.optionIds = decodeHexList(fields[17]);
    entry.optionValues = decodeOptionValues(fields[18]);
    entry.optionLabels = decodeOptionLabels(fields[19]);
    return true;
}

bool decodeLine(std::string_view line, MapCacheEntry& entry) {
    const std::vector<std::string_view> fields = splitPieces(line, '\t');
    const bool oldForm = fields.size() == 12;
    if (!oldForm && fields.size() != 20 && fields.size() != 21) {
        return false;
    }
    return decodeFileFields(fields, entry) && (oldForm || decodeParsedFields(fields, entry)) && !entry.name.empty();
}

void appendLine(std::string& text, const MapCacheEntry& entry) {
    const auto field = [&text](const std::string& encoded) {
        text += encoded;
        text += '\t';
    };
    // A line that begins with "#" would be a comment; readers take the escaped one for itself.
    text += entry.name.starts_with('#') ? "\\" : "";
    field(escapeCacheField(entry.name));
    field(escapeCacheField(entry.mapFilePathText));
    field(std::to_string(entry.mapFileSize));
    field(std::to_string(entry.mapFileStamp));
    field(escapeCacheField(entry.oFilePathText));
    field(std::to_string(entry.oFileSize));
    field(std::to_string(entry.oFileStamp));
    field(escapeCacheField(entry.mapFileHash));
    field(escapeCacheField(entry.oFileHash));
    field(escapeCacheField(entry.fingerprint));
    field({});
    field({});
    field(hexEncode(entry.displayName));
    field(std::to_string(entry.maxPlayers));
    field(std::to_string(entry.slotCount));
    field(encodeSlots(entry.slots));
    field(encodeHexList(entry.sides));
    field(encodeHexList(entry.optionIds));
    field(encodeOptionValues(entry.optionValues));
    text += encodeOptionLabels(entry.optionLabels);
    text += '\n';
}

bool isDirectlyBelow(const std::filesystem::path& folder, const std::filesystem::path& mapRoot) {
    const std::filesystem::path parent = folder.parent_path();
    std::error_code error;
    return parent == mapRoot || parent.lexically_normal() == (mapRoot / "").lexically_normal().parent_path() ||
           std::filesystem::equivalent(parent, mapRoot, error);
}

// The milliseconds of a steady clock, raised so that no two calls in this process give the same.
std::int64_t uniqueTicks() {
    static std::atomic<std::int64_t> last = 0;
    const auto now =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch());
    std::int64_t before = last;
    std::int64_t ticks = 0;
    do {
        ticks = std::max<std::int64_t>(now.count(), before + 1);
    } while (!last.compare_exchange_weak(before, ticks));
    return ticks;
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
    if (nextLine() != kFirstLine || bytes.size() > kMaxCacheBytes || countSeparators(bytes) > kMaxCacheSeparators) {
        return table;
    }
    std::size_t lines = 0;
    int skipped = 0;
    for (; !rest.empty(); ++lines) {
        const std::string_view line = nextLine();
        if (line.empty() || line.front() == '#') {
            continue;
        }
        MapCacheEntry entry;
        if (line.size() < kMaxCacheLineBytes && decodeLine(line, entry)) {
            std::string key = cacheKey(entry.name, entry.mapFilePathText);
            table[std::move(key)] = std::move(entry);
        } else {
            ++skipped;
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
    std::error_code error;
    std::filesystem::create_directories(cacheDir, error);
    platform::replaceContent(cacheDir / kFileName, text_, std::to_string(uniqueTicks()));
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
