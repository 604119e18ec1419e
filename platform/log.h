/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The log service: a ring of text lines per module number.
 */
#ifndef PLATFORM_LOG_H
#define PLATFORM_LOG_H

#include "platform/types.h"

PLATFORM_BEGIN

/* Levels of a line. */
#define PLATFORM_LOG_ERROR 1u
#define PLATFORM_LOG_NOTICE 2u
#define PLATFORM_LOG_DUMP 3u

/**
 * drv_log_register - give a module number a name and a ring
 * @module: module number
 * @name: name of the module; copied
 * @bytes: size of the ring in bytes
 *
 * Context: may sleep.
 * Return: 0, or a code of the service.
 */
u32 drv_log_register(u32 module, const char *name, u32 bytes);

/**
 * drv_log_record - append a line to a module's ring
 * @module: module number; lines of unregistered numbers are kept as well
 * @level: PLATFORM_LOG_ERROR, PLATFORM_LOG_NOTICE or PLATFORM_LOG_DUMP
 * @reserved: 0
 * @format: printf text without a line end; bytes above 0x7f pass unchanged
 *
 * Context: any, also under a spinlock.
 */
void drv_log_record(u32 module, u32 level, u32 reserved, const char *format, ...)
	__attribute__((format(printf, 4, 5)));

PLATFORM_END

#endif
