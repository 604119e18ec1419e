// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The record field codec: unsigned fields, most significant byte first, at any
// byte offset. A null pointer makes a call do nothing. Any context.
#ifndef STORAGE_FORMATS_MAC_MESG_H
#define STORAGE_FORMATS_MAC_MESG_H

#include "platform/types.h"

// Store the low 16, 32, 48 or 64 bits of a value in 2, 4, 6 or 8 bytes.
void mac_mesg_set_u16(u8* bytes, u32 value);
void mac_mesg_set_u32(u8* bytes, u32 value);
void mac_mesg_set_u48(u8* bytes, u64 value);
void mac_mesg_set_u64(u8* bytes, u64 value);

// Load 2, 4, 6 or 8 bytes; the upper bits of the result are zero.
void mac_mesg_get_u16(const u8* bytes, u32* value);
void mac_mesg_get_u32(const u8* bytes, u32* value);
void mac_mesg_get_u48(const u8* bytes, u64* value);
void mac_mesg_get_u64(const u8* bytes, u64* value);

// Copies len bytes forward.
void mac_mesg_copy(u8* dst, const u8* src, u32 len);

// Swaps the bytes of a 6-byte address in pairs (0 1 2 3 4 5 becomes 1 0 3 2 5 4);
// always 6 bytes, whatever len says. dst and src are distinct. Its own inverse.
void mac_mesg_endian(u8* dst, const u8* src, u32 len);

// Logs a buffer in hexadecimal at level 2: its first 31 bytes and the high digit
// of the 32nd. rw is 1 for a write, 0 for a read.
void mac_mesg_dump(u32 inst, const char* name, u32 rw, const u8* buf, u32 len);

// The index-th address after base: 48-bit addition with carry through all bytes,
// wrapping at the end. A null base counts as zero. out_size is not used.
void mac_data_incr(const u8* base, u32 index, u8* out, u32 out_size);

// The first `count` addresses from base on, one behind the other: what that many
// mac_data_incr() give, `out` having room for 6 * count bytes.
void mac_data_fill(const u8* base, u32 count, u8* out);

// The loaders behind mac_mesg_get_u32 and mac_mesg_get_u64, without the null
// test; the formats read their tags with them.
inline void mac_mesg_load_u32(const u8* bytes, u32* value) {
    *value = static_cast<u32>(bytes[0]) << 24 | static_cast<u32>(bytes[1]) << 16 |
             static_cast<u32>(bytes[2]) << 8 | bytes[3];
}

inline void mac_mesg_load_u64(const u8* bytes, u64* value) {
    u32 high = 0;
    u32 low = 0;
    mac_mesg_load_u32(bytes, &high);
    mac_mesg_load_u32(bytes + 4, &low);
    *value = static_cast<u64>(high) << 32 | low;
}

#endif
