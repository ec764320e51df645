#include "mapgen/map_writer.h"

#include "platform/files.h"

#include <algorithm>
#include <array>
#include <random>
#include <string_view>

namespace mapgen {

namespace {

// A word in both encodings of map files: not every system that this runs on can convert.
struct Word {
    std::string_view utf8;
    std::string_view gbk;
};

constexpr Word kStar{"★", "\xA1\xEF"};
constexpr std::array<Word, 4> kSides{{{"魏国", "\xCE\xBA\xB9\xFA"},
                                      {"蜀国", "\xCA\xF1\xB9\xFA"},
                                      {"吴国", "\xCE\xE2\xB9\xFA"},
                                      {"群雄", "\xC8\xBA\xD0\xDB"}}};
constexpr std::array<Word, 4> kBars{{{"先锋", "\xCF\xC8\xB7\xE6"},
                                     {"中军", "\xD6\xD0\xBE\xFC"},
                                     {"后卫", "\xBA\xF3\xCE\xC0"},
                                     {"援军", "\xD4\xAE\xBE\xFC"}}};
constexpr std::array<Word, 4> kTitles{{{"北方之战", "\xB1\xB1\xB7\xBD\xD6\xAE\xD5\xBD"},
                                       {"赤壁之夜", "\xB3\xE0\xB1\xDA\xD6\xAE\xD2\xB9"},
                                       {"官渡对决", "\xB9\xD9\xB6\xC9\xB6\xD4\xBE\xF6"},
                                       {"西线风云", "\xCE\xF7\xCF\xDF\xB7\xE7\xD4\xC6"}}};
constexpr Word kDifficulty{"难度", "\xC4\xD1\xB6\xC8"};
constexpr std::array<Word, 3> kDifficulties{
    {{"简单", "\xBC\xF2\xB5\xA5"}, {"普通", "\xC6\xD5\xCD\xA8"}, {"困难", "\xC0\xA7\xC4\xD1"}}};
constexpr Word kFunds{"资金", "\xD7\xCA\xBD\xF0"};

constexpr std::array<const char*, 4> kOpenTypes{"5", "35", "1", "31"};
constexpr std::array<const char*, 3> kClosedTypes{"0", "2", "32"};

// Only the engine itself is the same in every standard library; the distributions are not.
class Random {
public:
    explicit Random(std::uint32_t seed) : engine_(seed) {}

    std::uint32_t word() { return static_cast<std::uint32_t>(engine_()); }
    std::uint32_t below(std::size_t end) { return word() % static_cast<std::uint32_t>(end); }
    template<typename Items>
    const auto& oneOf(const Items& items) {
        return items[below(items.size())];
    }

private:
    std::mt19937 engine_;
};

class ScriptText {
public:
    explicit ScriptText(bool gbk) : gbk_(gbk) {}

