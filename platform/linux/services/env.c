// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The boot environment in a flash partition. */
#include <linux/err.h>
#include <linux/mtd/mtd.h>
#include <linux/mutex.h>
#include <linux/slab.h>
#include <linux/string.h>
#include <linux/vmalloc.h>

#include "platform/common/c_api.h"
#include "platform/env.h"
#include "services.h"

#define ENV_OBSOLETE 0 /* the flag of a copy that was retired */

static DEFINE_MUTEX(env_mutex);

/* Where the environment lies. */
struct env_place {
	const char *partition;
	u32 size;
	u64 offset[2];
	u32 flags;
};

/* The current copy in memory. */
struct env_image {
	struct env_place place;
	u8 *bytes;
	int chosen; /* -1: an erased environment */
	u8 flag;
	bool changed;
};

/* From drv_env_set() to drv_env_save(). */
static struct env_image working;

static u32 flags_of(board_node node, const char *partition)
{
	const char *text = board_tree_attribute(board_tree(), node, "flags");
	struct mtd_info *mtd;
	bool nor;

	if (text)
		return strcmp(text, "boolean") == 0 ? COMMON_ENV_BOOLEAN : COMMON_ENV_COUNTER;
	mtd = get_mtd_device_nm(partition);
	if (IS_ERR(mtd))
		return COMMON_ENV_COUNTER;
	nor = mtd->type == MTD_NORFLASH;
	put_mtd_device(mtd);
	return nor ? COMMON_ENV_BOOLEAN : COMMON_ENV_COUNTER;
}

/* Saving one copy would write into the other. */
static bool copies_overlap(const struct env_place *place)
{
	if (place->offset[0] >= place->offset[1] + place->size ||
	    place->offset[1] >= place->offset[0] + place->size)
		return false;
	dev_err_ratelimited(services_device(),
			    "the environment in %s is refused: its copies at 0x%llx and 0x%llx overlap, each has 0x%x bytes\n",
			    place->partition, place->offset[0], place->offset[1], place->size);
	return true;
}

static u32 find_place(struct env_place *place)
{
	board_node node = board_tree_child(board_tree(), board_platform(), "env");

	if (!node)
		return SERVICE_NO_ENV;
	place->partition = board_tree_attribute(board_tree(), node, "mtd");
	place->size = board_number(node, "size", 0);
	if (!place->partition || place->size < 8)
		return SERVICE_NO_ENV;
	place->offset[0] = board_number(node, "offset", 0);
	place->offset[1] = place->offset[0] + place->size;
	if (board_tree_attribute(board_tree(), node, "redundant_offset"))
		place->offset[1] = board_number(node, "redundant_offset", 0);
	place->flags = COMMON_ENV_SINGLE;
	if (!board_number(node, "redundant", 0))
		return SERVICE_OK;
	if (copies_overlap(place))
		return SERVICE_ENV_OVERLAP;
	place->flags = flags_of(node, place->partition);
	return SERVICE_OK;
}

static void drop(struct env_image *image)
{
	vfree(image->bytes);
	memset(image, 0, sizeof(*image));
}

/*
 * A read that fails once is tried again: a count that cannot be read would pass for
 * one that is not there, and that means 16 addresses.
 */
static u32 read_twice(const char *partition, u64 offset, u8 *bytes, u32 len)
{
	u32 result = flash_read(partition, offset, bytes, len);

	return result ? flash_read(partition, offset, bytes, len) : SERVICE_OK;
}

/*
 * The copy that is current if it is valid: the flags say so before any of the data. They
 * are read into the image's memory, for a device may want more than a stack.
 */
static u32 find_preferred(const struct env_image *image, u32 *copy)
{
	const struct env_place *place = &image->place;
	u8 flag[2];
	u32 i;

	*copy = 0;
	if (place->flags == COMMON_ENV_SINGLE)
		return SERVICE_OK;
	for (i = 0; i < 2; i++) {
		u32 result = read_twice(place->partition,
					place->offset[i] + COMMON_ENV_FLAG_OFFSET, image->bytes, 1);

		if (result)
			return result;
		flag[i] = image->bytes[0];
	}
	*copy = common_env_preferred(flag[0], flag[1], place->flags);
	return SERVICE_OK;
}

