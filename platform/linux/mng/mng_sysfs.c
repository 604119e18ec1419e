// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The attribute files of the system. */
#include <linux/kobject.h>
#include <linux/slab.h>
#include <linux/sysfs.h>

#include "mng.h"
#include "platform/diag.h"

/* One file, and the system's record of it. */
struct mng_file {
	struct kobj_attribute attribute;
	const struct platform_attribute *record;
};

/* The group as the kernel wants it; there is one. */
static struct {
	struct kobject *kobject;
	struct attribute_group group;
	struct attribute **list;
	struct mng_file *files;
} published;

static struct mng_file *file_of(struct kobj_attribute *attribute)
{
	return container_of(attribute, struct mng_file, attribute);
}

static ssize_t mng_show(struct kobject *kobject, struct kobj_attribute *attribute, char *page)
{
	const struct platform_attribute *record = file_of(attribute)->record;

	return record->show(kobject, record, page);
}

static ssize_t mng_store(struct kobject *kobject, struct kobj_attribute *attribute,
			 const char *text, size_t length)
{
	const struct platform_attribute *record = file_of(attribute)->record;

	return record->store(kobject, record, text, length);
}

static void free_group(void)
{
	kfree(published.list);
	kfree(published.files);
	memset(&published, 0, sizeof(published));
}

u32 platform_sysfs_create_group(void *kobject, const struct platform_attribute_group *group)
{
	size_t count = 0;
	size_t i;
	int result;

	if (!kobject || published.kobject)
		return -EINVAL;
	while (group->attributes[count])
		count++;
	published.list = kcalloc(count + 1, sizeof(*published.list), GFP_KERNEL);
	published.files = kcalloc(count, sizeof(*published.files), GFP_KERNEL);
	if (!published.list || !published.files) {
		free_group();
		return -ENOMEM;
	}
	for (i = 0; i < count; i++) {
		struct mng_file *file = &published.files[i];

		file->record = group->attributes[i];
		sysfs_attr_init(&file->attribute.attr);
		file->attribute.attr.name = file->record->name;
		file->attribute.attr.mode = file->record->mode;
		file->attribute.show = mng_show;
		file->attribute.store = mng_store;
		published.list[i] = &file->attribute.attr;
	}
	published.group.name = group->name;
	published.group.attrs = published.list;
	result = sysfs_create_group(kobject, &published.group);
	if (result) {
		free_group();
		return result;
	}
	published.kobject = kobject;
	return 0;
}

void platform_sysfs_remove_group(void *kobject, const struct platform_attribute_group *group)
{
	mng_sysfs_reclaim();
}

void mng_sysfs_reclaim(void)
{
	if (!published.kobject)
		return;
	sysfs_remove_group(published.kobject, &published.group);
	free_group();
}
