// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "storage/media/mac_media.h"

#include "base/log.h"
#include "platform/flash.h"

u32 mac_flash_read(u32 inst, const char* /*name*/, u32 chip, u32 offset, u8* buf, u32 len) {
    const u32 result = drv_flash_read(inst, chip, offset, buf, len);
    if (result != 0) {
        mac_log_notice("mac inst 0x%x flash_r chip[0x%x-0x%x] len[%d] invalid ret[0x%x].", inst,
                       chip, offset, len, result);
    }
    return result;
}

u32 mac_flash_write(u32 inst, const char* /*name*/, u32 chip, u32 offset, u8* buf, u32 len) {
    const u32 result = drv_flash_write(inst, chip, offset, buf, len);
    if (result != 0) {
        mac_log_notice("mac inst 0x%x flash_w chip[0x%x-0x%x] len[%d] invalid ret[0x%x].", inst,
                       chip, offset, len, result);
    }
    return result;
}
