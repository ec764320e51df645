// What the two systems do alike with files.
#include "platform/files.h"

#include "platform/code_page.h"
#include "platform/process.h"
#include "platform/replacement.h"

#include <algorithm>
#include <charconv>

namespace platform {

namespace {

bool equalIgnoringAsciiCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return toLowerAscii(a) == toLowerAscii(b); });
}

bool matches(std::string_view name, std::string_view prefix, std::string_view suffix) {
    return name.size() >= prefix.size() + suffix.size() &&
           equalIgnoringAsciiCase(name.substr(0, prefix.size()), prefix) &&
           equalIgnoringAsciiCase(name.substr(name.size() - suffix.size()), suffix);
}

// The process that is in the name of a temporary of the file; 0 when it is no such name.
ProcessId temporaryOwner(std::string_view name, std::string_view file) {
    constexpr std::string_view kSuffix = ".tmp";
    if (name.size() <= file.size() || !name.starts_with(file) || name[file.size()] != '.' || !name.ends_with(kSuffix)) {
        return 0;
    }
    name.remove_prefix(file.size() + 1);
    ProcessId owner = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), owner);
    return error == std::errc() && *end == '.' ? owner : 0;
}

void removeLeftovers(const std::filesystem::path& target) {
    const std::filesystem::path folder = target.parent_path();
    for (const FolderEntry& entry : listFolder(folder).value_or(std::vector<FolderEntry>())) {
        const ProcessId owner = temporaryOwner(pathToUtf8(entry.name), pathToUtf8(target.filename()));
        if (owner != 0 && probeProcess(owner).state != ProcessProbe::State::running) {
            std::error_code ignored;
            std::filesystem::remove(folder / entry.name, ignored);
        }
    }
}

}  // namespace

bool replaceContent(const std::filesystem::path& path, std::string_view bytes, std::string_view tag,
                    const std::stop_token& stop) {
    const std::filesystem::path target = followLinks(path);
    removeLeftovers(target);
    std::filesystem::path temporary = target;
    temporary += "." + std::to_string(currentProcessId()) + (tag.empty() ? "" : ".") + std::string(tag) + ".tmp";
    std::error_code ignored;
    std::filesystem::remove(temporary, ignored);
    const bool done = writeThrough(temporary, bytes, target) && replaceFile(temporary, target, stop);
    if (!done) {
        std::filesystem::remove(temporary, ignored);
    }
    return done;
}

std::filesystem::path newestFile(const std::filesystem::path& directory, std::string_view prefix,
                                 std::string_view suffix) {
    std::filesystem::path newest;
    std::int64_t newestTicks = 0;
    for (const FolderEntry& entry : listFolder(directory).value_or(std::vector<FolderEntry>())) {
        if (entry.isDirectory || !matches(pathToUtf8(entry.name), prefix, suffix)) {
            continue;
        }
        std::filesystem::path path = directory / entry.name;
        const auto status = fileStatus(path);
        const std::int64_t ticks = status ? status->writeTicks : 0;
        if (status && (newest.empty() || ticks > newestTicks)) {
            newest = std::move(path);
            newestTicks = ticks;
        }
    }
    return newest;
}

std::optional<std::filesystem::path> weaklyCanonicalPath(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path existing = std::filesystem::absolute(path, error);
    if (error || existing.empty() || path.native().find(std::filesystem::path::value_type{}) != path.native().npos) {
        return std::nullopt;
    }
    std::filesystem::path missing;
    for (;;) {
        if (const auto canonical = canonicalPath(existing)) {
            return missing.empty() ? *canonical : (*canonical / missing).lexically_normal();
        }
        if (!existing.has_relative_path()) {
            return std::nullopt;
        }
        missing = missing.empty() ? existing.filename() : existing.filename() / missing;
        existing = existing.parent_path();
    }
}

}  // namespace platform
