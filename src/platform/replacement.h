// What replaceContent needs of the system beyond files.h.
#pragma once

#include <filesystem>
#include <string_view>

namespace platform {

// The file that a link leads to; the path itself where it is no link, or one that leads nowhere.
std::filesystem::path followLinks(const std::filesystem::path& path);

// Makes the file that is to take the place of `model`, with its mode on POSIX; on Windows, where no file can take the
// place of a read-only one, not ahead of such. True when all bytes are on the disk.
bool writeThrough(const std::filesystem::path& path, std::string_view bytes, const std::filesystem::path& model);

}  // namespace platform
