#include "platform/code_page_pairs.h"

#include <cstdint>
#include <iconv.h>

namespace platform {

namespace {

constexpr unsigned kFirstLead = 0x81;
constexpr unsigned kLastLead = 0xFE;
constexpr char16_t kInvalid = u'?';

template<typename Visit>
void forEachPair(unsigned firstLead, unsigned lastLead, unsigned firstTrail, unsigned lastTrail, Visit visit) {
    for (unsigned lead = firstLead; lead <= lastLead; ++lead) {
        for (unsigned trail = firstTrail; trail <= lastTrail; ++trail) {
            if (trail != 0x7F) {
                visit(lead << 8 | trail);
            }
        }
    }
}

bool readFromIconv(CodePagePairs& pairs) {
    const iconv_t converter = iconv_open("UTF-16LE", "GBK");
    // iconv_open reports failure by an all-ones pointer.
    if (reinterpret_cast<std::intptr_t>(converter) == -1) {
        return false;
    }
    forEachPair(kFirstLead, kLastLead, 0x40, 0xFE, [&](unsigned pair) {
        std::array<char, 2> bytes{static_cast<char>(pair >> 8), static_cast<char>(pair)};
        std::array<unsigned char, 8> out{};
        char* from = bytes.data();
        char* to = reinterpret_cast<char*>(out.data());
        std::size_t fromLeft = bytes.size();
        std::size_t toLeft = out.size();
        const bool converted = iconv(converter, &from, &fromLeft, &to, &toLeft) == 0 && toLeft == out.size() - 2;
        pairs[pair] = converted ? static_cast<char16_t>(out[0] | out[1] << 8) : kInvalid;
    });
    iconv_close(converter);
    return true;
}

// Windows numbers the cells that GBK leaves free through the private use area: the three user-defined areas first, then
// whatever is left, in code order.
void fillPrivateUse(CodePagePairs& pairs) {
    char16_t next = 0xE000;
    const auto assign = [&](unsigned pair) {
        if (pairs[pair] == kInvalid) {
            pairs[pair] = next++;
        }
    };
    forEachPair(0xAA, 0xAF, 0xA1, 0xFE, assign);
    forEachPair(0xF8, 0xFE, 0xA1, 0xFE, assign);
    forEachPair(0xA1, 0xA7, 0x40, 0xA0, assign);
    forEachPair(kFirstLead, kLastLead, 0x40, 0xFE, assign);
}

}  // namespace

void readCodePage936(CodePagePairs& pairs) {
    if (readFromIconv(pairs)) {
        fillPrivateUse(pairs);
    }
}

}  // namespace platform
