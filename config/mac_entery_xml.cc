// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "config/mac_entery_xml.h"

#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "platform/bounded.h"
#include "platform/xml.h"

namespace {

struct StorageNode {
    const char* name;
    u32 storage_code;
    mac_entery_reader reader;
};

constexpr StorageNode kStorageNodes[] = {
    {mac::kMainStorageNode, mac::kMainStorage, mac_entery_xml_status},
    {mac::kSpareStorageNode, mac::kSpareStorage, mac_entery_xml_status},
};

const StorageNode* find_node(const char* name) {
    for (const StorageNode& node : kStorageNodes) {
        if (mac::text_equal(node.name, name)) return &node;
    }
    return nullptr;
}

}  // namespace

int mac_config_xml_init(u32 inst, const char* name) {
    const int result = mac_create_config(inst, name);
    if (result != 0) return result;
    for (const StorageNode& node : kStorageNodes) mac_entery_xml_init(inst, node.name);
    return 0;
}

void mac_config_xml_exit(u32 inst) {
    mac_inst_config* const config = mac_config_find_by_instid(inst);
    if (config == nullptr) return;
    mac_delete_entry(config);
    mac_remove_config(config);
}

void mac_entery_xml_init(u32 inst, const char* node) {
    xml_entry* list = nullptr;
    u32 count = 0;
    if (xml_get_entry_list(inst, mac::kModuleName, node, &list, &count) != 0 || count == 0) {
        return;
    }
    for (const xml_entry* item = list; item != nullptr; item = item->next) {
        mac_entry entry;
        const int error = memset_s(&entry, sizeof(entry), 0, sizeof(entry));
        if (error != 0) {
            mac_log_error("mac entery xml init memory set fail err_no = %d", error);
            return;
        }
        if (mac_entery_xml_read(inst, node, item->element, &entry) != 0) return;
        const int result = mac_create_entry(&entry);
        if (result != 0) {
            mac_log_error(
                "mac entery xml init\xa3\xba"
                "mac create entry fail ret = %u",
                static_cast<u32>(result));
        }
    }
}

int mac_entery_xml_read(u32 inst, const char* node, const void* element, mac_entry* entry) {
    const mac_entery_reader reader = mac_entery_xml_func(node);
    if (reader == nullptr) return mac::kFail;
    const int result = reader(inst, node, element, entry);
    if (result != 0) mac_log_error("mac inst 0x%x read xml node<%s> entry fail", inst, node);
    return result;
}

mac_entery_reader mac_entery_xml_func(const char* node) {
    const StorageNode* const found = find_node(node);
    if (found == nullptr) {
        mac_log_error("mac entery %s find xml func fail.", node);
        return nullptr;
    }
    return found->reader;
}

u32 mac_entery_xml_ioctl(const char* node) {
    const StorageNode* const found = find_node(node);
    if (found == nullptr) {
        mac_log_error("mac entery %s find xml ioctl fail.", node);
        return 0;
    }
    return found->storage_code;
}

int mac_entery_xml_status(u32 inst, const char* node, const void* element, mac_entry* entry) {
    if (element == nullptr || entry == nullptr) return mac::kFail;
    entry->inst_id = inst;
    entry->storage_code = mac_entery_xml_ioctl(node);
    if (xml_get_attr_value_u32(element, "id", &entry->id) != 0) return mac::kFail;
    if (xml_get_attr_string(element, "drv_name", entry->drv_name, sizeof(entry->drv_name)) != 0) {
        return mac::kFail;
    }
    if (xml_get_attr_value_u32(element, "chip_id", &entry->chip_id) != 0) return mac::kFail;
    if (xml_get_attr_value_u32(element, "channel", &entry->channel) != 0) return mac::kFail;
    if (xml_get_attr_value_u32(element, "mac_num", &entry->mac_num) != 0) entry->mac_num = 1;
    // Optional: without it the name stays empty.
    (void)xml_get_attr_string(element, "storage_name", entry->storage_name,
                              sizeof(entry->storage_name));
    return 0;
}
