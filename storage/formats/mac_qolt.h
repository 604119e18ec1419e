// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The Qolt record, 16 bytes for any count:
//
//    0  tag    "QOLT"
//    4  count  u32
//    8  base   6 bytes
//   14  crc    CRC-16 of bytes 0 to 13
//
// Pure functions over the caller's buffers; any context; nothing is logged.
#ifndef STORAGE_FORMATS_MAC_QOLT_H
#define STORAGE_FORMATS_MAC_QOLT_H

#include "platform/types.h"

// Offsets and sizes of the record; the environment medium rebuilds it as well.
namespace mac::qolt {
inline constexpr u32 kTagAt = 0;
inline constexpr u32 kCountAt = 4;
inline constexpr u32 kBaseAt = 8;
inline constexpr u32 kCrcAt = 14;
inline constexpr u32 kSize = 16;
}  // namespace mac::qolt

// The value of the tag; null: nothing.
void mac_qolt_get_flag(u64* flag);

// 16 for every count.
u32 mac_qolt_get_size(u32 num);

// Builds a record. Returns 0; MAC_NULL_POINTER (mac, flag or crc);
// MAC_INVALID_ARGUMENT (buf null or below 16 bytes).
[[nodiscard]] u32 mac_qolt_set_format(const u8* mac, u32 num, u8* buf, u32 buf_len, u64* flag,
                                      u32* crc);

// Checks and decodes a record. Returns 0; MAC_NULL_POINTER (flag, mac, num or
// crc); MAC_INVALID_ARGUMENT; MAC_WRONG_TAG (only *flag written);
// MAC_CHECK_MISMATCH (all outputs hold the damaged record's values).
[[nodiscard]] u32 mac_qolt_get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac, u32* num,
                                      u32* crc);

#endif
