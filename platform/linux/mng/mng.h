/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/* What the loader of mac_mng.ko asks of the rest of its glue. */
#ifndef PLATFORM_LINUX_MNG_H
#define PLATFORM_LINUX_MNG_H

#include <linux/types.h>

/* Whether the device may be opened. */
void mng_device_ready(bool is_ready);

/* Take away what the system leaves behind and what would point into its image. */
void mng_device_reclaim(void);
void mng_sysfs_reclaim(void);
void mng_memory_reclaim(void);

/*
 * Waits until nobody is opening the device, which is gone: for a load that fails. The
 * kernel waits for openers before it unloads a module, and not before it drops one whose
 * load failed.
 */
void mng_device_wait(void);

/* Before the first call, and after the last: 0 or a negative errno. */
int mng_reclaim_start(void);
void mng_reclaim_stop(void);

#endif
