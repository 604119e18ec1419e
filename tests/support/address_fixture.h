// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The default instance mounted over real drivers and media in memory.
#ifndef TESTS_SUPPORT_ADDRESS_FIXTURE_H
#define TESTS_SUPPORT_ADDRESS_FIXTURE_H

#include <algorithm>

#include "service/mac_func.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace test {

// Type 0 on flash and EEPROM, type 1 main only, type 2 spare only, type 3 a router
// record, type 4 Kolbe with a main copy alone.
class AddressTest : public ServiceTest {
protected:
    AddressTest() {
        use_board(
            board_with(tree_xml(entry_xml(0, 0, "drv_mac_flash", 45, 0x4c0, 16) +
                                    entry_xml(1, 1, "drv_mac_eeprom", 264, 0x100, 16) +
                                    entry_xml(2, 3, "drv_mac_router_in_crc", 264, 0x200, 8) +
                                    entry_xml(3, 4, "drv_mac_kolbe_in_crc", 264, 0x400, 4),
                                entry_xml(0, 0, "drv_mac_eeprom", 265, 0x10, 16) +
                                    entry_xml(1, 2, "drv_mac_eeprom", 265, 0x20, 16) +
                                    entry_xml(2, 3, "drv_mac_router_in_crc", 265, 0x200, 8))));
        EXPECT_EQ(set_mac_init(0xffffffff), 0u);
        take_log();
    }

    void put(const std::string& image, size_t at, const Record& record) {
        std::copy(record.begin(), record.end(),
                  board().memory(image).begin() + static_cast<long>(at));
    }
    std::string stored(const std::string& image, size_t at, size_t count = 16) {
        return hex(board().memory(image), at, count);
    }
    void store_type0(const Record& record) {
        put("flash", 0x4c0, record);
        put("eeprom-265", 0x10, record);
    }
};

}  // namespace test

#endif
