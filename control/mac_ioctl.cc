// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Dispatch and the device.
#include "control/mac_ioctl.h"

#include "base/log.h"
#include "base/status.h"
#include "config/mac_config.h"
#include "mac_mng/mac_ioctl.h"
#include "platform/device.h"

constexpr mac_ioctl_row g_drv_mac_ioctl_map[12] = {
    {MAC_IOCTL_INIT, drv_mac_ioctl_init},
    {MAC_IOCTL_DEINIT, drv_mac_ioctl_deinit},
    {MAC_IOCTL_SET_ADDR, drv_mac_ioctl_set_addr},
    {MAC_IOCTL_GET_ADDR, drv_mac_ioctl_get_addr},
    {MAC_IOCTL_SET_NUM, drv_mac_ioctl_set_num},
    {MAC_IOCTL_GET_NUM, drv_mac_ioctl_get_num},
    {MAC_IOCTL_SET_ADDR_NUM, drv_mac_ioctl_set_addr_num},
    {MAC_IOCTL_GET_ADDR_NUM, drv_mac_ioctl_get_addr_num},
    {MAC_IOCTL_PATCH1, drv_mac_ioctl_patch1},
    {MAC_IOCTL_PATCH2, drv_mac_ioctl_patch2},
    {MAC_IOCTL_SHOW_CFG, drv_mac_ioctl_cmd_show},
    {MAC_IOCTL_SHOW_TYPES, drv_mac_ioctl_cmd_show},
};

namespace {

// No command stands in the table twice.
constexpr bool map_is_sound() {
    for (const mac_ioctl_row& row : g_drv_mac_ioctl_map) {
        for (const mac_ioctl_row& other : g_drv_mac_ioctl_map) {
            if (&other != &row && other.cmd == row.cmd) return false;
        }
    }
    return true;
}
static_assert(map_is_sound());

constexpr platform_file_operations kFileOperations = {
    .owner = nullptr,  // the platform knows the module
    .unlocked_ioctl = drv_mac_ioctl,
    .compat_ioctl = drv_mac_ioctl,
    .open = drv_mac_open,
    .release = drv_mac_release,
};

constexpr platform_misc_device kDevice = {
    .minor = PLATFORM_MINOR_DYNAMIC,
    .name = mac::kModuleName,
    .fops = &kFileOperations,
};

// Holds the command mutex, unless the caller was killed while it waited.
class [[nodiscard]] CommandGuard {
public:
    CommandGuard() : error_(mac_mutex_lock()) {}
    ~CommandGuard() {
        if (error_ == 0) mac_mutex_unlock();
    }
    CommandGuard(const CommandGuard&) = delete;
    CommandGuard& operator=(const CommandGuard&) = delete;

    // 0, or what the command ends with: a process that is gone does not see it.
    int error() const { return error_; }

private:
    int error_;
};

s64 to_result(u32 status) { return static_cast<s32>(status); }

}  // namespace

s64 drv_mac_ioctl(void* /*file*/, u32 cmd, u64 arg) {
    for (const mac_ioctl_row& row : g_drv_mac_ioctl_map) {
        if (row.cmd != cmd) continue;
        const CommandGuard guard;
        if (guard.error() != 0) return guard.error();
        return to_result(row.handler(cmd, arg));
    }
    return to_result(MAC_UNKNOWN_COMMAND);
}

int drv_mac_open(void* /*inode*/, void* /*file*/) { return 0; }
int drv_mac_release(void* /*inode*/, void* /*file*/) { return 0; }

u32 mac_device_init() {
    if (platform_misc_register(&kDevice) == 0) return MAC_OK;
    mac_log_error("[%s]misc_register fail", "mac device init");
    return MAC_DEVICE_REGISTER_FAILED;
}

void mac_device_deinit() { platform_misc_deregister(&kDevice); }
