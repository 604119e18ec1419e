/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * Records that go back when nobody can be using them any more.
 *
 * Look-ups hand out pointers and hold no lock while these are used. Who uses them is
 * between enter and leave; who takes a record off its list has it released later, which
 * is when every call that was inside at that moment has left. Calls that enter
 * afterwards do not find the record, and cannot put it off for ever.
 */
#ifndef PLATFORM_RECLAIM_H
#define PLATFORM_RECLAIM_H

#include "platform/types.h"

PLATFORM_BEGIN

/* Room in a record; unused until it is handed to platform_reclaim_later(). */
struct platform_reclaim {
	struct platform_reclaim *next; /* the platform's */
	void *reserved;                /* the platform's */
	void (*release)(struct platform_reclaim *record);
};

/**
 * platform_reclaim_enter - begin to use what look-ups hand out
 *
 * Never waits and is never refused; calls may nest, and may sleep before they leave.
 *
 * Context: any.
 * Return: a token for platform_reclaim_leave().
 */
int platform_reclaim_enter(void);

/**
 * platform_reclaim_leave - end it; no pointer found since is used any more
 * @token: what platform_reclaim_enter() returned, on the same thread
 *
 * Context: any; may run releases.
 */
void platform_reclaim_leave(int token);

/**
 * platform_reclaim_later - release a record when nobody can be using it
 * @record: the room in a record that no look-up finds any more
 * @release: frees the record; it is called once, at once where nobody is inside, in
 * any context, maybe with the caller's locks held: it does not sleep and takes no lock
 * but the platform's
 *
 * Context: any, also under a spinlock with interrupts off. Does not wait.
 */
void platform_reclaim_later(struct platform_reclaim *record,
			    void (*release)(struct platform_reclaim *record));

PLATFORM_END

#endif
