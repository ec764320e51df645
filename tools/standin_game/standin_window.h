// What the stand-in game needs of the desktop and of the C runtime's start, one source a system.
#pragma once

#include <functional>
#include <string>
#include <vector>

// The program's arguments, its own name first, with no character lost.
std::vector<std::u16string> programArguments(int argc, char** argv);

// Shows the text in a small window until the user closes it or `ended`, asked several times a second, says so. False at
// once when there is no display.
bool showWindow(const std::u16string& title, const std::u16string& text, const std::function<bool()>& ended);
