// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The command handlers: copy the record in, call, copy the result back.
#include "base/guard.h"
#include "base/status.h"
#include "control/mac_ioctl.h"
#include "control/mac_show.h"
#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "platform/device.h"
#include "service/mac_func.h"

constexpr mac_ioctl_cmd_row g_drv_mac_ioctl_cmd_map[2] = {
    {MAC_IOCTL_SHOW_CFG, drv_mac_show_cfg},
    {MAC_IOCTL_SHOW_TYPES, drv_mac_show_mac_type},
};

namespace {

template <typename Record>
u32 copy_in(Record* record, u64 address) {
    if (platform_user_range_valid(address, sizeof(Record)) == 0) return MAC_COPY_FROM_USER_FAILED;
    if (platform_copy_from_user(record, address, sizeof(Record)) != 0) {
        return MAC_COPY_FROM_USER_FAILED;
    }
    return MAC_OK;
}

u32 copy_out(u64 address, const void* data, u32 bytes) {
    if (platform_user_range_valid(address, bytes) == 0) return MAC_COPY_TO_USER_FAILED;
    if (platform_copy_to_user(address, data, bytes) != 0) return MAC_COPY_TO_USER_FAILED;
    return MAC_OK;
}

template <typename Record, typename Call>
u32 with_record(u64 address, Call call) {
    Record record;
    const u32 result = copy_in(&record, address);
    return result != MAC_OK ? result : call(record);
}

u32 run_patch(u64 arg, mac_patch_hook hook) {
    return with_record<mac_ioctl_buffer>(arg, [hook](const mac_ioctl_buffer& request) -> u32 {
        if (request.len == 0 || request.len > MAC_IOCTL_PATCH_LEN_MAX || request.buf == 0) {
            return MAC_INVALID_ARGUMENT;
        }
        const mac::ControlBuffer buffer(request.len);
        if (!buffer) return MAC_NO_MEMORY;
        const u32 result = hook(buffer.get(), request.len);
        if (result != MAC_OK) return result;
        return copy_out(request.buf, buffer.get(), request.len);
    });
}

mac_listing find_listing(u32 cmd) {
    for (const mac_ioctl_cmd_row& row : g_drv_mac_ioctl_cmd_map) {
        if (row.cmd == cmd) return row.listing;
    }
    return nullptr;
}

}  // namespace

u32 drv_mac_ioctl_init(u32 /*cmd*/, u64 arg) {
    return with_record<mac_ioctl_instance>(
        arg, [](const mac_ioctl_instance& record) { return drv_mac_init(record.inst); });
}

u32 drv_mac_ioctl_deinit(u32 /*cmd*/, u64 arg) {
    return with_record<mac_ioctl_instance>(
        arg, [](const mac_ioctl_instance& record) { return drv_mac_deinit(record.inst); });
}

u32 drv_mac_ioctl_set_addr(u32 /*cmd*/, u64 arg) {
    return with_record<mac_ioctl_address>(arg, [](const mac_ioctl_address& record) {
        return drv_mac_set_addr(record.inst, record.type, record.addr);
    });
}

u32 drv_mac_ioctl_get_addr(u32 /*cmd*/, u64 arg) {
    return with_record<mac_ioctl_address>(arg, [arg](mac_ioctl_address& record) {
        const u32 result =
            drv_mac_get_addr(record.inst, record.type, record.addr, sizeof(record.addr));
        return result != MAC_OK ? result : copy_out(arg, &record, sizeof(record));
    });
}

u32 drv_mac_ioctl_set_num(u32 /*cmd*/, u64 arg) {
    return with_record<mac_ioctl_count>(arg, [](const mac_ioctl_count& record) {
        return drv_mac_set_num(record.inst, record.type, record.num);
    });
}

u32 drv_mac_ioctl_get_num(u32 /*cmd*/, u64 arg) {
    return with_record<mac_ioctl_count>(arg, [arg](mac_ioctl_count& record) {
        u32 num = record.num;
        const u32 result = drv_mac_get_num(record.inst, record.type, &num);
        record.num = num;
        return result != MAC_OK ? result : copy_out(arg, &record, sizeof(record));
    });
}

u32 drv_mac_ioctl_set_addr_num(u32 /*cmd*/, u64 arg) {
    return with_record<mac_ioctl_address>(arg, [](const mac_ioctl_address& record) {
        return drv_mac_set_addr_num(record.inst, record.type, record.num, record.addr);
    });
}

u32 drv_mac_ioctl_get_addr_num(u32 /*cmd*/, u64 arg) {
    return with_record<mac_ioctl_list>(arg, [](const mac_ioctl_list& request) -> u32 {
        if (request.num > MAC_IOCTL_LIST_MAX || request.len < request.num * MAC_ADDR_LEN ||
            request.buf == 0) {
            return MAC_INVALID_ARGUMENT;
        }
        const mac::ControlBuffer buffer(request.len);
        if (!buffer) return MAC_NO_MEMORY;
        const u32 result = drv_mac_get_addr_num(request.inst, request.type, request.num,
                                                buffer.get(), request.len);
        if (result != MAC_OK) return result;
        // The whole buffer, also behind the addresses.
        return copy_out(request.buf, buffer.get(), request.len);
    });
}

u32 drv_mac_ioctl_patch1(u32 /*cmd*/, u64 arg) { return run_patch(arg, get_mac_patch_func1); }
u32 drv_mac_ioctl_patch2(u32 /*cmd*/, u64 arg) { return run_patch(arg, get_mac_patch_func2); }

u32 drv_mac_ioctl_cmd_show(u32 cmd, u64 arg) {
    return with_record<mac_ioctl_buffer>(arg, [cmd](const mac_ioctl_buffer& request) -> u32 {
        if (request.len == 0 || request.len > MAC_IOCTL_SHOW_LEN_MAX || request.buf == 0) {
            return MAC_INVALID_ARGUMENT;
        }
        const mac::ControlBuffer buffer(request.len);
        if (!buffer) return MAC_NO_MEMORY;
        const mac_listing listing = find_listing(cmd);
        if (listing == nullptr) return MAC_INVALID_ARGUMENT;
        char* const text = reinterpret_cast<char*>(buffer.get());
        // The listing leaves room for its terminator, which is copied as well.
        const u32 length = listing(text, request.len);
        return copy_out(request.buf, text, length + 1);
    });
}
