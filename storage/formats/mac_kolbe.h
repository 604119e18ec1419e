// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The Kolbe records, 6n + 48 bytes for n addresses:
//
//    0  tag    "GOOD" (with CRC only)
//    4  table  entry i at 4 + 2i: CRC-16 of address i (with CRC only)
//   48  list   n addresses of 6 bytes, their bytes swapped in pairs
//
// The record carries no count: the reader passes the expected one in *num. The
// table has room for 22 entries; from the 23rd address on, entries land inside
// the list, and such a record fails its own check. No limit is enforced.
// The reported check value is 0x5A5A for every record.
//
// Pure functions over the caller's buffers; any context; nothing is logged.
#ifndef STORAGE_FORMATS_MAC_KOLBE_H
#define STORAGE_FORMATS_MAC_KOLBE_H

#include "platform/types.h"

// The values of "GOOD" and "NONE"; null: nothing.
void mac_kolbe_incrc_get_flag(u64* flag);
void mac_kolbe_nocrc_get_flag(u64* flag);

// 6 * num + 48, its low 32 bits.
u32 mac_kolbe_incrc_get_size(u32 num);
u32 mac_kolbe_nocrc_get_size(u32 num);

// Build a record. Without CRC the head (bytes 0 to 47) is left as it is. Return
// 0; MAC_NULL_POINTER (mac, flag or crc); MAC_INVALID_ARGUMENT (buf null or below
// 6 * num + 48 bytes).
[[nodiscard]] u32 mac_kolbe_incrc_set_format(const u8* mac, u32 num, u8* buf, u32 buf_len,
                                             u64* flag, u32* crc);
[[nodiscard]] u32 mac_kolbe_nocrc_set_format(const u8* mac, u32 num, u8* buf, u32 buf_len,
                                             u64* flag, u32* crc);

// Check and decode a record of *num addresses; *num is left unchanged. With *num
// 0 the base is still read from bytes 48 to 53: the memory behind buf must be
// readable up to there. Return 0; MAC_NULL_POINTER (flag, mac, num or crc);
// MAC_INVALID_ARGUMENT; with CRC also MAC_WRONG_TAG (*flag written) and
// MAC_CHECK_MISMATCH (*flag and mac written).
[[nodiscard]] u32 mac_kolbe_incrc_get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac,
                                             u32* num, u32* crc);
[[nodiscard]] u32 mac_kolbe_nocrc_get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac,
                                             u32* num, u32* crc);

#endif
