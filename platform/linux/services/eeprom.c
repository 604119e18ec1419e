// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The EEPROM service over nvmem devices. */
#include <linux/err.h>
#include <linux/mutex.h>
#include <linux/nvmem-consumer.h>
#include <linux/slab.h>

#include "platform/eeprom.h"
#include "services.h"

static DEFINE_MUTEX(eeprom_mutex);

/*
 * An nvmem device by name. Kernels append a number to the name of a chip, in the
 * order in which devices appear: without an exact match the name is tried with
 * each number.
 */
static struct nvmem_device *find_nvmem(const char *name)
{
	struct nvmem_device *nvmem = nvmem_device_get(services_device(), name);
	char numbered[40];
	int id;

	for (id = 0; IS_ERR(nvmem) && id < 256; id++) {
		scnprintf(numbered, sizeof(numbered), "%s%d", name, id);
		nvmem = nvmem_device_get(services_device(), numbered);
	}
	return nvmem;
}

/* The nvmem device of a chip; null with the code in @result. */
static struct nvmem_device *open_chip(u32 chip, u32 offset, u32 len, u32 *result)
{
	board_node node = board_medium("eeprom", chip);
	const char *name = node ? board_tree_attribute(board_tree(), node, "nvmem") : NULL;
	struct nvmem_device *nvmem;

	*result = SERVICE_NO_CHIP;
	if (!name)
		return NULL;
	if ((u64)offset + len > board_number(node, "size", 0)) {
		*result = SERVICE_OUT_OF_RANGE;
		return NULL;
	}
	nvmem = find_nvmem(name);
	return IS_ERR(nvmem) ? NULL : nvmem;
}

u32 drv_eeprom_read_data(u32 inst, u32 chip, u32 offset, u8 *buf, u32 len)
{
	struct nvmem_device *nvmem;
	u32 result;

	if (!buf)
		return SERVICE_NULL_ARGUMENT;
	nvmem = open_chip(chip, offset, len, &result);
	if (!nvmem)
		return result;
	mutex_lock(&eeprom_mutex);
	result = !len || nvmem_device_read(nvmem, offset, len, buf) >= 0 ? SERVICE_OK :
									    SERVICE_IO_ERROR;
	mutex_unlock(&eeprom_mutex);
	nvmem_device_put(nvmem);
	return result;
}
EXPORT_SYMBOL(drv_eeprom_read_data);

/* Writes what differs and reads it back: a write-protected chip takes a write in
 * silence. @stored has room for @len bytes. */
static u32 store(struct nvmem_device *nvmem, u32 offset, const u8 *buf, u32 len, u8 *stored)
{
	if (nvmem_device_read(nvmem, offset, len, stored) < 0)
		return SERVICE_IO_ERROR;
	if (!memcmp(stored, buf, len))
		return SERVICE_OK;
	if (nvmem_device_write(nvmem, offset, len, (void *)buf) < 0)
		return SERVICE_IO_ERROR;
	if (nvmem_device_read(nvmem, offset, len, stored) < 0)
		return SERVICE_IO_ERROR;
	return memcmp(stored, buf, len) ? SERVICE_VERIFY_FAILED : SERVICE_OK;
}

u32 drv_eeprom_write_data(u32 inst, u32 chip, u32 offset, const u8 *buf, u32 len)
{
	struct nvmem_device *nvmem;
	u32 result;
	u8 *stored;

	if (!buf)
		return SERVICE_NULL_ARGUMENT;
	nvmem = open_chip(chip, offset, len, &result);
	if (!nvmem)
		return result;
	stored = kmalloc(len + 1, GFP_KERNEL);
	result = SERVICE_NO_MEMORY;
	if (stored) {
		mutex_lock(&eeprom_mutex);
		result = len ? store(nvmem, offset, buf, len, stored) : SERVICE_OK;
		mutex_unlock(&eeprom_mutex);
	}
	kfree(stored);
	nvmem_device_put(nvmem);
	return result;
}
EXPORT_SYMBOL(drv_eeprom_write_data);
