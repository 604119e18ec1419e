// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Storage entries of the configuration registry.
#include "base/guard.h"
#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "config/mac_config.h"
#include "platform/bounded.h"

int mac_create_entry(const mac_entry* entry) {
    if (entry == nullptr) return mac::kFail;
    mac::HeapRecord<mac_entry> copy;
    if (!copy) {
        mac_log_error("mac inst 0x%x malloc entry[0x%x-0x%x] fail.", entry->inst_id, entry->id,
                      entry->storage_code);
        return mac::kFail;
    }
    int error = strncpy_s(copy->drv_name, sizeof(copy->drv_name), entry->drv_name,
                          mac::text_length(entry->drv_name));
    if (error != 0) {
        mac_log_error("mac create entry string set fail err_no = %d", error);
        return mac::kFail;
    }
    error = strncpy_s(copy->storage_name, sizeof(copy->storage_name), entry->storage_name,
                      mac::text_length(entry->storage_name));
    if (error != 0) {
        mac_log_error("mac create entry string copy fail err_no = %d", error);
        return mac::kFail;
    }
    copy->inst_id = entry->inst_id;
    copy->storage_code = entry->storage_code;
    copy->id = entry->id;
    copy->chip_id = entry->chip_id;
    copy->channel = entry->channel;
    copy->mac_num = entry->mac_num;
    copy->driver = nullptr;
    mac_insert_entry(copy.release());
    return 0;
}

void mac_insert_entry(mac_entry* entry) {
    if (entry == nullptr) return;
    mac_inst_config* const owner = mac_config_find_by_instid(entry->inst_id);
    if (owner == nullptr) return;
    const mac::SpinGuard guard(owner->lock);
    owner->entry_list.push_back(entry);
    ++owner->entry_num;
}

// The caller holds the lock of `owner`.
static void unlink_and_free(mac_inst_config* owner, mac_entry* entry) {
    owner->entry_list.remove(entry);
    mac::free_later(entry);
    --owner->entry_num;
}

void mac_remove_entry(mac_entry* entry) {
    if (entry == nullptr) return;
    mac_inst_config* const owner = mac_config_find_by_instid(entry->inst_id);
    if (owner == nullptr) return;
    const mac::SpinGuard guard(owner->lock);
    unlink_and_free(owner, entry);
}

void mac_delete_entry(mac_inst_config* config) {
    if (config == nullptr) return;
    const mac::SpinGuard guard(config->lock);
    config->entry_list.for_each([config](mac_entry* entry) { unlink_and_free(config, entry); });
}

mac_entry* mac_entery_find_by_device(u32 inst, u32 id, u32 storage_code) {
    mac_inst_config* const config = mac_config_find_by_instid(inst);
    if (config == nullptr) return nullptr;
    return config->entry_list.find([id, storage_code](const mac_entry& entry) {
        return entry.id == id && entry.storage_code == storage_code;
    });
}
