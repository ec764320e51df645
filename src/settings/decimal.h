// Numbers as English sentences and names show them.
#pragma once

#include <cstdint>
#include <string>

// The number in decimal digits, with a minus sign where it is negative.
inline std::u16string decimalText(std::int64_t number) {
    const std::string digits = std::to_string(number);
    return std::u16string(digits.begin(), digits.end());
}
