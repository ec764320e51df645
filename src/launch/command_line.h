// The command line that the game is started with.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The arguments, each quoted, with one blank between two: what CommandLineToArgvW takes apart into the same arguments.
std::u16string buildCommandLine(const std::vector<std::u16string>& arguments);

// The argument in double quotes where it is empty or holds white space or a double quote, otherwise as it is.
std::u16string quoteArgument(std::u16string_view argument);

// What the names of all games' shared blocks begin with.
inline constexpr std::u16string_view kMappingPrefix = u"pm_client_";

// A name for the game's shared block that no other launch on this machine uses: it holds session, slot, this process's
// number and the machine's tick count.
std::u16string makeMappingName(std::uint32_t sessionId, std::int32_t slot);
