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

// An area and its driver, found once for all steps of one read or write: no step takes
// them away.
struct Place {
    u32 inst;
    u32 type;
    u32 area;
    mac_area* data;
    const MacDriverOps* driver;
};

// Where there is no driver, `not_exist` is logged: the text of the first operation to come.
u32 find_place(u32 inst, u32 type, u32 area, const char* not_exist, Place* place) {
    mac_area* const data = mac_get_data(inst, type, area);
    if (data == nullptr) return MAC_FAIL;
    const MacDriverOps* const driver = mac_driver_find_by_storage(inst, type, area);
    if (driver == nullptr) {
        mac_log_error(not_exist, inst, type, area);
        return MAC_NOT_SUPPORTED;
    }
    *place = {inst, type, area, data, driver};
    return MAC_OK;
}

// One driver operation: what it is called with, and the texts of its failures.
struct DataGet {
    static constexpr char kNotExist[] = "mac inst 0x%x type %d area %d data_get not exist";
    static constexpr char kUninstall[] = "mac inst 0x%x type %d area %d data_get uninstall";
    static constexpr auto kSlot = &MacDriverOps::read;
    static u32 call(u32 inst, const MacDriverOps& driver, mac_area& data) {
        return driver.read(inst, data.name, data.chip_id, data.channel, data.buf, data.len);
    }
};

struct DataSet {
    static constexpr char kNotExist[] = "mac inst 0x%x type %d area %d data_set not exist";
    static constexpr char kUninstall[] = "mac inst 0x%x type %d area %d data_set uninstall";
    static constexpr auto kSlot = &MacDriverOps::write;
    static u32 call(u32 inst, const MacDriverOps& driver, mac_area& data) {
        return driver.write(inst, data.name, data.chip_id, data.channel, data.buf, data.len);
    }
};

struct FormGet {
    static constexpr char kNotExist[] = "mac inst 0x%x type %d area %d form_get not exist";
    static constexpr char kUninstall[] = "mac inst 0x%x type %d area %d form_get uninstall";
    static constexpr auto kSlot = &MacDriverOps::get_format;
    static u32 call(u32 /*inst*/, const MacDriverOps& driver, mac_area& data) {
        return driver.get_format(data.buf, data.len, &data.flag, data.mac, &data.mac_num,
                                 &data.crc);
    }
};

struct FormSet {
    static constexpr char kNotExist[] = "mac inst 0x%x type %d area %d form_set not exist";
    static constexpr char kUninstall[] = "mac inst 0x%x type %d area %d form_set uninstall";
    static constexpr auto kSlot = &MacDriverOps::set_format;
    static u32 call(u32 /*inst*/, const MacDriverOps& driver, mac_area& data) {
        return driver.set_format(data.mac, data.mac_num, data.buf, data.len, &data.flag, &data.crc);
    }
};

template <typename Operation>
u32 run(const Place& place) {
    if (place.driver->*Operation::kSlot == nullptr) {
        mac_log_error(Operation::kUninstall, place.inst, place.type, place.area);
        return MAC_OPERATION_MISSING;
    }
    // An entry with a driver, but no record buffer could be allocated.
    if (!mac_area_present(place.data)) return MAC_NOT_SUPPORTED;
    return Operation::call(place.inst, *place.driver, *place.data);
}

