// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Bodies of the bounds-checked routines (platform/bounded.h has the contract);
// each platform publishes them under the routines' names.
#ifndef PLATFORM_COMMON_BOUNDED_H
#define PLATFORM_COMMON_BOUNDED_H

#include <stdarg.h>

#include "platform/types.h"

namespace platform {

// Error numbers of a refusal: a null pointer, or no room.
inline constexpr int kBoundedNull = 22;
inline constexpr int kBoundedRange = 34;

int bounded_fill(void* dest, size_t capacity, int value, size_t count);
int bounded_copy(void* dest, size_t capacity, const void* source, size_t count);
int bounded_text_copy(char* dest, size_t capacity, const char* source, size_t count);
int bounded_print(char* dest, size_t capacity, const char* format, va_list arguments);
int bounded_print_truncated(char* dest, size_t room, const char* format, va_list arguments);

}  // namespace platform

#endif
