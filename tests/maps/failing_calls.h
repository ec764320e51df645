// System calls that fail on demand: this program's own stand in front of the system's.
#pragma once

#include <cstddef>

// From now on, listing a folder of this name fails once it has given `entries` entries, "." and ".." among them
// (readdir with EIO, FindNextFileW with ERROR_IO_DEVICE); null: no more.
void failListing(const char* folder, int entries);

// False where closing cannot be made to fail.
bool canFailClose();

// From now on, close fails with EIO on files whose name ends with `file`; null: no more. Tells for how many different
// names it has failed since the last call. For one thread.
std::size_t failClose(const char* file);
