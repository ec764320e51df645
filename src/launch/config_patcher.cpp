#include "launch/config_patcher.h"

#include "launch/game_file.h"
#include "platform/clock.h"
#include "platform/files.h"

#include <chrono>
#include <optional>

namespace {

constexpr int kLockTries = 20;
constexpr std::chrono::milliseconds kLockPause{100};
constexpr int kReadTries = 5;
constexpr std::chrono::milliseconds kReadPause{100};

std::optional<platform::ExclusiveFile> takeLock(const std::filesystem::path& path, const std::stop_token& stop) {
    std::optional<platform::ExclusiveFile> lock;
    for (int attempt = 0; attempt < kLockTries; ++attempt) {
        lock = platform::ExclusiveFile::tryOpen(path);
        if (lock || !platform::sleepFor(kLockPause, stop)) {
            break;
        }
    }
    return lock;
}

bool isTooLarge(const std::filesystem::path& path) {
    const std::optional<platform::FileStatus> status = platform::fileStatus(path);
    return status && status->size > static_cast<std::int64_t>(kLargestGameFile);
}

// An unreadable file counts as empty, but its lines are lost then: one that is merely busy, as while an editor saves
// it, gets a moment.
std::string readConfig(const std::filesystem::path& path, const std::stop_token& stop) {
    std::string text;
    for (int attempt = 1; !platform::readWholeFile(path, text, kLargestGameFile) && platform::fileStatus(path) &&
                          attempt <= kReadTries && platform::sleepFor(kReadPause, stop);
         ++attempt) {
    }
    return text;
}

}  // namespace

bool patchConfigLua(const std::filesystem::path& dataRoot, std::int32_t slot, std::int32_t mapOptionDisplay,
                    const MapOptionPairs& mapOptions, std::u16string& lastError, const std::stop_token& stop) {
    const auto fail = [&](std::u16string_view what, const std::filesystem::path& path, std::u16string_view why = {}) {
        lastError = std::u16string(what).append(platform::toWideText(path)).append(why);
        if (stop.stop_requested()) {
            lastError = kLaunchCancelled;
        }
        return false;
    };
    constexpr std::u16string_view kNotUpdated = u"failed to update config.lua: ";
    const std::filesystem::path path = dataRoot / "config.lua";
    const std::filesystem::path lockPath = dataRoot / "config.lua.lock";
    const std::optional<platform::ExclusiveFile> lock = takeLock(lockPath, stop);
    if (!lock) {
        return fail(u"could not acquire config lock: ", lockPath);
    }
    restoreConfigIfEmpty(dataRoot, path, slot);
    if (isTooLarge(path)) {
        return fail(kNotUpdated, path, kTooLarge);
    }
    const std::string patched = patchConfigText(readConfig(path, stop), {slot, mapOptionDisplay, mapOptions});
    if (patched.size() > kLargestGameFile) {
        return fail(kNotUpdated, path, kTooLarge);
    }
    if (stop.stop_requested() || !platform::replaceContent(path, patched, {}, stop)) {
        return fail(kNotUpdated, path);
    }
    return true;
}

std::filesystem::path newestConfigBackup(const std::filesystem::path& dataRoot) {
    return platform::newestFile(dataRoot, "config.lua", ".bak");
}

void restoreConfigIfEmpty(const std::filesystem::path& dataRoot, const std::filesystem::path& configPath,
                          std::int32_t slot) {
    const std::optional<platform::FileStatus> status = platform::fileStatus(configPath);
    if (status && status->size != 0) {
        return;
    }
    const std::filesystem::path backup = newestConfigBackup(dataRoot);
    const bool restored = backup.empty() ? platform::writeWholeFile(configPath, defaultConfigText(slot))
                                         : platform::copyFile(backup, configPath);
    if (!restored) {
        // Half a file would count as one by the next time.
        platform::writeWholeFile(configPath, {});
    }
}
