// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "core/mac_data_io.h"

#include <stdint.h>

#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "core/mac_area.h"

namespace {

// What mac_get_data() yields when there is no area to yield.
mac_area* not_supported_area() {
    return reinterpret_cast<mac_area*>(static_cast<uintptr_t>(MAC_NOT_SUPPORTED));
}

struct OperationTexts {
    const char* not_exist;
    const char* uninstall;
};

constexpr OperationTexts kDataGet = {"mac inst 0x%x type %d area %d data_get not exist",
                                     "mac inst 0x%x type %d area %d data_get uninstall"};
constexpr OperationTexts kDataSet = {"mac inst 0x%x type %d area %d data_set not exist",
                                     "mac inst 0x%x type %d area %d data_set uninstall"};
constexpr OperationTexts kFormGet = {"mac inst 0x%x type %d area %d form_get not exist",
                                     "mac inst 0x%x type %d area %d form_get uninstall"};
constexpr OperationTexts kFormSet = {"mac inst 0x%x type %d area %d form_set not exist",
                                     "mac inst 0x%x type %d area %d form_set uninstall"};

// The shape that the four driver operations share: find the area and its driver,
// see that the slot is filled, call it on the area.
template <typename Operation, typename Call>
u32 call_driver(u32 inst, u32 type, u32 area, Operation MacDriverOps::*slot,
                const OperationTexts& texts, Call call) {
    mac_area* const data = mac_get_data(inst, type, area);
    if (data == nullptr) return MAC_FAIL;
    const MacDriverOps* const driver = mac_driver_find_by_storage(inst, type, area);
    if (driver == nullptr) {
        mac_log_error(texts.not_exist, inst, type, area);
        return MAC_NOT_SUPPORTED;
    }
    if (driver->*slot == nullptr) {
        mac_log_error(texts.uninstall, inst, type, area);
        return MAC_OPERATION_MISSING;
    }
    // An entry with a driver, but no record buffer could be allocated.
    if (!mac_area_present(data)) return MAC_NOT_SUPPORTED;
    return call(driver->*slot, *data);
}

constexpr u32 kLineBytes = 32;

// Writes bytes as digits into a line of 68 characters.
void fill_line(char (&line)[68], const u8* bytes, u32 count) {
    char* end = line;
    for (u32 i = 0; i < count; ++i) end = mac::put_hex(end, bytes[i]);
    *end = '\0';
}

// The area for a log line, or null (logged) when there is none.
const mac_area* area_to_log(u32 inst, u32 type, u32 area) {
    const mac_area* const data = mac_get_data(inst, type, area);
    if (mac_area_present(data)) return data;
    mac_log_error("mac inst 0x%x type %d area %d dump data is null.", inst, type, area);
    return nullptr;
}

}  // namespace

mac_area* mac_get_data(u32 inst, u32 type, u32 area) {
    if (area >= mac::kAreaCount) {
        mac_log_error("mac inst 0x%x type %d area %d invaild.", inst, type, area);
        return nullptr;
    }
    u32 support = 0;
    mac_area_support(inst, type, area, &support);
    if (support == 0) {
        mac_log_notice("mac inst 0x%x type %d area %d not support.", inst, type, area);
        return not_supported_area();
    }
    mac_inst_mng* const mng = mac_data_find_by_instid(inst, type);
    if (mng == nullptr) {
        mac_log_error("mac inst 0x%x type %d find mng no exist.", inst, type);
        return not_supported_area();
    }
    return &mng->area[area];
}

bool mac_area_present(const mac_area* area) {
    return area != nullptr && area != not_supported_area();
}

u32 mac_get_device(u32 inst, u32 type, u32 area) {
    return call_driver(
        inst, type, area, &MacDriverOps::read, kDataGet, [inst](auto read, mac_area& data) {
            return read(inst, data.name, data.chip_id, data.channel, data.buf, data.len);
        });
}

u32 mac_set_device(u32 inst, u32 type, u32 area) {
    return call_driver(
        inst, type, area, &MacDriverOps::write, kDataSet, [inst](auto write, mac_area& data) {
            return write(inst, data.name, data.chip_id, data.channel, data.buf, data.len);
        });
}

u32 mac_get_format(u32 inst, u32 type, u32 area) {
    return call_driver(
        inst, type, area, &MacDriverOps::get_format, kFormGet, [](auto get_format, mac_area& data) {
            return get_format(data.buf, data.len, &data.flag, data.mac, &data.mac_num, &data.crc);
        });
}

u32 mac_set_format(u32 inst, u32 type, u32 area) {
    return call_driver(
        inst, type, area, &MacDriverOps::set_format, kFormSet, [](auto set_format, mac_area& data) {
            return set_format(data.mac, data.mac_num, data.buf, data.len, &data.flag, &data.crc);
        });
}

u32 mac_data_read(u32 inst, u32 type, u32 area) {
    u32 result = mac_get_device(inst, type, area);
    if (result != 0) {
        // A medium that was never written is a notice, not an error.
        mac_log_notice("mac inst 0x%x type %d area %d read unsuccessfully 0x%x.", inst, type, area,
                       result);
        return result;
    }
    mac_data_mesg(inst, type, area, 0);
    result = mac_get_format(inst, type, area);
    if (result != 0) {
        mac_log_error("mac inst 0x%x type %d area %d format fail 0x%x.", inst, type, area, result);
        return result;
    }
    mac_data_dump(inst, type, area, 0);
    return MAC_OK;
}

u32 mac_data_write(u32 inst, u32 type, u32 area) {
    u32 result = mac_set_format(inst, type, area);
    if (result != 0) {
        mac_log_error("mac inst 0x%x type %d area %d format write fail.", inst, type, area);
        return result;
    }
    mac_data_mesg(inst, type, area, 1);
    result = mac_set_device(inst, type, area);
    if (result != 0) {
        mac_log_error("mac inst 0x%x type %d area %d write data fail.", inst, type, area);
        return result;
    }
    mac_data_dump(inst, type, area, 1);
    return MAC_OK;
}

void mac_data_mesg(u32 inst, u32 type, u32 area, u32 rw) {
    const mac_area* const data = area_to_log(inst, type, area);
    if (data == nullptr) return;
    char line[68] = {};
    const u32 full_lines = data->len / kLineBytes;
    const u32 tail = data->len % kLineBytes;
    for (u32 i = 0; i < full_lines; ++i) {
        fill_line(line, data->buf + size_t{kLineBytes} * i, kLineBytes);
        mac_log_dump("mac inst 0x%x type %d area %d action[0 read 1 write] %d:%s.", inst, type,
                     area, rw, line);
    }
    if (tail == 0) return;
    fill_line(line, data->buf + size_t{kLineBytes} * full_lines, tail);
    mac_log_dump("mac inst 0x%x type %d area %d rw %d indx[%d]:%s.", inst, type, area, rw,
                 full_lines, line);
}

void mac_data_dump(u32 inst, u32 type, u32 area, u32 rw) {
    const mac_area* const data = area_to_log(inst, type, area);
    if (data == nullptr) return;
    mac_log_dump(
        "mac inst 0x%x type %d area %d rw %d data[0x%llx-0x%x-0x%x-%02x-%02x-%02x-%02x-%02x-%02x] "
        ".",
        inst, type, area, rw, data->flag, data->crc, data->mac_num, data->mac[0], data->mac[1],
        data->mac[2], data->mac[3], data->mac[4], data->mac[5]);
}
