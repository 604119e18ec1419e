// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "config/mac_config.h"

#include "base/guard.h"
#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "platform/bounded.h"

constinit mac_config_registry g_mac_config{};

int mac_config_init(u32 module_id, const char* name) {
    mac_log_notice("mac enter initialize config.");
    int error = memset_s(&g_mac_config, sizeof(g_mac_config), 0, sizeof(g_mac_config));
    if (error != 0) {
        mac_log_error("mac config init memory set fail err_no = %d", error);
        return mac::kFault;
    }
    error = strncpy_s(g_mac_config.name, sizeof(g_mac_config.name), name, mac::text_length(name));
    if (error != 0) {
        mac_log_error("mac config init memory copy fail err_no = %d", error);
        return mac::kFault;
    }
    g_mac_config.max_num = 16;
    g_mac_config.config_list.init();
    g_mac_config.module_id = module_id;
    platform_spin_init(&g_mac_config.lock, "&g_mac_config.lock");
    platform_mutex_init(&g_mac_config.dev_mutex, "&g_mac_config.dev_mutex");
    // The listings may run before anything is added to their lists.
    g_mac_config.cfg_list.init();
    g_mac_config.type_list.init();
    platform_mutex_init(&g_mac_config.show_mutex, "&g_mac_config.show_mutex");
    return 0;
}

void mac_config_exit() { mac_delete_config(); }

int mac_create_config(u32 inst, const char* name) {
    if (mac_config_find_by_instid(inst) != nullptr) {
        mac_log_error("mac inst 0x%x search config exist.", inst);
        return mac::kFail;
    }
    mac::HeapRecord<mac_inst_config> config;
    if (!config) {
        mac_log_error("mac inst 0x%x malloc config fail.", inst);
        return mac::kFail;
    }
    const int error = strncpy_s(config->name, sizeof(config->name), name, mac::text_length(name));
    if (error != 0) {
        mac_log_error("mac create config string copy fail err_no = %d", error);
        return mac::kFail;
    }
    config->inst_id = inst;
    config->entry_num = 0;
    platform_spin_init(&config->lock, "&config->lock");
    config->entry_list.init();
    mac_insert_config(config.release());
    return 0;
}

void mac_insert_config(mac_inst_config* config) {
    if (config == nullptr) return;
    const mac::SpinGuard guard(g_mac_config.lock);
    if (!g_mac_config.config_list.push_back(config)) return;
    g_mac_config.table.insert(config->inst_id, config);
}

void mac_remove_config(mac_inst_config* config) {
    if (config == nullptr) return;
    const mac::SpinGuard guard(g_mac_config.lock);
    g_mac_config.table.remove(config->inst_id, config);
    g_mac_config.config_list.remove(config);
    mac::free_later(config);
}

void mac_delete_config() {
    const mac::SpinGuard guard(g_mac_config.lock);
    g_mac_config.config_list.for_each([](mac_inst_config* config) {
        mac_delete_entry(config);
        g_mac_config.table.remove(config->inst_id, config);
        g_mac_config.config_list.remove(config);
        mac::free_later(config);
    });
}

mac_inst_config* mac_config_find_by_instid(u32 inst) {
    const mac::SpinGuard guard(g_mac_config.lock);
    return g_mac_config.table.find(
        inst, [inst](const mac_inst_config& config) { return config.inst_id == inst; });
}

int mac_mutex_lock() { return platform_mutex_lock_killable(&g_mac_config.dev_mutex); }
void mac_mutex_unlock() { platform_mutex_unlock(&g_mac_config.dev_mutex); }
void drv_mac_lock() { platform_mutex_lock(&g_mac_config.show_mutex); }
void drv_mac_unlock() { platform_mutex_unlock(&g_mac_config.show_mutex); }
