// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/device_service.h"

#include "platform/common/service_status.h"
#include "platform/host/checker.h"
#include "platform/host/journal.h"

namespace {

const platform_misc_device* registered = nullptr;
std::vector<host::DiagObject*> objects;
std::vector<std::string> modules;
std::vector<const diag_file*> filelists;

bool planned(host::Call call, u32* code) {
    host::might_sleep("a registration");
    return host::faults().hit(call, code);
}

}  // namespace

namespace host {

const platform_misc_device* device() { return registered; }

s64 device_ioctl(u32 cmd, void* record) {
    if (registered == nullptr) return -1;
    const platform_file_operations& operations = *registered->fops;
    char file[1];
    if (operations.open(nullptr, file) != 0) return -1;
    const s64 result = operations.unlocked_ioctl(file, cmd, reinterpret_cast<u64>(record));
    operations.release(nullptr, file);
    return result;
}

void device_reclaim() { registered = nullptr; }

const std::vector<DiagObject*>& diag_objects() { return objects; }
const std::vector<std::string>& diag_modules() { return modules; }
const std::vector<const diag_file*>& diag_filelists() { return filelists; }

void diag_reclaim() {
    for (const DiagObject* object : objects) delete object;
    objects.clear();
    modules.clear();
    filelists.clear();
}

}  // namespace host

int platform_misc_register(const platform_misc_device* device) {
    host_journal("platform_misc_register %s", device->name);
    u32 code = 0;
    if (planned(host::Call::kMiscRegister, &code)) return static_cast<int>(code);
    if (registered != nullptr) return static_cast<int>(SERVICE_BUSY);
    registered = device;
    return 0;
}

void platform_misc_deregister(const platform_misc_device* device) {
    host_journal("platform_misc_deregister %s", device->name);
    host::might_sleep("platform_misc_deregister");
    if (registered == device) registered = nullptr;
}

void* diag_create_kobject(const char* name) {
    host_journal("diag_create_kobject %s", name);
    if (planned(host::Call::kDiagKobject, nullptr)) return nullptr;
    objects.push_back(new host::DiagObject{name});
    return objects.back();
}

void diag_delete_kobject(void* kobject) {
    host_journal("diag_delete_kobject");
    host::might_sleep("diag_delete_kobject");
    std::erase(objects, static_cast<host::DiagObject*>(kobject));
    delete static_cast<host::DiagObject*>(kobject);
}

u32 diag_module_register(const char* name) {
    host_journal("diag_module_register %s", name);
    u32 code = 0;
    if (planned(host::Call::kDiagModule, &code)) return code;
    modules.emplace_back(name);
    return 0;
}

u32 diag_module_unregister(const char* name) {
    host_journal("diag_module_unregister %s", name);
    host::might_sleep("diag_module_unregister");
    std::erase(modules, name);
    return 0;
}

u32 diag_filelist_register(const char* name, u32 name_length, const diag_file* files) {
    host_journal("diag_filelist_register %s %u", name, name_length);
    u32 code = 0;
    if (planned(host::Call::kDiagFilelist, &code)) return code;
    filelists.push_back(files);
    return 0;
}

u32 diag_filelist_unregister(const char* name, u32 name_length, const diag_file* files) {
    host_journal("diag_filelist_unregister %s %u", name, name_length);
    host::might_sleep("diag_filelist_unregister");
    std::erase(filelists, files);
    return 0;
}

u32 platform_sysfs_create_group(void* kobject, const platform_attribute_group* group) {
    host_journal("platform_sysfs_create_group");
    u32 code = 0;
    if (planned(host::Call::kSysfsCreate, &code)) return code;
    if (kobject == nullptr) return SERVICE_NULL_ARGUMENT;
    static_cast<host::DiagObject*>(kobject)->group = group;
    return 0;
}

void platform_sysfs_remove_group(void* kobject, const platform_attribute_group* /*group*/) {
    host_journal("platform_sysfs_remove_group");
    host::might_sleep("platform_sysfs_remove_group");
    static_cast<host::DiagObject*>(kobject)->group = nullptr;
}
