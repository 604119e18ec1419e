// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Memory and locks of the system. */
#include <linux/list.h>
#include <linux/mutex.h>
#include <linux/poison.h>
#include <linux/printk.h>
#include <linux/slab.h>
#include <linux/spinlock.h>
#include <linux/string.h>
#include <linux/vmalloc.h>

#include "mng.h"
#include "platform/lock.h"
#include "platform/memory.h"
#include "platform/poison.h"

void *platform_zalloc(u64 bytes)
{
	return bytes > PLATFORM_HEAP_MAX ? NULL : kzalloc(bytes, GFP_KERNEL | __GFP_NOWARN);
}

void platform_free(void *block)
{
	kfree(block);
}

/*
 * A block that may be left behind. The note is no part of it, so that the block suits a
 * device's transfers as any other; it is how the leak detector finds the block, and
 * blocks without a note that nobody points to are still leaks.
 */
struct kept {
	struct list_head list;
	void *block;
};

/* The newest first. */
static LIST_HEAD(kept_blocks);
static DEFINE_SPINLOCK(kept_lock);

void *platform_kept_zalloc(u64 bytes)
{
	struct kept *kept = kmalloc(sizeof(*kept), GFP_KERNEL | __GFP_NOWARN);
	unsigned long flags;

	if (!kept)
		return NULL;
	kept->block = platform_zalloc(bytes);
	if (!kept->block) {
		kfree(kept);
		return NULL;
	}
	spin_lock_irqsave(&kept_lock, flags);
	list_add(&kept->list, &kept_blocks);
	spin_unlock_irqrestore(&kept_lock, flags);
	return kept->block;
}

/* Its note, off the list. What is freed at all is old: the default instance's. */
static struct kept *take_note(const void *block)
{
	struct kept *found = NULL;
	struct kept *kept;
	unsigned long flags;

	spin_lock_irqsave(&kept_lock, flags);
	list_for_each_entry_reverse(kept, &kept_blocks, list) {
		if (kept->block != block)
			continue;
		list_del(&kept->list);
		found = kept;
		break;
	}
	spin_unlock_irqrestore(&kept_lock, flags);
	return found;
}

void platform_kept_free(void *block)
{
	struct kept *kept;

	if (!block)
		return;
	kept = take_note(block);
	if (!kept) {
		/* Not WARN_ON(): its table holds distances, which kernels before 4.5 refuse. */
		pr_err("mac_mng: %p was never kept, and is not freed\n", block);
		return;
	}
	kfree(block);
	kfree(kept);
}

void mng_memory_reclaim(void)
{
	struct kept *kept;
	struct kept *next;

	list_for_each_entry_safe(kept, next, &kept_blocks, list) {
		list_del(&kept->list);
		kfree(kept->block);
		kfree(kept);
	}
}

void *platform_buffer_alloc(u64 bytes)
{
	if (bytes > PLATFORM_BUFFER_MAX)
		return NULL;
	return vzalloc(bytes ? bytes : 1);
}

void platform_buffer_free(void *buffer)
{
	vfree(buffer);
}

/*
 * One lock class for each name, so that lock checkers tell nested locks apart. The
 * names are the system's, few and known; a further one shares the last class.
 */
static struct {
	const char *name;
	struct lock_class_key key;
} lock_classes[] = {
	{ "&g_mac_config.lock" },
	{ "&config->lock" },
	{ "&g_mac_func.lock" },
	{ "&g_mac_drv.lock" },
	{ "&g_mac_config.dev_mutex" },
	{ "&g_mac_config.show_mutex" },
	{ "&(inst_mng->mac_mutex)" },
	{ "mac_mng lock" },
};

static struct lock_class_key *class_of(const char *name)
{
	size_t i = 0;

	while (i < ARRAY_SIZE(lock_classes) - 1 && strcmp(lock_classes[i].name, name) != 0)
		i++;
	return &lock_classes[i].key;
}

static spinlock_t *spinlock_of(struct platform_spinlock *lock)
{
	BUILD_BUG_ON(sizeof(spinlock_t) > sizeof(lock->storage));
	BUILD_BUG_ON(__alignof__(spinlock_t) > __alignof__(lock->storage));
	return (spinlock_t *)lock->storage;
}

void platform_spin_init(struct platform_spinlock *lock, const char *name)
{
	spinlock_t *spinlock = spinlock_of(lock);

	spin_lock_init(spinlock);
	lockdep_set_class_and_name(spinlock, class_of(name), name);
}

unsigned long platform_spin_lock_irqsave(struct platform_spinlock *lock)
{
	unsigned long flags;

	spin_lock_irqsave(spinlock_of(lock), flags);
	return flags;
}

void platform_spin_unlock_irqrestore(struct platform_spinlock *lock, unsigned long flags)
{
	spin_unlock_irqrestore(spinlock_of(lock), flags);
}

static struct mutex *mutex_of(struct platform_mutex *mutex)
{
	BUILD_BUG_ON(sizeof(struct mutex) > sizeof(mutex->storage));
	BUILD_BUG_ON(__alignof__(struct mutex) > __alignof__(mutex->storage));
	return (struct mutex *)mutex->storage;
}

void platform_mutex_init(struct platform_mutex *mutex, const char *name)
{
	__mutex_init(mutex_of(mutex), name, class_of(name));
}

void platform_mutex_lock(struct platform_mutex *mutex)
{
	mutex_lock(mutex_of(mutex));
}

int platform_mutex_lock_killable(struct platform_mutex *mutex)
{
	return mutex_lock_killable(mutex_of(mutex));
}

void platform_mutex_unlock(struct platform_mutex *mutex)
{
	mutex_unlock(mutex_of(mutex));
}

struct mac_link platform_list_poison(void)
{
	return (struct mac_link){ LIST_POISON1, LIST_POISON2 };
}
