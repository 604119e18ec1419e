// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "control/mac_module.h"

#include "base/log.h"
#include "base/status.h"
#include "config/mac_cfg.h"
#include "config/mac_config.h"
#include "control/mac_diag.h"
#include "control/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "service/mac_func.h"
#include "storage/driver/mac_driver.h"

namespace {

constexpr u32 kLogBytes = 8192;

// The two start-up lines have no module of their own yet.
constexpr u32 kNoModule = 0;

struct Step {
    const char* name;
    u32 (*run)();
    void (*undo)();  // null: leaves nothing in memory
};

// In this order: each step needs the ones before it.
constexpr Step kSteps[] = {
    {"configuration registry",
     [] { return static_cast<u32>(mac_config_init(mac::kLogModule, mac::kModuleName)); },
     mac_config_exit},
    {"storage drivers",
     [] { return static_cast<u32>(mac_drv_init(mac::kLogModule, mac::kModuleName)); },
     mac_drv_exit},
    {"control device", mac_device_init, nullptr},
    {"address service",
     [] { return static_cast<u32>(mac_func_init(mac::kLogModule, mac::kModuleName)); },
     mac_func_exit},
    {"diagnostic attributes", [] { return mac_diag_init(mac::kLogModule, mac::kModuleName); },
     nullptr},
    {"default instance", [] { return drv_mac_init(MAC_DEFAULT_INSTANCE); }, nullptr},
};
constexpr u32 kStepCount = sizeof(kSteps) / sizeof(kSteps[0]);

// How many steps the last start-up has done.
constinit u32 steps_done = 0;

u32 run_steps() {
    for (steps_done = 0; steps_done < kStepCount; ++steps_done) {
        const u32 result = kSteps[steps_done].run();
        if (result != MAC_OK) return result;
    }
    return MAC_OK;
}

}  // namespace

u32 mac_module_init() {
    drv_log_record(kNoModule, PLATFORM_LOG_NOTICE, 0, "%s MODULE INIT BEGIN", mac::kModuleName);
    (void)drv_log_register(mac::kLogModule, mac::kModuleName, kLogBytes);
    const u32 result = run_steps();
    drv_log_record(kNoModule, PLATFORM_LOG_NOTICE, 0, "%s MODULE INIT END", mac::kModuleName);
    return result;
}

const char* mac_module_failed_step() {
    return steps_done < kStepCount ? kSteps[steps_done].name : nullptr;
}

void mac_module_abandon() {
    while (steps_done > 0) {
        --steps_done;
        if (kSteps[steps_done].undo != nullptr) kSteps[steps_done].undo();
    }
}

void mac_module_exit() {
    mac_log_notice("mac module exit");
    const u32 result = drv_mac_deinit(MAC_DEFAULT_INSTANCE);
    if (result != MAC_OK) mac_log_error("mac module exit fail, ret=0x%x", result);
    mac_diag_exit();
    mac_func_exit();
    mac_drv_exit();
    mac_config_exit();
}

u32 mac_module_load_listing() {
    if (drv_mac_node_exist(MAC_DEFAULT_INSTANCE, "mac") == 0) return MAC_OK;
    return drv_mac_create_new_cfg(MAC_DEFAULT_INSTANCE);
}

void mac_module_release_listing() { mac_cfg_release(); }
