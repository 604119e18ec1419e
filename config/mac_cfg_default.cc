// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The built-in storage positions of flash and EEPROM blocks.
#include "base/status.h"
#include "base/text.h"
#include "config/mac_cfg.h"
#include "mac_mng/mac_mng.h"
#include "platform/mtd.h"

namespace {

constexpr u32 kSectionNotGiven = 0xffffffff;
constexpr char kFlashPartition[] = "manuinfo";
constexpr u32 kFlashSection = 45;
constexpr u32 kEepromPartitionTypeMax = 3;

struct FlashPosition {
    u32 mac_type;
    u32 offset;
};

constexpr FlashPosition kFlashPositions[] = {
    {1, 0x4b0}, {4, 0x4b0}, {0, 0x4c0}, {2, 0x4d0}, {3, 0x570},
};

struct EepromPosition {
    u32 partition_type;
    u32 mac_type;
    u32 offset;
};

constexpr EepromPosition kEepromPositions[] = {
    {0, 1, 0x0}, {0, 0, 0x10}, {0, 2, 0x20},  //
    {1, 2, 0x0},                              //
    {2, 1, 0x0}, {2, 0, 0x10}, {2, 2, 0x20},  //
    {3, 1, 0x0}, {3, 0, 0x10},
};

}  // namespace

u32 drv_mac_get_mtd_size(const char* partition, u32* size) {
    u64 bytes = 0;
    if (platform_mtd_size(partition, &bytes) != 0) return MAC_MTD_MISSING;
    *size = static_cast<u32>(bytes);
    return MAC_OK;
}

u32 drv_mac_set_flash_default(mac_cfg_entry* record) {
    u32 size = 0;
    const u32 result = drv_mac_get_mtd_size(kFlashPartition, &size);
    if (result != MAC_OK) return result;
    for (const FlashPosition& position : kFlashPositions) {
        if (position.mac_type != record->mac_type) continue;
        record->section_id = kFlashSection;
        record->spare_section_id = kFlashSection;
        record->offset = position.offset;
        record->spare_offset = position.offset + size / 2;
        return MAC_OK;
    }
    return MAC_NO_FLASH_DEFAULT;
}

u32 drv_mac_set_eeprom_default(mac_cfg_entry* record) {
    if (record->eeprom_partition_type > kEepromPartitionTypeMax) {
        return MAC_EEPROM_PARTITION_INVALID;
    }
    const bool is_default_instance = record->inst_id == MAC_DEFAULT_INSTANCE;
    record->section_id = is_default_instance ? 264 : 8;
    record->spare_section_id = is_default_instance ? 265 : 9;
    for (const EepromPosition& position : kEepromPositions) {
        if (position.partition_type != record->eeprom_partition_type) continue;
        if (position.mac_type != record->mac_type) continue;
        record->offset = position.offset;
        record->spare_offset = position.offset;
        return MAC_OK;
    }
    return MAC_NO_EEPROM_DEFAULT;
}

u32 drv_mac_set_default_cfg(mac_cfg_entry* record) {
    if (mac::text_equal(record->drv_name, mac::kDriverEnv)) return MAC_OK;
    if (record->section_id != kSectionNotGiven) return MAC_OK;
    if (mac::text_equal(record->drv_name, mac::kDriverFlash)) {
        return drv_mac_set_flash_default(record);
    }
    return drv_mac_set_eeprom_default(record);
}
