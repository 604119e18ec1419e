/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The algorithm service: the CRC-16 of every record, and hexadecimal digits.
 */
#ifndef PLATFORM_ALGORITHM_H
#define PLATFORM_ALGORITHM_H

#include "platform/types.h"

PLATFORM_BEGIN

/**
 * drv_crc16_checksum - the platform's CRC-16
 * @data: the bytes
 * @len: number of bytes
 * @result: where the value goes
 *
 * The variant is the platform's choice; all records of a device use the same.
 * Context: any.
 */
void drv_crc16_checksum(const u8 *data, u32 len, u16 *result);

/**
 * str_2uchar - the value of one hexadecimal digit
 * @digit: '0' to '9', 'a' to 'f' or 'A' to 'F'
 * @value: receives 0 to 15; left as it was for any other character
 *
 * Context: any.
 */
void str_2uchar(char digit, u8 *value);

PLATFORM_END

#endif
