// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The per-type configuration over a board in memory, and texts of its XML layouts.
#ifndef TESTS_SUPPORT_CFG_FIXTURE_H
#define TESTS_SUPPORT_CFG_FIXTURE_H

#include <cstring>

#include "config/mac_cfg.h"
#include "config/mac_config.h"
#include "tests/support/fixture.h"

namespace test {

class CfgTest : public PlatformTest {
protected:
    // `nodes` stand under the default instance's <mac_mng>, `instances` beside it.
    void load(const std::string& nodes, const std::string& instances = "") {
        use_board(board_with("<mac_mng>" + nodes + "</mac_mng>" + instances));
        EXPECT_EQ(mac_config_init(22, "mac_mng"), 0);
        take_log();
    }
    ~CfgTest() override { EXPECT_EQ(take_log(3), Log{}) << "nothing is logged"; }

    static std::vector<mac_cfg_entry> records() {
        std::vector<mac_cfg_entry> result;
        g_mac_config.cfg_list.for_each(
            [&](const mac_cfg_entry* record) { result.push_back(*record); });
        return result;
    }
};

inline std::string element(const std::string& key, const std::string& value) {
    return "<" + key + ">" + value + "</" + key + ">";
}

inline std::string old_entry(const std::string& id, const std::string& chip,
                             const std::string& channel, const std::string& driver,
                             const std::string& more = "") {
    return element("id", id) + element("chip_id", chip) + element("channel", channel) +
           element("drv_name", driver) + more;
}

// A current-layout record without positions.
inline mac_cfg_entry record_of(const char* driver, u32 inst, u32 type, u32 partition) {
    mac_cfg_entry record{};
    std::strcpy(record.drv_name, driver);
    record.inst_id = inst;
    record.mac_type = type;
    record.eeprom_partition_type = partition;
    record.section_id = 0xffffffff;
    record.spare_section_id = 0xffffffff;
    return record;
}

// Whether two records are the same in every byte of their fields.
inline bool same(const mac_cfg_entry& left, const mac_cfg_entry& right) {
    constexpr size_t end =
        offsetof(mac_cfg_entry, spare_env_name) + sizeof(mac_cfg_entry::spare_env_name);
    return std::memcmp(&left, &right, end) == 0;
}

}  // namespace test

#endif
