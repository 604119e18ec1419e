/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * Locks of the system: spinlocks that save the interrupt state, and sleeping
 * mutexes. The records hold the storage of the lock, the platform knows what is
 * in it. A build whose locks are of another size defines the two sizes.
 */
#ifndef PLATFORM_LOCK_H
#define PLATFORM_LOCK_H

#include "platform/types.h"

#ifndef PLATFORM_SPINLOCK_BYTES
#define PLATFORM_SPINLOCK_BYTES 64
#endif
#ifndef PLATFORM_MUTEX_BYTES
#define PLATFORM_MUTEX_BYTES 144
#endif

PLATFORM_BEGIN

struct platform_spinlock {
	u64 storage[PLATFORM_SPINLOCK_BYTES / 8];
};

struct platform_mutex {
	u64 storage[PLATFORM_MUTEX_BYTES / 8];
};

/**
 * platform_spin_init - set up an unlocked spinlock in zeroed or reused storage
 * @lock: the lock
 * @name: the name under which lock checkers know it, a constant text; locks that
 * nest have different names
 *
 * Context: any; nobody else may be using @lock.
 */
void platform_spin_init(struct platform_spinlock *lock, const char *name);

/**
 * platform_spin_lock_irqsave - take a spinlock with interrupts off
 * @lock: a lock set up by platform_spin_init()
 *
 * Context: any. The holder must not sleep. Not recursive.
 * Return: the interrupt state to give back to platform_spin_unlock_irqrestore().
 */
unsigned long platform_spin_lock_irqsave(struct platform_spinlock *lock);

/**
 * platform_spin_unlock_irqrestore - release a spinlock
 * @lock: the lock, held by the caller
 * @flags: what platform_spin_lock_irqsave() returned
 */
void platform_spin_unlock_irqrestore(struct platform_spinlock *lock, unsigned long flags);

/**
 * platform_mutex_init - set up an unlocked sleeping mutex
 * @mutex: the mutex
 * @name: the name under which lock checkers know it; a constant text
 *
 * Context: any; nobody else may be using @mutex.
 */
void platform_mutex_init(struct platform_mutex *mutex, const char *name);

/**
 * platform_mutex_lock - take a mutex
 * @mutex: a mutex set up by platform_mutex_init()
 *
 * Context: may sleep; not under a spinlock. Not recursive.
 */
void platform_mutex_lock(struct platform_mutex *mutex);

/**
 * platform_mutex_lock_killable - take a mutex unless the caller is killed
 * @mutex: a mutex set up by platform_mutex_init()
 *
 * For waits as long as another caller's medium may take.
 *
 * Context: may sleep; not under a spinlock. Not recursive.
 * Return: 0; a negative error number when a fatal signal came while it waited, and the
 * mutex is not held: nobody will see what the caller returns.
 */
int platform_mutex_lock_killable(struct platform_mutex *mutex);

/**
 * platform_mutex_unlock - release a mutex
 * @mutex: the mutex, held by the calling thread
 */
void platform_mutex_unlock(struct platform_mutex *mutex);

PLATFORM_END

#endif
