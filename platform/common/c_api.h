/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The shared bodies for a platform that is written in C: one CRC-16 variant at a
 * time, the environment image, the bounded routines. The C++ headers beside this
 * one have the contracts.
 */
#ifndef PLATFORM_COMMON_C_API_H
#define PLATFORM_COMMON_C_API_H

#include "platform/types.h"

#if !defined(__KERNEL__) || defined(__cplusplus)
#include <stdarg.h>
#endif

PLATFORM_BEGIN

/* Chooses the variant for common_crc16(); 0, or -1 for an unknown name. */
int common_crc16_select(const char *name);
u16 common_crc16(const u8 *data, u32 length);

/* What the flag byte of a redundant environment copy means. */
#define COMMON_ENV_SINGLE 0u
#define COMMON_ENV_COUNTER 1u
#define COMMON_ENV_BOOLEAN 2u

/* States of a copy. */
#define COMMON_ENV_VALID 0u
#define COMMON_ENV_ERASED 1u
#define COMMON_ENV_DAMAGED 2u

struct common_env_copy {
	u32 state;
	u8 flag;
};

u32 common_env_data_offset(u32 flags);
struct common_env_copy common_env_inspect(const u8 *copy, u32 size, u32 flags);
#define COMMON_ENV_FLAG_OFFSET 4u
u32 common_env_preferred(u8 first_flag, u8 second_flag, u32 flags);
const char *common_env_find(const u8 *data, u32 size, const char *name, u32 *length);
/* 0; 1 no room; 2 a bad name. */
u32 common_env_set(u8 *data, u32 size, const char *name, const char *value);
void common_env_seal(u8 *copy, u32 size, u32 flags, u8 flag);
u8 common_env_next_flag(u32 flags, u8 flag);

int common_fill(void *dest, size_t capacity, int value, size_t count);
int common_copy(void *dest, size_t capacity, const void *source, size_t count);
int common_text_copy(char *dest, size_t capacity, const char *source, size_t count);
int common_print(char *dest, size_t capacity, const char *format, va_list arguments);
int common_print_truncated(char *dest, size_t room, const char *format, va_list arguments);

PLATFORM_END

#endif
