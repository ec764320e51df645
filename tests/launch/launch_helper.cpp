// The child process of this folder's tests. It ends by itself after some minutes, should a test leave it behind.
//
// usage: launch_helper patch DATA_ROOT SLOT COUNT   patches config.lua COUNT times
//        game.exe MemoryMapName=NAME                waits while there is a file "hold", writes what it was handed,
//        waits
//                                                   for a file "stop"
#include "launch/config_patcher.h"
#include "launch/launch_block.h"
#include "platform/code_page.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/shared_memory.h"

#include <cstdlib>
#include <iostream>
#include <thread>

namespace {

// Under load the other process can keep the lock for longer than a patch waits for it.
bool patchOverAndOver(const std::u16string& dataRoot, int slot, int count) {
    std::u16string error;
    while (count > 0 && (error.empty() || error.starts_with(u"could not acquire config lock"))) {
        error.clear();
        if (patchConfigLua(dataRoot, slot, 0, {}, error)) {
            std::cout << "patched" << std::endl;
            --count;
        }
    }
    return count == 0;
}

void waitForFile(const char* name, bool present) {
    for (int round = 0; round < 12000 && platform::fileStatus(name).has_value() != present; ++round) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void playGame(const std::string& mappingName) {
    waitForFile("hold", false);
    const auto block = platform::readSharedMemory(platform::fromUtf8(mappingName), kLaunchBlockSize);
    const std::string layer = platform::toUtf8(platform::environmentVariable(u"__COMPAT_LAYER").value_or(u"none"));
    const std::string handed = "handed." + std::to_string(platform::currentProcessId());
    platform::writeWholeFile(handed + ".part", block.value_or("") + layer);
    platform::replaceFile(handed + ".part", handed);
    waitForFile("stop", true);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string first = argc > 1 ? argv[1] : "";
    if (argc == 5 && first == "patch") {
        return patchOverAndOver(platform::fromUtf8(argv[2]), std::atoi(argv[3]), std::atoi(argv[4])) ? 0 : 1;
    }
    if (argc == 2 && first.starts_with("MemoryMapName=")) {
        playGame(first.substr(14));
    }
}
