// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// One area of a data set: its configuration entry, its storage driver, and its
// set-up from both. Areas are 0 (main) and 1 (spare).
#ifndef CORE_MAC_AREA_H
#define CORE_MAC_AREA_H

#include "config/mac_config.h"
#include "core/mac_data.h"
#include "platform/driver_manager.h"

// The configuration entry of an area, or null. An area above 1 has none.
mac_entry* mac_entery_find_by_storage(u32 inst, u32 type, u32 area);

// The storage driver bound to an area's entry, or null: no entry, or an entry
// without a driver (logged).
MacDriverOps* mac_driver_find_by_storage(u32 inst, u32 type, u32 area);

// The same by storage code (0x4d08, 0x4d09). For other modules' use.
MacDriverOps* mac_driver_find_by_device(u32 inst, u32 type, u32 storage_code);

// Addressing and count of an area's entry.
// Returns 0, or MAC_NOT_SUPPORTED without an entry (outputs unchanged).
[[nodiscard]] u32 mac_area_attr(u32 inst, u32 type, u32 area, u32* chip_id, u32* channel,
                                u32* mac_num);

// Storage name of an area's entry into `name` of `size` bytes; unchanged without
// an entry or when it does not fit (logged).
// Returns 0, or MAC_FAIL without room.
[[nodiscard]] u32 mac_area_name(u32 inst, u32 type, u32 area, char* name, u32 size);

// The flag of the area's format. Returns 0; MAC_NOT_SUPPORTED without a driver;
// MAC_OPERATION_MISSING (logged).
[[nodiscard]] u32 mac_get_flag(u32 inst, u32 type, u32 area, u64* flag);

// The record size for mac_num addresses; 1 when it cannot be had. Returns 0, also
// without a driver, or MAC_OPERATION_MISSING (logged).
[[nodiscard]] u32 mac_get_size(u32 inst, u32 type, u32 area, u32 mac_num, u32* size);

// Configures an area from its entry. Without a bound driver the area is
// supported all the same, with a record of 1 byte and the flag 0. May sleep.
// Returns 0; MAC_FAIL: null, or no memory (logged); MAC_NOT_SUPPORTED without an
// entry. The area stays unsupported unless 0 is returned.
[[nodiscard]] u32 mac_area_init(mac_inst_mng* mng, u32 inst, u32 type, u32 area);
[[nodiscard]] u32 mac_area_config(mac_inst_mng* mng, u32 inst, u32 type, u32 area);

// Frees the record buffer; nothing for null or an area above 1. Any context.
void mac_area_delete(mac_inst_mng* mng, u32 area);

#endif
