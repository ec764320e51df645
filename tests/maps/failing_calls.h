// System calls that fail on demand, on Linux: this program's own stand in front of the C library's.
#pragma once

#include <cstddef>

// False where calls cannot be made to fail.
bool canFailCalls();

// From now on, readdir fails with EIO once it has given `entries` entries of folders whose name ends with `folder`;
// null: no more.
void failReaddir(const char* folder, int entries);

// From now on, close fails with EIO on files whose name ends with `file`; null: no more. Tells for how many different
// names it has failed since the last call. For one thread.
std::size_t failClose(const char* file);
