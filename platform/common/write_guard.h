/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * Spares a medium that takes no more writes. A bad bit that nothing can set would
 * have a copy rewritten at every access; at one read a second the 100000 erase cycles
 * of a NOR block are gone in a day. After WRITE_GUARD_LIMIT writes in a row that did
 * not read back, a range is refused; the guard lasts as long as the services are
 * loaded.
 *
 * The caller serialises. Any context; nothing is allocated.
 */
#ifndef PLATFORM_COMMON_WRITE_GUARD_H
#define PLATFORM_COMMON_WRITE_GUARD_H

#include "platform/types.h"

PLATFORM_BEGIN

#define WRITE_GUARD_LIMIT 16u
#define WRITE_GUARD_RANGES 32u /* remembered at once; of more, the one that failed least goes */

struct write_guard_range {
	u32 medium;
	u32 offset;
	u32 length;
	u32 failures; /* in a row; 0: this row is free */
};

/* All zeros is an empty guard. */
struct write_guard {
	struct write_guard_range ranges[WRITE_GUARD_RANGES];
};

/* Whether a write of these bytes touches a range that is refused. */
int write_guard_refuses(const struct write_guard *guard, u32 medium, u32 offset, u32 length);

/**
 * write_guard_note - tell how a write went
 * @read_back: whether the bytes read back as they were written
 *
 * Return: 1 when the range is refused from now on, which is worth saying once; else 0.
 */
int write_guard_note(struct write_guard *guard, u32 medium, u32 offset, u32 length, int read_back);

PLATFORM_END

#endif
