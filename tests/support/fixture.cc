// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/support/fixture.h"

#include <cstdarg>
#include <cstdio>

#include "base/vocabulary.h"
#include "config/mac_config.h"
#include "control/mac_diag.h"
#include "platform/host/device_service.h"
#include "platform/host/driver_manager.h"
#include "platform/host/log_service.h"
#include "platform/host/memory_service.h"
#include "service/mac_func.h"
#include "storage/driver/mac_driver.h"

namespace test {

std::string text(const char* format, ...) {
    char buffer[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof(buffer), format, arguments);
    va_end(arguments);
    return buffer;
}

PlatformTest::PlatformTest() {
    host::faults().clear();
    host::log_clear();
    host::log_set_level(3);
    host::log_set_sink([this](const host::LogLine& line) {
        recorded_.push_back({line.module, {line.level, line.text}});
    });
}

PlatformTest::~PlatformTest() {
    host::log_set_sink({});
    host::faults().clear();
    host::attach(nullptr);
    host::device_reclaim();
    host::diag_reclaim();
    host::driver_drop_all();
    host::heap_release_all();
}

host::Board& PlatformTest::use_board(const std::string& xml) {
    host::attach(nullptr);
    board_ = host::Board::in_memory(host::BoardFile::parse(xml, "test.xml"));
    host::attach(board_.get());
    return *board_;
}

Log PlatformTest::take_log(u32 level) {
    Log log;
    for (const Recorded& recorded : recorded_) {
        if (recorded.module == mac::kLogModule && recorded.line.level <= level) {
            log.push_back(recorded.line);
        }
    }
    recorded_.clear();
    return log;
}

Log PlatformTest::lines_of(u32 module) const {
    Log log;
    for (const Recorded& recorded : recorded_) {
        if (recorded.module == module) log.push_back(recorded.line);
    }
    return log;
}

RegistryTest::RegistryTest() {
    use_board(board_with(""));
    EXPECT_EQ(mac_config_init(22, "mac_mng"), 0);
    EXPECT_EQ(mac_func_init(22, "mac_mng"), 0);
    take_log();
}

ServiceTest::ServiceTest() {
    EXPECT_EQ(mac_drv_init(22, "mac_mng"), 0);
    take_log();
}

std::string board_with(const std::string& trees) {
    return R"(<board name="test"><platform crc16="ibm-3740">
        <flash chip="45" image="flash" mtd="manuinfo" size="0x20000" erase="0x10000"/>
        <eeprom chip="264" image="eeprom-264" size="0x1000" page="32"/>
        <eeprom chip="265" image="eeprom-265" size="0x1000" page="32"/>
        <env image="env" size="0x400" redundant="1"/></platform>)" +
           trees + "</board>";
}

std::string entry_xml(u32 index, u32 id, const std::string& driver, u32 chip, u32 channel, u32 num,
                      const std::string& name) {
    return text(R"(<entry%u id="%u" drv_name="%s" chip_id="%u" channel="%u" mac_num="%u")", index,
                id, driver.c_str(), chip, channel, num) +
           (name.empty() ? "" : " storage_name=\"" + name + "\"") + "/>";
}

std::string tree_xml(const std::string& main, const std::string& spare) {
    return "<mac_mng><mac_storage_main>" + main + "</mac_storage_main><mac_storage_spare>" + spare +
           "</mac_storage_spare></mac_mng>";
}

}  // namespace test
