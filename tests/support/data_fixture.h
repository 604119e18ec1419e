// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Data sets of one instance over scripted drivers.
#ifndef TESTS_SUPPORT_DATA_FIXTURE_H
#define TESTS_SUPPORT_DATA_FIXTURE_H

#include <algorithm>

#include "config/mac_config.h"
#include "core/mac_data.h"
#include "platform/bounded.h"
#include "service/mac_func.h"
#include "tests/support/fixture.h"
#include "tests/support/script_driver.h"

namespace test {

inline constexpr u32 kDataInstance = 0x1f;

class DataTest : public RegistryTest {
protected:
    DataTest() {
        install_scripts();
        EXPECT_EQ(mac_create_config(kDataInstance, "n"), 0);
    }

    static void add_entry(u32 type, u32 code, const char* driver, const char* name = "pool") {
        mac_entry entry{};
        entry.inst_id = kDataInstance;
        entry.id = type;
        entry.storage_code = code;
        entry.chip_id = 45;
        entry.channel = 0x4c0;
        entry.mac_num = 16;
        ASSERT_EQ(strncpy_s(entry.drv_name, 40, driver, 39), 0);
        ASSERT_EQ(strncpy_s(entry.storage_name, 40, name, 39), 0);
        ASSERT_EQ(mac_create_entry(&entry), 0);
    }

    // A data set with both areas on the scripted drivers, or with one of them.
    static void create_both(u32 type) {
        add_entry(type, 0x4d08, "script_main", "m");
        add_entry(type, 0x4d09, "script_spare", "s");
        create(type);
    }
    static void create_main(u32 type) {
        add_entry(type, 0x4d08, "script_main", "m");
        create(type);
    }
    static void create_spare(u32 type) {
        add_entry(type, 0x4d09, "script_spare", "s");
        create(type);
    }

    static mac_area& area(u32 type, u32 index) {
        return mac_data_find_by_instid(kDataInstance, type)->area[index];
    }

    static Mac mac_of(u32 type, u32 index) {
        Mac mac;
        std::copy_n(area(type, index).mac, mac.size(), mac.begin());
        return mac;
    }

    // Gives every field of a record a value that no script yields.
    static void fill(u32 type, u32 index, u8 value) {
        mac_area& target = area(type, index);
        std::fill_n(target.mac, mac::kMacLength, value);
        target.mac_num = value;
        target.flag = value;
        target.crc = value;
    }

private:
    static void create(u32 type) {
        mac_driver_install(kDataInstance);
        ASSERT_EQ(mac_data_create(kDataInstance, type), 0);
    }
};

}  // namespace test

#endif
