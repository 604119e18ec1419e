// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/*
 * The driver manager: a list under a spinlock, so that look-ups never sleep.
 *
 * Whose a driver is says where it lies: a module's driver, name or operations are in the
 * image of the module. Every module that uses this service is loaded after it, so the
 * service knows them all.
 */
#include <linux/list.h>
#include <linux/module.h>
#include <linux/slab.h>
#include <linux/spinlock.h>
#include <linux/string.h>

#include "platform/driver_manager.h"
#include "services.h"

/* From the beginning of its load until it has gone. */
struct known_module {
	struct list_head list;
	struct module *module;
};

/* The driver's own link is not used: what a departed module leaves is found by owner. */
struct registration {
	struct list_head list;
	struct MacDriver *driver;
	struct module *owner; /* null: nobody's, which cannot go */
};

/* A reference on @owner's module for as long as @asker's is there. */
struct hold {
	struct list_head list;
	struct module *owner;
	const struct module *asker;
};

static LIST_HEAD(modules);
static LIST_HEAD(registrations);
static LIST_HEAD(holds);
static DEFINE_SPINLOCK(manager_lock); /* of all three */

static bool lies_in(const struct module *module, const void *address)
{
	return address && within_module((unsigned long)address, module);
}

static bool owns(const struct module *module, const struct MacDriver *driver)
{
	const struct MacDriverOps *ops = driver->ops;

	if (lies_in(module, driver) || lies_in(module, driver->name) || lies_in(module, ops))
		return true;
	return ops && (lies_in(module, ops->get_flag) || lies_in(module, ops->get_size) ||
		       lies_in(module, ops->set_format) || lies_in(module, ops->get_format) ||
		       lies_in(module, ops->write) || lies_in(module, ops->read));
}

static struct module *owner_of(const struct MacDriver *driver)
{
	struct known_module *known;

	list_for_each_entry(known, &modules, list) {
		if (owns(known->module, driver))
			return known->module;
	}
	return NULL;
}

static struct registration *find_name(const char *name)
{
	struct registration *registration;

	list_for_each_entry(registration, &registrations, list) {
		if (strcmp(registration->driver->name, name) == 0)
			return registration;
	}
	return NULL;
}

static struct registration *find_operations(const struct MacDriverOps *ops)
{
	struct registration *registration;

	list_for_each_entry(registration, &registrations, list) {
		if (registration->driver->ops == ops)
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
	/* Nobody can find it, nor could its owner. */
	if (!driver->name)
		return SERVICE_OK;
	registration = kzalloc(sizeof(*registration), GFP_KERNEL);
	if (!registration)
		return SERVICE_NO_MEMORY;
	registration->driver = driver;
	spin_lock_irqsave(&manager_lock, flags);
	registration->owner = owner_of(driver);
	if (find_name(driver->name))
		result = SERVICE_DRIVER_EXISTS;
	else
		list_add_tail(&registration->list, &registrations);
	spin_unlock_irqrestore(&manager_lock, flags);
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
	spin_lock_irqsave(&manager_lock, flags);
	registration = find_name(name);
	if (registration)
		list_del(&registration->list);
	spin_unlock_irqrestore(&manager_lock, flags);
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
	spin_lock_irqsave(&manager_lock, flags);
	registration = find_name(name);
	driver = registration ? registration->driver : NULL;
	spin_unlock_irqrestore(&manager_lock, flags);
	return driver;
}
EXPORT_SYMBOL(module_driver_find_by_name);

struct MacDriverOps *module_driver_func_find_by_name(const char *name)
{
	struct registration *registration;
	struct MacDriverOps *ops = NULL;
	unsigned long flags;

	if (!name)
		return NULL;
	spin_lock_irqsave(&manager_lock, flags);
	registration = find_name(name);
	/* Of a module on its way out nothing may be used any more. */
	if (registration && (!registration->owner || module_is_live(registration->owner)))
		ops = registration->driver->ops;
	spin_unlock_irqrestore(&manager_lock, flags);
	return ops;
}
EXPORT_SYMBOL(module_driver_func_find_by_name);

static bool is_held(const struct module *owner, const struct module *asker)
{
	struct hold *hold;

	list_for_each_entry(hold, &holds, list) {
		if (hold->owner == owner && hold->asker == asker)
			return true;
	}
	return false;
}

static int add_hold(struct module *owner, const struct module *asker)
{
	struct hold *hold;

	if (!owner || owner == asker || is_held(owner, asker))
		return SERVICE_OK;
	hold = kmalloc(sizeof(*hold), GFP_ATOMIC);
	if (!hold)
		return SERVICE_NO_MEMORY;
	if (!try_module_get(owner)) {
		kfree(hold);
		return SERVICE_DRIVER_GONE;
	}
	hold->owner = owner;
	hold->asker = asker;
	list_add(&hold->list, &holds);
	return SERVICE_OK;
}

int module_driver_hold(const struct MacDriverOps *ops, const void *asker)
{
	struct registration *registration;
	unsigned long flags;
	int result = SERVICE_DRIVER_GONE;

	spin_lock_irqsave(&manager_lock, flags);
	registration = find_operations(ops);
	if (registration)
		result = add_hold(registration->owner, asker);
	spin_unlock_irqrestore(&manager_lock, flags);
	return result;
}
EXPORT_SYMBOL(module_driver_hold);

int driver_module_comes(struct module *module)
{
	struct known_module *known = kmalloc(sizeof(*known), GFP_KERNEL);
	unsigned long flags;

	if (!known)
		return -ENOMEM;
	known->module = module;
	spin_lock_irqsave(&manager_lock, flags);
	list_add_tail(&known->list, &modules);
	spin_unlock_irqrestore(&manager_lock, flags);
	return 0;
}

void driver_module_goes(const struct module *module)
{
	struct registration *registration, *next_registration;
	struct known_module *known, *next_known;
	struct hold *hold, *next_hold;
	unsigned long flags;

	spin_lock_irqsave(&manager_lock, flags);
	list_for_each_entry_safe(registration, next_registration, &registrations, list) {
		if (registration->owner != module)
			continue;
		list_del(&registration->list);
		kfree(registration);
	}
	list_for_each_entry_safe(hold, next_hold, &holds, list) {
		if (hold->asker != module)
			continue;
		list_del(&hold->list);
		module_put(hold->owner);
		kfree(hold);
	}
	list_for_each_entry_safe(known, next_known, &modules, list) {
		if (known->module != module)
			continue;
		list_del(&known->list);
		kfree(known);
	}
	spin_unlock_irqrestore(&manager_lock, flags);
}

/* Registrations of nobody's are left, and modules that never used the service. */
void driver_stop(void)
{
	struct registration *registration, *next_registration;
	struct known_module *known, *next_known;

	list_for_each_entry_safe(registration, next_registration, &registrations, list) {
		list_del(&registration->list);
		kfree(registration);
	}
	list_for_each_entry_safe(known, next_known, &modules, list) {
		list_del(&known->list);
		kfree(known);
	}
}
