#include "maps/map_options.h"

#include "maps/map_script.h"
#include "maps/map_text.h"

#include <algorithm>
#include <set>

namespace NetPlay {

namespace {

constexpr std::string_view kHeaderMark = "#T#";
constexpr std::string_view kStar = "\xE2\x98\x85";
constexpr std::string_view kFieldMarks = "#@";
constexpr std::string_view kDigits = "0123456789";
constexpr std::size_t kTitleCodePoints = 80;
constexpr std::size_t kIdCodePoints = 24;
constexpr std::size_t kTokenCodePoints = 48;
// How far a span reaches, in bytes, where no end mark stands.
constexpr std::size_t kTitleAreaBytes = 600;
constexpr std::size_t kHeaderBytes = 300;
constexpr std::size_t kValueListBytes = 500;
constexpr std::size_t kBehindChainBytes = 80;
constexpr std::size_t kBehindMarkerBytes = 240;
// How much is looked at, so that nothing takes long or grows large.
constexpr std::size_t kLongestSpan = 64U << 10U;
constexpr std::size_t kLongestTitleSpan = 16U << 10U;
constexpr std::size_t kTitleSearchBytes = 256U << 10U;

// From `begin` to `end`, or `limit` bytes where there is no end.
std::string_view span(std::string_view text, std::size_t begin, std::size_t end, std::size_t limit) {
    return text.substr(begin, end == text.npos ? limit : std::min(end - begin, kLongestSpan));
}

bool isControlByte(char c) {
    return static_cast<unsigned char>(c) < 0x20;
}

std::size_t controlByteFrom(std::string_view text, std::size_t begin) {
    return static_cast<std::size_t>(firstControlByte(text, static_cast<std::int64_t>(begin)));  // -1 is npos
}

// The offset behind PLAYER_MODE_NUM=\d+\r?\n, the first match.
std::size_t behindPlayerModeNum(std::string_view text) {
    constexpr std::string_view kKey = "PLAYER_MODE_NUM=";
    for (std::size_t place = text.find(kKey); place != text.npos; place = text.find(kKey, place + 1)) {
        const std::size_t digits = place + kKey.size();
        std::size_t end = std::min(text.find_first_not_of(kDigits, digits), text.size());
        if (end > digits) {
            end += text.substr(end).starts_with('\r') ? 1 : 0;
            if (text.substr(end).starts_with('\n')) {
                return end + 1;
            }
        }
    }
    return text.npos;
}

// ★([^\r\n]+?)★, the first match with its stars; empty without one.
std::string_view firstStarred(std::string_view area) {
    for (std::size_t star = area.find(kStar); star != area.npos; star = area.find(kStar, star + kStar.size())) {
        const std::size_t close = area.find(kStar, star + kStar.size() + 1);
        if (close == area.npos) {
            break;
        }
        const std::string_view starred = area.substr(star, close + kStar.size() - star);
        if (starred.find_first_of("\r\n") == starred.npos) {
            return starred;
        }
    }
    return {};
}

std::string titleBetweenStars(std::string_view text) {
    const std::size_t begin = behindPlayerModeNum(text);
    if (begin == text.npos) {
        return {};
    }
    std::size_t end = text.find('\x05', begin);
    end = end == text.npos ? text.find(kHeaderMark, begin) : end;
    const std::string area = cleanMapText(span(text, begin, end, kTitleAreaBytes));
    const std::string_view title = firstStarred(area);
    return isPlausibleMapTitle(title) ? std::string(title) : std::string();
}

struct ValueListMark {
    std::size_t begin = 0;  // offset of the "@"
    std::int32_t count = 0;
};

// @(\d+)#, all matches
std::vector<ValueListMark> findValueLists(std::string_view text) {
    std::vector<ValueListMark> marks;
    for (std::size_t at = text.find('@'); at != text.npos; at = text.find('@', at + 1)) {
        const std::size_t end = std::min(text.find_first_not_of(kDigits, at + 1), text.size());
        if (end > at + 1 && text.substr(end).starts_with('#')) {
            marks.push_back({at, toMapNumber(text.substr(at + 1, end - at - 1))});
        }
    }
    return marks;
}

// The values of one list, behind its mark.
std::vector<std::string> readValues(std::string_view list, std::int32_t count) {
    std::vector<std::string> values;
    for (const std::string_view piece : splitPieces(trimChars(list, "#"), "#")) {
        std::string value = cleanMapText(piece);
        if (isCleanToken(value, kTokenCodePoints)) {
            values.push_back(std::move(value));
        }
        if (static_cast<std::int64_t>(values.size()) >= count) {
            break;
        }
    }
    return values;
}

std::string markOf(const std::vector<std::string>& values) {
    return "@" + std::to_string(values.size()) + "#";
}

// All value lists as they stand one behind the other; empty when an option has no values.
std::string joinedChain(const std::vector<std::string>& ids, const OptionValues& values) {
    std::string chain;
    for (const std::string& id : ids) {
        const auto list = values.find(id);
        if (list == values.end() || list->second.empty()) {
            return {};
        }
        chain += markOf(list->second);
        for (std::size_t i = 0; i < list->second.size(); ++i) {
            chain += (i == 0 ? "" : "#") + list->second[i];
        }
    }
    return chain;
}

}  // namespace

std::int64_t firstControlByte(std::string_view text, std::int64_t from) {
    if (from < 0 || from >= static_cast<std::int64_t>(text.size())) {
        return -1;
    }
    const auto found = std::find_if(text.begin() + from, text.end(), isControlByte);
    return found == text.end() ? -1 : found - text.begin();
}

bool isCleanToken(std::string_view text, std::size_t limit) {
    return !text.empty() && text.find_first_of(std::string_view("#@\0\r\n\t", 6)) == text.npos &&
           countCodePoints(text) <= limit;
}

bool isPlausibleMapTitle(std::string_view text) {
    const auto chunkMarks = {"MMAP", "PCFG", "INFO", "MAPF", "MPFE", "EXTE", "EXTL", "CHNM", "TYPE", "BM"};
    if (text.empty() || countCodePoints(text) > kTitleCodePoints || text.find_first_of(kFieldMarks) != text.npos ||
        std::any_of(chunkMarks.begin(), chunkMarks.end(),
                    [text](std::string_view mark) { return text.find(mark) != text.npos; })) {
        return false;
    }
    for (std::size_t offset = 0; offset < text.size();) {
        const std::uint32_t c = nextCodePoint(text, offset);
        if ((c >= 0x4E00 && c <= 0x9FFF) || c == 0x2605 || c == 0x2606) {
            return true;
        }
    }
    return false;
}

MapOptionHeader parseOptionHeader(std::string_view text) {
    MapOptionHeader header;
    for (const std::string_view group : splitPieces(text, kHeaderMark)) {
        std::vector<std::string> fields;
        for (const std::string_view piece : splitPieces(trimChars(group, "#"), "#")) {
            fields.push_back(cleanMapText(piece));
        }
        std::erase(fields, "");
        if (fields.size() >= 2 && isCleanToken(fields[0], kIdCodePoints) && isCleanToken(fields[1], kTokenCodePoints) &&
            header.labels.emplace(fields[0], fields[1]).second) {
            header.ids.push_back(fields[0]);
        }
    }
    return header;
}

OptionValues parseOptionValues(std::string_view text, const std::vector<std::string>& ids) {
    OptionValues result;
    const std::vector<ValueListMark> marks = findValueLists(text);
    for (std::size_t i = 0; i < std::min(marks.size(), ids.size()); ++i) {
        // By the length of the number's plain form: leading zeros shift the beginning of the list.
        const std::size_t begin = marks[i].begin + std::to_string(marks[i].count).size() + 2;
        const std::size_t end = i + 1 < marks.size() ? marks[i + 1].begin : text.size();
        std::vector<std::string> values = readValues(text.substr(begin, end - begin), marks[i].count);
        if (!values.empty()) {
            result[ids[i]] = std::move(values);
        }
    }
    return result;
}

std::string titleAfterLastValue(std::string_view span) {
    const std::size_t at = span.rfind('@');
    const std::size_t field = at == span.npos ? span.npos : span.find('#', at);
    if (field == span.npos) {
        return {};
    }
    std::string_view title = trimChars(span.substr(field + 1), kFieldMarks);
    const auto first = std::find_if(title.begin(), title.end(), [](char c) { return (c & 0x80) != 0; });
    title.remove_prefix(static_cast<std::size_t>(first - title.begin()));
    return std::string(trimWhitespace(title));
}

std::string scanMapTitleAfterOptions(std::string_view text, const std::vector<std::string>& ids,
                                     const OptionValues& values, std::int64_t start) {
    const auto first = ids.empty() ? values.end() : values.find(ids.front());
    if (first == values.end() || first->second.empty() || start < 0) {
        return {};
    }
    const std::string marker = markOf(first->second);
    const std::string chain = joinedChain(ids, values);
    const auto lastControl = std::find_if(text.rbegin(), text.rend(), isControlByte);
    std::size_t left = kTitleSearchBytes;
    // What stands between `begin` and the next control byte, or in so many bytes behind the last one.
    const auto spanFrom = [&](std::size_t begin, std::size_t limit) {
        const bool endsAtControl = begin < static_cast<std::size_t>(text.rend() - lastControl);
        const std::string_view near = text.substr(begin, endsAtControl ? kLongestTitleSpan : limit);
        const std::size_t end = endsAtControl ? controlByteFrom(near, 0) : near.size();
        left -= std::min({left, end, near.size()});
        return end == near.npos ? std::string_view() : near.substr(0, end);
    };
    std::string title;
    const auto offer = [&title](std::string_view candidate) {
        if (isPlausibleMapTitle(candidate)) {
            title = candidate;
        }
    };
    for (auto at = text.find(marker, static_cast<std::size_t>(start)); at != text.npos && left > 0;
         at = text.find(marker, at + 1)) {
        if (!chain.empty() && text.substr(at).starts_with(chain)) {
            offer(trimChars(cleanMapText(spanFrom(at + chain.size(), kBehindChainBytes)), kFieldMarks));
        }
        offer(titleAfterLastValue(trimChars(cleanMapText(spanFrom(at, kBehindMarkerBytes)), kFieldMarks)));
        left -= std::min(left, chain.size());
    }
    return title;
}

void readTitleAndOptions(std::string_view text, MapInfo& map) {
    std::string title = titleBetweenStars(text);
    if (!title.empty()) {
        map.displayName = std::move(title);
    }
    const std::size_t headerBegin = text.find(kHeaderMark);
    if (headerBegin == text.npos) {
        return;
    }
    const std::size_t headerEnd = controlByteFrom(text, headerBegin);
    const MapOptionHeader header = parseOptionHeader(span(text, headerBegin, headerEnd, kHeaderBytes));
    const std::size_t lists = text.find('@', headerEnd == text.npos ? headerBegin : headerEnd);
    if (lists == text.npos) {
        return;
    }
    OptionValues values =
        parseOptionValues(span(text, lists, controlByteFrom(text, lists), kValueListBytes), header.ids);
    std::set<std::string, std::less<>> known(map.optionIds.begin(), map.optionIds.end());
    const auto appendId = [&](const std::string& id) {
        if (known.insert(id).second) {
            map.optionIds.push_back(id);
        }
    };
    for (const std::string& id : header.ids) {
        if (values.count(id) != 0) {
            map.optionLabels[id] = header.labels.at(id);
            appendId(id);
        }
    }
    for (auto& [id, list] : values) {
        appendId(id);
        map.optionValues[id] = std::move(list);
    }
    title = scanMapTitleAfterOptions(text, header.ids, map.optionValues, static_cast<std::int64_t>(lists));
    if (!title.empty()) {
        map.displayName = std::move(title);
    }
}

}  // namespace NetPlay
