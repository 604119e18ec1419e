// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The EEPROM service over nvmem devices or, where a kernel has none for the chip, over
 * the chip's file in sysfs. */
#include <linux/err.h>
#include <linux/fs.h>
#include <linux/mutex.h>
#include <linux/nvmem-consumer.h>
#include <linux/slab.h>
#include <linux/workqueue.h>

#include "platform/eeprom.h"
#include "platform/linux/compat.h"
#include "services.h"

#define SYSFS_CHIP "/sys/bus/i2c/devices/%s/eeprom"
#define NUMBERS_MAX 256 /* that a kernel may have appended to a chip's name */

static DEFINE_MUTEX(eeprom_mutex);

/* By the medium's own number. */
static struct write_guard eeprom_guard;

void eeprom_start(void)
{
	guard_start("eeprom", &eeprom_guard);
}

/* The file where there is no nvmem device. */
struct chip {
	const struct medium *medium;
	struct nvmem_device *nvmem;
	struct file *file;
};

/*
 * Kernels append a number to the name of a chip, in the order in which devices
 * appear: without an exact match the name is tried with each number.
 */
static struct nvmem_device *find_nvmem(const char *name)
{
	struct nvmem_device *nvmem = compat_nvmem_get(services_device(), name);
	char numbered[40];
	int id;

	if (nvmem == ERR_PTR(-EOPNOTSUPP))
		return NULL; /* no name is found */
	for (id = 0; IS_ERR(nvmem) && id < NUMBERS_MAX; id++) {
		scnprintf(numbered, sizeof(numbered), "%s%d", name, id);
		nvmem = compat_nvmem_get(services_device(), numbered);
	}
	return IS_ERR(nvmem) ? NULL : nvmem;
}

struct file_request {
	struct work_struct work;
	const char *path;
	int access;
	struct file *file;
};

/* Opening waits for nobody, whatever kind of file the path leads to. */
static void open_file(struct work_struct *work)
{
	struct file_request *request = container_of(work, struct file_request, work);

	request->file = filp_open(request->path, request->access | O_NONBLOCK, 0);
}

/*
 * On a kernel thread, with its credentials and root directory: whoever may use the
 * control device, or calls from another module, need not be allowed to open the chip's
 * file, nor see it from the root directory that it has.
 */
static struct file *open_as_kernel(const char *path, int access)
{
	struct file_request request = { .path = path, .access = access };

	INIT_WORK_ONSTACK(&request.work, open_file);
	queue_work(system_unbound_wq, &request.work);
	flush_work(&request.work);
	destroy_work_on_stack(&request.work);
	return request.file;
}

/* @name is a path, or an I2C device whose file has a known one. */
static struct file *find_file(const char *name, int access)
{
	char path[96];

	if (name[0] != '/') {
		scnprintf(path, sizeof(path), SYSFS_CHIP, name);
		name = path;
	}
	return open_as_kernel(name, access);
}

/* A chip that is there and may not be written has failed, as it does over nvmem. */
static u32 open_failure(long error)
{
	return error == -EACCES || error == -EPERM || error == -EROFS ? SERVICE_IO_ERROR :
									 SERVICE_NO_CHIP;
}

/* @access is O_RDONLY or O_RDWR. */
static u32 open_chip(struct chip *chip, u32 inst, u32 number, u32 offset, u32 len, int access)
{
	const struct medium *medium = find_medium(MEDIUM_EEPROM, inst, number);

	if (!medium)
		return SERVICE_NO_CHIP;
	if ((u64)offset + len > medium->size)
		return SERVICE_OUT_OF_RANGE;
	chip->medium = medium;
	chip->nvmem = medium->name[0] == '/' ? NULL : find_nvmem(medium->name);
	if (chip->nvmem)
		return SERVICE_OK;
	chip->file = find_file(medium->name, access);
	return IS_ERR(chip->file) ? open_failure(PTR_ERR(chip->file)) : SERVICE_OK;
}

