// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The router records, 6n + 16 bytes for n addresses:
//
//     0      length   u32: 8 + 6n
//     4      tag      "MACREADY"
//    12      list     n addresses of 6 bytes
//    12+6n   trailer  u32: CRC-16 of all before it (with CRC), or 0xA5A5E7E7,
//                     unchecked (without CRC)
//
// Pure functions over the caller's buffers; any context; nothing is logged.
#ifndef STORAGE_FORMATS_MAC_ROUTER_H
#define STORAGE_FORMATS_MAC_ROUTER_H

#include "platform/types.h"

// The value of the tag; null: nothing.
void mac_router_incrc_get_flag(u64* flag);
void mac_router_nocrc_get_flag(u64* flag);

// 6 * num + 16, its low 32 bits.
u32 mac_router_incrc_get_size(u32 num);
u32 mac_router_nocrc_get_size(u32 num);

// Build a record. Return 0; MAC_NULL_POINTER (mac, flag or crc);
// MAC_INVALID_ARGUMENT (buf null or below 6 * num + 16 bytes).
[[nodiscard]] u32 mac_router_incrc_set_format(const u8* mac, u32 num, u8* buf, u32 buf_len,
                                              u64* flag, u32* crc);
[[nodiscard]] u32 mac_router_nocrc_set_format(const u8* mac, u32 num, u8* buf, u32 buf_len,
                                              u64* flag, u32* crc);

// Check and decode a record. Return 0; MAC_NULL_POINTER (flag, mac, num or crc);
// MAC_INVALID_ARGUMENT (buf null or below 22 bytes); MAC_LENGTH_FIELD_SMALL (below
// 14); MAC_RECORD_SHORT (longer than buf_len); MAC_WRONG_TAG (*flag written);
// MAC_CHECK_MISMATCH (with CRC only; *flag and mac written). *num and *crc are
// written on success only.
[[nodiscard]] u32 mac_router_incrc_get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac,
                                              u32* num, u32* crc);
[[nodiscard]] u32 mac_router_nocrc_get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac,
                                              u32* num, u32* crc);

#endif
