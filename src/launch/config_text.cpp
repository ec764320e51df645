#include "launch/config_text.h"

#include <algorithm>
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
constexpr std::string_view kInfoLine = "function GetMapOptionInfo() return tempConfigLuaMapOptionInfo end";
constexpr std::string_view kInfoLineHead = kInfoLine.substr(0, kInfoLine.find(kTableName));
constexpr std::string_view kDisplayFunction = "GetMapOptionDisplay";

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

// Removes every block from a marker up to where `findEnd`, given the text and the place behind the marker, says that it
// ends, with the line ends behind it and those at the text's beginning: first pairs, then single ones. A marker without
// an end stays, and what follows it too.
template<typename FindEnd>
void removeBlocks(std::string& text, std::string_view marker, FindEnd findEnd) {
    const std::size_t first = text.find(marker);
    if (first == kNowhere) {
        return;
    }
    const std::string source = text;
    text.resize(first);
    std::size_t resumed = first;
    for (std::size_t next = first; next < source.size();) {
        // A removal can bring the two halves of a marker together: byte by byte there, and straight to the next one
        // from where it is too far away for that.
        if (next == resumed + marker.size()) {
            const std::size_t whole = std::min(source.find(marker, resumed), source.size() - marker.size());
            text.append(source, next, whole + marker.size() - 1 - next);
            next = whole + marker.size() - 1;
        }
        text += source[next++];
        if (text.back() != marker.back() || !text.ends_with(marker)) {
            continue;
        }
        const std::size_t end = findEnd(source, next);
        if (end == kNowhere) {
            text.append(source, next);
            return;
        }
        next = resumed = std::min(source.find_first_not_of(kLineEnd, end), source.size());
        text.resize(text.size() - marker.size());
        std::size_t content = 0;
        while (text.compare(content, kLineEnd.size(), kLineEnd) == 0) {
            content += kLineEnd.size();
        }
        text.erase(0, std::min(text.find_first_not_of('\n', content), text.size()));
    }
}

// The first mention of the table that is not the one in the client's own function line.
std::size_t findTableName(std::string_view text, std::size_t from) {
    std::size_t at = text.find(kTableName, from);
    while (at != kNowhere && text.substr(0, at).ends_with(kInfoLineHead)) {
        at = text.find(kTableName, at + kTableName.size());
    }
    return at;
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

std::string controlLine(std::int32_t slot) {
    return std::string(kControlCall) + std::to_string(slot) + ")";
}

std::string displayLine(std::int32_t mapOptionDisplay) {
    const bool known = mapOptionDisplay >= 0 && mapOptionDisplay <= 2;
    return "function GetMapOptionDisplay() return " + std::to_string(known ? mapOptionDisplay : 0) + " end";
}

// Whether the file, as the client last wrote it, begins with the options table, and the guards only behind it.
bool beginsWithTable(std::string_view text) {
    const std::optional<TextRange> table = findOptionTable(text);
    if (!table || table->begin != 0) {
        return false;
    }
    text.remove_prefix(table->end);
    return text.starts_with(kLineEnd) && text.substr(kLineEnd.size()).starts_with(kProgressGuards);
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
    removeBlocks(text, kRuntimeBegin, [](std::string_view source, std::size_t from) {
        const std::size_t end = source.find(kRuntimeEnd, from);
        return end == kNowhere ? kNowhere : end + kRuntimeEnd.size();
    });
    stripProgressGuards(text);
}

void stripProgressGuards(std::string& text) {
    // Places that are looked for again only once they are passed.
    std::size_t end = 0;
    std::size_t table = 0;
    std::size_t control = 0;
    removeBlocks(text, kGuardsBegin, [&](std::string_view source, std::size_t from) {
        end = end < from ? source.find(kGuardsEnd, from) : end;
        if (end != kNowhere) {
            return end + kGuardsEnd.size();
        }
        table = table < from ? findTableName(source, from) : table;
        control = control < from ? source.find(kControlCall, from) : control;
        return std::min(table, control);
    });
}

bool replaceControlId(std::string& text, std::int32_t slot) {
    for (std::size_t at = text.find(kControlCall); at != kNowhere; at = text.find(kControlCall, at + 1)) {
        const std::size_t digits = at + kControlCall.size();
        const std::size_t end = text.find_first_not_of("0123456789", digits);
        if (end != kNowhere && end > digits && text[end] == ')') {
            text.replace(digits, end - digits, std::to_string(slot));
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
    const std::size_t end = begin == kNowhere ? kNowhere : text.find(kEnd, begin + head.size());
    if (end == kNowhere) {
        return false;
    }
    text.replace(begin, skipBlanks(text, end + kEnd.size()) - begin, line);
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
    bool tableFirst = beginsWithTable(text);
    stripRuntimePatches(text);
    if (text.find_first_not_of(" \t\n\v\f\r") == kNowhere) {
        text = defaultConfigText(values.slot);
    } else if (!replaceControlId(text, values.slot)) {
        appendLine(text, controlLine(values.slot));
    }
    stripRuntimePatches(text);
    const std::string tableLine = optionTableText(values.mapOptions).append(kLineEnd);
    if (!replaceOptionTable(text, values.mapOptions)) {
        text.insert(0, tableLine);
        tableFirst = true;
    }
    text.insert(tableFirst && text.starts_with(tableLine) ? tableLine.size() : 0, kProgressGuards);
    applyMapOptionFunctions(text, values.mapOptionDisplay);
    return text;
}
