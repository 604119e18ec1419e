// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The driver manager: a list under a spinlock, so that look-ups never sleep. */
#include <linux/module.h>
#include <linux/slab.h>
#include <linux/spinlock.h>
#include <linux/string.h>

#include "platform/driver_manager.h"
#include "services.h"

/* Which module registered a driver. The driver's own link is not used: what a
 * departed module leaves is found by the code that registered it. */
struct registration {
	struct list_head list;
	struct MacDriver *driver;
	unsigned long caller;
};

static LIST_HEAD(registrations);
static DEFINE_SPINLOCK(registrations_lock);

static struct registration *find(const char *name)
{
	struct registration *registration;

	list_for_each_entry(registration, &registrations, list) {
		const char *driver_name = registration->driver->name;

		if (driver_name && strcmp(driver_name, name) == 0)
			return registration;
	}
	return NULL;
}

int module_driver_register(struct MacDriver *driver)
{
	struct registration *registration;
	unsigned long flags;
	int result = SERVICE_OK;

	if (!driver)
		return SERVICE_NULL_ARGUMENT;
	registration = kzalloc(sizeof(*registration), GFP_KERNEL);
	if (!registration)
		return SERVICE_NO_MEMORY;
	registration->driver = driver;
	registration->caller = (unsigned long)__builtin_return_address(0);
	spin_lock_irqsave(&registrations_lock, flags);
	if (driver->name && find(driver->name))
		result = SERVICE_DRIVER_EXISTS;
	else
		list_add_tail(&registration->list, &registrations);
	spin_unlock_irqrestore(&registrations_lock, flags);
	if (result)
		kfree(registration);
	return result;
}
EXPORT_SYMBOL(module_driver_register);

void module_driver_unregister(const char *name)
{
	struct registration *registration = NULL;
	unsigned long flags;

	if (!name)
		return;
	spin_lock_irqsave(&registrations_lock, flags);
	registration = find(name);
	if (registration)
		list_del(&registration->list);
	spin_unlock_irqrestore(&registrations_lock, flags);
	kfree(registration);
}
EXPORT_SYMBOL(module_driver_unregister);

struct MacDriver *module_driver_find_by_name(const char *name)
{
	struct registration *registration = NULL;
	struct MacDriver *driver;
	unsigned long flags;

	if (!name)
		return NULL;
	spin_lock_irqsave(&registrations_lock, flags);
	registration = find(name);
	driver = registration ? registration->driver : NULL;
	spin_unlock_irqrestore(&registrations_lock, flags);
	return driver;
}
EXPORT_SYMBOL(module_driver_find_by_name);

struct MacDriverOps *module_driver_func_find_by_name(const char *name)
{
	struct MacDriver *driver = module_driver_find_by_name(name);

	return driver ? driver->ops : NULL;
}
EXPORT_SYMBOL(module_driver_func_find_by_name);

void driver_forget(const struct module *module)
{
	struct registration *registration;
	struct registration *next;
	unsigned long flags;

	spin_lock_irqsave(&registrations_lock, flags);
	list_for_each_entry_safe(registration, next, &registrations, list) {
		if (!within_module(registration->caller, module))
			continue;
		list_del(&registration->list);
		kfree(registration);
	}
	spin_unlock_irqrestore(&registrations_lock, flags);
}
