// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// CRC-16: the 31 variants of the public catalogue, by name, and a table-driven
// engine for any of them.
#ifndef PLATFORM_COMMON_CRC16_H
#define PLATFORM_COMMON_CRC16_H

#include "platform/types.h"

namespace platform {

struct Crc16Variant {
    const char* name;     // without "CRC-16/", in capitals
    const char* aliases;  // separated by ", "
    u16 poly;
    u16 init;        // unreflected
    bool reflected;  // input and output
    u16 xorout;
    u16 check;  // over the nine characters 123456789
};

inline constexpr u32 kCrc16VariantCount = 31;
extern const Crc16Variant kCrc16Variants[kCrc16VariantCount];

// The variant of a board that names none.
inline constexpr char kCrc16Default[] = "ibm-3740";

// The variant of a name or alias, in any case, "CRC-16/" in front of it or not;
// null when there is none.
const Crc16Variant* crc16_find(const char* name);

// Computes one variant, sixteen bytes a step. 8 KiB of tables; no allocation.
class Crc16 {
public:
    // Builds the tables. To be called before value().
    void select(const Crc16Variant& variant);

    const Crc16Variant* variant() const { return variant_; }

    // The CRC of `length` bytes.
    u16 value(const u8* data, size_t length) const;

private:
    template <bool kReflected, size_t kBlock>
    u32 fold(u32 crc, const u8* data) const;
    template <bool kReflected>
    u32 run(const u8* data, size_t length) const;

    static constexpr size_t kSlices = 16;

    const Crc16Variant* variant_ = nullptr;
    u32 start_ = 0;
    // Row k: the CRC register after a byte and k zero bytes.
    u16 table_[kSlices][256] = {};
};

}  // namespace platform

#endif
