// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The current layout: one element per MAC type under "mac".
#include "base/guard.h"
#include "base/status.h"
#include "config/mac_cfg.h"
#include "config/mac_config.h"
#include "platform/bounded.h"
#include "platform/xml.h"

namespace {

constexpr char kNode[] = "mac";

}  // namespace

u32 drv_mac_get_new_cfg_entry(u32 inst, const char* entry_name, mac_cfg_entry* record) {
    const mac_u32_map numbers[] = {
        {true, "mac_type", &record->mac_type, nullptr},
        {false, "eeprom_partition_type", &record->eeprom_partition_type, "0xffffffff"},
        {false, "mac_num", &record->mac_num, "1"},
        {false, "section_id", &record->section_id, "0xffffffff"},
        {false, "offset", &record->offset, "0"},
        {false, "spare_exist", &record->spare_exist, "1"},
        {false, "spare_section_id", &record->spare_section_id, "0xffffffff"},
        {false, "spare_offset", &record->spare_offset, "0"},
    };
    const mac_str_map texts[] = {
        {true, "drv_name", record->drv_name, sizeof(record->drv_name), nullptr},
        {false, "main_env_name", record->main_env_name, sizeof(record->main_env_name), ""},
        {false, "spare_env_name", record->spare_env_name, sizeof(record->spare_env_name), ""},
    };
    const mac_xml_path path = {mac::kModuleName, kNode, entry_name};
    u32 result =
        drv_mac_get_u32_cfg_by_map(inst, path, sizeof(numbers) / sizeof(numbers[0]), numbers);
    if (result != MAC_OK) return result;
    result = drv_mac_get_str_cfg_by_map(inst, path, sizeof(texts) / sizeof(texts[0]), texts);
    if (result != MAC_OK) return result;
    record->inst_id = inst;
    return drv_mac_set_default_cfg(record);
}

u32 drv_mac_create_new_cfg(u32 inst) {
    // One scratch record for all entries: each entry rewrites every field that
    // it does not leave to the positions step.
    mac_cfg_entry scratch{};
    u32 count = 0;
    u32 result = xml_get_entry_num(inst, mac::kModuleName, kNode, &count);
    if (result != 0) return result;
    for (u32 i = 0; i < count; ++i) {
        char name[mac::kNameUsr];
        result = mac_cfg_entry_name(i, name);
        if (result != MAC_OK) return result;
        result = drv_mac_get_new_cfg_entry(inst, name, &scratch);
        if (result != MAC_OK) return result;
        mac::HeapRecord<mac_cfg_entry> record;
        if (!record) return MAC_NO_MEMORY;
        if (memcpy_s(record.get(), sizeof(mac_cfg_entry), &scratch, sizeof(scratch)) != 0) {
            return MAC_COPY_FAILED;
        }
        g_mac_config.cfg_list.push_back(record.release());
    }
    return MAC_OK;
}

void mac_cfg_release() {
    g_mac_config.cfg_list.for_each([](mac_cfg_entry* record) {
        g_mac_config.cfg_list.remove(record);
        platform_free(record);
    });
}
