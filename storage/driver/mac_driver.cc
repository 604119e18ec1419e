// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "storage/driver/mac_driver.h"

#include "base/guard.h"
#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "platform/bounded.h"
#include "storage/driver/mac_driver_table.h"

constinit mac::Registry<MacDriver> g_mac_drv{};

int mac_drv_init(u32 module_id, const char* name) {
    mac_log_notice("mac enter initialize drv.");
    int error = memset_s(&g_mac_drv, sizeof(g_mac_drv), 0, sizeof(g_mac_drv));
    if (error != 0) {
        mac_log_error("mac drv init memory set fail err_no = %d", error);
        return mac::kFault;
    }
    error = strncpy_s(g_mac_drv.name, sizeof(g_mac_drv.name), name, mac::text_length(name));
    if (error != 0) {
        mac_log_error("mac drv init string copy fail err_no = %d", error);
        return mac::kFault;
    }
    g_mac_drv.list.init();
    platform_spin_init(&g_mac_drv.lock, "&g_mac_drv.lock");
    g_mac_drv.module_id = module_id;
    u32 results = 0;
    for (const mac::DriverRow& row : mac::kDriverTable) {
        results |= static_cast<u32>(mac_driver_create(row.medium));
    }
    if (results != 0) {
        mac_log_error(
            "mac drv init mac\xa3\xba"
            "driver create fail ret = %u",
            results);
    }
    return 0;
}

void mac_drv_exit() {
    for (const mac::DriverRow& row : mac::kDriverTable) mac_driver_delete(row.medium);
}

int mac_driver_create(u32 medium) {
    if (mac_driver_find_by_medium(static_cast<int>(medium)) != nullptr) {
        mac_log_error("mac inst search medium %d driver exist.", medium);
        return mac::kFail;
    }
    mac::HeapRecord<MacDriver> owner;
    if (!owner) {
        mac_log_error("mac inst malloc medium %d driver fail.", medium);
        return mac::kFail;
    }
    // From here on the object stays, also when binding or registration fails.
    MacDriver* const driver = owner.release();
    int result = mac_driver_bind(driver, medium);
    if (result != 0) mac_log_error("mac bind medium %d driver ret %d", medium, result);
    result = module_driver_register(driver);
    mac_log_notice("mac create medium[%d-%s] driver ret %d", medium,
                   driver->name != nullptr ? driver->name : "(null)", result);
    return 0;
}

void mac_driver_delete(u32 medium) {
    MacDriver* const driver = mac_driver_find_by_medium(static_cast<int>(medium));
    if (driver == nullptr) return;
    module_driver_unregister(driver->name);
    mac_driver_unbind(driver);
    platform_free(driver);
}

int mac_driver_bind(MacDriver* driver, u32 medium) {
    if (driver == nullptr) return mac::kFail;
    mac::HeapRecord<MacDriverOps> ops;
    if (!ops) {
        mac_log_error("mac malloc medium %d func fail.", medium);
        return mac::kFail;
    }
    const mac::DriverRow* const row = mac::find_driver_row(medium);
    if (row == nullptr) return 0;
    *ops.get() = row->ops;
    driver->name = row->name;
    driver->ops = ops.release();
    return 0;
}

void mac_driver_unbind(MacDriver* driver) {
    if (driver == nullptr) return;
    platform_free(driver->ops);
    driver->ops = nullptr;
}

MacDriver* mac_driver_find_by_medium(int medium) {
    const mac::DriverRow* const row = mac::find_driver_row(static_cast<u32>(medium));
    return row == nullptr ? nullptr : module_driver_find_by_name(row->name);
}

void mac_driver_insert(MacDriver* driver) {
    if (driver == nullptr) return;
    const mac::SpinGuard guard(g_mac_drv.lock);
    g_mac_drv.list.push_back(driver);
}

void mac_driver_remove(MacDriver* driver) {
    if (driver == nullptr) return;
    const mac::SpinGuard guard(g_mac_drv.lock);
    g_mac_drv.list.remove(driver);
}

MacDriver* mac_driver_find_by_name(const char* name) {
    const mac::SpinGuard guard(g_mac_drv.lock);
    return g_mac_drv.list.find(
        [name](const MacDriver& driver) { return mac::text_equal(driver.name, name); });
}
