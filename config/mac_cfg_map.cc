// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Table-driven readers of entry elements, shared by both XML layouts.
#include "base/status.h"
#include "base/text.h"
#include "config/mac_cfg.h"
#include "platform/bounded.h"
#include "platform/xml.h"

u32 drv_mac_get_u32_cfg_by_map(u32 inst, const mac_xml_path& path, u32 count,
                               const mac_u32_map* map) {
    for (const mac_u32_map* row = map; row != map + count; ++row) {
        const u32 result =
            xml_get_element_value_u32(inst, path.top, path.node, path.entry, row->key, row->field);
        if (result == 0) continue;
        if (row->required) return result;
        if (row->default_text != nullptr) {
            *row->field = static_cast<u32>(mac::text_to_number(row->default_text));
        }
    }
    return MAC_OK;
}

u32 drv_mac_get_str_cfg_by_map(u32 inst, const mac_xml_path& path, u32 count,
                               const mac_str_map* map) {
    for (const mac_str_map* row = map; row != map + count; ++row) {
        const u32 result = xml_get_element_string(inst, path.top, path.node, path.entry, row->key,
                                                  row->field, row->capacity);
        if (result == 0) continue;
        if (row->required) return result;
        if (row->default_text == nullptr) continue;
        if (sprintf_s(row->field, row->capacity, "%s", row->default_text) < 0) {
            return MAC_FORMAT_FAILED;
        }
    }
    return MAC_OK;
}

u32 drv_mac_node_exist(u32 inst, const char* node) {
    u32 exists = 0;
    const u32 result = xml_is_node_exist(inst, mac::kModuleName, node, &exists);
    return result == 0 && exists != 0 ? 1 : 0;
}

u32 mac_cfg_entry_name(u32 index, char (&name)[mac::kNameUsr]) {
    return sprintf_s(name, sizeof(name), "entry%u", index) < 0 ? MAC_FORMAT_FAILED : MAC_OK;
}
