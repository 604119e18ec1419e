// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The flash service over MTD partitions, and partition bytes for the environment. */
#include <linux/err.h>
#include <linux/mtd/mtd.h>
#include <linux/mutex.h>
#include <linux/slab.h>
#include <linux/vmalloc.h>

#include "platform/flash.h"
#include "platform/linux/compat.h"
#include "services.h"

/* Read-modify-erase-write is one step for everybody. */
static DEFINE_MUTEX(flash_mutex);

/* By the number of the MTD device. */
static struct write_guard flash_guard;

void flash_start(void)
{
	guard_start("flash", &flash_guard);
}

static u32 read_bytes(struct mtd_info *mtd, u64 offset, u8 *buf, u32 len)
{
	size_t moved = 0;
	int result = mtd_read(mtd, offset, len, &moved, buf);

	if (mtd_is_bitflip(result))
		result = 0; /* corrected */
	return result || moved != len ? SERVICE_IO_ERROR : SERVICE_OK;
}

static u32 program(struct mtd_info *mtd, u64 offset, const u8 *buf, u32 len)
{
	size_t moved = 0;
	int result = mtd_write(mtd, offset, len, &moved, buf);

	return result || moved != len ? SERVICE_IO_ERROR : SERVICE_OK;
}

/* The range of @new that differs from @old: first byte and length; 0 for none. */
static u32 changed_range(const u8 *old, const u8 *new, u32 len, u32 *first, bool *only_clears)
{
	u32 last = 0;
	u32 found = 0;
	u32 i;

	*only_clears = true;
	for (i = 0; i < len; i++) {
		if (old[i] == new[i])
			continue;
		if (!found++)
			*first = i;
		last = i;
		if ((old[i] & new[i]) != new[i])
			*only_clears = false;
	}
	return found ? last - *first + 1 : 0;
}

/*
 * What changes in the erase block at @start: @count bytes from @from on. @whole holds the
 * block as it is to be, and is what goes to the device: callers' buffers may lie where
 * it cannot reach.
 */
static u32 change_block(struct mtd_info *mtd, u64 start, u32 from, u32 count, const u8 *whole,
			bool only_clears)
{
	if (only_clears && mtd->type == MTD_NORFLASH && mtd->writesize == 1)
		return program(mtd, start + from, whole + from, count);
	if (compat_mtd_erase(mtd, start, mtd->erasesize))
		return SERVICE_IO_ERROR;
	return program(mtd, start, whole, mtd->erasesize);
}

/* A block that is locked is unlocked for the change, and locked again whatever came of it.
 * Of devices that cannot tell none is unlocked. */
static u32 change_locked_block(struct mtd_info *mtd, u64 start, u32 from, u32 count,
			       const u8 *whole, bool only_clears)
{
	bool locked = mtd_is_locked(mtd, start, mtd->erasesize) > 0;
	u32 result;

	if (locked && mtd_unlock(mtd, start, mtd->erasesize))
		return SERVICE_IO_ERROR;
	result = change_block(mtd, start, from, count, whole, only_clears);
	if (locked && mtd_lock(mtd, start, mtd->erasesize))
		dev_err_ratelimited(services_device(),
				    "%s: the block at 0x%llx cannot be locked again\n", mtd->name,
				    start);
	return result;
}

/* @whole has room for an erase block; @buf goes to offset @from of the block at @start. */
static u32 write_block(struct mtd_info *mtd, u64 start, u32 from, const u8 *buf, u32 len,
		       u8 *whole)
{
	bool only_clears;
	u32 first = 0;
	u32 count;
	u32 result = read_bytes(mtd, start, whole, mtd->erasesize);

	if (result)
		return result;
	count = changed_range(whole + from, buf, len, &first, &only_clears);
	if (!count)
		return SERVICE_OK;
	memcpy(whole + from, buf, len);
	result = change_locked_block(mtd, start, from + first, count, whole, only_clears);
	if (!result)
		result = read_bytes(mtd, start + from, whole + from, len);
	if (result)
		return result;
	return memcmp(whole + from, buf, len) ? SERVICE_VERIFY_FAILED : SERVICE_OK;
}

