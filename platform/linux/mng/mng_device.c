// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The miscellaneous device, copies from and to its callers, partition sizes. */
#include <linux/delay.h>
#include <linux/err.h>
#include <linux/fs.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include <linux/uaccess.h>

#include "mng.h"
#include "platform/device.h"
#include "platform/linux/compat.h"
#include "platform/mtd.h"

/* The system's device; there is one. */
static const struct platform_misc_device *device;
static bool registered;
static bool ready;

/* One function for 64-bit and 32-bit callers: they use the same records. */
static long mng_ioctl(struct file *file, unsigned int command, unsigned long argument)
{
	return device->fops->unlocked_ioctl(file, command, argument);
}

static int mng_open(struct inode *inode, struct file *file)
{
	/*
	 * The device is registered before the system is complete. Nobody gets in until
	 * start-up has succeeded, and who gets in sees all that it has set up.
	 */
	if (!smp_load_acquire(&ready))
		return -ENODEV;
	return device->fops->open(inode, file);
}

static int mng_release(struct inode *inode, struct file *file)
{
	return device->fops->release(inode, file);
}

static const struct file_operations mng_file_operations = {
	.owner = THIS_MODULE,
	.unlocked_ioctl = mng_ioctl,
	.compat_ioctl = mng_ioctl,
	.open = mng_open,
	.release = mng_release,
};

static struct miscdevice mng_miscdevice = {
	.fops = &mng_file_operations,
	.mode = 0600,
};

int platform_misc_register(const struct platform_misc_device *misc_device)
{
	int result;

	device = misc_device;
	mng_miscdevice.minor = misc_device->minor;
	mng_miscdevice.name = misc_device->name;
	result = misc_register(&mng_miscdevice);
	registered = result == 0;
	return result;
}

void platform_misc_deregister(const struct platform_misc_device *misc_device)
{
	mng_device_reclaim();
}

void mng_device_ready(bool is_ready)
{
	smp_store_release(&ready, is_ready);
}

void mng_device_reclaim(void)
{
	if (!registered)
		return;
	registered = false;
	misc_deregister(&mng_miscdevice);
}

void mng_device_wait(void)
{
#ifdef CONFIG_MODULE_UNLOAD
	/* One reference is the load's own. */
	while (module_refcount(THIS_MODULE) > 1)
		msleep(1);
#endif
}

int platform_user_range_valid(u64 address, u64 bytes)
{
	return compat_access_ok((void __user *)(unsigned long)address, bytes) ? 1 : 0;
}

u64 platform_copy_from_user(void *dest, u64 address, u64 bytes)
{
	return copy_from_user(dest, (const void __user *)(unsigned long)address, bytes);
}

u64 platform_copy_to_user(u64 address, const void *source, u64 bytes)
{
	return copy_to_user((void __user *)(unsigned long)address, source, bytes);
}

int platform_mtd_size(const char *name, u64 *bytes)
{
	struct mtd_info *mtd = get_mtd_device_nm(name);

	if (IS_ERR(mtd))
		return PTR_ERR(mtd);
	*bytes = mtd->size;
	put_mtd_device(mtd);
	return 0;
}
