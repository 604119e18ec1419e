// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "service/mac_func.h"

#include "base/guard.h"
#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "config/mac_entery_xml.h"
#include "core/mac_data.h"
#include "platform/bounded.h"

constinit mac_patch_hook g_mac_patch_array_ker[2] = {};

namespace {

// The MAC types of an instance, in three runs.
struct TypeRun {
    u32 first;
    u32 last;
};

constexpr TypeRun kTypeRuns[] = {{0, 4}, {5, 5}, {64, 79}};

template <typename Visitor>
void for_each_type(Visitor visit) {
    for (const TypeRun& run : kTypeRuns) {
        for (u32 type = run.first; type <= run.last; ++type) visit(type);
    }
}

// The operations of a driver, which are held from now on: another module's would go with it.
MacDriverOps* find_to_use(const char* name) {
    MacDriverOps* const ops = module_driver_func_find_by_name(name);
    return ops != nullptr && platform_driver_hold(ops) == 0 ? ops : nullptr;
}

// No step after the configuration can fail today; the text stands for the day
// when mounting can.
u32 report_mount(u32 inst, u32 result) {
    if (result != MAC_OK) mac_log_error("mac inst 0x%x func mount  fail", inst);
    return result == MAC_OK ? MAC_OK : MAC_FAULT;
}

}  // namespace

int mac_func_init(u32 module_id, const char* name) {
    mac_log_notice("mac enter initialize func.");
    int error = memset_s(&g_mac_func, sizeof(g_mac_func), 0, sizeof(g_mac_func));
    if (error != 0) {
        mac_log_error("mac func init memory set fail err_no = %d", error);
        return mac::kFault;
    }
    error = strncpy_s(g_mac_func.name, sizeof(g_mac_func.name), name, mac::text_length(name));
    if (error != 0) {
        mac_log_error("mac func init string copy fail err_no = %d", error);
        return mac::kFault;
    }
    g_mac_func.list.init();
    g_mac_func.module_id = module_id;
    platform_spin_init(&g_mac_func.lock, "&g_mac_func.lock");
    return 0;
}

void mac_func_exit() { mac_data_delete(); }

u32 set_mac_init(u32 inst) {
    char name[64] = {};
    if (mac_build_name(inst, name, sizeof(name)) != MAC_OK) {
        mac_log_error("mac inst 0x%x build name fail", inst);
        return MAC_FAULT;
    }
    if (mac_config_xml_init(inst, name) != 0) {
        mac_log_error("mac inst 0x%x config initial fail", inst);
        return MAC_FAULT;
    }
    mac_driver_install(inst);
    return report_mount(inst, mac_func_mount(inst));
}

u32 set_mac_deinit(u32 inst) {
    mac_func_demount(inst);
    mac_config_xml_exit(inst);
    return MAC_OK;
}

u32 mac_func_mount(u32 inst) {
    for_each_type([inst](u32 type) { mac_func_data_init(inst, type); });
    return MAC_OK;
}

void mac_func_demount(u32 inst) {
    if (mac_config_find_by_instid(inst) == nullptr) return;
    for_each_type([inst](u32 type) { mac_func_data_exit(inst, type); });
}

void mac_func_data_init(u32 inst, u32 type) {
    const int result = mac_data_create(inst, type);
    if (result != 0) {
        mac_log_error("mac inst 0x%x type %d data create fail %d.", inst, type, result);
    }
}

void mac_func_data_exit(u32 inst, u32 type) {
    mac_data_remove(mac_data_find_by_instid(inst, type));
}

void mac_driver_install(u32 inst) {
    mac_inst_config* const config = mac_config_find_by_instid(inst);
    if (config == nullptr) return;
    const mac::SpinGuard guard(config->lock);
    config->entry_list.for_each(
        [](mac_entry* entry) { mac_entry_bind(*entry, find_to_use(entry->drv_name)); });
}

u32 mac_build_name(u32 inst, char* buf, u32 buf_len) {
    if (buf == nullptr || buf_len == 0) {
        mac_log_error("mac build name para fail");
        return MAC_FAIL;
    }
    if (sprintf_s(buf, buf_len, "%s_0x%08x", mac::kModuleName, inst) == -1) {
        mac_log_error("mac build name done fail");
        return MAC_FAIL;
    }
    return mac_check_name(buf);
}

u32 mac_check_name(const char* name) {
    if (name == nullptr) return MAC_FAIL;
    // The empty name wraps around to the largest number.
    return mac::text_length(name) - 1 < mac::kNameKer ? MAC_OK : MAC_FAIL;
}

u32 mac_get_max_name_usr() { return mac::kNameUsr; }
u32 mac_get_max_name_ker() { return mac::kNameKer; }

u32 get_mac_patch_func1(u8* /*buf*/, u32 /*len*/) { return MAC_OK; }
u32 get_mac_patch_func2(u8* /*buf*/, u32 /*len*/) { return MAC_OK; }
