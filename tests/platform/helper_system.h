// What the helper program needs of its system beyond the platform contracts.
#pragma once

#include <string>
#include <vector>

// The program's arguments without its name.
std::vector<std::u16string> programArguments(int argc, char** argv);
// Shows a window of 200 by 100 pixels at 10, 20, and younger ones: one hidden, one owned. False without a display.
bool showWindows();
// Lets the system work on the shown window, and gives "x y width height frame", frame being "framed" or "bare".
std::string windowState();
