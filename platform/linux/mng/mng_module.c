// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Loading and unloading of mac_mng.ko, and its exported functions. */
#include <linux/errno.h>
#include <linux/kernel.h>
#include <linux/module.h>

#include "control/mac_module.h"
#include "mac_mng/mac_mng.h"
#include "mng.h"

EXPORT_SYMBOL(drv_mac_init);
EXPORT_SYMBOL(drv_mac_deinit);
EXPORT_SYMBOL(drv_mac_set_addr);
EXPORT_SYMBOL(drv_mac_get_addr);
EXPORT_SYMBOL(drv_mac_set_addr_num);
EXPORT_SYMBOL(drv_mac_get_addr_num);
EXPORT_SYMBOL(drv_mac_set_num);
EXPORT_SYMBOL(drv_mac_get_num);
EXPORT_SYMBOL(drv_mac_patch_func1);
EXPORT_SYMBOL(drv_mac_patch_func2);

/* What would dangle once the image is gone. */
static void reclaim(void)
{
	mng_device_ready(false);
	mng_device_reclaim();
	mng_sysfs_reclaim();
}

static int __init mng_load(void)
{
	u32 status = mac_module_init();

	if (status) {
		reclaim();
		pr_err("mac_mng: start-up failed with 0x%08x\n", status);
		/* Codes of the module are no errno: the loader wants one. */
		return (int)status >= -MAX_ERRNO && (int)status < 0 ? (int)status : -EIO;
	}
	mac_module_load_listing();
	mng_device_ready(true);
	return 0;
}

static void __exit mng_unload(void)
{
	mng_device_ready(false);
	mac_module_exit();
	mac_module_release_listing();
	reclaim();
}

module_init(mng_load);
module_exit(mng_unload);

MODULE_DESCRIPTION("MAC address manager of network devices");
MODULE_LICENSE("Dual BSD/GPL");
