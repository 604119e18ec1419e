/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The flash service. It owns bounds checks, erase blocks, read-back and the
 * locking of the device.
 */
#ifndef PLATFORM_FLASH_H
#define PLATFORM_FLASH_H

#include "platform/types.h"

PLATFORM_BEGIN

/**
 * drv_flash_read - read bytes of a flash section
 * @inst: instance id
 * @chip: chip (or section) number
 * @offset: first byte, counted from the start of the section
 * @buf: destination, @len bytes of the heap, never of a stack: a device may fill it
 * by itself
 * @len: number of bytes; 0 is allowed
 *
 * Context: may sleep; no spinlock held.
 * Return: 0 when all @len bytes were read, else a code of the service; @buf is
 * then undefined.
 */
u32 drv_flash_read(u32 inst, u32 chip, u32 offset, u8 *buf, u32 len);

/**
 * drv_flash_write - store bytes in a flash section
 *
 * Arguments and context as drv_flash_read(); @buf may lie anywhere and is left
 * unchanged. Bytes of the same erase blocks outside the range keep their values, and
 * blocks that are locked are locked again.
 *
 * Return: 0 when all bytes are stored and read back equal, else a code of the
 * service.
 */
u32 drv_flash_write(u32 inst, u32 chip, u32 offset, const u8 *buf, u32 len);

PLATFORM_END

#endif
