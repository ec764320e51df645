// What the two systems do alike with files.
#include "platform/files.h"

namespace platform {

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
