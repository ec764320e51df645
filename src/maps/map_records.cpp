#include "maps/map_records.h"

#include "maps/map_text.h"
#include "platform/code_page.h"
#include "platform/files.h"

#include <algorithm>
#include <compare>

namespace NetPlay {

namespace {

// Compares a record's text with the wanted one as QStrings, without making one of each text of a catalog.
auto matcher(const QString& wanted) {
    const std::string bytes = wanted.toStdString();
    // Bytes that are no UTF-8 become U+FFFD: then texts may be equal that differ in their bytes.
    const bool comparesBytes = !wanted.contains(QChar::ReplacementCharacter) && QString::fromStdString(bytes) == wanted;
    return [wanted, bytes, comparesBytes](const std::string& text) {
        return !wanted.isEmpty() && (comparesBytes ? text == bytes : QString::fromStdString(text) == wanted);
    };
}

}  // namespace

bool isPlayerSelectType(std::string_view selectType) {
    return selectType == "5" || selectType == "35" || selectType == "1" || selectType == "31";
}

bool isClosedSelectType(std::string_view selectType) {
    return selectType == "2" || selectType == "32" || selectType == "0";
}

bool slotsAreConsistent(const std::vector<MapSlot>& slots) {
    return std::all_of(slots.begin(), slots.end(), [](const MapSlot& slot) {
        return slot.playerId >= 1 && (slot.isPlayerSlot || !isPlayerSelectType(slot.selectType)) &&
               (!slot.isPlayerSlot || !isClosedSelectType(slot.selectType));
    });
}

std::string defaultSideName(int slot, int slotCount) {
    const int half = (std::max(1, slotCount) - 1) / 2 + 1;
    return slot <= half ? "蜀国" : "魏国";
}

std::string deriveDisplayName(const std::string& name, const std::filesystem::path& folder) {
    std::string title = name;
    std::replace_if(
        title.begin(), title.end(), [](char c) { return c == '_' || c == '-'; }, ' ');
    const std::string_view trimmed = trimWhitespace(title);
    return trimmed.empty() ? platform::pathToUtf8(folder.filename()) : std::string(trimmed);
}

bool catalogOrder(std::string_view left, std::string_view right) {
    const auto order = std::lexicographical_compare_three_way(
        left.begin(), left.end(), right.begin(), right.end(), [](char l, char r) {
            return static_cast<unsigned char>(platform::toLowerAscii(l)) <=>
                   static_cast<unsigned char>(platform::toLowerAscii(r));
        });
    return order != 0 ? order < 0 : left < right;
}

bool hasFingerprint(const MapInfo& map) {
    return !map.fingerprint.empty() && !map.mapFileHash.empty() && !map.oFileHash.empty();
}

const MapInfo* findMapByName(const std::vector<MapInfo>& catalog, const QString& id) {
    return findMapForRoom(catalog, id, QString());
}

const MapInfo* findMapForRoom(const std::vector<MapInfo>& catalog, const QString& mapId, const QString& mapName) {
    const auto hit = std::find_if(catalog.begin(), catalog.end(),
                                  [isId = matcher(mapId), isTitle = matcher(mapName)](const MapInfo& map) {
                                      return isId(map.name) || isTitle(map.displayName);
                                  });
    return hit == catalog.end() ? nullptr : &*hit;
}

}  // namespace NetPlay
