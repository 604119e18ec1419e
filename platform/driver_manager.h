/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The driver manager: storage drivers, found by name.
 */
#ifndef PLATFORM_DRIVER_MANAGER_H
#define PLATFORM_DRIVER_MANAGER_H

#include "platform/types.h"

PLATFORM_BEGIN

/*
 * The operations of a storage driver: four of a record format, two of a medium.
 * A slot may be empty (null).
 *
 * get_flag    the format's flag value into *flag
 * get_size    record size in bytes for num addresses
 * set_format  build a record in buf from mac and num; reports the flag and the
 *             check value written; 0 or a status
 * get_format  check and decode the record in buf; num is an output, but the
 *             Kolbe formats read it first as the expected count; 0 or a status
 * write, read move len bytes between buf and the medium; inst is the instance,
 *             name the variable name of an environment medium, chip and offset
 *             the address on the others; 0 or a status; may sleep
 */
struct MacDriverOps {
	void *reserved[2]; /* the driver manager's; left zero */
	void (*get_flag)(u64 *flag);
	u32 (*get_size)(u32 num);
	u32 (*set_format)(const u8 *mac, u32 num, u8 *buf, u32 buf_len, u64 *flag, u32 *crc);
	u32 (*get_format)(const u8 *buf, u32 buf_len, u64 *flag, u8 *mac, u32 *num, u32 *crc);
	u32 (*write)(u32 inst, const char *name, u32 chip, u32 offset, u8 *buf, u32 len);
	u32 (*read)(u32 inst, const char *name, u32 chip, u32 offset, u8 *buf, u32 len);
};

/* A registered driver. The manager links it and reads its name. */
struct MacDriver {
	struct mac_link list;
	const char *name;
	struct MacDriverOps *ops; /* owned by the driver object */
};

/**
 * module_driver_register - make a driver known under its name
 * @driver: the driver; kept until it is unregistered. One without a name is
 * accepted and found by nobody.
 *
 * Context: may sleep.
 * Return: 0, or a code of the manager (null, or the name is taken).
 */
int module_driver_register(struct MacDriver *driver);

/**
 * module_driver_unregister - forget the driver of that name
 * @name: its name; an unknown one is ignored
 *
 * Context: may sleep.
 */
void module_driver_unregister(const char *name);

/**
 * module_driver_find_by_name - the driver of exactly that name
 *
 * Context: any; never sleeps (called under an instance's spinlock).
 * Return: the driver, or null.
 */
struct MacDriver *module_driver_find_by_name(const char *name);

/**
 * module_driver_func_find_by_name - the operations of the driver of that name
 *
 * Context: any; never sleeps (called under an instance's spinlock).
 * Return: the operations; null when there is no such driver or it has none, and when
 * its module is being unloaded.
 */
struct MacDriverOps *module_driver_func_find_by_name(const char *name);

/**
 * module_driver_hold - keep operations from vanishing; a service that may be absent
 * @ops: what module_driver_func_find_by_name() returned
 * @asker: the module that is going to use them (a kernel's struct module)
 *
 * The module of the operations cannot be unloaded before @asker has been. A module does
 * not hold itself. Without this service nobody but @asker may register drivers.
 *
 * Context: any; never sleeps (called under an instance's spinlock).
 * Return: 0, or a code of the manager (the driver is gone, its module is being
 * unloaded, no memory): the operations must not be used.
 */
int module_driver_hold(const struct MacDriverOps *ops, const void *asker);

/**
 * platform_driver_hold - hold operations for as long as this module is there
 * @ops: what module_driver_func_find_by_name() returned
 *
 * Context: any; never sleeps (called under an instance's spinlock).
 * Return: 0, or non-zero: the operations must not be used.
 */
int platform_driver_hold(const struct MacDriverOps *ops);

PLATFORM_END

#endif
