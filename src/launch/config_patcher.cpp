#include "launch/config_patcher.h"

#include "launch/decimal.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/process.h"
#include "settings/paths.h"

#include <chrono>
#include <optional>

namespace {

constexpr int kLockTries = 20;
constexpr std::chrono::milliseconds kLockPause{100};
constexpr int kReadTries = 5;
constexpr std::chrono::milliseconds kReadPause{100};
constexpr std::uint64_t kMaxConfigBytes = 1 << 22;  // 4 MiB

std::optional<platform::ExclusiveFile> takeLock(const std::u16string& lockPath, const std::stop_token& stop) {
    std::optional<platform::ExclusiveFile> lock;
    for (int attempt = 0; attempt < kLockTries; ++attempt) {
        lock = platform::ExclusiveFile::tryOpen(platform::toPath(lockPath));
        if (lock || !platform::sleepFor(kLockPause, stop)) {
            break;
        }
    }
    return lock;
}

// An unreadable file counts as empty, but its lines are lost then. So one that is too long is refused, and one that is
// merely busy, as while an editor saves it, gets a moment.
bool readConfig(const std::filesystem::path& path, std::string& text, const std::stop_token& stop) {
    for (int attempt = 0; attempt < kReadTries && !platform::readWholeFile(path, text, kMaxConfigBytes); ++attempt) {
        const std::optional<platform::FileStatus> status = platform::fileStatus(path);
        if (!status || status->size > static_cast<std::int64_t>(kMaxConfigBytes)) {
            return !status;
        }
        if (!platform::sleepFor(kReadPause, stop)) {
            return false;
        }
    }
    return true;
}

bool rewriteConfig(const std::u16string& configPath, const ConfigValues& values, const std::stop_token& stop) {
    const std::filesystem::path path = platform::toPath(configPath);
    std::string text;
    if (!readConfig(path, text, stop)) {
        return false;
    }
    const std::string patched = patchConfigText(std::move(text), values);
    // A text that the next patch would refuse is not written.
    if (patched.size() > kMaxConfigBytes) {
        return false;
    }
    const std::filesystem::path temporary =
        platform::toPath(configPath + u"." + decimalText(platform::currentProcessId()) + u".tmp");
    return platform::writeWholeFile(temporary, patched) && platform::replaceFile(temporary, path, stop);
}

}  // namespace

bool patchConfigLua(const std::u16string& dataRoot, std::int32_t slot, std::int32_t mapOptionDisplay,
                    const MapOptionPairs& mapOptions, std::u16string& lastError, const std::stop_token& stop) {
    const auto fail = [&](const std::u16string& sentence) {
        lastError = stop.stop_requested() ? kLaunchCancelled : sentence;
        return false;
    };
    const std::u16string configPath = joinPath(dataRoot, u"config.lua");
    const std::u16string lockPath = configPath + u".lock";
    const std::optional<platform::ExclusiveFile> lock = takeLock(lockPath, stop);
    if (!lock) {
        return fail(u"could not acquire config lock: " + lockPath);
    }
    restoreConfigIfEmpty(dataRoot, configPath, slot);
    if (!rewriteConfig(configPath, {slot, mapOptionDisplay, mapOptions}, stop)) {
        return fail(u"failed to update config.lua: " + configPath);
    }
    return true;
}

std::filesystem::path newestConfigBackup(const std::u16string& dataRoot) {
    return platform::newestFile(platform::toPath(dataRoot), "config.lua", ".bak");
}

void restoreConfigIfEmpty(const std::u16string& dataRoot, const std::u16string& configPath, std::int32_t slot) {
    const std::filesystem::path path = platform::toPath(configPath);
    const std::optional<platform::FileStatus> status = platform::fileStatus(path);
    if (status && status->size != 0) {
        return;
    }
    const std::filesystem::path backup = newestConfigBackup(dataRoot);
    if (backup.empty()) {
        platform::writeWholeFile(path, defaultConfigText(slot));
    } else {
        platform::copyFile(backup, path);
    }
}
