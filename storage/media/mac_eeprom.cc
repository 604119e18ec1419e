// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "storage/media/mac_media.h"

#include "base/log.h"
#include "platform/eeprom.h"

u32 mac_eeprom_read(u32 inst, const char* /*name*/, u32 chip, u32 offset, u8* buf, u32 len) {
    const u32 result = drv_eeprom_read_data(inst, chip, offset, buf, len);
    if (result != 0) {
        mac_log_notice("mac inst 0x%x e2prom_r chip[0x%x-0x%x] len[%d] invalid ret[0x%x].", inst,
                       chip, offset, len, result);
    }
    return result;
}

u32 mac_eeprom_write(u32 inst, const char* /*name*/, u32 chip, u32 offset, u8* buf, u32 len) {
    const u32 result = drv_eeprom_write_data(inst, chip, offset, buf, len);
    if (result != 0) {
        mac_log_notice("mac inst 0x%x e2prom_w chip[0x%x-0x%x] len[%d] invalid ret[0x%x].", inst,
                       chip, offset, len, result);
    }
    return result;
}
