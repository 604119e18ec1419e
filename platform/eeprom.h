/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The EEPROM service. It owns bounds checks, page handling, read-back and the
 * locking of the device.
 */
#ifndef PLATFORM_EEPROM_H
#define PLATFORM_EEPROM_H

#include "platform/types.h"

PLATFORM_BEGIN

/**
 * drv_eeprom_read_data - read bytes of an EEPROM
 * @inst: instance id
 * @chip: chip number
 * @offset: first byte
 * @buf: destination, @len bytes
 * @len: number of bytes; 0 is allowed
 *
 * Context: may sleep; no spinlock held.
 * Return: 0 when all @len bytes were read, else a code of the service; @buf is
 * then undefined.
 */
u32 drv_eeprom_read_data(u32 inst, u32 chip, u32 offset, u8 *buf, u32 len);

/**
 * drv_eeprom_write_data - store bytes in an EEPROM
 *
 * Arguments and context as drv_eeprom_read_data(); @buf is left unchanged.
 *
 * Return: 0 when all bytes are stored and read back equal (a write-protected
 * chip takes a write in silence), else a code of the service.
 */
u32 drv_eeprom_write_data(u32 inst, u32 chip, u32 offset, const u8 *buf, u32 len);

PLATFORM_END

#endif
