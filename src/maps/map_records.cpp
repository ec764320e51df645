#include "maps/map_records.h"

#include "maps/map_text.h"
#include "platform/code_page.h"
#include "platform/files.h"

#include <algorithm>
#include <array>

namespace NetPlay {

namespace {

template<std::size_t Size>
bool isOneOf(std::string_view text, const std::array<std::string_view, Size>& words) {
    return std::find(words.begin(), words.end(), text) != words.end();
}

}  // namespace

bool isPlayerSelectType(std::string_view selectType) {
    return isOneOf(selectType, std::array<std::string_view, 4>{"5", "35", "1", "31"});
}

bool isClosedSelectType(std::string_view selectType) {
    return isOneOf(selectType, std::array<std::string_view, 3>{"2", "32", "0"});
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
    const auto lower = [](char c) {
        return static_cast<unsigned char>(platform::toLowerAscii(c));
    };
    const auto [l, r] = std::mismatch(left.begin(), left.end(), right.begin(), right.end(),
                                      [&lower](char a, char b) { return lower(a) == lower(b); });
    if (l == left.end() || r == right.end()) {
        return l == left.end() && (r != right.end() || left < right);
    }
    return lower(*l) < lower(*r);
}

bool hasFingerprint(const MapInfo& map) {
    return !map.fingerprint.empty() && !map.mapFileHash.empty() && !map.oFileHash.empty();
}

}  // namespace NetPlay
