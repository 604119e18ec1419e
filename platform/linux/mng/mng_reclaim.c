// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Records that go back when every call that was inside has left. */
#include <linux/kernel.h>
#include <linux/spinlock.h>
#include <linux/types.h>

#include "mng.h"
#include "platform/linux/compat.h"
#include "platform/reclaim.h"

#ifdef COMPAT_SRCU

static struct srcu_struct calls;

int platform_reclaim_enter(void)
{
	return srcu_read_lock(&calls);
}

void platform_reclaim_leave(int token)
{
	srcu_read_unlock(&calls, token);
}

static void release_record(struct rcu_head *head)
{
	struct platform_reclaim *record = (struct platform_reclaim *)head;

	record->release(record);
}

void platform_reclaim_later(struct platform_reclaim *record,
			    void (*release)(struct platform_reclaim *record))
{
	BUILD_BUG_ON(sizeof(struct rcu_head) > offsetof(struct platform_reclaim, release));
	record->release = release;
	call_srcu(&calls, (struct rcu_head *)record, release_record);
}

int mng_reclaim_start(void)
{
	return init_srcu_struct(&calls);
}

void mng_reclaim_stop(void)
{
	/* The releases are in the image that goes. */
	srcu_barrier(&calls);
	cleanup_srcu_struct(&calls);
}

#else

#include "platform/common/grace.h"

static struct grace calls;
static DEFINE_SPINLOCK(calls_lock);

int platform_reclaim_enter(void)
{
	unsigned long flags;
	u32 side;

	spin_lock_irqsave(&calls_lock, flags);
	side = grace_enter(&calls);
	spin_unlock_irqrestore(&calls_lock, flags);
	return side;
}

void platform_reclaim_leave(int token)
{
	struct platform_reclaim *ready;
	unsigned long flags;

	spin_lock_irqsave(&calls_lock, flags);
	ready = grace_leave(&calls, token);
	spin_unlock_irqrestore(&calls_lock, flags);
	grace_release(ready);
}

void platform_reclaim_later(struct platform_reclaim *record,
			    void (*release)(struct platform_reclaim *record))
{
	struct platform_reclaim *ready;
	unsigned long flags;

	record->release = release;
	spin_lock_irqsave(&calls_lock, flags);
	ready = grace_later(&calls, record);
	spin_unlock_irqrestore(&calls_lock, flags);
	grace_release(ready);
}

int mng_reclaim_start(void)
{
	return 0;
}

void mng_reclaim_stop(void)
{
	/* Nobody is inside a module that goes, so nothing waits. */
}

#endif