static u32 write_blocks(struct mtd_info *mtd, u64 offset, const u8 *buf, u32 len)
{
	u32 result = SERVICE_OK;
	u8 *whole = vmalloc(mtd->erasesize);

	if (!whole)
		return SERVICE_NO_MEMORY;
	while (len && !result) {
		u32 from = mtd_mod_by_eb(offset, mtd);
		u32 here = min(len, mtd->erasesize - from);

		result = write_block(mtd, offset - from, from, buf, here, whole);
		offset += here;
		buf += here;
		len -= here;
	}
	vfree(whole);
	return result;
}

/*
 * NAND has bad blocks, and pages that are written once; RAM stands for NOR where there is
 * none. Before anything is done to a partition that cannot be written, its locks
 * included, a write of it is refused.
 */
static u32 refuse(const struct mtd_info *mtd, u64 offset, u32 len, bool writing)
{
	if (mtd->type != MTD_NORFLASH && mtd->type != MTD_RAM) {
		dev_err_ratelimited(services_device(),
				    "%s is no NOR flash (its MTD type is %u): no record is kept there\n",
				    mtd->name, mtd->type);
		return SERVICE_NOT_NOR;
	}
	if (offset + len > mtd->size)
		return SERVICE_OUT_OF_RANGE;
	if (writing && !(mtd->flags & MTD_WRITEABLE)) {
		dev_err_ratelimited(services_device(), "%s is read-only: nothing is written\n",
				    mtd->name);
		return SERVICE_READ_ONLY;
	}
	return SERVICE_OK;
}

static struct mtd_info *open_partition(const char *partition, u64 offset, u32 len, bool writing,
				       u32 *result)
{
	struct mtd_info *mtd = get_mtd_device_nm(partition);

	if (IS_ERR(mtd)) {
		*result = SERVICE_NO_CHIP;
		return NULL;
	}
	*result = refuse(mtd, offset, len, writing);
	if (!*result)
		return mtd;
	put_mtd_device(mtd);
	return NULL;
}

u32 flash_read(const char *partition, u64 offset, u8 *buf, u32 len)
{
	u32 result;
	struct mtd_info *mtd = open_partition(partition, offset, len, false, &result);

	if (!mtd)
		return result;
	mutex_lock(&flash_mutex);
	result = len ? read_bytes(mtd, offset, buf, len) : SERVICE_OK;
	mutex_unlock(&flash_mutex);
	put_mtd_device(mtd);
	return result;
}

u32 flash_write(const char *partition, u64 offset, const u8 *buf, u32 len)
{
	u32 result;
	struct mtd_info *mtd = open_partition(partition, offset, len, true, &result);

	if (!mtd)
		return result;
	mutex_lock(&flash_mutex);
	result = SERVICE_WORN_OUT;
	if (!guard_refuses(&flash_guard, mtd->index, offset, len)) {
		result = write_blocks(mtd, offset, buf, len);
		guard_note(&flash_guard, "flash", mtd->index, offset, len, result);
	}
	mutex_unlock(&flash_mutex);
	put_mtd_device(mtd);
	return result;
}

u32 drv_flash_read(u32 inst, u32 chip, u32 offset, u8 *buf, u32 len)
{
	const struct medium *medium = find_medium(MEDIUM_FLASH, inst, chip);

	if (!medium)
		return SERVICE_NO_CHIP;
	return buf ? flash_read(medium->name, offset, buf, len) : SERVICE_NULL_ARGUMENT;
}
EXPORT_SYMBOL_GPL(drv_flash_read);

u32 drv_flash_write(u32 inst, u32 chip, u32 offset, const u8 *buf, u32 len)
{
	const struct medium *medium = find_medium(MEDIUM_FLASH, inst, chip);

	if (!medium)
		return SERVICE_NO_CHIP;
	return buf ? flash_write(medium->name, offset, buf, len) : SERVICE_NULL_ARGUMENT;
}
EXPORT_SYMBOL_GPL(drv_flash_write);
