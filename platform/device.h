/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The miscellaneous character device, and copies from and to its callers.
 */
#ifndef PLATFORM_DEVICE_H
#define PLATFORM_DEVICE_H

#include "platform/types.h"

PLATFORM_BEGIN

/* The minor number that asks for any free one. */
#define PLATFORM_MINOR_DYNAMIC 255

/* What the device answers; every other file operation is absent. */
struct platform_file_operations {
	const void *owner; /* the module; filled in by the platform */
	s64 (*unlocked_ioctl)(void *file, u32 cmd, u64 arg);
	s64 (*compat_ioctl)(void *file, u32 cmd, u64 arg);
	int (*open)(void *inode, void *file);
	int (*release)(void *inode, void *file);
};

struct platform_misc_device {
	int minor;
	const char *name;
	const struct platform_file_operations *fops;
};

/**
 * platform_misc_register - make the device node appear
 * @device: kept until it is deregistered
 * Context: may sleep. Return: 0, or an error code.
 */
int platform_misc_register(const struct platform_misc_device *device);

/**
 * platform_misc_deregister - make the device node disappear
 * Context: may sleep.
 */
void platform_misc_deregister(const struct platform_misc_device *device);

/**
 * platform_user_range_valid - whether a range lies in the caller's half
 * @address: the caller's address of the first byte
 * @bytes: length of the range
 *
 * Nothing is said about what is mapped there.
 * Context: a system call of the caller. Return: 1 or 0.
 */
int platform_user_range_valid(u64 address, u64 bytes);

/**
 * platform_copy_from_user - copy in from the caller's memory
 * @dest: destination, @bytes bytes
 * @address: the caller's address; its range was found valid
 *
 * Context: a system call of the caller; may sleep.
 * Return: the number of bytes that could not be copied; 0 is success.
 */
u64 platform_copy_from_user(void *dest, u64 address, u64 bytes);

/**
 * platform_copy_to_user - copy out to the caller's memory
 *
 * As platform_copy_from_user(), in the other direction.
 */
u64 platform_copy_to_user(u64 address, const void *source, u64 bytes);

PLATFORM_END

#endif
