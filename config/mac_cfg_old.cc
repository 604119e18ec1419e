// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The legacy layout: an element per MAC type under the main storage node, and
// one of the same name under the spare node.
#include "base/guard.h"
#include "base/status.h"
#include "config/mac_cfg.h"
#include "config/mac_config.h"
#include "platform/bounded.h"
#include "platform/xml.h"

namespace {

constexpr bool is_one_of(char character, const char* set) {
    for (; *set != '\0'; ++set) {
        if (*set == character) return true;
    }
    return false;
}

// Whether every conversion of a format takes integers or texts only, which the
// zeros passed along satisfy. Floating point would be read from registers that
// nobody filled, pointers print differently everywhere, %n writes, and what is left
// out besides is known to some C libraries only.
constexpr bool conversions_are_safe(const char* format) {
    while (*format != '\0') {
        if (*format++ != '%') continue;
        while (is_one_of(*format, "-+ #0*.hlzt") || (*format >= '1' && *format <= '9')) ++format;
        if (!is_one_of(*format, "%diouxXcs")) return false;
        ++format;
    }
    return true;
}

// Prints a stored text with the text itself as the format. No argument belongs
// to it: whatever it converts reads one of the zeros. A text of 39 characters
// can read 26 at most ("%*d" over and over).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
u32 print_as_format(char (&field)[mac::kNameUsr], const char* text) {
    if (!conversions_are_safe(text)) return MAC_FORMAT_FAILED;
    constexpr u64 o = 0;
    const int length =
        sprintf_s(field, sizeof(field), text,  //
                  o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o, o);
    return length < 0 ? MAC_FORMAT_FAILED : MAC_OK;
}
#pragma GCC diagnostic pop

}  // namespace

u32 drv_mac_get_old_cfg_entry(u32 inst, u32 area, const char* entry_name,
                              mac_old_cfg_entry* entry) {
    const char* const node =
        area == mac::kMainArea ? mac::kMainStorageNode : mac::kSpareStorageNode;
    if (drv_mac_node_exist(inst, node) == 0) return MAC_XML_NODE_MISSING;
    const mac_u32_map numbers[] = {
        {true, "id", &entry->id, nullptr},
        {true, "chip_id", &entry->chip_id, nullptr},
        {true, "channel", &entry->channel, nullptr},
        {false, "mac_num", &entry->mac_num, "1"},
    };
    const mac_str_map texts[] = {
        {true, "drv_name", entry->drv_name, sizeof(entry->drv_name), nullptr},
        {false, "storage_name", entry->storage_name, sizeof(entry->storage_name), ""},
    };
    const mac_xml_path path = {mac::kModuleName, node, entry_name};
    const u32 result =
        drv_mac_get_u32_cfg_by_map(inst, path, sizeof(numbers) / sizeof(numbers[0]), numbers);
    if (result != MAC_OK) return result;
    return drv_mac_get_str_cfg_by_map(inst, path, sizeof(texts) / sizeof(texts[0]), texts);
}

u32 drv_mac_old_cfg_to_new(u32 inst, const mac_old_cfg_entry* main, const mac_old_cfg_entry* spare,
                           mac_cfg_entry* record) {
    record->inst_id = inst;
    record->mac_type = main->id;
    record->mac_num = main->mac_num;
    u32 result = print_as_format(record->drv_name, main->drv_name);
    if (result != MAC_OK) return result;
    record->section_id = main->chip_id;
    record->offset = main->channel;
    result = print_as_format(record->main_env_name, main->storage_name);
    if (result != MAC_OK) return result;
    record->spare_exist = spare->found;
    if (spare->found == 0) return MAC_OK;
    record->spare_section_id = spare->chip_id;
    record->spare_offset = spare->channel;
    return print_as_format(record->spare_env_name, spare->storage_name);
}

u32 drv_mac_create_old_cfg(u32 inst) {
    mac_old_cfg_entry main{};
    mac_old_cfg_entry spare{};
    u32 count = 0;
    u32 result = xml_get_entry_num(inst, mac::kModuleName, mac::kMainStorageNode, &count);
    if (result != 0) return result;
    for (u32 i = 0; i < count; ++i) {
        char name[mac::kNameUsr];
        result = mac_cfg_entry_name(i, name);
        if (result != MAC_OK) return result;
        result = drv_mac_get_old_cfg_entry(inst, mac::kMainArea, name, &main);
        if (result != MAC_OK) return result;
        spare.found = 1;
        if (drv_mac_get_old_cfg_entry(inst, mac::kSpareArea, name, &spare) != MAC_OK) {
            spare.found = 0;
        }
        mac::HeapRecord<mac_cfg_entry> record;
        if (!record) return MAC_NO_MEMORY;
        result = drv_mac_old_cfg_to_new(inst, &main, &spare, record.get());
        if (result != MAC_OK) return result;
        g_mac_config.cfg_list.push_back(record.release());
    }
    return MAC_OK;
}
