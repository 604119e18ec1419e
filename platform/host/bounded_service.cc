// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include <cstdarg>

#include "platform/bounded.h"
#include "platform/common/bounded.h"
#include "platform/host/checker.h"
#include "platform/host/journal.h"

namespace {

// Whether this use fails; *error receives the planned error number.
bool fails(host::Call call, int* error) {
    u32 code = 0;
    if (!host::faults().hit(call, &code)) return false;
    *error = static_cast<int>(code);
    return true;
}

}  // namespace

int memset_s(void* dest, size_t capacity, int value, size_t count) {
    host_journal("memset_s %zu %zu", capacity, count);
    int error = 0;
    if (fails(host::Call::kMemset, &error)) return error;
    return platform::bounded_fill(dest, capacity, value, count);
}

int memcpy_s(void* dest, size_t capacity, const void* source, size_t count) {
    host_journal("memcpy_s %zu %zu", capacity, count);
    int error = 0;
    if (fails(host::Call::kMemcpy, &error)) return error;
    return platform::bounded_copy(dest, capacity, source, count);
}

int strncpy_s(char* dest, size_t capacity, const char* source, size_t count) {
    host_journal("strncpy_s %zu %zu", capacity, count);
    int error = 0;
    if (fails(host::Call::kStrncpy, &error)) return error;
    return platform::bounded_text_copy(dest, capacity, source, count);
}

int sprintf_s(char* dest, size_t capacity, const char* format, ...) {
    host_journal("sprintf_s %zu", capacity);
    if (host::faults().hit(host::Call::kSprintf)) return -1;
    va_list arguments;
    va_start(arguments, format);
    const int length = platform::bounded_print(dest, capacity, format, arguments);
    va_end(arguments);
    return length;
}

int snprintf_truncated_s(char* dest, size_t room, const char* format, ...) {
    host_journal("snprintf_truncated_s %zu", room);
    if (host::faults().hit(host::Call::kSnprintfTruncated)) return 0;
    va_list arguments;
    va_start(arguments, format);
    const int length = platform::bounded_print_truncated(dest, room, format, arguments);
    va_end(arguments);
    return length;
}
