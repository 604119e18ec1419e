/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The integer types and the list link that the system and its platform share.
 * Readable from C and C++. The kernel's C code brings its own integer names.
 */
#ifndef PLATFORM_TYPES_H
#define PLATFORM_TYPES_H

#if defined(__KERNEL__) && !defined(__cplusplus)
#include <linux/types.h>
#else
#include <stddef.h>

typedef unsigned char u8;
typedef unsigned short u16;
typedef unsigned int u32;
typedef unsigned long long u64;
typedef int s32;
typedef long long s64;
#endif

#ifdef __cplusplus
#define PLATFORM_BEGIN extern "C" {
#define PLATFORM_END }
#else
#define PLATFORM_BEGIN
#define PLATFORM_END
#endif

/*
 * A doubly linked list link: the first member of every record that is kept on
 * a list. The layout is the kernel's (next, previous).
 */
struct mac_link {
	struct mac_link *next;
	struct mac_link *prev;
};

#endif
