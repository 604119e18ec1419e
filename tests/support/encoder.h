// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Records built by the tests' own encoder, bit by bit and byte by byte: nothing
// here comes from the code under test.
#ifndef TESTS_SUPPORT_ENCODER_H
#define TESTS_SUPPORT_ENCODER_H

#include <array>
#include <string>
#include <vector>

#include "platform/types.h"

namespace test {

using Record = std::vector<u8>;
using Mac = std::array<u8, 6>;

// CRC-16/IBM-3740, one bit at a time.
u16 crc16(const Record& bytes);

// Any variant, one bit at a time, from its parameters.
u16 crc16(const Record& bytes, u16 poly, u16 init, bool reflected, u16 xorout);

// The address `index` steps after `base`, by 128-bit arithmetic.
Mac nth(const Mac& base, u64 index);

Record qolt(const Mac& base, u32 num);
Record router(const Mac& base, u32 num, bool with_crc);
Record kolbe(const Mac& base, u32 num, bool with_crc);

// Lower-case digits without separators.
std::string hex(const Record& bytes, size_t from = 0, size_t count = ~size_t{0});

// Bytes of a digit string; blanks are skipped.
Record bytes(const std::string& digits);

// An object as it lies in memory, with its padding.
template <typename T>
Record bytes_of(const T& object) {
    const u8* const first = reinterpret_cast<const u8*>(&object);
    return {first, first + sizeof(object)};
}

}  // namespace test

#endif
