// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Loading and unloading of mac_mng.ko, and its exported functions. */
#include <linux/errno.h>
#include <linux/kernel.h>
#include <linux/module.h>

#include "control/mac_module.h"
#include "mac_mng/mac_mng.h"
#include "mng.h"
#include "platform/driver_manager.h"

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

/*
 * A platform may be without it. Through a pointer: a direct call of what is not there is too
 * far away for an instruction.
 */
int __weak module_driver_hold(const struct MacDriverOps *ops, const void *asker);
static int (*hold)(const struct MacDriverOps *ops, const void *asker) = module_driver_hold;

int platform_driver_hold(const struct MacDriverOps *ops)
{
	int (*service)(const struct MacDriverOps *, const void *) = READ_ONCE(hold);

	return service ? service(ops, THIS_MODULE) : 0;
}

/* What would dangle once the image is gone, and what the system leaves on purpose. */
static void reclaim(void)
{
	mng_device_reclaim();
	mng_sysfs_reclaim();
	mng_reclaim_stop();
	mng_memory_reclaim();
}

/* Codes of the module are no errno: the kernel wants one. */
static int to_errno(u32 status)
{
	return (int)status >= -MAX_ERRNO && (int)status < 0 ? (int)status : -EIO;
}

static int say_failed(const char *step, u32 status)
{
	pr_err("mac_mng: start-up failed at the step \"%s\": status 0x%08x, error %d\n", step,
	       status, -to_errno(status));
	return to_errno(status);
}

static void load_listing(void)
{
	u32 status = mac_module_load_listing();

	if (status)
		pr_warn("mac_mng: the configuration listing is not complete: status 0x%08x\n",
			status);
}

static int __init mng_load(void)
{
	const char *step;
	u32 status;
	int result = mng_reclaim_start();

	if (result)
		return say_failed("counting of calls", result);
	status = mac_module_init();
	if (status) {
		step = mac_module_failed_step();
		mng_device_reclaim();
		mng_device_wait();
		mac_module_abandon();
		reclaim();
		return say_failed(step, status);
	}
	load_listing();
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
