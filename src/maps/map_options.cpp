#include "maps/map_options.h"

#include "maps/script_patterns.h"

#include <algorithm>
#include <array>

namespace NetPlay {

namespace {

constexpr std::string_view kHeaderMark = "#T#";
constexpr std::string_view kStar = "\xE2\x98\x85";
constexpr std::string_view kFieldMarks = "#@";
constexpr std::size_t kTitleCodePoints = 80;
constexpr std::size_t kIdCodePoints = 24;
constexpr std::size_t kTokenCodePoints = 48;
// How far a span reaches, in bytes of UTF-8, where no end mark stands.
constexpr std::size_t kTitleAreaBytes = 600;
constexpr std::size_t kHeaderBytes = 300;
constexpr std::size_t kValueListBytes = 500;
constexpr std::size_t kBehindChainBytes = 80;
constexpr std::size_t kBehindMarkerBytes = 240;

template<typename Visit>
void forEachPiece(std::string_view text, std::string_view separator, Visit visit) {
    for (std::size_t begin = 0;;) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        if (!visit(text.substr(begin, end - begin)) || end == text.size()) {
            return;
        }
        begin = end + separator.size();
    }
}

std::string decodedSpan(const MapText& text, std::size_t begin, std::size_t end, std::size_t limit) {
    return end == MapText::npos ? text.decodedUpTo(begin, limit) : text.decoded(begin, end);
}

std::size_t behindPlayerModeNum(const MapText& text) {
    for (std::size_t place = text.find("PLAYER_MODE_NUM=", 0); place != MapText::npos;
         place = text.find("PLAYER_MODE_NUM=", place + 1)) {
        if (const auto end = matchPlayerModeNum(text, place)) {
            return *end;
        }
    }
    return MapText::npos;
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

std::string titleBetweenStars(const MapText& text) {
    const std::size_t begin = behindPlayerModeNum(text);
    if (begin == MapText::npos) {
        return {};
    }
    std::size_t end = text.find("\x05", begin);
    if (end == MapText::npos) {
        end = text.find(kHeaderMark, begin);
    }
    const std::string area = cleanMapText(decodedSpan(text, begin, end, kTitleAreaBytes));
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
        const std::size_t end = std::min(text.find_first_not_of("0123456789", at + 1), text.size());
        if (end > at + 1 && end < text.size() && text[end] == '#') {
            marks.push_back({at, toMapNumber(text.substr(at + 1, end - at - 1))});
        }
    }
    return marks;
}

// The values of one list, behind its mark.
std::vector<std::string> readValues(std::string_view list, std::int32_t count) {
    std::vector<std::string> values;
    forEachPiece(trimChars(list, "#"), "#", [&](std::string_view piece) {
        std::string value = cleanMapText(piece);
        if (isCleanToken(value, kTokenCodePoints)) {
            values.push_back(std::move(value));
        }
        return static_cast<std::int64_t>(values.size()) < count;
    });
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

// Finds a text in another at all places, overlapping ones too, in linear time (Knuth, Morris, Pratt).
class RepeatedSearch {
public:
    explicit RepeatedSearch(const std::string& wanted) : wanted_(wanted), borders_(wanted.size() + 1, 0) {
        for (std::size_t i = 1, border = 0; i < wanted_.size(); ++i) {
            border = advance(border, wanted_[i]);
            borders_[i + 1] = border;
        }
    }

    std::vector<std::size_t> places(std::string_view text) const {
        std::vector<std::size_t> found;
        std::size_t matched = 0;
        for (std::size_t i = 0; i < text.size() && !wanted_.empty(); ++i) {
            matched = advance(matched == wanted_.size() ? borders_[matched] : matched, text[i]);
            if (matched == wanted_.size()) {
                found.push_back(i + 1 - matched);
            }
        }
        return found;
    }

private:
    std::size_t advance(std::size_t matched, char next) const {
        while (matched > 0 && wanted_[matched] != next) {
            matched = borders_[matched];
        }
        return wanted_[matched] == next ? matched + 1 : 0;
    }

    const std::string& wanted_;
    std::vector<std::size_t> borders_;  // of each prefix, by its length
};

// Whether the span certainly has more characters than a title, without reading further than that takes.
bool isLongerThanTitle(std::string_view span) {
    constexpr std::string_view kStrippable = "#@ \t\r\n";
    std::size_t count = 0;
    for (std::size_t offset = 0; offset < span.size();) {
        const std::uint32_t c = nextCodePoint(span, offset);
        const bool strippable = c < 0x80 && kStrippable.find(static_cast<char>(c)) != kStrippable.npos;
        if (strippable ? count == 0 : !isReadable(c)) {
            continue;  // stripped at the front, or dropped
        }
        if (++count > kTitleCodePoints && !strippable) {
            return true;
        }
    }
    return false;
}

std::string cleanCandidate(std::string_view span) {
    return std::string(trimChars(cleanMapText(span), kFieldMarks));
}

// A run of text without control bytes that begins at a marker, and what ends it.
struct MarkedRun {
    std::string text;
    bool endsAtControl = false;

    std::string_view from(std::size_t offset, std::size_t limit) const {
        return std::string_view(text).substr(offset, endsAtControl ? text.npos : limit);
    }
};

// The title behind the last "@" of the run. It is the same from every marker of a run that ends at a control byte, but
// for that last "@" itself, so it is made once.
class RunTitle {
public:
    explicit RunTitle(const MarkedRun& run) : run_(run) {
        if (!run_.endsAtControl) {
            return;
        }
        const std::string clean = cleanMapText(run_.text);
        const std::string_view span = trimChars(clean, kFieldMarks);
        title_ = titleAfterLastValue(span);
        const auto leading = static_cast<std::size_t>(span.data() - clean.data());
        auto marks = std::count(clean.begin(), clean.begin() + static_cast<std::ptrdiff_t>(leading), '@') +
                     std::count(span.begin(), span.end(), '@');
        for (std::size_t at = run_.text.find('@'); marks > 0; at = run_.text.find('@', at + 1), --marks) {
            lastMark_ = at;
        }
    }

    std::string at(std::size_t offset) const {
        if (run_.endsAtControl) {
            return offset == lastMark_ ? std::string() : title_;
        }
        const std::string span = cleanCandidate(run_.from(offset, kBehindMarkerBytes));
        return std::string(titleAfterLastValue(span));
    }

private:
    const MarkedRun& run_;
    std::string title_;
    std::size_t lastMark_ = MapText::npos;
};

// Tries every marker of the run; the last plausible title wins.
void scanRun(const MarkedRun& run, const std::string& marker, const std::string& chain, const RepeatedSearch& search,
             const std::stop_token& stop, std::string& result) {
    const std::vector<std::size_t> chains = search.places(run.text);
    auto nextChain = chains.begin();
    const RunTitle runTitle(run);
    const auto offer = [&result](const std::string& candidate) {
        if (isPlausibleMapTitle(candidate)) {
            result = candidate;
        }
    };
    for (std::size_t at = run.text.find(marker); at != std::string::npos && !stop.stop_requested();
         at = run.text.find(marker, at + 1)) {
        nextChain = std::lower_bound(nextChain, chains.end(), at);
        if (nextChain != chains.end() && *nextChain == at) {
            const std::string_view span = run.from(at + chain.size(), kBehindChainBytes);
            if (!isLongerThanTitle(span)) {
                offer(cleanCandidate(span));
            }
        }
        offer(runTitle.at(at));
    }
}

}  // namespace

bool isCleanToken(std::string_view text, std::size_t limit) {
    return !text.empty() && text.find_first_of(std::string_view("#@\0\r\n\t", 6)) == text.npos &&
           countCodePoints(text) <= limit;
}

bool isPlausibleMapTitle(std::string_view text) {
    constexpr std::array<std::string_view, 10> kChunkMarks{"MMAP", "PCFG", "INFO", "MAPF", "MPFE",
                                                           "EXTE", "EXTL", "CHNM", "TYPE", "BM"};
    if (text.empty() || text.find_first_of(kFieldMarks) != text.npos || countCodePoints(text) > kTitleCodePoints ||
        std::any_of(kChunkMarks.begin(), kChunkMarks.end(),
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
    forEachPiece(text, kHeaderMark, [&header](std::string_view group) {
        std::vector<std::string> fields;
        forEachPiece(trimChars(group, "#"), "#", [&fields](std::string_view piece) {
            std::string field = cleanMapText(piece);
            if (!field.empty()) {
                fields.push_back(std::move(field));
            }
            return fields.size() < 2;
        });
        if (fields.size() == 2 && isCleanToken(fields[0], kIdCodePoints) && isCleanToken(fields[1], kTokenCodePoints) &&
            header.labels.emplace(fields[0], fields[1]).second) {
            header.ids.push_back(fields[0]);
        }
        return true;
    });
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

std::string_view titleAfterLastValue(std::string_view span) {
    const std::size_t at = span.rfind('@');
    const std::size_t field = at == span.npos ? span.npos : span.find('#', at);
    if (field == span.npos) {
        return {};
    }
    std::string_view title = trimChars(span.substr(field + 1), kFieldMarks);
    const auto first = std::find_if(title.begin(), title.end(), [](char c) { return (c & 0x80) != 0; });
    title.remove_prefix(static_cast<std::size_t>(first - title.begin()));
    return trimWhitespace(title);
}

std::string scanMapTitleAfterOptions(const MapText& text, const std::vector<std::string>& ids,
                                     const OptionValues& values, std::size_t start, const std::stop_token& stop) {
    std::string result;
    const auto first = ids.empty() ? values.end() : values.find(ids.front());
    if (first == values.end() || first->second.empty()) {
        return result;
    }
    const std::string marker = markOf(first->second);
    const std::string chain = joinedChain(ids, values);
    const RepeatedSearch search(chain);
    for (std::size_t place = text.find(marker, start); place != MapText::npos && !stop.stop_requested();) {
        const std::size_t control = text.firstControlByte(place);
        const bool endsAtControl = control != MapText::npos;
        const std::size_t end = endsAtControl ? control : text.size();
        scanRun({text.decoded(place, end), endsAtControl}, marker, chain, search, stop, result);
        place = text.find(marker, end);
    }
    return result;
}

void readTitleAndOptions(const MapText& text, MapInfo& map, const std::stop_token& stop) {
    std::string title = titleBetweenStars(text);
    if (!title.empty()) {
        map.displayName = std::move(title);
    }
    const std::size_t header = text.find(kHeaderMark, 0);
    if (header == MapText::npos) {
        return;
    }
    const std::size_t headerEnd = text.firstControlByte(header);
    const MapOptionHeader options = parseOptionHeader(decodedSpan(text, header, headerEnd, kHeaderBytes));
    const std::size_t lists = text.find("@", headerEnd == MapText::npos ? header : headerEnd);
    if (lists == MapText::npos) {
        return;
    }
    OptionValues values =
        parseOptionValues(decodedSpan(text, lists, text.firstControlByte(lists), kValueListBytes), options.ids);
    for (const std::string& id : options.ids) {
        if (values.count(id) != 0) {
            map.optionLabels[id] = options.labels.at(id);
            map.optionIds.push_back(id);
        }
    }
    map.optionValues = std::move(values);
    title = scanMapTitleAfterOptions(text, options.ids, map.optionValues, lists, stop);
    if (!title.empty()) {
        map.displayName = std::move(title);
    }
}

}  // namespace NetPlay
