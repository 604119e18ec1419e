// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/common/c_api.h"

#include "platform/common/bounded.h"
#include "platform/common/crc16.h"
#include "platform/common/env_image.h"

namespace {

constinit platform::Crc16 chosen_crc16;

platform::EnvFlags to_flags(u32 flags) { return static_cast<platform::EnvFlags>(flags); }

static_assert(static_cast<u32>(platform::EnvFlags::kNone) == COMMON_ENV_SINGLE);
static_assert(static_cast<u32>(platform::EnvFlags::kCounter) == COMMON_ENV_COUNTER);
static_assert(static_cast<u32>(platform::EnvFlags::kBoolean) == COMMON_ENV_BOOLEAN);
static_assert(static_cast<u32>(platform::EnvState::kValid) == COMMON_ENV_VALID);
static_assert(static_cast<u32>(platform::EnvState::kErased) == COMMON_ENV_ERASED);
static_assert(static_cast<u32>(platform::EnvState::kDamaged) == COMMON_ENV_DAMAGED);
static_assert(platform::kEnvFlagOffset == COMMON_ENV_FLAG_OFFSET);

}  // namespace

int common_crc16_select(const char* name) {
    const platform::Crc16Variant* const variant = platform::crc16_find(name);
    if (variant == nullptr) return -1;
    chosen_crc16.select(*variant);
    return 0;
}

u16 common_crc16(const u8* data, u32 length) { return chosen_crc16.value(data, length); }

u32 common_env_data_offset(u32 flags) { return platform::env_data_offset(to_flags(flags)); }

common_env_copy common_env_inspect(const u8* copy, u32 size, u32 flags) {
    const platform::EnvCopy found = platform::env_inspect(copy, size, to_flags(flags));
    return {static_cast<u32>(found.state), found.flag};
}

u32 common_env_preferred(u8 first_flag, u8 second_flag, u32 flags) {
    return platform::env_preferred(first_flag, second_flag, to_flags(flags));
}

const char* common_env_find(const u8* data, u32 size, const char* name, u32* length) {
    return platform::env_find(data, size, name, length);
}

u32 common_env_set(u8* data, u32 size, const char* name, const char* value) {
    return static_cast<u32>(platform::env_set(data, size, name, value));
}

void common_env_seal(u8* copy, u32 size, u32 flags, u8 flag) {
    platform::env_seal(copy, size, to_flags(flags), flag);
}

u8 common_env_next_flag(u32 flags, u8 flag) {
    return platform::env_next_flag(to_flags(flags), flag);
}

int common_fill(void* dest, size_t capacity, int value, size_t count) {
    return platform::bounded_fill(dest, capacity, value, count);
}

int common_copy(void* dest, size_t capacity, const void* source, size_t count) {
    return platform::bounded_copy(dest, capacity, source, count);
}

int common_text_copy(char* dest, size_t capacity, const char* source, size_t count) {
    return platform::bounded_text_copy(dest, capacity, source, count);
}

int common_print(char* dest, size_t capacity, const char* format, va_list arguments) {
    return platform::bounded_print(dest, capacity, format, arguments);
}

int common_print_truncated(char* dest, size_t room, const char* format, va_list arguments) {
    return platform::bounded_print_truncated(dest, room, format, arguments);
}
