#include "standin_game/handout.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::size_t kMapNameAt = 2;
constexpr std::size_t kMapNameBytes = 64;
constexpr std::size_t kHostAt = 66;
constexpr std::size_t kPortAt = 70;
constexpr std::size_t kSlotAt = 72;
constexpr std::size_t kSessionAt = 74;
constexpr std::size_t kUserAt = 78;
constexpr std::size_t kPlayerAt = 644;
constexpr std::size_t kPlayerBytes = 32;

// Offset and length of what the block leaves unused.
constexpr std::pair<std::size_t, std::size_t> kReserved[] = {{0, 2}, {73, 1}, {82, 562}, {676, 402}};

std::uint32_t littleEndian(std::string_view bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(bytes[i]);
    }
    return value;
}

bool allZero(std::string_view bytes) {
    return bytes.find_first_not_of('\0') == bytes.npos;
}

// A text with its NUL unit and nothing but zeros behind it.
std::optional<std::u16string> decodeText(std::string_view field) {
    std::u16string text;
    for (std::size_t at = 0; at < field.size(); at += 2) {
        const auto unit = static_cast<char16_t>(littleEndian(field.substr(at, 2)));
        if (unit == 0) {
            return allZero(field.substr(at)) ? std::optional(text) : std::nullopt;
        }
        text += unit;
    }
    return std::nullopt;
}

// The whole of a config.lua is looked at from one place to the next.
class LuaCursor {
public:
    explicit LuaCursor(std::string_view rest) : rest_(rest) {}

    bool skipPast(std::string_view text) {
        const std::size_t at = rest_.find(text);
        rest_ = at == rest_.npos ? std::string_view() : rest_.substr(at + text.size());
        return at != rest_.npos;
    }
    bool take(char character) {
        skipBlanks();
        const bool there = rest_.starts_with(character);
        rest_.remove_prefix(there ? 1 : 0);
        return there;
    }
    std::optional<std::int32_t> takeNumber() {
        skipBlanks();
        std::int32_t number = 0;
        const auto [end, failure] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
        if (failure != std::errc()) {
            return std::nullopt;
        }
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return number;
    }

private:
    void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }

    std::string_view rest_;
};

std::optional<std::int32_t> lastControlId(std::string_view lua) {
    LuaCursor cursor(lua);
    std::optional<std::int32_t> last;
    while (cursor.skipPast("SetCurrentControlID(")) {
        const std::optional<std::int32_t> number = cursor.takeNumber();
        if (number && cursor.take(')')) {
            last = number;
        }
    }
    return last;
}

std::vector<std::pair<std::int32_t, std::int32_t>> optionTable(std::string_view lua) {
    std::vector<std::pair<std::int32_t, std::int32_t>> pairs;
    LuaCursor cursor(lua);
    if (!cursor.skipPast("tempConfigLuaMapOptionInfo") || !cursor.take('=') || !cursor.take('{')) {
        return pairs;
    }
    while (cursor.take('{')) {
        const std::optional<std::int32_t> option = cursor.takeNumber();
        const bool comma = cursor.take(',');
        const std::optional<std::int32_t> value = cursor.takeNumber();
        if (!option || !comma || !value || !cursor.take('}')) {
            break;
        }
        pairs.emplace_back(*option, *value);
        cursor.take(',');
    }
    return pairs;
}

std::optional<std::int32_t> optionDisplay(std::string_view lua) {
    LuaCursor cursor(lua);
    return cursor.skipPast("function GetMapOptionDisplay() return ") ? cursor.takeNumber() : std::nullopt;
}

}  // namespace

std::optional<LaunchBlock> decodeLaunchBlock(std::string_view bytes, std::string& error) {
    if (bytes.size() != kLaunchBlockSize) {
        error = "the block's size is wrong";
        return std::nullopt;
    }
    for (const auto& [at, length] : kReserved) {
        if (!allZero(bytes.substr(at, length))) {
            error = "a reserved byte behind offset " + std::to_string(at) + " is not zero";
            return std::nullopt;
        }
    }
    const std::optional<std::u16string> mapName = decodeText(bytes.substr(kMapNameAt, kMapNameBytes));
    const std::optional<std::u16string> playerName = decodeText(bytes.substr(kPlayerAt, kPlayerBytes));
    if (!mapName || !playerName) {
        error = mapName ? "the player's name has no proper end" : "the map's name has no proper end";
        return std::nullopt;
    }
    LaunchBlock block;
    block.mapName = *mapName;
    std::copy_n(bytes.begin() + kHostAt, block.host.size(), block.host.begin());
    block.port = static_cast<std::uint16_t>(littleEndian(bytes.substr(kPortAt, 2)));
    block.slot = static_cast<std::uint8_t>(bytes[kSlotAt]);
    block.sessionId = littleEndian(bytes.substr(kSessionAt, 4));
    block.userId = static_cast<std::int32_t>(littleEndian(bytes.substr(kUserAt, 4)));
    block.playerName = *playerName;
    return block;
}

GameConfig readGameConfig(std::string_view lua) {
    constexpr std::string_view kGuardsBegin = "-- pm_client_launcher progress guards\r\n";
    constexpr std::string_view kGuardsEnd = "-- pm_client_launcher progress guards end\r\n";
    GameConfig config;
    config.controlId = lastControlId(lua);
    config.mapOptions = optionTable(lua);
    config.mapOptionDisplay = optionDisplay(lua);
    const std::size_t begin = lua.find(kGuardsBegin);
    config.guards = begin != lua.npos && lua.find(kGuardsEnd, begin) != lua.npos;
    return config;
}
