// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "service/mac_address.h"

#include "base/log.h"
#include "base/status.h"
#include "core/mac_data_io.h"
#include "core/mac_data_sync.h"
#include "platform/bounded.h"
#include "storage/formats/mac_mesg.h"

u32 mac_func_data_read(u32 inst, u32 type) {
    u32 support = 0;
    mac_type_support(inst, type, &support);
    if (support != 1) return MAC_NOT_SUPPORTED;
    const u32 result = mac_data_init_store(inst, type);
    if (result != MAC_OK) {
        mac_log_error("mac inst 0x%x type %d data store fail %d.", inst, type, result);
    }
    return result;
}

u32 set_mac_addr(u32 inst, u32 type, const u8* addr, u32 addr_len) {
    u32 result = mac_func_data_read(inst, type);
    if (result != MAC_OK) {
        mac_log_error("set mac addr: mac func data read unsuccessfully.ret=0x%x,inst=0x%x,type=%d.",
                      result, inst, type);
    }
    const mac_area* const main_area = mac_get_data(inst, type, mac::kMainArea);
    if (!mac_area_present(main_area)) return MAC_FAULT;
    result = mac_data_vaild_addr(inst, type, addr, addr_len);
    if (result != MAC_OK) return result;
    return mac_set_data(inst, type, addr, addr_len, main_area->mac_num);
}

u32 set_mac_num(u32 inst, u32 type, u32 num) {
    u32 result = mac_func_data_read(inst, type);
    if (result != MAC_OK) {
        mac_log_error("set mac num: mac func data read unsucessfully.ret=0x%x,inst=0x%x,type=%d.",
                      result, inst, type);
    }
    const mac_area* const main_area = mac_get_data(inst, type, mac::kMainArea);
    if (!mac_area_present(main_area)) return MAC_FAULT;
    result = mac_data_vaild_num(inst, type, num);
    if (result != MAC_OK) return result;
    return mac_set_data(inst, type, main_area->mac, mac::kMacLength, num);
}

u32 get_mac_info(u32 inst, u32 type, u8* buf, u32 buf_len, u32* num) {
    const u32 result = mac_func_data_read(inst, type);
    if (result != MAC_OK) return result;
    const mac_area* const main_area = mac_get_data(inst, type, mac::kMainArea);
    if (!mac_area_present(main_area)) return MAC_FAULT;
    *num = main_area->mac_num;
    const int error = memcpy_s(buf, buf_len, main_area->mac, mac::kMacLength);
    if (error != 0) {
        mac_log_error("get mac addr memory copy fail err_no = %d", error);
        return MAC_FAULT;
    }
    return MAC_OK;
}

u32 get_mac_addr(u32 inst, u32 type, u8* buf, u32 buf_len) {
    u32 num = 0;
    const u32 result = get_mac_info(inst, type, buf, buf_len, &num);
    if (result != MAC_OK) return result;
    return mac_data_vaild_addr(inst, type, buf, buf_len);
}

u32 get_mac_num(u32 inst, u32 type, u32* num) {
    u8 addr[mac::kMacLength] = {};
    const u32 result = get_mac_info(inst, type, addr, sizeof(addr), num);
    if (result != MAC_OK) return result;
    return mac_data_vaild_num(inst, type, *num);
}

u32 get_mac_list(u32 inst, u32 type, u32 count, u8* out, u32 out_len) {
    u8 base[mac::kMacLength] = {};
    u32 stored = 0;
    const u32 result = get_mac_info(inst, type, base, sizeof(base), &stored);
    if (result != MAC_OK) {
        mac_log_error("mac inst 0x%x get type[%d] info fail run %d.", inst, type, result);
        return result;
    }
    if (stored < count) {
        mac_log_error("mac inst 0x%x get type[%d] info over num %d-%d.", inst, type, count, stored);
        return MAC_FAULT;
    }
    // 32-bit arithmetic that wraps, as the interface has it. Callers bound the
    // count: a control request to 65534, a kernel caller by its own buffer.
    const u32 size = count * mac::kMacLength;
    if (size > out_len) {
        mac_log_error("mac inst 0x%x get type[%d] info size err %d-%d.", inst, type, out_len, size);
        return MAC_FAULT;
    }
    mac_data_fill(base, count, out);
    return MAC_OK;
}
