// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The module loaded over a board in memory, reached through its control device.
#ifndef TESTS_SUPPORT_MODULE_FIXTURE_H
#define TESTS_SUPPORT_MODULE_FIXTURE_H

#include <algorithm>
#include <optional>

#include "mac_mng/mac_ioctl.h"
#include "platform/host/device_service.h"
#include "platform/host/loader.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace test {

inline constexpr u32 kDefaultInstance = 0xffffffff;

// Type 0 of the default instance: main on flash, spare on EEPROM, both at 0.
inline std::string one_block() {
    return board_with(tree_xml(entry_xml(0, 0, "drv_mac_flash", 45, 0, 16),
                               entry_xml(0, 0, "drv_mac_eeprom", 264, 0, 16)));
}

class ModuleTest : public PlatformTest {
protected:
    void load(const std::string& xml = one_block()) {
        module_.reset();
        module_.emplace(use_board(xml));
        ASSERT_EQ(module_->status(), 0u);
        take_log();
        host::faults().clear();
    }
    void unload() { module_.reset(); }
    ~ModuleTest() override { module_.reset(); }

    static u32 ioctl(u32 cmd, void* record) {
        return static_cast<u32>(host::device_ioctl(cmd, record));
    }

    static mac_ioctl_address address_record(u32 type, u32 num, const Mac& mac) {
        mac_ioctl_address record{kDefaultInstance, num, {}, {0xa1, 0xa2}, type};
        std::copy(mac.begin(), mac.end(), record.addr);
        return record;
    }

    static u64 pointer(void* address) { return reinterpret_cast<u64>(address); }

    std::optional<host::Module> module_;
};

}  // namespace test

#endif
