// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "storage/formats/mac_kolbe.h"

#include "base/status.h"
#include "base/vocabulary.h"
#include "platform/algorithm.h"
#include "storage/formats/mac_mesg.h"

namespace {

constexpr u8 kGoodTag[] = {'G', 'O', 'O', 'D'};
constexpr u8 kNoneTag[] = {'N', 'O', 'N', 'E'};
constexpr u32 kTableAt = 4;
constexpr u32 kListAt = 48;
constexpr u32 kCheckValue = 0x5A5A;

// True arithmetic, so that an absurd count is refused and never walked.
constexpr u64 record_size(u32 num) { return u64{mac::kMacLength} * num + kListAt; }

u8* entry_at(u8* buf, u32 index) { return buf + kTableAt + size_t{2} * index; }
const u8* entry_at(const u8* buf, u32 index) { return buf + kTableAt + size_t{2} * index; }
u8* address_at(u8* buf, u32 index) { return buf + kListAt + size_t{mac::kMacLength} * index; }
const u8* address_at(const u8* buf, u32 index) {
    return buf + kListAt + size_t{mac::kMacLength} * index;
}

u32 address_crc(const u8* address) {
    u16 crc = 0;
    drv_crc16_checksum(address, mac::kMacLength, &crc);
    return crc;
}

void flag_of(const u8* tag, u64* flag) {
    if (flag == nullptr) return;
    u32 value = 0;
    mac_mesg_load_u32(tag, &value);
    *flag = value;
}

u32 check_set_arguments(const u8* mac, u32 num, const u8* buf, u32 buf_len, const u64* flag,
                        const u32* crc) {
    if (mac == nullptr || flag == nullptr || crc == nullptr) return MAC_NULL_POINTER;
    if (buf == nullptr || buf_len < record_size(num)) return MAC_INVALID_ARGUMENT;
    return MAC_OK;
}

u32 check_get_arguments(const u8* buf, u32 buf_len, const u64* flag, const u8* mac, const u32* num,
                        const u32* crc) {
    if (flag == nullptr || mac == nullptr || num == nullptr || crc == nullptr) {
        return MAC_NULL_POINTER;
    }
    if (buf == nullptr || buf_len < record_size(*num)) return MAC_INVALID_ARGUMENT;
    return MAC_OK;
}

}  // namespace

void mac_kolbe_incrc_get_flag(u64* flag) { flag_of(kGoodTag, flag); }
void mac_kolbe_nocrc_get_flag(u64* flag) { flag_of(kNoneTag, flag); }

u32 mac_kolbe_incrc_get_size(u32 num) { return static_cast<u32>(record_size(num)); }
u32 mac_kolbe_nocrc_get_size(u32 num) { return static_cast<u32>(record_size(num)); }

u32 mac_kolbe_incrc_set_format(const u8* mac, u32 num, u8* buf, u32 buf_len, u64* flag, u32* crc) {
    const u32 result = check_set_arguments(mac, num, buf, buf_len, flag, crc);
    if (result != MAC_OK) return result;
    mac_kolbe_incrc_get_flag(flag);
    mac_mesg_set_u32(buf, static_cast<u32>(*flag));
    // Entry by entry, each before its address: past the 22nd address the entries
    // overwrite addresses that are already there, and that order is the format's.
    for (u32 i = 0; i < num; ++i) {
        u8 address[mac::kMacLength];
        mac_data_incr(mac, i, address, sizeof(address));
        mac_mesg_set_u16(entry_at(buf, i), address_crc(address));
        mac_mesg_endian(address_at(buf, i), address, sizeof(address));
    }
    *crc = kCheckValue;
    return MAC_OK;
}

u32 mac_kolbe_nocrc_set_format(const u8* mac, u32 num, u8* buf, u32 buf_len, u64* flag, u32* crc) {
    const u32 result = check_set_arguments(mac, num, buf, buf_len, flag, crc);
    if (result != MAC_OK) return result;
    mac_kolbe_nocrc_get_flag(flag);
    for (u32 i = 0; i < num; ++i) {
        u8 address[mac::kMacLength];
        mac_data_incr(mac, i, address, sizeof(address));
        mac_mesg_endian(address_at(buf, i), address, sizeof(address));
    }
    *crc = kCheckValue;
    return MAC_OK;
}

u32 mac_kolbe_incrc_get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac, u32* num, u32* crc) {
    const u32 result = check_get_arguments(buf, buf_len, flag, mac, num, crc);
    if (result != MAC_OK) return result;
    u32 tag = 0;
    u64 expected_tag = 0;
    mac_mesg_get_u32(buf, &tag);
    mac_kolbe_incrc_get_flag(&expected_tag);
    *flag = tag;
    if (*flag != expected_tag) return MAC_WRONG_TAG;
    mac_mesg_endian(mac, address_at(buf, 0), mac::kMacLength);
    for (u32 i = 0; i < *num; ++i) {
        u8 address[mac::kMacLength];
        u32 stored = 0;
        mac_mesg_get_u16(entry_at(buf, i), &stored);
        mac_mesg_endian(address, address_at(buf, i), sizeof(address));
        if (stored != address_crc(address)) return MAC_CHECK_MISMATCH;
    }
    *crc = kCheckValue;
    return MAC_OK;
}

u32 mac_kolbe_nocrc_get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac, u32* num, u32* crc) {
    const u32 result = check_get_arguments(buf, buf_len, flag, mac, num, crc);
    if (result != MAC_OK) return result;
    mac_kolbe_nocrc_get_flag(flag);
    mac_mesg_endian(mac, address_at(buf, 0), mac::kMacLength);
    *crc = kCheckValue;
    return MAC_OK;
}