    ScriptText& operator<<(std::string_view ascii) {
        text_ += ascii;
        return *this;
    }
    ScriptText& operator<<(const Word& word) { return *this << (gbk_ ? word.gbk : word.utf8); }
    ScriptText& operator<<(std::uint32_t number) { return *this << std::to_string(number); }
    const std::string& text() const { return text_; }

private:
    bool gbk_;
    std::string text_;
};

// Bytes that say nothing: what would pass for the beginning of an option header or a value list is spoiled.
std::string padding(Random& random, std::size_t size, bool binary) {
    std::string bytes(size, '\0');
    char before = '\0';
    for (std::size_t i = 0; i < size;) {
        std::uint32_t word = random.word();
        for (int k = 0; k < 4 && i < size; ++k, ++i, word >>= 8U) {
            const std::uint32_t byte = binary ? word & 0xFFU : ' ' + (word & 0xFFU) % 95U;
            const bool misleading = (before == '#' && byte == 'T') || (before == '@' && byte >= '0' && byte <= '9');
            before = bytes[i] = static_cast<char>(misleading ? 'x' : byte);
        }
    }
    return bytes;
}

void addBars(ScriptText& script, Random& random) {
    const std::uint32_t bars = 2 + random.below(7);
    const std::uint32_t half = (bars + 1) / 2;
    script << "PLAYER_NUM=" << bars << "\r\n";
    for (std::uint32_t side = 1; side <= 2; ++side) {
        script << "side" << side << "_name = \"" << kSides[2 * side - 2 + random.below(2)] << "\"\r\n";
        script << "side" << side << "_num = " << (side == 1 ? half : bars - half) << "\r\n";
    }
    for (std::uint32_t bar = 1; bar <= bars; ++bar) {
        const bool open = bar == 1 || random.below(4) != 0;
        script << "bar" << bar << "_select_type = " << (open ? random.oneOf(kOpenTypes) : random.oneOf(kClosedTypes));
        script << "\r\nbar" << bar << "_name = \"" << random.oneOf(kBars) << bar << "\"\r\n";
        script << "bar" << bar << "_player_id = " << bar << "\r\n";
    }
}

void addOptionValues(ScriptText& script) {
    script << "@" << static_cast<std::uint32_t>(kDifficulties.size());
    for (const Word& value : kDifficulties) {
        script << "#" << value;
    }
    script << "@2#1000#5000";
}

// Some maps carry their title once more, behind a repetition of the option values.
void addTitleAndOptions(ScriptText& script, const Word& title, std::uint32_t number, bool repeatsTitle) {
    script << "PLAYER_MODE_NUM=2\r\n" << kStar << title << number << kStar << "\x05";
    script << "#T#" << kDifficulty << "#" << kDifficulties[1] << "#T#" << kFunds << "#1000#T#\n";
    addOptionValues(script);
    script << "\n";
    if (repeatsTitle) {
        addOptionValues(script);
        script << title << number << "\n";
    }
}

std::string makeMapFile(Random& random, const MapSet& set, const Word& title, std::size_t position) {
    const bool binary = position % 6 != 3;
    ScriptText script(binary);
    addBars(script, random);
    addTitleAndOptions(script, title, set.first + static_cast<std::uint32_t>(position), position % 2 == 1);
    const std::size_t size = set.bytes - std::min(set.bytes, script.text().size() + 2);
    std::string bytes = padding(random, size / 2, binary);
    // A zero byte belongs to no character, whatever stands ahead of it.
    bytes += '\0' + script.text() + '\0';
    return bytes + padding(random, size - size / 2, binary);
}

}  // namespace

SampleMap makeMap(const MapSet& set, std::size_t position) {
    const std::uint32_t number = set.first + static_cast<std::uint32_t>(position);
    const std::size_t kind = set.oddities ? position % 16 : 0;
    constexpr std::uint32_t kSpread = 2'654'435'761U;  // neighbours must not look alike
    Random random(set.seed * kSpread + number);
    const Word& title = random.oneOf(kTitles);
    const std::string text = std::to_string(number);
    SampleMap map;
    map.name = position % 10 == 9 ? std::string(title.utf8) + text : text;
    map.title = std::string(title.utf8) + text;
    map.title = position % 2 == 1 ? map.title : std::string(kStar.utf8) + map.title + std::string(kStar.utf8);
    if (kind != 5) {
        map.files.push_back({map.name + (kind == 7 ? ".MAP" : ".map"), makeMapFile(random, set, title, position)});
    }
    if (kind != 11) {
        map.files.push_back({map.name + (kind == 7 ? ".O" : ".o"), padding(random, 2000 + random.below(4000), true)});
    }
    if (kind == 3) {
        const std::string bytes = map.files.front().bytes;
        for (const std::string& name : {map.name + ".map.bak", "before_" + map.name + ".map", map.name + ".map.old"}) {
            map.files.push_back({name, bytes});
        }
    }
    return map;
}

bool writeMaps(const std::filesystem::path& folder, const MapSet& set, std::string& error) {
    for (std::size_t position = 0; position < set.count; ++position) {
        const SampleMap map = makeMap(set, position);
        const std::filesystem::path mapFolder = folder / platform::pathFromUtf8(map.name);
        std::error_code failure;
        std::filesystem::create_directories(mapFolder, failure);
        for (const SampleFile& file : map.files) {
            const std::filesystem::path path = mapFolder / platform::pathFromUtf8(file.name);
            if (!platform::writeWholeFile(path, file.bytes)) {
                error = "cannot write " + platform::pathToUtf8(path);
                return false;
            }
        }
    }
    return true;
}

}  // namespace mapgen
