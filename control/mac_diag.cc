// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "control/mac_diag.h"

#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "platform/bounded.h"
#include "platform/memory.h"
#include "service/mac_func.h"

constinit mac_diag_state g_mac_diag{};

namespace {

constexpr u32 kOwnerReadOnly = 0400;
constexpr u32 kSlotMargin = 2;
constexpr u8 kFileKind = 1;

}  // namespace

u32 mac_diag_init(u32 module_id, const char* name) {
    mac_log_notice("mac enter initialize diag.");
    int error = memset_s(&g_mac_diag, sizeof(g_mac_diag), 0, sizeof(g_mac_diag));
    if (error != 0) {
        mac_log_error("mac diag init memory set fail err_no = %d", error);
        return MAC_FAULT;
    }
    error = strncpy_s(g_mac_diag.name, sizeof(g_mac_diag.name), name, mac::text_length(name));
    if (error != 0) {
        mac_log_error("mac diag init string copy fail err_no = %d", error);
        return MAC_FAULT;
    }
    g_mac_diag.module_id = module_id;
    g_mac_diag.max_attr = mac::kDiagSlots;
    g_mac_diag.attr_count = 0;
    g_mac_diag.kobject = diag_create_kobject(name);
    g_mac_diag.group.attributes = g_mac_diag.attr_list;
    for (u32 slot = 0; slot < mac::kDiagSlots; ++slot) {
        // Unchecked here: a slot without a buffer refuses its attribute later.
        g_mac_diag.attr_name[slot] =
            static_cast<char*>(platform_kept_zalloc(mac_get_max_name_ker()));
        g_mac_diag.attr_list[slot] = nullptr;
    }
    (void)diag_module_register(name);
    return mac_diag_create_attr();
}

void mac_diag_exit() {
    mac_diag_delete_attr();
    (void)diag_module_unregister(g_mac_diag.name);
    diag_delete_kobject(g_mac_diag.kobject);
}

u32 mac_diag_create_attr() {
    mac_diag_add_attr("devlist", kFileKind, mac_diag_show, mac_diag_store);
    mac_diag_add_attr("drvlist", kFileKind, mac_diag_show, mac_diag_store);
    const u32 result = platform_sysfs_create_group(g_mac_diag.kobject, &g_mac_diag.group);
    if (result != 0) {
        mac_log_error("mac diag create group %s fail", g_mac_diag.name);
        return result;
    }
    (void)diag_filelist_register(g_mac_diag.name, mac::text_length(g_mac_diag.name),
                                 g_mac_diag.file_list);
    return MAC_OK;
}

void mac_diag_add_attr(const char* attr_name, u8 kind, mac_diag_show_op show,
                       mac_diag_store_op store) {
    const u32 slot = g_mac_diag.attr_count;
    if (slot + kSlotMargin >= g_mac_diag.max_attr) {
        mac_log_error("mac diag add attr %d name %s fail", slot, attr_name);
        return;
    }
    char* const name = g_mac_diag.attr_name[slot];
    const u32 capacity = mac_get_max_name_ker();
    int error = memset_s(name, capacity, 0, capacity);
    if (error != 0) {
        mac_log_error("mac diag add attr memory set fail err_no = %d", error);
        return;
    }
    error = strncpy_s(name, capacity, attr_name, mac::text_length(attr_name));
    if (error != 0) {
        mac_log_error("mac diag add attr string copy fail err_no = %d", error);
        return;
    }
    g_mac_diag.attr[slot] = {name, kOwnerReadOnly, show, store};
    g_mac_diag.attr_list[slot] = &g_mac_diag.attr[slot];
    g_mac_diag.file_list[slot] = {name, kind};
    ++g_mac_diag.attr_count;
}

void mac_diag_delete_attr() {
    (void)diag_filelist_unregister(g_mac_diag.name, mac::text_length(g_mac_diag.name),
                                   g_mac_diag.file_list);
    if (g_mac_diag.kobject != nullptr) {
        platform_sysfs_remove_group(g_mac_diag.kobject, &g_mac_diag.group);
    }
}

void* mac_diag_get_kobject() {
    if (g_mac_diag.kobject == nullptr) mac_log_error("mac diag find kobject fail");
    return g_mac_diag.kobject;
}

long mac_diag_show(void* /*kobject*/, const platform_attribute* /*attribute*/, char* /*page*/) {
    return 0;
}

long mac_diag_store(void* /*kobject*/, const platform_attribute* /*attribute*/,
                    const char* /*text*/, size_t /*length*/) {
    return 0;
}
