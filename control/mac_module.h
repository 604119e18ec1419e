// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Start-up and shutdown of the whole module, for the platform's loader. One
// thread, may sleep.
#ifndef CONTROL_MAC_MODULE_H
#define CONTROL_MAC_MODULE_H

#include "platform/types.h"

PLATFORM_BEGIN

// Brings the module up and mounts the default instance. The first failing step
// ends it, and nothing is undone: what earlier steps set up stays in place, the
// control device included, and the loader reclaims what would dangle.
// Returns 0 or the failing step's code.
u32 mac_module_init(void);

// For the loader, after a start-up that failed: the step that failed, in words; null after
// one that succeeded.
const char* mac_module_failed_step(void);

// For the loader, after a start-up that failed, once the device is gone: frees the
// memory that the steps before it hold. What the log says was said before.
void mac_module_abandon(void);

// Takes the module down. The control device stays registered: the loader takes it
// away.
void mac_module_exit(void);

// For the loader, after start-up has succeeded: loads the content of the
// configuration listing for the default instance. Returns 0, also when its
// configuration has none, or a code of drv_mac_create_new_cfg().
u32 mac_module_load_listing(void);

// For the loader, after shutdown: frees that content.
void mac_module_release_listing(void);

PLATFORM_END

#endif
