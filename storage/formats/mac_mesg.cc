// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "storage/formats/mac_mesg.h"

#include "base/log.h"
#include "base/text.h"

namespace {

// One store: byte by byte it would be the slowest part of a list.
void store_u64(u8* bytes, u64 value) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    value = __builtin_bswap64(value);
#endif
    __builtin_memcpy(bytes, &value, sizeof(value));
}

}  // namespace

void mac_mesg_set_u16(u8* bytes, u32 value) {
    if (bytes == nullptr) return;
    bytes[0] = static_cast<u8>(value >> 8);
    bytes[1] = static_cast<u8>(value);
}

void mac_mesg_set_u32(u8* bytes, u32 value) {
    if (bytes == nullptr) return;
    mac_mesg_set_u16(bytes, value >> 16);
    mac_mesg_set_u16(bytes + 2, value);
}

void mac_mesg_set_u48(u8* bytes, u64 value) {
    if (bytes == nullptr) return;
    mac_mesg_set_u16(bytes, static_cast<u32>(value >> 32));
    mac_mesg_set_u32(bytes + 2, static_cast<u32>(value));
}

void mac_mesg_set_u64(u8* bytes, u64 value) {
    if (bytes == nullptr) return;
    mac_mesg_set_u32(bytes, static_cast<u32>(value >> 32));
    mac_mesg_set_u32(bytes + 4, static_cast<u32>(value));
}

void mac_mesg_get_u16(const u8* bytes, u32* value) {
    if (bytes == nullptr || value == nullptr) return;
    *value = static_cast<u32>(bytes[0]) << 8 | bytes[1];
}

void mac_mesg_get_u32(const u8* bytes, u32* value) {
    if (bytes == nullptr || value == nullptr) return;
    mac_mesg_load_u32(bytes, value);
}

void mac_mesg_get_u48(const u8* bytes, u64* value) {
    if (bytes == nullptr || value == nullptr) return;
    u32 high = 0;
    u32 low = 0;
    mac_mesg_get_u16(bytes, &high);
    mac_mesg_load_u32(bytes + 2, &low);
    *value = static_cast<u64>(high) << 32 | low;
}

void mac_mesg_get_u64(const u8* bytes, u64* value) {
    if (bytes == nullptr || value == nullptr) return;
    mac_mesg_load_u64(bytes, value);
}

void mac_mesg_copy(u8* dst, const u8* src, u32 len) {
    if (dst == nullptr || src == nullptr) return;
    for (u32 i = 0; i < len; ++i) dst[i] = src[i];
}

void mac_mesg_endian(u8* dst, const u8* src, u32 /*len*/) {
    if (dst == nullptr || src == nullptr) return;
    for (u32 i = 0; i < mac::kMacLength; i += 2) {
        dst[i + 1] = src[i];
        dst[i] = src[i + 1];
    }
}

void mac_mesg_dump(u32 inst, const char* name, u32 rw, const u8* buf, u32 len) {
    if (buf == nullptr) return;
    // 63 digits fit: 31 bytes, and of the 32nd its high digit.
    char text[64];
    constexpr u32 kWholeBytes = (sizeof(text) - 1) / 2;
    char* end = text;
    for (u32 i = 0; i < len && i < kWholeBytes; ++i) end = mac::put_hex(end, buf[i]);
    if (len > kWholeBytes) {
        char digits[2];
        mac::put_hex(digits, buf[kWholeBytes]);
        *end++ = digits[0];
    }
    *end = '\0';
    mac_log_notice("mac inst 0x%x name %s rw %d data[%d]:%s.", inst, name, rw, len, text);
}

void mac_data_incr(const u8* base, u32 index, u8* out, u32 /*out_size*/) {
    u64 value = 0;
    mac_mesg_get_u48(base, &value);
    mac_mesg_set_u48(out, value + index);
}

void mac_data_fill(const u8* base, u32 count, u8* out) {
    if (count == 0) return;
    u64 value = 0;
    mac_mesg_get_u48(base, &value);
    // The address in the upper six bytes, so that it wraps where it has to. Eight bytes
    // are stored at a time; the two too many are those of the next address.
    u64 shifted = value << 16;
#pragma GCC unroll 4
    for (; count > 1; --count, shifted += 1u << 16, out += mac::kMacLength) {
        store_u64(out, shifted);
    }
    mac_mesg_set_u48(out, shifted >> 16);
}
