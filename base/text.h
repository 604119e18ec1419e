// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Texts without a C library: length, equality, numbers and hexadecimal digits.
#ifndef BASE_TEXT_H
#define BASE_TEXT_H

#include "platform/types.h"

namespace mac {

// Length in characters.
constexpr u32 text_length(const char* text) {
    u32 length = 0;
    while (text[length] != '\0') ++length;
    return length;
}

// Exact equality, terminator included.
constexpr bool text_equal(const char* left, const char* right) {
    while (*left != '\0' && *left == *right) {
        ++left;
        ++right;
    }
    return *left == *right;
}

// The value of a digit in any base up to 16; 16 for every other character.
constexpr u32 digit_value(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<u32>(digit - '0');
    if (digit >= 'a' && digit <= 'f') return static_cast<u32>(digit - 'a') + 10;
    if (digit >= 'A' && digit <= 'F') return static_cast<u32>(digit - 'A') + 10;
    return 16;
}

// The number that a C literal stands for: "0x" hexadecimal, "0" octal, else
// decimal; conversion ends at the first character that is no digit of that base.
constexpr u64 text_to_number(const char* text) {
    u32 base = 10;
    if (text[0] == '0') {
        const bool hex = (text[1] == 'x' || text[1] == 'X') && digit_value(text[2]) < 16;
        base = hex ? 16 : 8;
        if (hex) text += 2;
    }
    u64 number = 0;
    for (; digit_value(*text) < base; ++text) number = number * base + digit_value(*text);
    return number;
}

struct HexPairs {
    char digits[256][2];
};

inline constexpr HexPairs kHexPairs = [] {
    constexpr char kDigits[] = "0123456789abcdef";
    HexPairs pairs{};
    for (u32 byte = 0; byte < 256; ++byte) {
        pairs.digits[byte][0] = kDigits[byte >> 4];
        pairs.digits[byte][1] = kDigits[byte & 0x0f];
    }
    return pairs;
}();

// Writes a byte as two lower-case hexadecimal digits; returns where the text
// goes on.
constexpr char* put_hex(char* out, u8 byte) {
    out[0] = kHexPairs.digits[byte][0];
    out[1] = kHexPairs.digits[byte][1];
    return out + 2;
}

}  // namespace mac

#endif
