// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The seven storage drivers: each pairs a record format with a medium under a
// name. They are created at start-up, registered with the platform's driver
// manager, found there by the configuration's driver names, and deleted at
// shutdown.
//
//   medium  name                      format              medium
//   0       drv_mac_flash             Qolt                flash
//   1       drv_mac_eeprom            Qolt                EEPROM
//   3       drv_mac_env               Qolt                environment variables
//   4       drv_mac_kolbe_no_crc      Kolbe without CRC   EEPROM
//   5       drv_mac_router_no_crc     router without CRC  EEPROM
//   6       drv_mac_kolbe_in_crc      Kolbe with CRC      EEPROM
//   7       drv_mac_router_in_crc     router with CRC     EEPROM
//
// Medium 2 has no driver. Creation and deletion run at start-up and shutdown
// only, on one thread, and may sleep.
#ifndef STORAGE_DRIVER_MAC_DRIVER_H
#define STORAGE_DRIVER_MAC_DRIVER_H

#include "base/registry.h"
#include "platform/driver_manager.h"

// The module's own driver registry. The created drivers are the manager's; this
// list is for local use.
extern mac::Registry<MacDriver> g_mac_drv;

// Sets the registry up and creates the seven drivers. A driver that cannot be
// created is logged and start-up goes on without it.
// Returns 0, or -14 (logged) when the clear or the name's copy is refused.
[[nodiscard]] int mac_drv_init(u32 module_id, const char* name);

// Deletes the seven drivers.
void mac_drv_exit();

// Creates, binds and registers the driver of a medium.
// Returns 0 whatever binding and registration give (logged), or -1: registered
// already, or no memory for the object.
[[nodiscard]] int mac_driver_create(u32 medium);

// Unregisters and frees the driver of a medium; nothing without one.
void mac_driver_delete(u32 medium);

// Gives a driver its name and operations; a medium without a driver leaves it
// without either.
// Returns 0, or -1: null, or no memory (logged).
[[nodiscard]] int mac_driver_bind(MacDriver* driver, u32 medium);

// Frees a driver's operations; null is ignored.
void mac_driver_unbind(MacDriver* driver);

// The registered driver of a medium, or null. A medium without a driver is not
// asked for.
MacDriver* mac_driver_find_by_medium(int medium);

// The local list, under the registry's spinlock. Null is ignored.
void mac_driver_insert(MacDriver* driver);
void mac_driver_remove(MacDriver* driver);

// The first driver of the local list of exactly that name, or null.
MacDriver* mac_driver_find_by_name(const char* name);

#endif
