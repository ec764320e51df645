// The parser of .map files: records keep their promises, and on small files it agrees with the obvious way.
#include "fuzz/expect.h"
#include "maps/map_options.h"
#include "maps/map_reference.h"
#include "maps/map_script.h"

using namespace NetPlay;

namespace {

// The obvious way takes std::regex, so it is slow, and deep in the stack.
constexpr std::size_t kReferenceBytes = 600;
constexpr std::int32_t kReferenceSlots = 200;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
    const std::string_view bytes(data, size);
    MapInfo map;
    const bool parsed = parseMap(bytes, map);
    if (parsed) {
        expect(map.slotCount >= 1 && map.slotCount <= kMaxSlots, "1 to kMaxSlots slots");
        expect(map.slots.size() == static_cast<std::size_t>(map.slotCount), "a record for each slot");
        expect(map.displayName.empty() || isPlausibleMapTitle(map.displayName), "a plausible title or none");
        for (const std::string& id : map.optionIds) {
            expect(!map.optionValues.at(id).empty() && map.optionLabels.count(id) == 1, "a whole option");
        }
    }
    if (size > kReferenceBytes || (parsed && map.slotCount > kReferenceSlots)) {
        return 0;
    }
    MapInfo wanted;
    expect(referenceParse(bytes, wanted) == parsed, "fails as the reference does");
    expect(!parsed || (describeMap(map) == describeMap(wanted) && map.optionValues == wanted.optionValues &&
                       map.optionLabels == wanted.optionLabels),
           "reads what the reference reads");
    return 0;
}
