#include "launch/config_text.h"

#include <algorithm>
#include <array>
#include <optional>

namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kRuntimeBegin = "-- lobby_runtime_patch_begin";
constexpr std::string_view kRuntimeEnd = "-- lobby_runtime_patch_end";
constexpr std::string_view kGuardsBegin = "-- pm_client_launcher progress guards";
constexpr std::string_view kGuardsEnd = "-- pm_client_launcher progress guards end";
constexpr std::string_view kTableName = "tempConfigLuaMapOptionInfo";
constexpr std::string_view kControlCall = "SetCurrentControlID(";

constexpr std::string_view kInfoFunction = "GetMapOptionInfo";
constexpr std::string_view kInfoLineHead = "function GetMapOptionInfo() return ";
constexpr std::string_view kInfoLine = "function GetMapOptionInfo() return tempConfigLuaMapOptionInfo end";
constexpr std::string_view kDisplayFunction = "GetMapOptionDisplay";
constexpr std::array<std::string_view, 3> kDisplayLines = {
    "function GetMapOptionDisplay() return 0 end",
    "function GetMapOptionDisplay() return 1 end",
    "function GetMapOptionDisplay() return 2 end",
};
constexpr std::array<std::string_view, 4> kOwnFunctionLines = {kInfoLine, kDisplayLines[0], kDisplayLines[1],
                                                               kDisplayLines[2]};

constexpr std::string_view kProgressGuards =
    "-- pm_client_launcher progress guards\r\n"
    "__pm_client_launcher_progress = __pm_client_launcher_progress or {}\r\n"
    "local __pm_progress = __pm_client_launcher_progress\r\n"
    "if type(UIProgress_SetMax) == \"function\" and UIProgress_SetMax ~= __pm_progress.SetMax then\r\n"
    "  __pm_progress.UIProgress_SetMax = UIProgress_SetMax\r\n"
    "end\r\n"
    "if type(UIProgress_SetValue) == \"function\" and UIProgress_SetValue ~= __pm_progress.SetValue then\r\n"
    "  __pm_progress.UIProgress_SetValue = UIProgress_SetValue\r\n"
    "end\r\n"
    "function __pm_progress.SetMax(control, value)\r\n"
    "  if control == nil then return nil end\r\n"
    "  if type(__pm_progress.UIProgress_SetMax) == \"function\" then\r\n"
    "    return __pm_progress.UIProgress_SetMax(control, value)\r\n"
    "  end\r\n"
    "  return nil\r\n"
    "end\r\n"
    "function __pm_progress.SetValue(control, value)\r\n"
    "  if control == nil then return nil end\r\n"
    "  if type(__pm_progress.UIProgress_SetValue) == \"function\" then\r\n"
    "    return __pm_progress.UIProgress_SetValue(control, value)\r\n"
    "  end\r\n"
    "  return nil\r\n"
    "end\r\n"
    "UIProgress_SetMax = __pm_progress.SetMax\r\n"
    "UIProgress_SetValue = __pm_progress.SetValue\r\n"
    "-- pm_client_launcher progress guards end\r\n";
static_assert(kProgressGuards.size() == 1088);

struct TextRange {
    std::size_t begin = 0;
    std::size_t end = 0;
};

// A text while blocks are taken out of it from front to back. Every byte is moved once, however many blocks there are.
struct CutText {
    explicit CutText(std::string_view text) : source(text) {}

    std::string_view source;
    std::size_t next = 0;       // where the part not yet looked at begins in `source`
    std::string kept;           // what stays of the part ahead of it ...
    std::size_t keptBegin = 0;  // ... from here on
    bool changed = false;

    std::string text() const { return kept.substr(keptBegin).append(source.substr(next)); }
};

// Goes on to right behind the first marker and keeps what stands ahead of it. A removal can bring the two halves of a
// marker together; such a marker counts too.
bool skipMarker(CutText& cut, std::string_view marker) {
    const std::size_t half = marker.size() - 1;
    const std::size_t tail = std::min(half, cut.kept.size() - cut.keptBegin);
    const std::string seam = cut.kept.substr(cut.kept.size() - tail).append(cut.source.substr(cut.next, half));
    if (const std::size_t at = seam.find(marker); at != kNowhere) {
        cut.kept.resize(cut.kept.size() - tail + at);
        cut.next += at + marker.size() - tail;
        return true;
    }
    const std::size_t at = cut.source.find(marker, cut.next);
    if (at == kNowhere) {
        return false;
    }
    cut.kept.append(cut.source.substr(cut.next, at - cut.next));
    cut.next = at + marker.size();
    return true;
}

