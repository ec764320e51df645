// Plays the children of the platform tests. No role outlives some minutes, so that a test that fails leaves nothing.
//
// usage: platform_helper ROLE FILE ARGUMENTS   ends with code 7 when all went well
//   wait FILE              ends when the file is there
//   hold FILE LOCK         writes "held" when it holds the exclusive file LOCK, and stays
//   show FILE VARIABLE ... writes its working directory, the variable's value and its arguments, one a line
//   memory FILE NAME       writes the block's first 1078 bytes, or nothing
//   share FILE PREFIX      makes the block PREFIX1, writes "shared", and stays
//   window FILE            shows windows, and writes the state of the main one time and again
#include "platform/code_page.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/helper_system.h"
#include "platform/shared_memory.h"

#include <functional>
#include <thread>

namespace {

bool repeatUntil(const std::function<bool()>& step) {
    int rounds = 12000;
    while (!step() && --rounds > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return rounds > 0;
}

// A reader that waits for the file never meets half of it.
bool publish(const std::u16string& file, const std::string& bytes) {
    const std::filesystem::path temporary = platform::toPath(file + u".part");
    return platform::writeWholeFile(temporary, bytes) && platform::replaceFile(temporary, platform::toPath(file));
}

bool play(const std::u16string& role, const std::u16string& file, const std::vector<std::u16string>& arguments) {
    if (role == u"wait") {
        return repeatUntil([&] { return platform::fileStatus(platform::toPath(file)).has_value(); });
    }
    if (role == u"hold") {
        const auto lock = platform::ExclusiveFile::tryOpen(platform::toPath(arguments.at(2)));
        return lock && publish(file, "held") && repeatUntil([] { return false; });
    }
    if (role == u"show") {
        std::u16string text = platform::toWideText(std::filesystem::current_path());
        text += u'\n' + platform::environmentVariable(arguments.at(2)).value_or(u"(none)");
        for (std::size_t i = 3; i < arguments.size(); ++i) {
            text += u'\n' + arguments[i];
        }
        return publish(file, platform::toUtf8(text));
    }
    if (role == u"memory") {
        return publish(file, platform::readSharedMemory(arguments.at(2), 1078).value_or(""));
    }
    if (role == u"share") {
        platform::SharedMemory block;
        return block.create(arguments.at(2) + u"1", 1) == 0 && publish(file, "shared") &&
               repeatUntil([] { return false; });
    }
    return role == u"window" && showWindows() && repeatUntil([&] { return !publish(file, windowState()); });
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::u16string> arguments = programArguments(argc, argv);
    return play(arguments.at(0), arguments.at(1), arguments) ? 7 : 1;
}
