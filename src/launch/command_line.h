// The command line that the game is started with, and the block that it names.
#pragma once

#include "platform/shared_memory.h"

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

// A name for the game's shared block: session, slot, this process's number and the machine's tick count, to which
// `attempt` is added. Launches at the same tick get the same name, so createMapping makes sure.
std::u16string makeMappingName(std::uint32_t sessionId, std::int32_t slot, std::uint32_t attempt = 0);

// Makes the block under the first of these names that no other block on this machine has, and tells it in `name`.
// Returns 0, or the system's error number.
std::uint32_t createMapping(platform::SharedMemory& mapping, std::size_t size, std::uint32_t sessionId,
                            std::int32_t slot, std::u16string& name);
