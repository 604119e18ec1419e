// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "storage/formats/mac_qolt.h"

#include "base/status.h"
#include "base/vocabulary.h"
#include "platform/algorithm.h"
#include "storage/formats/mac_mesg.h"

namespace {

constexpr u8 kTag[] = {'Q', 'O', 'L', 'T'};

u32 computed_crc(const u8* buf) {
    u16 crc = 0;
    drv_crc16_checksum(buf, mac::qolt::kCrcAt, &crc);
    return crc;
}

}  // namespace

void mac_qolt_get_flag(u64* flag) {
    if (flag == nullptr) return;
    u32 tag = 0;
    mac_mesg_load_u32(kTag, &tag);
    *flag = tag;
}

u32 mac_qolt_get_size(u32 /*num*/) { return mac::qolt::kSize; }

u32 mac_qolt_set_format(const u8* mac, u32 num, u8* buf, u32 buf_len, u64* flag, u32* crc) {
    if (mac == nullptr || flag == nullptr || crc == nullptr) return MAC_NULL_POINTER;
    if (buf == nullptr || buf_len < mac::qolt::kSize) return MAC_INVALID_ARGUMENT;
    mac_qolt_get_flag(flag);
    mac_mesg_set_u32(buf + mac::qolt::kTagAt, static_cast<u32>(*flag));
    mac_mesg_set_u32(buf + mac::qolt::kCountAt, num);
    mac_mesg_copy(buf + mac::qolt::kBaseAt, mac, mac::kMacLength);
    *crc = computed_crc(buf);
    mac_mesg_set_u16(buf + mac::qolt::kCrcAt, *crc);
    return MAC_OK;
}

u32 mac_qolt_get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac, u32* num, u32* crc) {
    if (flag == nullptr || mac == nullptr || num == nullptr || crc == nullptr) {
        return MAC_NULL_POINTER;
    }
    if (buf == nullptr || buf_len < mac::qolt::kSize) return MAC_INVALID_ARGUMENT;
    u32 tag = 0;
    u64 expected_tag = 0;
    mac_mesg_get_u32(buf + mac::qolt::kTagAt, &tag);
    mac_qolt_get_flag(&expected_tag);
    *flag = tag;
    if (*flag != expected_tag) return MAC_WRONG_TAG;
    mac_mesg_get_u32(buf + mac::qolt::kCountAt, num);
    mac_mesg_copy(mac, buf + mac::qolt::kBaseAt, mac::kMacLength);
    mac_mesg_get_u16(buf + mac::qolt::kCrcAt, crc);
    return *crc == computed_crc(buf) ? MAC_OK : MAC_CHECK_MISMATCH;
}