/* Reads copies into @image until one is valid; an environment is erased when all are. */
static u32 read_current(struct env_image *image)
{
	const struct env_place *place = &image->place;
	u32 copies = place->flags == COMMON_ENV_SINGLE ? 1 : 2;
	bool erased = true;
	u32 first;
	u32 result = find_preferred(image, &first);
	u32 i;

	for (i = 0; i < copies && !result; i++) {
		u32 copy = i ^ first;
		struct common_env_copy found;

		result = read_twice(place->partition, place->offset[copy], image->bytes,
				    place->size);
		if (result)
			break;
		found = common_env_inspect(image->bytes, place->size, place->flags);
		if (found.state == COMMON_ENV_VALID) {
			image->chosen = copy;
			image->flag = found.flag;
			return SERVICE_OK;
		}
		erased = erased && found.state == COMMON_ENV_ERASED;
	}
	if (result)
		return result;
	if (!erased)
		return SERVICE_ENV_DAMAGED;
	image->chosen = -1;
	memset(image->bytes, 0, place->size);
	return SERVICE_OK;
}

/* Reads the current copy into @image, which holds nothing after a failure. */
static u32 load(struct env_image *image)
{
	u32 result = find_place(&image->place);

	if (result)
		return result;
	image->bytes = vmalloc(image->place.size);
	result = image->bytes ? read_current(image) : SERVICE_NO_MEMORY;
	if (result) {
		vfree(image->bytes);
		image->bytes = NULL;
	}
	return result;
}

static const char *find(struct env_image *image, const char *name, u32 *length)
{
	u32 data = common_env_data_offset(image->place.flags);

	return common_env_find(image->bytes + data, image->place.size - data, name, length);
}

u32 drv_env_get(const char *name, char *value, u32 size)
{
	struct env_image fresh = { .bytes = NULL };
	struct env_image *image = &fresh;
	const char *found;
	u32 result = SERVICE_OK;
	u32 length;

	if (!name || !value)
		return SERVICE_NULL_ARGUMENT;
	mutex_lock(&env_mutex);
	if (working.bytes)
		image = &working;
	else
		result = load(&fresh);
	if (!result) {
		found = find(image, name, &length);
		if (!found) {
			result = SERVICE_ENV_NO_VARIABLE;
		} else if (length >= size) {
			result = SERVICE_ENV_TOO_LONG;
		} else {
			memcpy(value, found, length);
			value[length] = '\0';
		}
	}
	drop(&fresh);
	mutex_unlock(&env_mutex);
	return result;
}
EXPORT_SYMBOL_GPL(drv_env_get);

static u32 set_variable(const char *name, const char *value)
{
	u32 data = common_env_data_offset(working.place.flags);
	u32 length;
	const char *old = find(&working, name, &length);

	if (old && length == strlen(value) && !memcmp(old, value, length))
		return SERVICE_OK;
	switch (common_env_set(working.bytes + data, working.place.size - data, name, value)) {
	case 0:
		working.changed = true;
		return SERVICE_OK;
	case 1:
		return SERVICE_ENV_FULL;
	default:
		return SERVICE_ENV_BAD_NAME;
	}
}

u32 drv_env_set(const char *name, const char *value)
{
	u32 result = SERVICE_OK;

	if (!name || !value)
		return SERVICE_NULL_ARGUMENT;
	mutex_lock(&env_mutex);
	if (!working.bytes)
		result = load(&working);
	if (!result)
		result = set_variable(name, value);
	mutex_unlock(&env_mutex);
	return result;
}
EXPORT_SYMBOL_GPL(drv_env_set);

static u32 store(struct env_image *image)
{
	struct env_place *place = &image->place;
	bool redundant = place->flags != COMMON_ENV_SINGLE;
	u32 target = redundant && image->chosen == 0 ? 1 : 0;
	u32 result;

	common_env_seal(image->bytes, place->size, place->flags,
			common_env_next_flag(place->flags, image->flag));
	result = flash_write(place->partition, place->offset[target], image->bytes, place->size);
	if (result || place->flags != COMMON_ENV_BOOLEAN || image->chosen < 0)
		return result;
	/* Both are marked active now: retire the old copy in place. The image is done with. */
	image->bytes[0] = ENV_OBSOLETE;
	return flash_write(place->partition, place->offset[image->chosen] + COMMON_ENV_FLAG_OFFSET,
			   image->bytes, 1);
}

u32 drv_env_save(void)
{
	u32 result = SERVICE_OK;

	mutex_lock(&env_mutex);
	if (working.bytes && working.changed)
		result = store(&working);
	drop(&working);
	mutex_unlock(&env_mutex);
	return result;
}
EXPORT_SYMBOL_GPL(drv_env_save);

/* What was set and never saved. */
void env_stop(void)
{
	drop(&working);
}
