/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The diagnostic service and the attribute files of the system.
 */
#ifndef PLATFORM_DIAG_H
#define PLATFORM_DIAG_H

#include "platform/types.h"

PLATFORM_BEGIN

/* One attribute file. show and store get the directory object, the record, and
 * the page or text; they return a number of bytes or a negative error. */
struct platform_attribute {
	const char *name;
	u32 mode; /* access bits, octal 0400 for instance */
	long (*show)(void *kobject, const struct platform_attribute *attribute, char *page);
	long (*store)(void *kobject, const struct platform_attribute *attribute,
		      const char *text, size_t length);
};

/* A set of attribute files; without a name they stand directly in the
 * directory of the object. The list ends with a null entry. */
struct platform_attribute_group {
	const char *name;
	struct platform_attribute **attributes;
};

/* What the diagnostic service is told of each file; an all-zero entry ends the
 * list. */
struct diag_file {
	const char *name;
	u8 kind;
};

/**
 * diag_create_kobject - make the directory object of a module
 * @name: name of the module; when it goes, the object goes
 *
 * Context: may sleep. Return: the object, or null.
 */
void *diag_create_kobject(const char *name);

/**
 * diag_delete_kobject - remove a directory object
 * @kobject: the object, or null (nothing happens)
 * Context: may sleep.
 */
void diag_delete_kobject(void *kobject);

/**
 * diag_module_register, diag_module_unregister - tell the service of a module
 * Context: may sleep. Return: 0 or a code of the service.
 */
u32 diag_module_register(const char *name);
u32 diag_module_unregister(const char *name);

/**
 * diag_filelist_register, diag_filelist_unregister - tell of a module's files
 * @name: name of the module
 * @name_length: its length in characters
 * @files: the list; kept until it is unregistered
 *
 * Context: may sleep. Return: 0 or a code of the service.
 */
u32 diag_filelist_register(const char *name, u32 name_length, const struct diag_file *files);
u32 diag_filelist_unregister(const char *name, u32 name_length, const struct diag_file *files);

/**
 * platform_sysfs_create_group - make the files of a group
 * @kobject: directory object; null is refused
 * @group: kept, with its attributes, until it is removed
 *
 * Context: may sleep. Return: 0, or an error code.
 */
u32 platform_sysfs_create_group(void *kobject, const struct platform_attribute_group *group);

/**
 * platform_sysfs_remove_group - remove the files of a group
 * Context: may sleep.
 */
void platform_sysfs_remove_group(void *kobject, const struct platform_attribute_group *group);

PLATFORM_END

#endif