template <typename Operation>
u32 find_and_run(u32 inst, u32 type, u32 area) {
    Place place;
    const u32 result = find_place(inst, type, area, Operation::kNotExist, &place);
    return result != MAC_OK ? result : run<Operation>(place);
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

void log_record(u32 inst, u32 type, u32 area, u32 rw, const mac_area& data) {
    char line[68] = {};
    const u32 full_lines = data.len / kLineBytes;
    const u32 tail = data.len % kLineBytes;
    for (u32 i = 0; i < full_lines; ++i) {
        fill_line(line, data.buf + size_t{kLineBytes} * i, kLineBytes);
        mac_log_dump("mac inst 0x%x type %d area %d action[0 read 1 write] %d:%s.", inst, type,
                     area, rw, line);
    }
    if (tail == 0) return;
    fill_line(line, data.buf + size_t{kLineBytes} * full_lines, tail);
    mac_log_dump("mac inst 0x%x type %d area %d rw %d indx[%d]:%s.", inst, type, area, rw,
                 full_lines, line);
}

void log_fields(u32 inst, u32 type, u32 area, u32 rw, const mac_area& data) {
    mac_log_dump(
        "mac inst 0x%x type %d area %d rw %d data[0x%llx-0x%x-0x%x-%02x-%02x-%02x-%02x-%02x-%02x] "
        ".",
        inst, type, area, rw, data.flag, data.crc, data.mac_num, data.mac[0], data.mac[1],
        data.mac[2], data.mac[3], data.mac[4], data.mac[5]);
}

}  // namespace

mac_area* mac_get_data(u32 inst, u32 type, u32 area) {
    if (area >= mac::kAreaCount) {
        mac_log_error("mac inst 0x%x type %d area %d invaild.", inst, type, area);
        return nullptr;
    }
    mac_inst_mng* const mng = mac_data_find_or_log(inst, type);
    if (mng == nullptr || mng->area[area].support == 0) {
        mac_log_notice("mac inst 0x%x type %d area %d not support.", inst, type, area);
        return not_supported_area();
    }
    return &mng->area[area];
}

bool mac_area_present(const mac_area* area) {
    return area != nullptr && area != not_supported_area();
}

u32 mac_get_device(u32 inst, u32 type, u32 area) { return find_and_run<DataGet>(inst, type, area); }

u32 mac_set_device(u32 inst, u32 type, u32 area) { return find_and_run<DataSet>(inst, type, area); }

u32 mac_get_format(u32 inst, u32 type, u32 area) { return find_and_run<FormGet>(inst, type, area); }

u32 mac_set_format(u32 inst, u32 type, u32 area) { return find_and_run<FormSet>(inst, type, area); }

u32 mac_data_read(u32 inst, u32 type, u32 area) {
    Place place;
    u32 result = find_place(inst, type, area, DataGet::kNotExist, &place);
    if (result == 0) result = run<DataGet>(place);
    if (result != 0) {
        // A medium that was never written is a notice, not an error.
        mac_log_notice("mac inst 0x%x type %d area %d read unsuccessfully 0x%x.", inst, type, area,
                       result);
        return result;
    }
    log_record(inst, type, area, 0, *place.data);
    result = run<FormGet>(place);
    if (result != 0) {
        mac_log_error("mac inst 0x%x type %d area %d format fail 0x%x.", inst, type, area, result);
        return result;
    }
    log_fields(inst, type, area, 0, *place.data);
    return MAC_OK;
}

u32 mac_data_write(u32 inst, u32 type, u32 area) {
    Place place;
    u32 result = find_place(inst, type, area, FormSet::kNotExist, &place);
    if (result == 0) result = run<FormSet>(place);
    if (result != 0) {
        mac_log_error("mac inst 0x%x type %d area %d format write fail.", inst, type, area);
        return result;
    }
    log_record(inst, type, area, 1, *place.data);
    result = run<DataSet>(place);
    if (result != 0) {
        mac_log_error("mac inst 0x%x type %d area %d write data fail.", inst, type, area);
        return result;
    }
    log_fields(inst, type, area, 1, *place.data);
    return MAC_OK;
}

void mac_data_mesg(u32 inst, u32 type, u32 area, u32 rw) {
    const mac_area* const data = area_to_log(inst, type, area);
    if (data != nullptr) log_record(inst, type, area, rw, *data);
}

void mac_data_dump(u32 inst, u32 type, u32 area, u32 rw) {
    const mac_area* const data = area_to_log(inst, type, area);
    if (data != nullptr) log_fields(inst, type, area, rw, *data);
}
