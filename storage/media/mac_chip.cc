// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The flash and EEPROM adapters.
#include "base/log.h"
#include "platform/eeprom.h"
#include "platform/flash.h"
#include "storage/media/mac_media.h"

namespace {

constexpr char kFlashRead[] = "mac inst 0x%x flash_r chip[0x%x-0x%x] len[%d] invalid ret[0x%x].";
constexpr char kFlashWrite[] = "mac inst 0x%x flash_w chip[0x%x-0x%x] len[%d] invalid ret[0x%x].";
constexpr char kEepromRead[] = "mac inst 0x%x e2prom_r chip[0x%x-0x%x] len[%d] invalid ret[0x%x].";
constexpr char kEepromWrite[] = "mac inst 0x%x e2prom_w chip[0x%x-0x%x] len[%d] invalid ret[0x%x].";

// Passes a service's result through and logs a failure.
template <size_t N>
u32 noted(const char (&format)[N], u32 inst, u32 chip, u32 offset, u32 len, u32 result) {
    if (result != 0) mac_log_notice(format, inst, chip, offset, len, result);
    return result;
}

}  // namespace

u32 mac_flash_read(u32 inst, const char* /*name*/, u32 chip, u32 offset, u8* buf, u32 len) {
    return noted(kFlashRead, inst, chip, offset, len, drv_flash_read(inst, chip, offset, buf, len));
}

u32 mac_flash_write(u32 inst, const char* /*name*/, u32 chip, u32 offset, u8* buf, u32 len) {
    return noted(kFlashWrite, inst, chip, offset, len,
                 drv_flash_write(inst, chip, offset, buf, len));
}

u32 mac_eeprom_read(u32 inst, const char* /*name*/, u32 chip, u32 offset, u8* buf, u32 len) {
    return noted(kEepromRead, inst, chip, offset, len,
                 drv_eeprom_read_data(inst, chip, offset, buf, len));
}

u32 mac_eeprom_write(u32 inst, const char* /*name*/, u32 chip, u32 offset, u8* buf, u32 len) {
    return noted(kEepromWrite, inst, chip, offset, len,
                 drv_eeprom_write_data(inst, chip, offset, buf, len));
}
