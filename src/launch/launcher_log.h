// The launcher's debug log, off by default.
#pragma once

#include <string>
#include <string_view>

// Adds "YYYY-MM-DD hh:mm:ss.mmm MESSAGE" and LF, in UTF-8 and local time, to pm_client_debug.log in `logRoot`. Does so
// only while the environment variable PM_CLIENT_LOG is exactly "1", and nothing for an empty `logRoot`. Failures are
// ignored.
void launcherLog(const std::u16string& logRoot, std::u16string_view message);
