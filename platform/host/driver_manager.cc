// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/driver_manager.h"

#include <cstring>

#include "platform/common/service_status.h"
#include "platform/host/checker.h"
#include "platform/host/driver_manager.h"
#include "platform/host/journal.h"

namespace {

// The manager's list runs through the drivers' own links, so that a look-up
// allocates and locks nothing. Drivers come and go on one thread.
mac_link drivers = {&drivers, &drivers};

MacDriver* driver_of(mac_link* link) { return reinterpret_cast<MacDriver*>(link); }

const char* name_of(const MacDriver* driver) {
    return driver != nullptr && driver->name != nullptr ? driver->name : "(none)";
}

MacDriver* find(const char* name) {
    if (name == nullptr) return nullptr;
    for (mac_link* link = drivers.next; link != &drivers; link = link->next) {
        MacDriver* const driver = driver_of(link);
        if (driver->name != nullptr && std::strcmp(driver->name, name) == 0) return driver;
    }
    return nullptr;
}

}  // namespace

namespace host {

unsigned driver_count() {
    unsigned count = 0;
    for (const mac_link* link = drivers.next; link != &drivers; link = link->next) ++count;
    return count;
}

void driver_drop_all() { drivers = {&drivers, &drivers}; }

}  // namespace host

int module_driver_register(MacDriver* driver) {
    host_journal("module_driver_register %s", name_of(driver));
    host::might_sleep("module_driver_register");
    u32 code = 0;
    if (host::faults().hit(host::Call::kDriverRegister, &code)) return static_cast<int>(code);
    if (driver == nullptr) return static_cast<int>(SERVICE_NULL_ARGUMENT);
    if (find(driver->name) != nullptr) return static_cast<int>(SERVICE_DRIVER_EXISTS);
    driver->list = {&drivers, drivers.prev};
    drivers.prev->next = &driver->list;
    drivers.prev = &driver->list;
    return 0;
}

void module_driver_unregister(const char* name) {
    host_journal("module_driver_unregister %s", name);
    host::might_sleep("module_driver_unregister");
    MacDriver* const driver = find(name);
    if (driver == nullptr) return;
    driver->list.next->prev = driver->list.prev;
    driver->list.prev->next = driver->list.next;
    driver->list = {};
}

MacDriver* module_driver_find_by_name(const char* name) {
    return host::faults().hit(host::Call::kDriverFind) ? nullptr : find(name);
}

MacDriverOps* module_driver_func_find_by_name(const char* name) {
    MacDriver* const driver = module_driver_find_by_name(name);
    return driver == nullptr ? nullptr : driver->ops;
}

// All drivers are in this program.
int platform_driver_hold(const MacDriverOps* ops) {
    if (ops == nullptr)
        host::violation("platform_driver_hold: a driver that was not found is held");
    u32 code = 0;
    return host::faults().hit(host::Call::kDriverHold, &code) ? static_cast<int>(code) : 0;
}
