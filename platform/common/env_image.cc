// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/common/env_image.h"

extern "C" {
void* memset(void* dest, int value, size_t count);
void* memmove(void* dest, const void* source, size_t count);
void* memcpy(void* dest, const void* source, size_t count);
int memcmp(const void* left, const void* right, size_t count);
size_t strlen(const char* text);
size_t strnlen(const char* text, size_t limit);
void* memchr(const void* bytes, int value, size_t count);
}

namespace platform {

namespace {

struct Crc32Tables {
    u32 row[8][256];
};

constexpr Crc32Tables make_crc32_tables() {
    Crc32Tables tables{};
    for (u32 byte = 0; byte < 256; ++byte) {
        u32 crc = byte;
        for (u32 bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xedb88320u : crc >> 1;
        tables.row[0][byte] = crc;
    }
    for (u32 slice = 1; slice < 8; ++slice) {
        for (u32 byte = 0; byte < 256; ++byte) {
            const u32 crc = tables.row[slice - 1][byte];
            tables.row[slice][byte] = tables.row[0][crc & 0xff] ^ crc >> 8;
        }
    }
    return tables;
}

constexpr Crc32Tables kCrc32 = make_crc32_tables();

u32 load_le32(const u8* bytes) {
    return bytes[0] | static_cast<u32>(bytes[1]) << 8 | static_cast<u32>(bytes[2]) << 16 |
           static_cast<u32>(bytes[3]) << 24;
}

void store_le32(u8* bytes, u32 value) {
    for (u32 i = 0; i < 4; ++i) bytes[i] = static_cast<u8>(value >> 8 * i);
}

bool is_erased(const u8* bytes, u32 size) {
    // All bytes equal the first one, which is 0xff.
    return bytes[0] == 0xff && memcmp(bytes, bytes + 1, size - 1) == 0;
}

const char* text_at(const u8* data, u32 offset) {
    return reinterpret_cast<const char*>(data) + offset;
}

// One entry of the data area.
struct Entry {
    u32 offset;
    u32 length;  // characters, the terminator not counted
};

// The entry at `offset`; false at the end of the variables.
bool entry_at(const u8* data, u32 size, u32 offset, Entry* entry) {
    if (offset >= size || data[offset] == 0) return false;
    entry->offset = offset;
    entry->length = static_cast<u32>(strnlen(text_at(data, offset), size - offset));
    return true;
}

bool entry_has_name(const u8* data, const Entry& entry, const char* name, size_t name_length) {
    return entry.length > name_length && data[entry.offset + name_length] == '=' &&
           memcmp(data + entry.offset, name, name_length) == 0;
}

// The entry of a variable; without one false, and *entry is the end of the
// variables with length 0.
bool find_entry(const u8* data, u32 size, const char* name, size_t name_length, Entry* entry) {
    Entry current{0, 0};
    while (entry_at(data, size, current.offset, &current)) {
        if (entry_has_name(data, current, name, name_length)) {
            *entry = current;
            return true;
        }
        current.offset += current.length + 1;
    }
    *entry = {current.offset < size ? current.offset : size, 0};
    return false;
}

u32 end_of_variables(const u8* data, u32 size) {
    Entry entry{0, 0};
    while (entry_at(data, size, entry.offset, &entry)) entry.offset += entry.length + 1;
    return entry.offset < size ? entry.offset : size;
}

}  // namespace

u32 env_crc32(const u8* data, size_t length) {
    u32 crc = 0xffffffff;
    for (; length >= 8; data += 8, length -= 8) {
        const u32 low = crc ^ load_le32(data);
        const u32 high = load_le32(data + 4);
        crc = kCrc32.row[7][low & 0xff] ^ kCrc32.row[6][low >> 8 & 0xff] ^
              kCrc32.row[5][low >> 16 & 0xff] ^ kCrc32.row[4][low >> 24] ^
              kCrc32.row[3][high & 0xff] ^ kCrc32.row[2][high >> 8 & 0xff] ^
              kCrc32.row[1][high >> 16 & 0xff] ^ kCrc32.row[0][high >> 24];
    }
    for (; length != 0; ++data, --length) crc = kCrc32.row[0][(crc ^ *data) & 0xff] ^ crc >> 8;
    return ~crc;
}

EnvCopy env_inspect(const u8* copy, u32 size, EnvFlags flags) {
    const u32 offset = env_data_offset(flags);
    const u8 flag = flags == EnvFlags::kNone ? u8{0} : copy[kEnvFlagOffset];
    if (load_le32(copy) == env_crc32(copy + offset, size - offset)) {
        return {EnvState::kValid, flag};
    }
    return {is_erased(copy, size) ? EnvState::kErased : EnvState::kDamaged, flag};
}

u32 env_preferred(u8 first_flag, u8 second_flag, EnvFlags flags) {
    if (flags == EnvFlags::kBoolean) {
        if (first_flag == second_flag || first_flag == kEnvFlagActive) return 0;
        if (second_flag == kEnvFlagActive) return 1;
        return second_flag == 0xff ? 1 : 0;
    }
    // Serial numbers: the second copy is later when it is less than half of the
    // number space ahead.
    const u8 ahead = static_cast<u8>(second_flag - first_flag);
    return ahead != 0 && ahead < 0x80 ? 1 : 0;
}

const char* env_find(const u8* data, u32 size, const char* name, u32* length) {
    const size_t name_length = strlen(name);
    Entry entry{};
    if (!find_entry(data, size, name, name_length, &entry)) return nullptr;
    const u32 value_at = static_cast<u32>(name_length) + 1;
    *length = entry.length - value_at;
    return text_at(data, entry.offset + value_at);
}

EnvResult env_set(u8* data, u32 size, const char* name, const char* value) {
    const size_t name_length = strlen(name);
    const size_t value_length = strlen(value);
    if (name_length == 0 || memchr(name, '=', name_length) != nullptr) return EnvResult::kBadName;
    Entry entry{};
    const bool exists = find_entry(data, size, name, name_length, &entry);
    const u32 end = end_of_variables(data, size);
    // The last text of a foreign image need not be terminated.
    const u64 left = u64{size} - entry.offset;
    const u64 terminated = u64{entry.length} + 1;
    const u64 old_bytes = !exists ? 0 : terminated < left ? terminated : left;
    const u64 new_bytes = value_length == 0 ? 0 : u64{name_length} + 1 + value_length + 1;
    const u64 new_end = end - old_bytes + new_bytes;
    if (new_end + 1 > size) return EnvResult::kNoSpace;
    u8* const at = data + entry.offset;
    memmove(at + new_bytes, at + old_bytes, end - entry.offset - old_bytes);
    if (new_bytes != 0) {
        memcpy(at, name, name_length);
        at[name_length] = '=';
        memcpy(at + name_length + 1, value, value_length + 1);
    }
    memset(data + new_end, 0, size - new_end);
    return EnvResult::kOk;
}

void env_seal(u8* copy, u32 size, EnvFlags flags, u8 flag) {
    const u32 offset = env_data_offset(flags);
    store_le32(copy, env_crc32(copy + offset, size - offset));
    if (flags != EnvFlags::kNone) copy[kEnvFlagOffset] = flag;
}

u8 env_next_flag(EnvFlags flags, u8 current) {
    return flags == EnvFlags::kBoolean ? kEnvFlagActive : static_cast<u8>(current + 1);
}

}  // namespace platform
