/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * What differs between kernels 4.4 and 6.12, in one place: each with the version
 * and what changed.
 */
#ifndef PLATFORM_LINUX_COMPAT_H
#define PLATFORM_LINUX_COMPAT_H

#include <linux/err.h>
#include <linux/fs.h>
#include <linux/mtd/mtd.h>
#include <linux/nvmem-consumer.h>
#include <linux/srcu.h>
#include <linux/uaccess.h>
#include <linux/version.h>

/* 6.3: sleepable RCU is always there. Before, what needs it selects it, and a module cannot. */
#if defined(CONFIG_SRCU) || LINUX_VERSION_CODE >= KERNEL_VERSION(6, 3, 0)
#define COMPAT_SRCU
#endif

/* 5.0: access_ok() lost its first argument, the direction. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 0, 0)
#define compat_access_ok(address, bytes) access_ok(address, bytes)
#else
#define compat_access_ok(address, bytes) access_ok(VERIFY_WRITE, address, bytes)
#endif

/* 4.17: erase_info lost the device; older mtd_erase() reads it from there. */
static inline int compat_mtd_erase(struct mtd_info *mtd, u64 start, u32 len)
{
	struct erase_info info = { .addr = start, .len = len };

#if LINUX_VERSION_CODE < KERNEL_VERSION(4, 17, 0)
	info.mtd = mtd;
#endif
	return mtd_erase(mtd, &info);
}

/*
 * 5.5: looking an nvmem device up by its name takes the reference that
 * nvmem_device_put() drops. Before, the look-up kept another one for ever, the put
 * dropped one that nobody had, and a name that is not there gave NULL. Kernels
 * before 4.7 have no nvmem device for at24 chips at all. All of them have the chip's
 * file in sysfs. -EOPNOTSUPP says that no name is found, as kernels without nvmem do.
 */
static inline struct nvmem_device *compat_nvmem_get(struct device *device, const char *name)
{
#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 5, 0)
	return nvmem_device_get(device, name);
#else
	return ERR_PTR(-EOPNOTSUPP);
#endif
}

/* 4.14: kernel_read() and kernel_write() got the order of vfs_read(), and the position
 * became a pointer. */
static inline ssize_t compat_kernel_read(struct file *file, void *buf, size_t len, loff_t pos)
{
#if LINUX_VERSION_CODE >= KERNEL_VERSION(4, 14, 0)
	return kernel_read(file, buf, len, &pos);
#else
	return kernel_read(file, pos, buf, len);
#endif
}

static inline ssize_t compat_kernel_write(struct file *file, const void *buf, size_t len,
					  loff_t pos)
{
#if LINUX_VERSION_CODE >= KERNEL_VERSION(4, 14, 0)
	return kernel_write(file, buf, len, &pos);
#else
	return kernel_write(file, buf, len, pos);
#endif
}

#endif
