// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The ten functions that other modules call. Nine are inside while they run, so that
// unmounting takes no record away from under them. drv_mac_deinit() is not: it is what they
// are protected from, and uses no record that somebody else may unmount.
#include "base/guard.h"
#include "base/log.h"
#include "base/status.h"
#include "core/mac_data_sync.h"
#include "mac_mng/mac_mng.h"
#include "service/mac_address.h"
#include "service/mac_func.h"

u32 drv_mac_init(u32 inst) {
    const mac::CallGuard inside;
    return set_mac_init(inst);
}

u32 drv_mac_deinit(u32 inst) { return set_mac_deinit(inst); }

u32 drv_mac_set_addr(u32 inst, u32 type, const u8* addr) {
    const mac::CallGuard inside;
    return set_mac_addr(inst, type, addr, MAC_ADDR_LEN);
}

u32 drv_mac_get_addr(u32 inst, u32 type, u8* buf, u32 len) {
    const mac::CallGuard inside;
    if (buf == nullptr) return MAC_INVALID_ARGUMENT;
    const u32 result = get_mac_addr(inst, type, buf, len);
    if (result != MAC_OK) {
        mac_log_error("mac inst 0x%x get type[%u] addr failed 0x%x.", inst, type, result);
    }
    return result;
}

u32 drv_mac_set_addr_num(u32 inst, u32 type, u32 num, const u8* addr) {
    const mac::CallGuard inside;
    if (addr == nullptr) return MAC_INVALID_ARGUMENT;
    const u32 result = set_mac_info(inst, type, addr, MAC_ADDR_LEN, num);
    if (result != MAC_OK) {
        mac_log_error("mac inst 0x%x type %u num %u, set failed 0x%x.", inst, type, num, result);
    }
    return result;
}

u32 drv_mac_get_addr_num(u32 inst, u32 type, u32 num, u8* buf, u32 len) {
    const mac::CallGuard inside;
    if (buf == nullptr) return MAC_INVALID_ARGUMENT;
    const u32 result = get_mac_list(inst, type, num, buf, len);
    if (result != MAC_OK) {
        mac_log_error("mac inst 0x%x type %u num %u, get failed 0x%x.", inst, type, num, result);
    }
    return result;
}

u32 drv_mac_set_num(u32 inst, u32 type, u32 num) {
    const mac::CallGuard inside;
    return set_mac_num(inst, type, num);
}

u32 drv_mac_get_num(u32 inst, u32 type, u32* num) {
    const mac::CallGuard inside;
    if (num == nullptr) return MAC_INVALID_ARGUMENT;
    return get_mac_num(inst, type, num);
}

u32 drv_mac_patch_func1(u8* buf, u32 len) {
    const mac::CallGuard inside;
    if (buf == nullptr || len == 0) return MAC_INVALID_ARGUMENT;
    return get_mac_patch_func1(buf, len);
}

u32 drv_mac_patch_func2(u8* buf, u32 len) {
    const mac::CallGuard inside;
    if (buf == nullptr || len == 0) return MAC_INVALID_ARGUMENT;
    return get_mac_patch_func2(buf, len);
}
