#include "launch/launcher_log.h"

#include "platform/clock.h"
#include "platform/code_page.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "settings/paths.h"

#include <array>
#include <cstdio>

namespace {

constexpr std::size_t kSwitchUnits = 8;  // a longer value counts as not set

std::string timestamp() {
    const platform::LocalTime now = platform::localTime();
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d.%03d", now.year, now.month, now.day,
                  now.hour, now.minute, now.second, now.millisecond);
    return text.data();
}

}  // namespace

void launcherLog(const std::u16string& logRoot, std::u16string_view message) {
    if (logRoot.empty() || platform::environmentVariable(u"PM_CLIENT_LOG", kSwitchUnits) != u"1") {
        return;
    }
    platform::appendToFile(platform::toPath(joinPath(logRoot, u"pm_client_debug.log")),
                           timestamp() + " " + platform::toUtf8(message) + "\n");
}