static void close_chip(struct chip *chip)
{
	if (chip->nvmem)
		nvmem_device_put(chip->nvmem);
	else
		filp_close(chip->file, NULL);
}

/* A file gives and takes at most a page at a time. */
static bool read_file(struct file *file, u32 offset, u8 *buf, u32 len)
{
	while (len) {
		ssize_t moved = compat_kernel_read(file, buf, len, offset);

		if (moved <= 0)
			return false;
		offset += moved;
		buf += moved;
		len -= moved;
	}
	return true;
}

static bool write_file(struct file *file, u32 offset, const u8 *buf, u32 len)
{
	while (len) {
		ssize_t moved = compat_kernel_write(file, buf, len, offset);

		if (moved <= 0)
			return false;
		offset += moved;
		buf += moved;
		len -= moved;
	}
	return true;
}

static bool read_chip(struct chip *chip, u32 offset, u8 *buf, u32 len)
{
	if (chip->nvmem)
		return nvmem_device_read(chip->nvmem, offset, len, buf) >= 0;
	return read_file(chip->file, offset, buf, len);
}

static bool write_chip(struct chip *chip, u32 offset, const u8 *buf, u32 len)
{
	if (chip->nvmem)
		return nvmem_device_write(chip->nvmem, offset, len, (void *)buf) >= 0;
	return write_file(chip->file, offset, buf, len);
}

u32 drv_eeprom_read_data(u32 inst, u32 number, u32 offset, u8 *buf, u32 len)
{
	struct chip chip;
	u32 result;

	if (!buf)
		return SERVICE_NULL_ARGUMENT;
	result = open_chip(&chip, inst, number, offset, len, O_RDONLY);
	if (result)
		return result;
	mutex_lock(&eeprom_mutex);
	if (len && !read_chip(&chip, offset, buf, len))
		result = SERVICE_IO_ERROR;
	mutex_unlock(&eeprom_mutex);
	close_chip(&chip);
	return result;
}
EXPORT_SYMBOL_GPL(drv_eeprom_read_data);

/* Writes what differs and reads it back: a write-protected chip takes a write in
 * silence. @stored has room for @len bytes. */
static u32 store(struct chip *chip, u32 offset, const u8 *buf, u32 len, u8 *stored)
{
	if (!read_chip(chip, offset, stored, len))
		return SERVICE_IO_ERROR;
	if (!memcmp(stored, buf, len))
		return SERVICE_OK;
	if (!write_chip(chip, offset, buf, len))
		return SERVICE_IO_ERROR;
	if (!read_chip(chip, offset, stored, len))
		return SERVICE_IO_ERROR;
	return memcmp(stored, buf, len) ? SERVICE_VERIFY_FAILED : SERVICE_OK;
}

u32 drv_eeprom_write_data(u32 inst, u32 number, u32 offset, const u8 *buf, u32 len)
{
	struct chip chip;
	u32 result;
	u8 *stored;

	if (!buf)
		return SERVICE_NULL_ARGUMENT;
	result = open_chip(&chip, inst, number, offset, len, O_RDWR);
	if (result)
		return result;
	stored = kmalloc(len + 1, GFP_KERNEL);
	result = SERVICE_NO_MEMORY;
	if (stored) {
		mutex_lock(&eeprom_mutex);
		result = SERVICE_WORN_OUT;
		number = chip.medium->number;
		if (!guard_refuses(&eeprom_guard, number, offset, len)) {
			result = len ? store(&chip, offset, buf, len, stored) : SERVICE_OK;
			guard_note(&eeprom_guard, "eeprom", number, offset, len, result);
		}
		mutex_unlock(&eeprom_mutex);
	}
	kfree(stored);
	close_chip(&chip);
	return result;
}
EXPORT_SYMBOL_GPL(drv_eeprom_write_data);