// Removes what lies between the kept part and `end`, the line ends behind it, and line ends at the text's beginning:
// first pairs, then single ones.
void removeRange(CutText& cut, std::size_t end) {
    cut.next = std::min(cut.source.find_first_not_of(kLineEnd, end), cut.source.size());
    while (std::string_view(cut.kept).substr(cut.keptBegin).starts_with(kLineEnd)) {
        cut.keptBegin += kLineEnd.size();
    }
    while (std::string_view(cut.kept).substr(cut.keptBegin).starts_with('\n')) {
        ++cut.keptBegin;
    }
    cut.changed = true;
}

// The first mention of the table that is not the one in the client's own function line.
std::size_t findTableName(std::string_view text, std::size_t from) {
    std::size_t at = text.find(kTableName, from);
    while (at != kNowhere && text.substr(0, at).ends_with(kInfoLineHead)) {
        at = text.find(kTableName, at + kTableName.size());
    }
    return at;
}

bool removeRuntimeBlocks(std::string& text) {
    CutText cut(text);
    while (skipMarker(cut, kRuntimeBegin)) {
        const std::size_t end = cut.source.find(kRuntimeEnd, cut.next);
        if (end == kNowhere) {
            cut.kept.append(kRuntimeBegin);
            break;
        }
        removeRange(cut, end + kRuntimeEnd.size());
    }
    if (cut.changed) {
        text = cut.text();
    }
    return cut.changed;
}

std::size_t skipBlanks(std::string_view text, std::size_t from) {
    return std::min(text.find_first_not_of(" \t", from), text.size());
}

std::optional<TextRange> findOptionTable(std::string_view text) {
    const std::size_t name = findTableName(text, 0);
    const std::size_t sign = name == kNowhere ? kNowhere : text.find('=', name + kTableName.size());
    const std::size_t open = sign == kNowhere ? kNowhere : text.find('{', sign);
    if (open == kNowhere) {
        return std::nullopt;
    }
    std::int64_t depth = 0;
    for (std::size_t at = open; at != kNowhere; at = text.find_first_of("{}", at + 1)) {
        depth += text[at] == '{' ? 1 : -1;
        if (depth == 0) {
            return TextRange{name, skipBlanks(text, at + 1)};
        }
    }
    return std::nullopt;
}

bool holdsOptionTable(std::string_view text, std::string_view table) {
    const std::optional<TextRange> found = findOptionTable(text);
    return found && text.substr(found->begin, found->end - found->begin) == table;
}

void prependTable(std::string& text, std::string_view table) {
    text.insert(0, std::string(table).append(kLineEnd));
}

std::string controlLine(std::int32_t slot) {
    return std::string(kControlCall) + std::to_string(slot) + ")";
}

void setControlId(std::string& text, std::int32_t slot) {
    if (!replaceControlId(text, slot)) {
        appendLine(text, controlLine(slot));
    }
}

std::string_view displayLine(std::int32_t mapOptionDisplay) {
    const bool known = mapOptionDisplay >= 0 && mapOptionDisplay <= 2;
    return kDisplayLines[known ? static_cast<std::size_t>(mapOptionDisplay) : 0];
}

bool replaceOwnLine(std::string& text, std::string_view head, std::string_view line) {
    TextRange own{kNowhere, kNowhere};
    for (const std::string_view candidate : kOwnFunctionLines) {
        const std::size_t at = candidate.starts_with(head) ? text.find(candidate) : kNowhere;
        if (at < own.begin) {
            own = {at, at + candidate.size()};
        }
    }
    if (own.begin == kNowhere) {
        return false;
    }
    text.replace(own.begin, own.end - own.begin, line);
    return true;
}

// Takes out the guards that the last patch put at the head of the file; true when the options table stands ahead of
// them. Line ends behind them are the user's and stay.
bool takeLeadingGuards(std::string& text) {
    if (text.starts_with(kProgressGuards)) {
        text.erase(0, kProgressGuards.size());
        return false;
    }
    const std::optional<TextRange> table = findOptionTable(text);
    if (!table || table->begin != 0) {
        return false;
    }
    const std::string_view behind = std::string_view(text).substr(table->end);
    if (!behind.starts_with(kLineEnd) || !behind.substr(kLineEnd.size()).starts_with(kProgressGuards)) {
        return false;
    }
    text.erase(table->end + kLineEnd.size(), kProgressGuards.size());
    return true;
}

// A table or function of the user's that was replaced may have held another of the client's pieces, which the next
// patch would miss: it is put back here. Returns whether the table now stands at the very beginning.
bool completePieces(std::string& text, const ConfigValues& values, std::string_view table) {
    const bool missing = !holdsOptionTable(text, table);
    if (missing) {
        prependTable(text, table);
    }
    for (const std::string_view line : {kInfoLine, displayLine(values.mapOptionDisplay)}) {
        if (text.find(line) == kNowhere) {
            appendLine(text, line);
        }
    }
    return missing;
}

}  // namespace

std::string_view progressGuards() {
    return kProgressGuards;
}

std::string optionTableText(const MapOptionPairs& mapOptions) {
    std::string table = std::string(kTableName) + " = {";
    for (const auto& [option, value] : mapOptions) {
        if (option >= 0 && value >= 0) {
            table += " {" + std::to_string(option) + " , " + std::to_string(value) + "},";
        }
    }
    return table + "}";
}

