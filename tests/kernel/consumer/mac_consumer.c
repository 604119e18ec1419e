// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/*
 * A module as an author of one would write it: with the public header alone it
 * calls all ten functions on MAC type 1 and instance 3, once while it loads or, with
 * the parameter "rounds", so many times on a thread of its own. A call that did not
 * do what it should is counted and goes to the kernel log.
 *
 * With the parameter "reads" it does nothing but read type 0 of instance 3, which others
 * mount and unmount, on the last processor.
 */
#include <linux/cpumask.h>
#include <linux/err.h>
#include <linux/kernel.h>
#include <linux/kthread.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/string.h>

#include "mac_mng/mac_mng.h"

/* The exported functions take no lock: this module's callers share this one. */
static DEFINE_MUTEX(consumer_mutex);

static unsigned int rounds;
module_param(rounds, uint, 0444);
MODULE_PARM_DESC(rounds, "rounds in the background; 0: one while loading");

static unsigned int failures;
module_param(failures, uint, 0444);
MODULE_PARM_DESC(failures, "calls that did not do what they should");

static bool finished;
module_param(finished, bool, 0444);
MODULE_PARM_DESC(finished, "whether the rounds have ended");

static unsigned int reads;
module_param(reads, uint, 0444);
MODULE_PARM_DESC(reads, "reads of instance 3, at least");

static bool enough = true;
module_param(enough, bool, 0644);
MODULE_PARM_DESC(enough, "whether these are enough; else it goes on");

static unsigned int answered;
module_param(answered, uint, 0444);
MODULE_PARM_DESC(answered, "reads that gave the block's address");

static unsigned int refused;
module_param(refused, uint, 0444);
MODULE_PARM_DESC(refused, "reads that met an instance that was not mounted, or being mounted");

static struct task_struct *thread;

static void check(bool good, const char *what, u32 found)
{
	if (good)
		return;
	failures++;
	pr_err("mac_consumer: %s: 0x%x\n", what, found);
}

static void use_block(void)
{
	static const u8 base[6] = { 0x00, 0x11, 0x22, 0x33, 0x44, 0xff };
	static const u8 other[6] = { 0x02, 0x00, 0x00, 0x00, 0x00, 0x01 };
	u8 list[12];
	u8 addr[6];
	u32 num = 0;
	u32 result;

	result = drv_mac_set_addr_num(MAC_DEFAULT_INSTANCE, 1, 8, base);
	check(result == 0, "set address and count", result);
	result = drv_mac_get_addr(MAC_DEFAULT_INSTANCE, 1, addr, sizeof(addr));
	check(result == 0 && !memcmp(addr, base, 6), "get address", result);
	result = drv_mac_get_num(MAC_DEFAULT_INSTANCE, 1, &num);
	check(result == 0 && num == 8, "get count", result);
	result = drv_mac_get_addr_num(MAC_DEFAULT_INSTANCE, 1, 2, list, sizeof(list));
	check(result == 0 && list[10] == 0x45 && list[11] == 0x00, "list", result);
	result = drv_mac_set_addr(MAC_DEFAULT_INSTANCE, 1, other);
	check(result == 0, "set address", result);
	result = drv_mac_set_num(MAC_DEFAULT_INSTANCE, 1, 4);
	check(result == 0, "set count", result);
	result = drv_mac_get_num(MAC_DEFAULT_INSTANCE, 1, NULL);
	check(result == (u32)MAC_INVALID_ARGUMENT, "a null pointer is refused", result);
}

static void use_instance_and_hooks(void)
{
	u8 byte = 0x5a;
	u32 result;

	result = drv_mac_init(3);
	check(result == 0, "mount instance 3", result);
	result = drv_mac_init(3);
	check(result == (u32)MAC_FAULT, "mounting it again is refused", result);
	result = drv_mac_deinit(3);
	check(result == 0, "unmount it", result);
	result = drv_mac_patch_func1(&byte, 1);
	check(result == 0 && byte == 0x5a, "first hook", result);
	result = drv_mac_patch_func2(&byte, 0);
	check(result == (u32)MAC_INVALID_ARGUMENT, "second hook without a length", result);
}

static void use_everything(void)
{
	mutex_lock(&consumer_mutex);
	use_block();
	use_instance_and_hooks();
	mutex_unlock(&consumer_mutex);
}

/* What a read may come back with that meets an unmounting: no such block, or one that was
 * mounted again and is empty. */
static bool is_refusal(u32 result)
{
	return result == (u32)MAC_NOT_SUPPORTED || result == (u32)MAC_FAULT ||
	       result == (u32)MAC_FAIL || result == (u32)MAC_INVALID_VALUE ||
	       result == 0x90000002;
}

static void read_other(void)
{
	static const u8 base[6] = { 2, 0, 0, 0, 0, 1 };
	u8 addr[6];
	u32 result = drv_mac_get_addr(3, 0, addr, sizeof(addr));

	if (result == 0 && !memcmp(addr, base, 6))
		answered++;
	else if (is_refusal(result))
		refused++;
	else
		check(false, "a read beside unmounting", result);
}

static int work(void *unused)
{
	unsigned int i;

	for (i = 0; i < rounds && !kthread_should_stop(); i++)
		use_everything();
	for (i = 0; (i < reads || !READ_ONCE(enough)) && !kthread_should_stop(); i++) {
		read_other();
		cond_resched();
	}
	WRITE_ONCE(finished, true);
	while (!kthread_should_stop())
		schedule_timeout_interruptible(HZ / 10);
	return 0;
}

static int __init consumer_load(void)
{
	if (!rounds && !reads) {
		use_everything();
		return failures ? -EINVAL : 0;
	}
	thread = kthread_create(work, NULL, "mac_consumer");
	if (IS_ERR(thread))
		return PTR_ERR(thread);
	if (reads)
		kthread_bind(thread, num_online_cpus() - 1);
	wake_up_process(thread);
	return 0;
}

static void __exit consumer_unload(void)
{
	if (thread)
		kthread_stop(thread);
}

module_init(consumer_load);
module_exit(consumer_unload);

MODULE_DESCRIPTION("A consumer of mac_mng");
MODULE_LICENSE("GPL");
