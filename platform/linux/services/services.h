/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/* What the reference services share. */
#ifndef PLATFORM_LINUX_SERVICES_H
#define PLATFORM_LINUX_SERVICES_H

#include <linux/device.h>
#include <linux/fs.h>
#include <linux/module.h>
#include <linux/types.h>

#include "platform/common/board_tree.h"
#include "platform/common/service_status.h"
#include "platform/common/write_guard.h"

/* The device of the services; kernels with device trees want one for every look-up. */
struct device *services_device(void);

/* The board, loaded once and read-only from then on. */
const struct board_tree *board_tree(void);
/* Its <platform> element, 0 without a board. */
board_node board_platform(void);
/* A number attribute; @otherwise without it. */
u32 board_number(board_node node, const char *attribute, u32 otherwise);

int board_load(struct device *device);
void board_unload(void);

/* A chip that the board names under <platform>. */
struct medium {
	enum medium_kind { MEDIUM_FLASH, MEDIUM_EEPROM } kind;
	u32 chip;
	bool serves_one; /* instance, @inst, and no other */
	u32 inst;
	u32 number; /* of its own among its kind: the chip's, or the next free one */
	u32 size; /* bytes; 0 when the board does not say */
	const char *name; /* of its partition or its nvmem device; null when not given */
};

/*
 * The medium of that kind that the instance finds under a chip number: the one that serves
 * it alone, else the one that serves all. Null without either, or when that has no name.
 */
const struct medium *find_medium(enum medium_kind kind, u32 inst, u32 chip);
/* Reads the board's media once; 0 or -ENOMEM. */
int media_start(void);
void media_stop(void);

/*
 * A guard of a kind of medium, shown in debugfs. Says once when a range is refused from
 * now on; the caller holds the kind's mutex.
 */
bool guard_refuses(const struct write_guard *guard, u32 medium, u32 offset, u32 len);
void guard_note(struct write_guard *guard, const char *kind, u32 medium, u32 offset, u32 len,
		u32 result);
void guard_start(const char *kind, struct write_guard *guard);
void flash_start(void);
void eeprom_start(void);
/* A file for reading in the services' folder in debugfs; none where there is no folder. */
void services_file(const char *name, void *data, const struct file_operations *operations);

int log_start(void);
void log_stop(void);
/* Makes directory objects under @parent from now on. */
void diag_start(struct kobject *parent);
void diag_stop(void);
/* Drops the objects of a module that goes away. */
void diag_forget(const struct module *module);
/* A module is being loaded (0 or -ENOMEM: its drivers would be nobody's); one goes, with its
 * drivers and with what it held of others. */
int driver_module_comes(struct module *module);
void driver_module_goes(const struct module *module);
void driver_stop(void);
void env_stop(void);
void xml_stop(void);

/* Reads, or stores with read-modify-erase-write and read-back, bytes of a flash
 * partition; @buf as drv_flash_read() wants it. 0 or a service_status. May sleep. */
u32 flash_read(const char *partition, u64 offset, u8 *buf, u32 len);
u32 flash_write(const char *partition, u64 offset, const u8 *buf, u32 len);

#endif
