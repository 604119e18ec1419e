// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The control device: its dispatcher, its handlers and its registration.
//
// Every command runs from start to end under the command mutex of the
// configuration registry: commands never overlap. Handlers log nothing of their
// own. All of it may sleep.
#ifndef CONTROL_MAC_IOCTL_H
#define CONTROL_MAC_IOCTL_H

#include "platform/types.h"

// Runs one command on the caller's argument record at `arg`. The result is the
// handler's 32-bit status, sign-extended; MAC_UNKNOWN_COMMAND, without locking, for
// a number that is no command.
s64 drv_mac_ioctl(void* file, u32 cmd, u64 arg);

// There is no state per open file. Both return 0.
int drv_mac_open(void* inode, void* file);
int drv_mac_release(void* inode, void* file);

// Registers the device. Returns 0, or MAC_DEVICE_REGISTER_FAILED (logged).
[[nodiscard]] u32 mac_device_init();

// Deregisters the device.
void mac_device_deinit();

// Handlers: each takes the command number and the address of the caller's record.
// Besides the code of the exported function they return MAC_COPY_FROM_USER_FAILED,
// MAC_COPY_TO_USER_FAILED, and those with a buffer MAC_INVALID_ARGUMENT and
// MAC_NO_MEMORY.
[[nodiscard]] u32 drv_mac_ioctl_init(u32 cmd, u64 arg);
[[nodiscard]] u32 drv_mac_ioctl_deinit(u32 cmd, u64 arg);
[[nodiscard]] u32 drv_mac_ioctl_set_addr(u32 cmd, u64 arg);
[[nodiscard]] u32 drv_mac_ioctl_get_addr(u32 cmd, u64 arg);
[[nodiscard]] u32 drv_mac_ioctl_set_num(u32 cmd, u64 arg);
[[nodiscard]] u32 drv_mac_ioctl_get_num(u32 cmd, u64 arg);
[[nodiscard]] u32 drv_mac_ioctl_set_addr_num(u32 cmd, u64 arg);
[[nodiscard]] u32 drv_mac_ioctl_get_addr_num(u32 cmd, u64 arg);
[[nodiscard]] u32 drv_mac_ioctl_patch1(u32 cmd, u64 arg);
[[nodiscard]] u32 drv_mac_ioctl_patch2(u32 cmd, u64 arg);
[[nodiscard]] u32 drv_mac_ioctl_cmd_show(u32 cmd, u64 arg);

using mac_ioctl_handler = u32 (*)(u32 cmd, u64 arg);
using mac_listing = u32 (*)(char* buf, u32 buf_len);

struct mac_ioctl_row {
    u32 cmd;
    mac_ioctl_handler handler;
};

struct mac_ioctl_cmd_row {
    u32 cmd;
    mac_listing listing;
};

// The commands in the order in which they are searched, and the listings of the
// two show commands.
extern const mac_ioctl_row g_drv_mac_ioctl_map[12];
extern const mac_ioctl_cmd_row g_drv_mac_ioctl_cmd_map[2];

#endif
