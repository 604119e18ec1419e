/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * Memory of the system.
 *
 * The record heap, whose blocks may be freed in atomic context; blocks of it that may
 * be left behind; and the control-device heap for large, virtually contiguous buffers.
 */
#ifndef PLATFORM_MEMORY_H
#define PLATFORM_MEMORY_H

#include "platform/types.h"

PLATFORM_BEGIN

/* The largest block of the record heap, in bytes; above it allocation fails. */
#define PLATFORM_HEAP_MAX 0x400000ULL

/* The largest control-device buffer, in bytes; above it allocation fails. */
#define PLATFORM_BUFFER_MAX 0x1000000ULL

/**
 * platform_zalloc - allocate a zero-filled block of the record heap
 * @bytes: size in bytes; 1 or more
 *
 * Context: may sleep; not to be called under a spinlock.
 * Return: the block, aligned for any scalar; null when it cannot be had or
 * @bytes is above PLATFORM_HEAP_MAX.
 */
void *platform_zalloc(u64 bytes);

/**
 * platform_free - free a block of platform_zalloc()
 * @block: the block, or null (nothing happens)
 *
 * Context: any, also under a spinlock with interrupts off.
 */
void platform_free(void *block);

/**
 * platform_kept_zalloc - allocate a zero-filled block that may be left behind
 *
 * As platform_zalloc(). A block that is not freed stays until the module goes, and goes
 * with it: what is left on purpose is no leak, and hides none.
 */
void *platform_kept_zalloc(u64 bytes);

/**
 * platform_kept_free - free a block of platform_kept_zalloc()
 * @block: the block, or null (nothing happens)
 *
 * Context: any, also under a spinlock with interrupts off.
 */
void platform_kept_free(void *block);

/**
 * platform_buffer_alloc - allocate a control-device buffer
 * @bytes: size in bytes; 0 still yields a buffer
 *
 * The contents may be handed to user space, so they are cleared: nothing that
 * the memory held before leaves the kernel.
 *
 * Context: may sleep.
 * Return: the buffer; null when it cannot be had or @bytes is above
 * PLATFORM_BUFFER_MAX.
 */
void *platform_buffer_alloc(u64 bytes);

/**
 * platform_buffer_free - free a buffer of platform_buffer_alloc()
 * @buffer: the buffer, or null (nothing happens)
 *
 * Context: may sleep.
 */
void platform_buffer_free(void *buffer);

PLATFORM_END

#endif
