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
    static void get_flag(u64* flag) { *flag = script().flag; }
    static u32 get_size(u32) { return script().size; }
    static u32 set_format(const u8* mac, u32 num, u8* buf, u32 len, u64* flag, u32* crc) {
        Mac copy;
        std::copy_n(mac, 6, copy.begin());
        script().builds.push_back({copy, num, len});
        if (script().build_result != 0) return script().build_result;
        std::fill_n(buf, len, static_cast<u8>(0xb0 + N));
        *flag = script().flag;
        *crc = script().built_crc;
        return 0;
    }
    static u32 get_format(const u8*, u32, u64* flag, u8* mac, u32* num, u32* crc) {
        if (script().parse_result != 0) return script().parse_result;
        *flag = script().parsed_flag;
        std::copy_n(script().parsed_mac.begin(), 6, mac);
        *num = script().parsed_num;
        *crc = script().parsed_crc;
        return 0;
    }
    static u32 write(u32 inst, const char* name, u32 chip, u32 offset, u8*, u32 len) {
        script().writes.push_back({inst, name, chip, offset, len});
        order += N == 0 ? 'm' : 's';
        return script().write_result;
    }
    static u32 read(u32 inst, const char* name, u32 chip, u32 offset, u8* buf, u32 len) {
        script().reads.push_back({inst, name, chip, offset, len});
        if (script().read_result != 0) return script().read_result;
        for (u32 i = 0; i < len; ++i) buf[i] = static_cast<u8>(i);
        return 0;
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
