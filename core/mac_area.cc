// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "core/mac_area.h"

#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "platform/bounded.h"
#include "platform/memory.h"

namespace {

constexpr char kFlagFailed[] =
    "mac area config\xa3\xba"
    "mac get flag fail.ret %u inst 0x%x type %d area %d";
constexpr char kNameFailed[] =
    "mac area config\xa3\xba"
    "mac area name fail.ret %u inst 0x%x type %d area %d";
constexpr char kSizeFailed[] =
    "mac area config\xa3\xba"
    "mac get size fail.ret %u inst 0x%x type %d area %d";

// A failed step of the configuration is logged, and configuration goes on.
template <size_t N>
void note_step(const char (&format)[N], u32 result, u32 inst, u32 type, u32 area) {
    if (result != MAC_OK) mac_log_error(format, result, inst, type, area);
}

}  // namespace

mac_entry* mac_entery_find_by_storage(u32 inst, u32 type, u32 area) {
    switch (area) {
        case mac::kMainArea:
            return mac_entery_find_by_device(inst, type, mac::kMainStorage);
        case mac::kSpareArea:
            return mac_entery_find_by_device(inst, type, mac::kSpareStorage);
        default:
            return nullptr;
    }
}

MacDriverOps* mac_driver_find_by_storage(u32 inst, u32 type, u32 area) {
    const mac_entry* const entry = mac_entery_find_by_storage(inst, type, area);
    if (entry == nullptr) return nullptr;
    MacDriverOps* const driver = mac_entry_driver(*entry);
    if (driver == nullptr) {
        mac_log_error("mac inst 0x%x type %d area %d driver uninstall", inst, type, area);
    }
    return driver;
}

MacDriverOps* mac_driver_find_by_device(u32 inst, u32 type, u32 storage_code) {
    const mac_entry* const entry = mac_entery_find_by_device(inst, type, storage_code);
    if (entry == nullptr) return nullptr;
    MacDriverOps* const driver = mac_entry_driver(*entry);
    if (driver == nullptr) {
        mac_log_error("mac inst 0x%x find dev %d driver uninstall", inst, type);
    }
    return driver;
}

u32 mac_area_attr(u32 inst, u32 type, u32 area, u32* chip_id, u32* channel, u32* mac_num) {
    const mac_entry* const entry = mac_entery_find_by_storage(inst, type, area);
    if (entry == nullptr) return MAC_NOT_SUPPORTED;
    *chip_id = entry->chip_id;
    *channel = entry->channel;
    *mac_num = entry->mac_num;
    return MAC_OK;
}

u32 mac_area_name(u32 inst, u32 type, u32 area, char* name, u32 size) {
    if (name == nullptr || size == 0) return MAC_FAIL;
    const mac_entry* const entry = mac_entery_find_by_storage(inst, type, area);
    if (entry == nullptr) return MAC_OK;
    const int error =
        strncpy_s(name, size, entry->storage_name, mac::text_length(entry->storage_name));
    if (error != 0) {
        mac_log_error("mac inst 0x%x type %d area %d str_name err_no = %d", inst, type, area,
                      error);
    }
    return MAC_OK;
}

u32 mac_get_flag(u32 inst, u32 type, u32 area, u64* flag) {
    const MacDriverOps* const driver = mac_driver_find_by_storage(inst, type, area);
    if (driver == nullptr) return MAC_NOT_SUPPORTED;
    if (driver->get_flag == nullptr) {
        mac_log_error("mac inst 0x%x type %d area %d get_flag uninstall", inst, type, area);
        return MAC_OPERATION_MISSING;
    }
    driver->get_flag(flag);
    return MAC_OK;
}

u32 mac_get_size(u32 inst, u32 type, u32 area, u32 mac_num, u32* size) {
    *size = 1;
    const MacDriverOps* const driver = mac_driver_find_by_storage(inst, type, area);
    if (driver == nullptr) return MAC_OK;
    if (driver->get_size == nullptr) {
        mac_log_error("mac inst 0x%x type %d area %d get_size uninstall", inst, type, area);
        return MAC_OPERATION_MISSING;
    }
    *size = driver->get_size(mac_num);
    return MAC_OK;
}

u32 mac_area_init(mac_inst_mng* mng, u32 inst, u32 type, u32 area) {
    return mac_area_config(mng, inst, type, area);
}

u32 mac_area_config(mac_inst_mng* mng, u32 inst, u32 type, u32 area) {
    if (mng == nullptr) return MAC_FAIL;
    u32 chip_id = 0;
    u32 channel = 0;
    u32 mac_num = 0;
    u32 result = mac_area_attr(inst, type, area, &chip_id, &channel, &mac_num);
    if (result != MAC_OK) return result;
    mac_area& target = mng->area[area];
    u64 flag = 0;
    result = mac_get_flag(inst, type, area, &flag);
    note_step(kFlagFailed, result, inst, type, area);
    result = mac_area_name(inst, type, area, target.name, sizeof(target.name));
    note_step(kNameFailed, result, inst, type, area);
    u32 size = 0;
    result = mac_get_size(inst, type, area, mac_num, &size);
    note_step(kSizeFailed, result, inst, type, area);
    u8* const buf = static_cast<u8*>(platform_kept_zalloc(u64{size} + mac::kRecordSlack));
    if (buf == nullptr) {
        mac_log_error("mac inst 0x%x type %d area %d malloc data fail.", inst, type, area);
        return MAC_FAIL;
    }
    target.buf = buf;
    target.chip_id = chip_id;
    target.channel = channel;
    target.support = 1;
    target.cfg_flag = flag;
    target.mac_num = mac_num;
    target.cfg_num = mac_num;
    target.flag = 1;
    target.crc = 1;
    target.len = size;
    return MAC_OK;
}

void mac_area_delete(mac_inst_mng* mng, u32 area) {
    if (mng == nullptr || area >= mac::kAreaCount) return;
    platform_kept_free(mng->area[area].buf);
    mng->area[area].buf = nullptr;
}
