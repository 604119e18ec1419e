// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/*
 * A module of another maker with a storage driver of its own, "drv_mac_vendor": its
 * records are in memory and cannot be changed, base address 02:00:00:00:00:01 and count 4.
 * It also does what modules do that a platform has to bear: it writes log lines
 * without having registered, sets a variable of the environment that it never saves, and
 * holds a module that is just being loaded, as whoever opens its device does.
 */
#include <linux/delay.h>
#include <linux/module.h>
#include <linux/poison.h>
#include <linux/string.h>
#include <linux/workqueue.h>

#include "platform/driver_manager.h"
#include "platform/env.h"
#include "platform/log.h"

#define NAME "drv_mac_vendor"
#define UNREGISTERED 77
/* More than a data set has in front of an area's name. */
#define BEFORE_NAME 256

static unsigned int pause_ms;
module_param_named(pause, pause_ms, uint, 0644);
MODULE_PARM_DESC(pause, "milliseconds that the next read takes");

static bool poisoned;
module_param(poisoned, bool, 0444);
MODULE_PARM_DESC(poisoned, "whether the data set had been unlinked when that read went on");

static bool intact;
module_param(intact, bool, 0444);
MODULE_PARM_DESC(intact, "whether the data set was still there then");

static unsigned int hold_ms;
module_param_named(hold, hold_ms, uint, 0644);
MODULE_PARM_DESC(hold, "milliseconds for which mac_mng is held from the beginning of its load");

static bool environment;
module_param_named(env, environment, bool, 0444);
MODULE_PARM_DESC(env, "set a variable and never save it");

struct record {
	u8 mac[6];
	u8 reserved[2];
	u32 num;
	u32 check;
};

static const struct record record = { .mac = { 2, 0, 0, 0, 0, 1 }, .num = 4, .check = 0x600d };

static void get_flag(u64 *flag)
{
	*flag = 7;
}

static u32 get_size(u32 num)
{
	return sizeof(record);
}

static u32 set_format(const u8 *mac, u32 num, u8 *buf, u32 len, u64 *flag, u32 *crc)
{
	memcpy(buf, &record, sizeof(record));
	*flag = 7;
	*crc = record.check;
	return 0;
}

static u32 get_format(const u8 *buf, u32 len, u64 *flag, u8 *mac, u32 *num, u32 *crc)
{
	memcpy(mac, record.mac, sizeof(record.mac));
	*num = record.num;
	*flag = 7;
	*crc = record.check;
	return memcmp(buf, &record, sizeof(record)) ? 0x90000001 : 0;
}

static u32 write(u32 inst, const char *name, u32 chip, u32 offset, u8 *buf, u32 len)
{
	return 0x90000002;
}

/* The area's name is inside the data set, which begins with its links. */
static bool links_are_poison(const char *name)
{
	void *const *word = (void *const *)((unsigned long)name & ~7ul);
	void *const *end = word - BEFORE_NAME / sizeof(*word);

	for (; word > end; word--) {
		if (word[0] == LIST_POISON1 && word[1] == LIST_POISON2)
			return true;
	}
	return false;
}

static u32 read(u32 inst, const char *name, u32 chip, u32 offset, u8 *buf, u32 len)
{
	unsigned int wait = xchg(&pause_ms, 0);
	char before[32];

	if (wait) {
		memcpy(before, name, sizeof(before));
		msleep(wait);
		intact = !memcmp(before, name, sizeof(before));
		poisoned = links_are_poison(name);
	}
	memcpy(buf, &record, min_t(size_t, len, sizeof(record)));
	return 0;
}

static struct MacDriverOps operations = {
	.get_flag = get_flag,
	.get_size = get_size,
	.set_format = set_format,
	.get_format = get_format,
	.write = write,
	.read = read,
};

static struct MacDriver driver = { .name = NAME, .ops = &operations };

static struct module *held;

static void let_go(struct work_struct *work)
{
	module_put(held);
}

static DECLARE_DELAYED_WORK(release_work, let_go);

static int module_changed(struct notifier_block *block, unsigned long state, void *data)
{
	struct module *module = data;
	unsigned int wait;

	if (state != MODULE_STATE_COMING || strcmp(module->name, "mac_mng"))
		return NOTIFY_OK;
	wait = xchg(&hold_ms, 0);
	if (wait && try_module_get(module)) {
		held = module;
		schedule_delayed_work(&release_work, msecs_to_jiffies(wait));
	}
	return NOTIFY_OK;
}

static struct notifier_block notifier = { .notifier_call = module_changed };

static int __init vendor_load(void)
{
	int result = register_module_notifier(&notifier);

	if (result)
		return result;
	result = module_driver_register(&driver);
	if (result) {
		unregister_module_notifier(&notifier);
		return -EBUSY;
	}
	drv_log_record(UNREGISTERED, PLATFORM_LOG_ERROR, 0, "mac_vendor is loaded");
	if (environment)
		drv_env_set("vendor", "never saved");
	return 0;
}

static void __exit vendor_unload(void)
{
	pr_info("mac_vendor: on its way out its driver is %s\n",
		module_driver_func_find_by_name(NAME) ? "found" : "not found");
	flush_delayed_work(&release_work);
	unregister_module_notifier(&notifier);
	module_driver_unregister(NAME);
}

module_init(vendor_load);
module_exit(vendor_unload);

MODULE_DESCRIPTION("A storage driver of another module");
MODULE_LICENSE("GPL");
