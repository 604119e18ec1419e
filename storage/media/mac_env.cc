// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "platform/algorithm.h"
#include "platform/bounded.h"
#include "platform/env.h"
#include "storage/formats/mac_mesg.h"
#include "storage/formats/mac_qolt.h"
#include "storage/media/mac_media.h"

namespace {

// What a block holds whose count variable is missing.
constexpr u32 kDefaultCount = 16;
constexpr u32 kCountBytes = 4;

// `count_name` holds kMacEnvText bytes.
bool form_count_name(char* count_name, const char* name) {
    return sprintf_s(count_name, kMacEnvText, "%s_num", name) != -1;
}

// Sets a variable and saves, the save in every case; both codes are reported.
u32 store(u32 inst, const char* name, const char* text) {
    const u32 set = drv_env_set(name, text);
    const u32 result = set | drv_env_save();
    if (result != 0) {
        mac_log_notice("mac inst 0x%x name %s env_w invalid ret[0x%x].", inst, name, result);
    }
    return result;
}

void put_bytes(char* text, const u8* bytes, u32 count, bool with_colons) {
    for (u32 i = 0; i < count; ++i) {
        if (with_colons && i != 0) *text++ = ':';
        text = mac::put_hex(text, bytes[i]);
    }
    *text = '\0';
}

// Two digits a byte, a byte every `stride` characters. The holders live across
// all digits of a record: a character that is no digit repeats the last one.
struct DigitHolders {
    u8 high = 0;
    u8 low = 0;

    void parse(const char* text, u32 stride, u8* bytes, u32 count) {
        for (u32 i = 0; i < count; ++i) {
            str_2uchar(text[size_t{stride} * i], &high);
            str_2uchar(text[size_t{stride} * i + 1], &low);
            bytes[i] = static_cast<u8>((high & 0x0f) * 16 + low);
        }
    }
};

}  // namespace

u32 mac_env_write(u32 inst, const char* name, u32 /*chip*/, u32 /*offset*/, u8* buf, u32 len) {
    if (buf == nullptr || len > kMacEnvText) return MAC_FAIL;
    mac_mesg_dump(inst, name, 1, buf, len);
    char count_name[kMacEnvText];
    if (!form_count_name(count_name, name)) {
        mac_log_notice("mac env write format invalid.");
        return MAC_FAIL;
    }
    char text[kMacEnvText];
    put_bytes(text, buf + mac::qolt::kCountAt, kCountBytes, false);
    const u32 result = store(inst, count_name, text);
    if (result != 0) return result;
    put_bytes(text, buf + mac::qolt::kBaseAt, mac::kMacLength, true);
    return store(inst, name, text);
}

int mac_env_read_inf(const char* name, u32* count_missing, char* count_text, char* mac_text,
                     char* count_name) {
    if (!form_count_name(count_name, name)) {
        mac_log_notice("mac env read format invalid.");
        return mac::kFail;
    }
    u32 result = drv_env_get(count_name, count_text, kMacEnvText);
    if (result != 0) {
        *count_missing = 1;
        mac_log_notice("mac name %s env_r invalid ret[0x%x].", count_name, result);
    }
    result = drv_env_get(name, mac_text, kMacEnvText);
    if (result != 0) {
        mac_log_notice("mac name %s mac_str invalid ret[0x%x].", name, result);
    }
    return static_cast<int>(result);
}

u32 mac_env_read(u32 inst, const char* name, u32 /*chip*/, u32 /*offset*/, u8* buf, u32 len) {
    if (buf == nullptr) return MAC_FAIL;
    char count_name[kMacEnvText] = {};
    char count_text[kMacEnvText] = {};
    char mac_text[kMacEnvText] = {};
    u32 count_missing = 0;
    const u32 result =
        static_cast<u32>(mac_env_read_inf(name, &count_missing, count_text, mac_text, count_name));
    if (result != 0) {
        mac_log_notice("inst 0x%x name %s mac read invalid ret[0x%x].", inst, count_name, result);
        return result;
    }
    u64 flag = 0;
    mac_qolt_get_flag(&flag);
    mac_mesg_set_u32(buf + mac::qolt::kTagAt, static_cast<u32>(flag));
    DigitHolders holders;
    holders.parse(count_text, 2, buf + mac::qolt::kCountAt, kCountBytes);
    if (count_missing != 0) mac_mesg_set_u32(buf + mac::qolt::kCountAt, kDefaultCount);
    holders.parse(mac_text, 3, buf + mac::qolt::kBaseAt, mac::kMacLength);
    u16 crc = 0;
    drv_crc16_checksum(buf, mac::qolt::kCrcAt, &crc);
    mac_mesg_set_u16(buf + mac::qolt::kCrcAt, crc);
    mac_mesg_dump(inst, name, 0, buf, len);
    return MAC_OK;
}
