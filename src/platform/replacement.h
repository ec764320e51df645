// What replaceContent needs of the system beyond files.h.
#pragma once

#include <filesystem>
#include <string_view>

namespace platform {

// The file that a link leads to; the path itself where it is no link, or one that leads nowhere.
std::filesystem::path followLinks(const std::filesystem::path& path);

// Makes the file, with the permissions of `model` where there is one and the system keeps them with the file. True when
// all bytes are on the disk.
bool writeThrough(const std::filesystem::path& path, std::string_view bytes, const std::filesystem::path& model);

}  // namespace platform
