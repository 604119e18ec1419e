// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/support/script_driver.h"

#include <algorithm>

#include "platform/host/driver_manager.h"

namespace test {

namespace {

Script scripts[2];
MacDriver drivers[2];
std::string order;

template <int N>
struct Ops {
    static Script& script() { return scripts[N]; }
    static void begin(const char* operation) {
        if (script().at_operation) script().at_operation(operation);
    }
    static void get_flag(u64* flag) {
        begin("get_flag");
        *flag = script().flag;
    }
    static u32 get_size(u32 num) {
        begin("get_size");
        script().sizes.push_back(num);
        return script().size;
    }
    static u32 set_format(const u8* mac, u32 num, u8* buf, u32 len, u64* flag, u32* crc) {
        begin("set_format");
        Mac copy;
        std::copy_n(mac, 6, copy.begin());
        script().builds.push_back({copy, num, len});
        const u32 result = script().build_result;
        if (result != 0 && !script().fills_when_failing) return result;
        std::fill_n(buf, len, static_cast<u8>(0xb0 + N));
        *flag = script().flag;
        *crc = script().built_crc;
        return result;
    }
    static u32 get_format(const u8* buf, u32 len, u64* flag, u8* mac, u32* num, u32* crc) {
        begin("get_format");
        script().parses.push_back({buf, buf + len});
        const u32 result = script().parse_result;
        if (result != 0 && !script().fills_when_failing) return result;
        *flag = script().parsed_flag;
        std::copy_n(script().parsed_mac.begin(), 6, mac);
        *num = script().parsed_num;
        *crc = script().parsed_crc;
        return result;
    }
    static u32 write(u32 inst, const char* name, u32 chip, u32 offset, u8* buf, u32 len) {
        begin("write");
        script().writes.push_back({inst, name, chip, offset, len});
        script().written.push_back({buf, buf + len});
        order += N == 0 ? 'm' : 's';
        return script().write_result;
    }
    static u32 read(u32 inst, const char* name, u32 chip, u32 offset, u8* buf, u32 len) {
        begin("read");
        script().reads.push_back({inst, name, chip, offset, len});
        // A failed read may have moved some bytes.
        const u32 moved =
            script().read_result == 0 ? len : std::min(len, script().read_before_failing);
        for (u32 i = 0; i < moved; ++i) buf[i] = static_cast<u8>(i);
        return script().read_result;
    }
    static MacDriverOps table() {
        return {{}, get_flag, get_size, set_format, get_format, write, read};
    }
};

}  // namespace

Script& main_script() { return scripts[0]; }
Script& spare_script() { return scripts[1]; }
const std::string& write_order() { return order; }

void install_scripts() {
    host::driver_drop_all();
    order.clear();
    scripts[0] = {};
    scripts[1] = {};
    scripts[0].ops = Ops<0>::table();
    scripts[1].ops = Ops<1>::table();
    drivers[0] = {{}, "script_main", &scripts[0].ops};
    drivers[1] = {{}, "script_spare", &scripts[1].ops};
    module_driver_register(&drivers[0]);
    module_driver_register(&drivers[1]);
}

}  // namespace test
