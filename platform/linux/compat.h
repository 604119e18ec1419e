/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * What differs between kernels 4.4 and 6.12, in one place: each with the version
 * and what changed.
 */
#ifndef PLATFORM_LINUX_COMPAT_H
#define PLATFORM_LINUX_COMPAT_H

#include <linux/uaccess.h>
#include <linux/version.h>

/* 5.0: access_ok() lost its first argument, the direction. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 0, 0)
#define compat_access_ok(address, bytes) access_ok(address, bytes)
#else
#define compat_access_ok(address, bytes) access_ok(VERIFY_WRITE, address, bytes)
#endif

/* 4.17: erase_info lost the device; older mtd_erase() reads it from there. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(4, 17, 0)
#define compat_erase_info_init(info, device) ((void)(device))
#else
#define compat_erase_info_init(info, device) ((info)->mtd = (device))
#endif

#endif
