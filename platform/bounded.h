/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * Bounds-checked memory and text routines.
 *
 * A refused fill or copy leaves its destination as it was and returns a
 * non-zero error number. A refused print leaves an empty text (when there is
 * room for one) and returns -1. All may be called in any context.
 */
#ifndef PLATFORM_BOUNDED_H
#define PLATFORM_BOUNDED_H

#include "platform/types.h"

PLATFORM_BEGIN

/**
 * memset_s - fill @count bytes of @dest with @value
 * @capacity: room at @dest in bytes
 *
 * Return: 0, or an error number when @dest is null or @count is above
 * @capacity.
 */
int memset_s(void *dest, size_t capacity, int value, size_t count);

/**
 * memcpy_s - copy @count bytes; source and destination may overlap or be equal
 * @capacity: room at @dest in bytes
 *
 * Return: 0, or an error number when a pointer is null or @count is above
 * @capacity.
 */
int memcpy_s(void *dest, size_t capacity, const void *source, size_t count);

/**
 * strncpy_s - copy at most @count characters of a text and terminate the copy
 * @capacity: room at @dest in bytes, terminator included
 *
 * Return: 0, or an error number when a pointer is null or the characters to
 * copy and their terminator do not fit @capacity.
 */
int strncpy_s(char *dest, size_t capacity, const char *source, size_t count);

/**
 * sprintf_s - print into a buffer that must hold the whole text
 * @capacity: room at @dest in bytes, terminator included
 *
 * Return: the length of the text, or -1 when it does not fit or an argument is
 * invalid.
 */
int sprintf_s(char *dest, size_t capacity, const char *format, ...)
	__attribute__((format(printf, 3, 4)));

/**
 * snprintf_truncated_s - print as much of a text as fits
 * @room: room at @dest in bytes, terminator included; 0 writes nothing
 *
 * Return: the number of characters stored, the terminator not counted; never
 * negative and always below @room (0 when @room is 0).
 */
int snprintf_truncated_s(char *dest, size_t room, const char *format, ...)
	__attribute__((format(printf, 3, 4)));

PLATFORM_END

#endif
