// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Flash, EEPROM, environment, CRC-16 and partition sizes of the attached board.
#include "mac_mng/mac_mng.h"
#include "platform/algorithm.h"
#include "platform/common/service_status.h"
#include "platform/eeprom.h"
#include "platform/env.h"
#include "platform/flash.h"
#include "platform/host/board.h"
#include "platform/host/checker.h"
#include "platform/host/journal.h"
#include "platform/mtd.h"

namespace {

// Counts the use, and says whether it is planned to fail or there is no board.
bool refused(host::Call call, const char* what, u32* code) {
    host::might_sleep(what);
    if (host::faults().hit(call, code)) return true;
    *code = SERVICE_NO_CHIP;
    return host::attached_board() == nullptr;
}

u32 read_medium(host::Medium* medium, u32 offset, u8* buf, u32 len) {
    if (medium == nullptr) return SERVICE_NO_CHIP;
    if (buf == nullptr) return SERVICE_NULL_ARGUMENT;
    return medium->read(offset, {buf, len});
}

u32 write_medium(host::Medium* medium, u32 offset, const u8* buf, u32 len) {
    if (medium == nullptr) return SERVICE_NO_CHIP;
    if (buf == nullptr) return SERVICE_NULL_ARGUMENT;
    return medium->write(offset, {buf, len});
}

}  // namespace

u32 drv_flash_read(u32 inst, u32 chip, u32 offset, u8* buf, u32 len) {
    host_journal("drv_flash_read 0x%x %u %u %u", inst, chip, offset, len);
    u32 code = 0;
    if (refused(host::Call::kFlashRead, "drv_flash_read", &code)) return code;
    return read_medium(host::attached_board()->flash(chip, inst), offset, buf, len);
}

u32 drv_flash_write(u32 inst, u32 chip, u32 offset, const u8* buf, u32 len) {
    host_journal("drv_flash_write 0x%x %u %u %u", inst, chip, offset, len);
    u32 code = 0;
    if (refused(host::Call::kFlashWrite, "drv_flash_write", &code)) return code;
    return write_medium(host::attached_board()->flash(chip, inst), offset, buf, len);
}

u32 drv_eeprom_read_data(u32 inst, u32 chip, u32 offset, u8* buf, u32 len) {
    host_journal("drv_eeprom_read_data 0x%x %u %u %u", inst, chip, offset, len);
    u32 code = 0;
    if (refused(host::Call::kEepromRead, "drv_eeprom_read_data", &code)) return code;
    return read_medium(host::attached_board()->eeprom(chip, inst), offset, buf, len);
}

u32 drv_eeprom_write_data(u32 inst, u32 chip, u32 offset, const u8* buf, u32 len) {
    host_journal("drv_eeprom_write_data 0x%x %u %u %u", inst, chip, offset, len);
    u32 code = 0;
    if (refused(host::Call::kEepromWrite, "drv_eeprom_write_data", &code)) return code;
    return write_medium(host::attached_board()->eeprom(chip, inst), offset, buf, len);
}

namespace {

// The environment, or null with the code to return.
host::Environment* environment(host::Call call, const char* what, u32* code) {
    if (refused(call, what, code)) return nullptr;
    *code = SERVICE_NO_ENV;
    return host::attached_board()->env();
}

}  // namespace

u32 drv_env_get(const char* name, char* value, u32 size) {
    host_journal("drv_env_get %s %u", name, size);
    u32 code = 0;
    host::Environment* const env = environment(host::Call::kEnvGet, "drv_env_get", &code);
    if (env == nullptr) return code;
    if (name == nullptr || value == nullptr) return SERVICE_NULL_ARGUMENT;
    return env->get(name, value, size);
}

u32 drv_env_set(const char* name, const char* value) {
    host_journal("drv_env_set %s %s", name, value);
    u32 code = 0;
    host::Environment* const env = environment(host::Call::kEnvSet, "drv_env_set", &code);
    if (env == nullptr) return code;
    if (name == nullptr || value == nullptr) return SERVICE_NULL_ARGUMENT;
    return env->set(name, value);
}

u32 drv_env_save() {
    host_journal("drv_env_save");
    u32 code = 0;
    host::Environment* const env = environment(host::Call::kEnvSave, "drv_env_save", &code);
    return env == nullptr ? code : env->save();
}

void drv_crc16_checksum(const u8* data, u32 len, u16* result) {
    if (host::attached_board() == nullptr) host::violation("CRC-16 asked for without a board");
    *result = host::attached_board()->crc16().value(data, len);
}

void str_2uchar(char digit, u8* value) {
    if (digit >= '0' && digit <= '9') *value = static_cast<u8>(digit - '0');
    if (digit >= 'a' && digit <= 'f') *value = static_cast<u8>(digit - 'a' + 10);
    if (digit >= 'A' && digit <= 'F') *value = static_cast<u8>(digit - 'A' + 10);
}

int platform_mtd_size(const char* name, u64* bytes) {
    u32 code = 0;
    if (refused(host::Call::kMtdSize, "platform_mtd_size", &code)) return static_cast<int>(code);
    for (const host::FlashSpec& flash : host::attached_board()->file().flashes()) {
        if (flash.mtd != name) continue;
        if (!host::faults().gives(host::Call::kMtdSize, bytes)) *bytes = flash.size;
        return 0;
    }
    return static_cast<int>(SERVICE_NO_CHIP);
}
