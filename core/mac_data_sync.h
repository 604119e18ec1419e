// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Main and spare: which copy is right, repair of the other, and changes to both.
//
// Every operation on a block starts with mac_data_init_store(): both copies are
// read and compared by their check values. The main copy wins whenever it can be
// read; the other copy is rebuilt from the winner's fields by its own driver and
// rewritten. When neither can be trusted nothing is written: the bad copies stay
// on their media, and the areas in memory are reset to an all-zero address and
// the count 0xFFFF, which no reader accepts. A change is written to the main copy
// first and to the spare only when that succeeded.
//
// A cut of power therefore finds, after a change from block A to block B:
//
//   cut during or before       main   spare   next access
//   the main write starts      A      A       A, nothing to repair
//   the main write             torn   A       spare wins: A, main rewritten
//   main written               B      A       main wins: B, spare rewritten
//   the spare write            B      torn    main wins: B, spare rewritten
//   the spare written          B      B       B, nothing to repair
//
// and a cut during a repair leaves the copy that is being repaired torn and its
// source as it was, so that the next access repairs it again. This holds for
// formats whose check sees a torn record, on two media (or erase blocks): the
// formats without a check take a torn record as it is.
//
// No lock is held across reads and writes: callers serialise operations on a
// block. All functions may sleep.
#ifndef CORE_MAC_DATA_SYNC_H
#define CORE_MAC_DATA_SYNC_H

#include "core/mac_data.h"

// Returns 0; MAC_FAIL for a length other than 6; MAC_INVALID_VALUE (logged) for
// all zeros or all ones. No other bit is looked at.
[[nodiscard]] u32 mac_data_vaild_addr(u32 inst, u32 type, const u8* addr, u32 addr_len);

// Returns 0 up to 0xFFFE, else MAC_INVALID_VALUE (logged).
[[nodiscard]] u32 mac_data_vaild_num(u32 inst, u32 type, u32 num);

// Reads one area; *crc receives its check value. Returns 0 or the read's code.
[[nodiscard]] u32 mac_data_read_check(u32 inst, u32 type, u32 area, u32* crc);

// Reads both areas. *sync is 0 when they are in step (without a spare: when main
// is good), else -1. An unsupported spare gives MAC_NOT_SUPPORTED.
void mac_data_read_state(u32 inst, u32 type, u32* main_result, u32* spare_result, int* sync);

// Copies flag, count, check value and address between the areas, under the data
// set's mutex; nothing when either area is missing.
// Returns 0, or MAC_FAIL when dst equals src.
[[nodiscard]] u32 mac_data_copy(u32 inst, u32 type, u32 dst, u32 src);

// Copies and writes dst; a dst that is not supported counts as success.
// Returns 0 or the failing step's code.
[[nodiscard]] u32 mac_data_copy_write(u32 inst, u32 type, u32 dst, u32 src);

// Writes src, then copies it into dst and writes that. Returns 0 or the failing
// step's code; dst is untouched when src could not be written.
[[nodiscard]] u32 mac_data_sync_write(u32 inst, u32 type, u32 dst, u32 src);

// Stores an address and a count in both copies, unchecked.
// Returns 0; MAC_FAIL: null, no main area, or a length above 6 (logged); else the
// failing step's code.
[[nodiscard]] u32 mac_set_data(u32 inst, u32 type, const u8* addr, u32 addr_len, u32 num);

// The same after both validity checks.
[[nodiscard]] u32 set_mac_info(u32 inst, u32 type, const u8* addr, u32 addr_len, u32 num);

// Resets an area in memory. Returns 0, or MAC_FAIL: no area, or a refused fill
// (logged).
[[nodiscard]] u32 mac_data_init_error(u32 inst, u32 type, u32 area);

// Decides by the results of the two reads. Returns 0; a repair write's code;
// MAC_CHECK_MISMATCH when what is stored fails its check in both copies (or the
// only one); MAC_FAIL for any other mixture of failures.
[[nodiscard]] u32 mac_data_init_state(u32 inst, u32 type, u32 main_result, u32 spare_result);

// Reads, compares and repairs. Returns 0 or the code of mac_data_init_state().
[[nodiscard]] u32 mac_data_init_store(u32 inst, u32 type);

#endif
