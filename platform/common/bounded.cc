// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/common/bounded.h"

// The C library and the kernel both have these four.
extern "C" {
void* memset(void* dest, int value, size_t count);
void* memmove(void* dest, const void* source, size_t count);
size_t strnlen(const char* text, size_t limit);
int vsnprintf(char* dest, size_t size, const char* format, va_list arguments);
}

namespace platform {

int bounded_fill(void* dest, size_t capacity, int value, size_t count) {
    if (dest == nullptr) return kBoundedNull;
    if (count > capacity) return kBoundedRange;
    memset(dest, value, count);
    return 0;
}

int bounded_copy(void* dest, size_t capacity, const void* source, size_t count) {
    if (dest == nullptr || source == nullptr) return kBoundedNull;
    if (count > capacity) return kBoundedRange;
    // A field may be copied onto itself, so overlap is no reason to refuse.
    memmove(dest, source, count);
    return 0;
}

int bounded_text_copy(char* dest, size_t capacity, const char* source, size_t count) {
    if (dest == nullptr || source == nullptr) return kBoundedNull;
    const size_t length = strnlen(source, count);
    if (length >= capacity) return kBoundedRange;
    memmove(dest, source, length);
    dest[length] = '\0';
    return 0;
}

int bounded_print(char* dest, size_t capacity, const char* format, va_list arguments) {
    if (dest == nullptr || format == nullptr || capacity == 0) return -1;
    const int length = vsnprintf(dest, capacity, format, arguments);
    if (length >= 0 && static_cast<size_t>(length) < capacity) return length;
    dest[0] = '\0';
    return -1;
}

int bounded_print_truncated(char* dest, size_t room, const char* format, va_list arguments) {
    if (dest == nullptr || format == nullptr || room == 0) return 0;
    const int length = vsnprintf(dest, room, format, arguments);
    if (length < 0) {
        dest[0] = '\0';
        return 0;
    }
    return static_cast<size_t>(length) < room ? length : static_cast<int>(room - 1);
}

}  // namespace platform
