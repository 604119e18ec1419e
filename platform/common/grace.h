/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * Grace periods by counting, for platforms without sleepable RCU: platform/reclaim.h
 * without its lock.
 *
 * Calls are counted on two sides, and those that enter join one of them. A record
 * waits until the side that is not joined is empty; then the sides change and it waits
 * for the other one, which from now on nobody joins: that is where every call was that
 * could have found the record. So a stream of calls that never ends delays nobody.
 *
 * Readable from C and C++. The caller holds a lock around each function, and releases
 * what grace_leave() and grace_later() hand back after it has given that lock up.
 */
#ifndef PLATFORM_COMMON_GRACE_H
#define PLATFORM_COMMON_GRACE_H

#include "platform/reclaim.h"

/* All zeros: nobody is inside and nothing waits. */
struct grace {
	u32 inside[2];
	u32 joined;                     /* the side that calls join: 0 or 1 */
	struct platform_reclaim *first; /* wait for the other side */
	struct platform_reclaim *then;  /* wait until they may wait for the joined one */
};

/* Which side the call joined. */
static inline u32 grace_enter(struct grace *grace)
{
	grace->inside[grace->joined]++;
	return grace->joined;
}

/* NOLINTBEGIN(modernize-use-nullptr): C reads this, too. */

/* What nobody can be using any more, chained by "next". */
static inline struct platform_reclaim *grace_ready(struct grace *grace)
{
	struct platform_reclaim *ready = NULL;

	while (!grace->inside[grace->joined ^ 1] && (grace->first || grace->then)) {
		while (grace->first) {
			struct platform_reclaim *record = grace->first;

			grace->first = record->next;
			record->next = ready;
			ready = record;
		}
		grace->first = grace->then;
		grace->then = NULL;
		grace->joined ^= 1;
	}
	return ready;
}

/* NOLINTEND(modernize-use-nullptr) */

static inline struct platform_reclaim *grace_leave(struct grace *grace, u32 side)
{
	grace->inside[side]--;
	return grace_ready(grace);
}

static inline struct platform_reclaim *grace_later(struct grace *grace,
						   struct platform_reclaim *record)
{
	record->next = grace->then;
	grace->then = record;
	return grace_ready(grace);
}

/* Releases a chain. */
static inline void grace_release(struct platform_reclaim *ready)
{
	while (ready) {
		struct platform_reclaim *record = ready;

		ready = record->next;
		record->release(record);
	}
}

#endif