std::string defaultConfigText(std::int32_t slot) {
    return optionTableText({}).append(kLineEnd).append(controlLine(slot)).append(kLineEnd);
}

void stripRuntimePatches(std::string& text) {
    // Removing a block can bring the halves of a marker together. There are few rounds: one that needs another before
    // it takes at least twice the text.
    bool changed = true;
    while (changed) {
        changed = removeRuntimeBlocks(text);
        changed = stripProgressGuards(text) || changed;
    }
}

bool stripProgressGuards(std::string& text) {
    CutText cut(text);
    // Places in the source, looked for again only once they are passed.
    std::size_t end = 0;
    std::size_t table = 0;
    std::size_t control = 0;
    const auto renew = [&cut](std::size_t& place, auto find) {
        if (place < cut.next) {
            place = find(cut.next);
        }
    };
    while (skipMarker(cut, kGuardsBegin)) {
        renew(end, [&cut](std::size_t from) { return cut.source.find(kGuardsEnd, from); });
        if (end != kNowhere) {
            removeRange(cut, end + kGuardsEnd.size());
            continue;
        }
        renew(table, [&cut](std::size_t from) { return findTableName(cut.source, from); });
        renew(control, [&cut](std::size_t from) { return cut.source.find(kControlCall, from); });
        if (std::min(table, control) == kNowhere) {
            cut.kept.append(kGuardsBegin);
            break;
        }
        removeRange(cut, std::min(table, control));
    }
    if (cut.changed) {
        text = cut.text();
    }
    return cut.changed;
}

bool replaceControlId(std::string& text, std::int32_t slot) {
    for (std::size_t at = text.find(kControlCall); at != kNowhere; at = text.find(kControlCall, at + 1)) {
        const std::size_t number = at + kControlCall.size();
        // The client itself writes a sign where it was given a negative slot.
        const std::size_t digits = number + (text.compare(number, 1, "-") == 0 ? 1 : 0);
        const std::size_t end = text.find_first_not_of("0123456789", digits);
        if (end != kNowhere && end > digits && text[end] == ')') {
            text.replace(number, end - number, std::to_string(slot));
            return true;
        }
    }
    return false;
}

bool replaceOptionTable(std::string& text, const MapOptionPairs& mapOptions) {
    const std::optional<TextRange> table = findOptionTable(text);
    if (!table) {
        return false;
    }
    text.replace(table->begin, table->end - table->begin, optionTableText(mapOptions));
    return true;
}

bool replaceFunction(std::string& text, std::string_view name, std::string_view line) {
    constexpr std::string_view kEnd = "end";
    const std::string head = std::string("function ").append(name).append("()");
    const std::size_t begin = text.find(head);
    const std::size_t word = begin == kNowhere ? kNowhere : text.find(kEnd, begin + head.size());
    if (word == kNowhere) {
        return false;
    }
    const std::string_view function = std::string_view(text).substr(begin, word + kEnd.size() - begin);
    for (const std::string_view own : kOwnFunctionLines) {
        if (function.size() > own.size() && function.ends_with(own)) {
            return replaceOwnLine(text, head, line);
        }
    }
    text.replace(begin, skipBlanks(text, word + kEnd.size()) - begin, line);
    return true;
}

void appendLine(std::string& text, std::string_view line) {
    text.resize(text.find_last_not_of(" \t\r\n") + 1);
    if (!text.empty()) {
        text.append(kLineEnd);
    }
    text.append(line).append(kLineEnd);
}

void applyMapOptionFunctions(std::string& text, std::int32_t mapOptionDisplay) {
    if (!replaceFunction(text, kInfoFunction, kInfoLine)) {
        appendLine(text, kInfoLine);
    }
    if (!replaceFunction(text, kDisplayFunction, displayLine(mapOptionDisplay))) {
        appendLine(text, displayLine(mapOptionDisplay));
    }
}

std::string patchConfigText(std::string text, const ConfigValues& values) {
    bool tableFirst = takeLeadingGuards(text);
    stripRuntimePatches(text);
    if (text.find_first_not_of(" \t\n\v\f\r") == kNowhere) {
        text = defaultConfigText(values.slot);
    } else {
        setControlId(text, values.slot);
    }
    stripRuntimePatches(text);
    const std::string table = optionTableText(values.mapOptions);
    if (!replaceOptionTable(text, values.mapOptions)) {
        prependTable(text, table);
        tableFirst = true;
    }
    applyMapOptionFunctions(text, values.mapOptionDisplay);

    setControlId(text, values.slot);
    stripRuntimePatches(text);
    tableFirst = completePieces(text, values, table) || tableFirst;
    text.insert(tableFirst ? table.size() + kLineEnd.size() : 0, kProgressGuards);
    return text;
}
