// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The diagnostic service: directory objects under one parent. */
#include <linux/kobject.h>
#include <linux/list.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/slab.h>
#include <linux/string.h>

#include "platform/diag.h"
#include "services.h"

/* Its name is that of the module whose it is. */
struct object {
	struct list_head list;
	struct kobject *kobject;
};

static LIST_HEAD(objects);
static DEFINE_MUTEX(objects_mutex);
static struct kobject *parent;

void *diag_create_kobject(const char *name)
{
	struct object *object = kzalloc(sizeof(*object), GFP_KERNEL);

	if (!object)
		return NULL;
	object->kobject = kobject_create_and_add(name, parent);
	if (!object->kobject) {
		kfree(object);
		return NULL;
	}
	mutex_lock(&objects_mutex);
	list_add_tail(&object->list, &objects);
	mutex_unlock(&objects_mutex);
	return object->kobject;
}
EXPORT_SYMBOL_GPL(diag_create_kobject);

static void remove_object(struct object *object)
{
	list_del(&object->list);
	kobject_put(object->kobject);
	kfree(object);
}

void diag_delete_kobject(void *kobject)
{
	struct object *object;
	struct object *next;

	mutex_lock(&objects_mutex);
	list_for_each_entry_safe(object, next, &objects, list) {
		if (kobject && object->kobject == kobject)
			remove_object(object);
	}
	mutex_unlock(&objects_mutex);
}
EXPORT_SYMBOL(diag_delete_kobject);

void diag_forget(const struct module *module)
{
	struct object *object;
	struct object *next;

	mutex_lock(&objects_mutex);
	list_for_each_entry_safe(object, next, &objects, list) {
		if (strcmp(kobject_name(object->kobject), module->name) == 0)
			remove_object(object);
	}
	mutex_unlock(&objects_mutex);
}

/* The service keeps no list of modules and files of its own: the objects are in
 * sysfs for everybody to see. */
u32 diag_module_register(const char *name)
{
	pr_debug("diagnostics of %s registered\n", name);
	return SERVICE_OK;
}
EXPORT_SYMBOL(diag_module_register);

u32 diag_module_unregister(const char *name)
{
	pr_debug("diagnostics of %s unregistered\n", name);
	return SERVICE_OK;
}
EXPORT_SYMBOL(diag_module_unregister);

u32 diag_filelist_register(const char *name, u32 name_length, const struct diag_file *files)
{
	for (; files->name; files++)
		pr_debug("diagnostics of %s: file %s, kind %u\n", name, files->name, files->kind);
	return SERVICE_OK;
}
EXPORT_SYMBOL(diag_filelist_register);

u32 diag_filelist_unregister(const char *name, u32 name_length, const struct diag_file *files)
{
	return SERVICE_OK;
}
EXPORT_SYMBOL(diag_filelist_unregister);

void diag_start(struct kobject *parent_kobject)
{
	parent = parent_kobject;
}

/* What is left has no module of its name. */
void diag_stop(void)
{
	struct object *object;
	struct object *next;

	list_for_each_entry_safe(object, next, &objects, list)
		remove_object(object);
	parent = NULL;
}
