// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Address operations on one block, (instance, MAC type). Reads and single-field
// changes first refresh the block from its media, so that answers reflect what is
// stored at that moment. No lock is taken; all may sleep.
#ifndef SERVICE_MAC_ADDRESS_H
#define SERVICE_MAC_ADDRESS_H

#include "platform/types.h"

// Reads both copies and repairs the bad one. Returns 0; MAC_NOT_SUPPORTED when
// neither area is supported; else a code of mac_data_init_store() (logged).
[[nodiscard]] u32 mac_func_data_read(u32 inst, u32 type);

// Replaces the base address, keeps the count. A failed refresh is logged and does
// not stop the write. Returns 0; MAC_FAULT without a main area; a code of
// mac_data_vaild_addr() or mac_set_data().
[[nodiscard]] u32 set_mac_addr(u32 inst, u32 type, const u8* addr, u32 addr_len);

// Replaces the count, keeps the base address; as set_mac_addr().
[[nodiscard]] u32 set_mac_num(u32 inst, u32 type, u32 num);

// Reads base address and count, unchecked; *num is set even when the copy into
// buf is refused. Returns 0; a code of mac_func_data_read(); MAC_FAULT: no main
// area, or buf null or shorter than 6 bytes (logged).
[[nodiscard]] u32 get_mac_info(u32 inst, u32 type, u8* buf, u32 buf_len, u32* num);

// The base address, checked; only a buf_len of 6 can succeed. Returns a code of
// get_mac_info() or mac_data_vaild_addr().
[[nodiscard]] u32 get_mac_addr(u32 inst, u32 type, u8* buf, u32 buf_len);

// The count, checked. Returns a code of get_mac_info() or mac_data_vaild_num().
[[nodiscard]] u32 get_mac_num(u32 inst, u32 type, u32* num);

// The first `count` addresses, 6 bytes each; what is behind them in out is left
// alone. Returns 0; a code of get_mac_info(); MAC_FAULT: the block holds fewer, or
// out_len is below count * 6 in 32-bit arithmetic; all logged.
[[nodiscard]] u32 get_mac_list(u32 inst, u32 type, u32 count, u8* out, u32 out_len);

#endif
