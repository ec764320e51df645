// The text rules of config.lua, the Lua script that the game runs at start: the pieces in it that the client owns, and
// how they are renewed between lines of the user's own. Texts are bytes without an assumed encoding. Every function
// takes time in proportion to the text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using MapOptionPairs = std::vector<std::pair<std::int32_t, std::int32_t>>;  // (option index, value index)

struct ConfigValues {
    std::int32_t slot = 1;
    std::int32_t mapOptionDisplay = 0;  // 0, 1 or 2; anything else is written as 0
    MapOptionPairs mapOptions;          // pairs with a negative member are left out
};

// The 1088 bytes that keep the game's progress functions from being called with a nil control.
std::string_view progressGuards();
// What a config.lua without content becomes.
std::string defaultConfigText(std::int32_t slot);
// The options table without its line end.
std::string optionTableText(const MapOptionPairs& mapOptions);

// The whole text with the client's pieces renewed: docs/file-formats.md has the rules. Patching a text that this
// function gave with the same values gives the same bytes, but for blank lines at its very beginning.
std::string patchConfigText(std::string text, const ConfigValues& values);

// Takes out the runtime blocks and the guards blocks of earlier patches.
void stripRuntimePatches(std::string& text);
// Takes out every guards block. One that has lost its end goes up to the next options table or control call, and stays
// where there is neither.
void stripProgressGuards(std::string& text);

// Puts the slot into the first control call that holds a number; false when there is none.
bool replaceControlId(std::string& text, std::int32_t slot);

// Puts the table in the place of the first one; false when there is none that is closed.
bool replaceOptionTable(std::string& text, const MapOptionPairs& mapOptions);

// Puts the line in the place of the first "function NAME()" through the next "end"; false when there is none.
bool replaceFunction(std::string& text, std::string_view name, std::string_view line);

// Adds the line, with CR LF around it, behind the last byte that is not blank.
void appendLine(std::string& text, std::string_view line);

// Renews the two functions by which the game asks for its map options, or adds them.
void applyMapOptionFunctions(std::string& text, std::int32_t mapOptionDisplay);
