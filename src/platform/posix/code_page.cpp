#include "platform/code_page.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iconv.h>

namespace platform {

namespace {

constexpr unsigned kFirstLead = 0x81;
constexpr unsigned kLastLead = 0xFE;
constexpr char16_t kInvalid = u'?';

bool isTrail(unsigned byte) {
    return byte >= 0x40 && byte <= 0xFE && byte != 0x7F;
}

// The UTF-16 units of all two-byte characters.
class PairTable {
public:
    PairTable() {
        units_.fill(kInvalid);
        if (fillFromIconv()) {
            fillPrivateUse();
        }
    }

    char16_t unit(unsigned lead, unsigned trail) const { return units_[(lead - kFirstLead) << 8 | trail]; }

private:
    bool fillFromIconv() {
        const iconv_t converter = iconv_open("UTF-16LE", "GBK");
        // iconv_open reports failure by an all-ones pointer.
        if (reinterpret_cast<std::intptr_t>(converter) == -1) {
            return false;
        }
        forEachPair(kFirstLead, kLastLead, 0x40, 0xFE, [&](unsigned lead, unsigned trail, char16_t& unit) {
            std::array<char, 2> pair{static_cast<char>(lead), static_cast<char>(trail)};
            std::array<unsigned char, 8> out{};
            char* from = pair.data();
            char* to = reinterpret_cast<char*>(out.data());
            std::size_t fromLeft = pair.size();
            std::size_t toLeft = out.size();
            const bool converted = iconv(converter, &from, &fromLeft, &to, &toLeft) == 0 && toLeft == out.size() - 2;
            unit = converted ? static_cast<char16_t>(out[0] | out[1] << 8) : kInvalid;
        });
        iconv_close(converter);
        return true;
    }

    // Windows numbers the cells that GBK leaves free through the private use area: the three user-defined areas first,
    // then whatever is left, in code order.
    void fillPrivateUse() {
        char16_t next = 0xE000;
        const auto assign = [&next](unsigned, unsigned, char16_t& unit) {
            if (unit == kInvalid) {
                unit = next++;
            }
        };
        forEachPair(0xAA, 0xAF, 0xA1, 0xFE, assign);
        forEachPair(0xF8, 0xFE, 0xA1, 0xFE, assign);
        forEachPair(0xA1, 0xA7, 0x40, 0xA0, assign);
        forEachPair(kFirstLead, kLastLead, 0x40, 0xFE, assign);
    }

    template<typename Visit>
    void forEachPair(unsigned firstLead, unsigned lastLead, unsigned firstTrail, unsigned lastTrail, Visit visit) {
        for (unsigned lead = firstLead; lead <= lastLead; ++lead) {
            for (unsigned trail = firstTrail; trail <= lastTrail; ++trail) {
                if (isTrail(trail)) {
                    visit(lead, trail, units_[(lead - kFirstLead) << 8 | trail]);
                }
            }
        }
    }

    std::array<char16_t, (kLastLead - kFirstLead + 1) << 8> units_{};
};

}  // namespace

std::u16string decodeCodePage936(std::string_view bytes) {
    static const PairTable table;
    std::u16string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const auto asciiEnd = std::find_if(bytes.begin() + static_cast<std::ptrdiff_t>(i), bytes.end(),
                                           [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; });
        text.append(bytes.begin() + static_cast<std::ptrdiff_t>(i), asciiEnd);
        i = static_cast<std::size_t>(asciiEnd - bytes.begin());
        if (i == bytes.size()) {
            break;
        }
        const auto lead = static_cast<unsigned char>(bytes[i++]);
        if (lead < kFirstLead || lead > kLastLead) {
            text += lead == 0x80 ? u'\u20AC' : u'\uF8F5';
        } else if (i == bytes.size() || bytes[i] == '\0') {
            text += kInvalid;
        } else {
            text += table.unit(lead, static_cast<unsigned char>(bytes[i++]));
        }
    }
    return text;
}

}  // namespace platform
