// The calls by which a file reaches the disk: this program's own stand in front of the system's.
#pragma once

#include <string>

// What was called since the last time, in its order, with a blank behind each: "flush" for a file, "replace" for one
// file in the place of another, "folder" where that is flushed too.
std::string takeDiskCalls();
