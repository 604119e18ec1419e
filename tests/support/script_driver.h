// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Storage drivers that do what a test says. Two of them, so that main and spare
// can behave differently: "script_main" and "script_spare".
#ifndef TESTS_SUPPORT_SCRIPT_DRIVER_H
#define TESTS_SUPPORT_SCRIPT_DRIVER_H

#include <functional>
#include <string>
#include <vector>

#include "platform/driver_manager.h"
#include "tests/support/encoder.h"

namespace test {

struct Script {
    // What the operations return.
    u32 read_result = 0;
    u32 parse_result = 0;
    u32 build_result = 0;
    u32 write_result = 0;
    u32 size = 16;
    u64 flag = 0x51;

    // How many bytes a failed read has moved before it failed.
    u32 read_before_failing = 0;

    // A failed parse or build has filled its outputs before it failed.
    bool fills_when_failing = false;

    // Runs at the start of each operation, which is named as its slot.
    std::function<void(const std::string& operation)> at_operation;

    // What a successful parse yields.
    u64 parsed_flag = 0x99;
    Mac parsed_mac = {2, 0, 0, 0, 0, 1};
    u32 parsed_num = 4;
    u32 parsed_crc = 0x1234;

    // What the operations saw.
    struct Access {
        u32 inst;
        std::string name;
        u32 chip;
        u32 offset;
        u32 len;
        bool operator==(const Access&) const = default;
    };
    std::vector<Access> reads;
    std::vector<Access> writes;
    struct Build {
        Mac mac;
        u32 num;
        u32 len;
        bool operator==(const Build&) const = default;
    };
    std::vector<Build> builds;
    std::vector<u32> sizes;       // the counts that sizes were asked for
    std::vector<Record> parses;   // the records that were parsed
    std::vector<Record> written;  // the records that were written

    // The check value that a build reports.
    u32 built_crc = 0x4321;

    MacDriverOps ops;  // slots may be emptied
};

Script& main_script();
Script& spare_script();

// Resets both and registers them with the driver manager, which is emptied first.
void install_scripts();

// The writes in the order in which they came, over both scripts: 'm'
// and 's'.
const std::string& write_order();

}  // namespace test

#endif
