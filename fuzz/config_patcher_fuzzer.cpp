// The patcher of config.lua: patching a patched text changes nothing, and the client's pieces are in it.
#include "fuzz/expect.h"
#include "launch/config_text.h"

// The first bytes choose the values, the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    ConfigValues values;
    values.slot = data[0] % 24;
    values.mapOptionDisplay = data[1] % 4;
    values.mapOptions.assign(data[1] / 4U % 8, {data[0], data[1] - 64});
    const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::string once = patchConfigText(text, values);
    expect(once.find(optionTableText(values.mapOptions)) != std::string::npos, "the options table");
    const std::string twice = patchConfigText(once, values);
    expect(twice == once, "the same bytes from a second patch");
    ++values.slot;
    expect(patchConfigText(patchConfigText(once, values), values) == patchConfigText(once, values),
           "the same bytes from a second patch with another slot");
    return 0;
}
