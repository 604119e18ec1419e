// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The address service's set-up, and mounting of instances: name, configuration,
// driver binding, one data set per MAC type. Mounting reads no medium.
//
// No lock is held across a mount or unmount: callers serialise. May sleep.
#ifndef SERVICE_MAC_FUNC_H
#define SERVICE_MAC_FUNC_H

#include "platform/types.h"

// Sets up the registry of data sets. Returns 0, or -14 (logged) when the clear or
// the name's copy is refused.
[[nodiscard]] int mac_func_init(u32 module_id, const char* name);

// Frees all data sets of all instances.
void mac_func_exit();

// Mounts an instance. Nothing is undone on failure. Returns 0, or MAC_FAULT
// (logged): no name, or no configuration record (also: mounted already).
[[nodiscard]] u32 set_mac_init(u32 inst);

// Unmounts an instance; 0 in every case.
u32 set_mac_deinit(u32 inst);

// Creates the data sets of an instance; always 0.
[[nodiscard]] u32 mac_func_mount(u32 inst);

// Removes the data sets of an instance that has a configuration record.
void mac_func_demount(u32 inst);

// Creates (failures are logged) or removes one data set.
void mac_func_data_init(u32 inst, u32 type);
void mac_func_data_exit(u32 inst, u32 type);

// Binds every storage entry of an instance to the driver that it names, whose module then
// stays; an entry whose driver is not found, or cannot be held, stays unbound.
void mac_driver_install(u32 inst);

// "mac_mng_0x" and the instance id in eight digits. Returns 0, or MAC_FAIL: no
// room (logged), or a name that mac_check_name() refuses.
[[nodiscard]] u32 mac_build_name(u32 inst, char* buf, u32 buf_len);

// Returns 0 for a name of 1 to 32 characters, else MAC_FAIL.
[[nodiscard]] u32 mac_check_name(const char* name);

// Capacities of names: 40 and 32.
u32 mac_get_max_name_usr();
u32 mac_get_max_name_ker();

// Extension hooks: they succeed and leave the buffer alone.
[[nodiscard]] u32 get_mac_patch_func1(u8* buf, u32 len);
[[nodiscard]] u32 get_mac_patch_func2(u8* buf, u32 len);

// Room for replacement hooks; empty, and nothing reads it.
using mac_patch_hook = u32 (*)(u8* buf, u32 len);
extern mac_patch_hook g_mac_patch_array_ker[2];

#endif
