#include "launch/command_line.h"

#include "platform/clock.h"
#include "platform/process.h"
#include "settings/decimal.h"

#include <algorithm>

namespace {

// What iswspace of the Windows C runtime takes for white space, on every system and in every locale.
bool isWhiteSpace(char16_t unit) {
    constexpr std::u16string_view kOthers = u" \u0085\u00A0\u1680\u2028\u2029\u202F\u205F\u3000";
    return (unit >= 0x09 && unit <= 0x0D) || (unit >= 0x2000 && unit <= 0x200A) ||
           kOthers.find(unit) != std::u16string_view::npos;
}

}  // namespace

std::u16string quoteArgument(std::u16string_view argument) {
    const auto needsQuotes = [](char16_t unit) {
        return unit == u'"' || isWhiteSpace(unit);
    };
    if (!argument.empty() && std::none_of(argument.begin(), argument.end(), needsQuotes)) {
        return std::u16string(argument);
    }
    std::u16string quoted = u"\"";
    std::size_t backslashes = 0;
    for (const char16_t unit : argument) {
        if (unit == u'"') {
            quoted.append(backslashes + 1, u'\\');
        }
        backslashes = unit == u'\\' ? backslashes + 1 : 0;
        quoted += unit;
    }
    return quoted.append(backslashes, u'\\') + u'"';
}

std::u16string buildCommandLine(const std::vector<std::u16string>& arguments) {
    std::u16string line;
    for (const std::u16string& argument : arguments) {
        line += line.empty() ? u"" : u" ";
        line += quoteArgument(argument);
    }
    return line;
}

std::u16string makeMappingName(std::uint32_t sessionId, std::int32_t slot, std::uint32_t attempt) {
    return std::u16string(kMappingPrefix) + decimalText(sessionId) + u"_" + decimalText(slot) + u"_" +
           decimalText(platform::currentProcessId()) + u"_" + decimalText(platform::tickCount() + attempt);
}

std::uint32_t createMapping(platform::SharedMemory& mapping, std::size_t size, std::uint32_t sessionId,
                            std::int32_t slot, std::u16string& name) {
    constexpr std::uint32_t kTries = 1000;
    std::uint32_t error = platform::SharedMemory::kNameTaken;
    for (std::uint32_t attempt = 0; error == platform::SharedMemory::kNameTaken && attempt < kTries; ++attempt) {
        name = makeMappingName(sessionId, slot, attempt);
        error = mapping.create(name, size);
    }
    return error;
}
