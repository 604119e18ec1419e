// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// In which order start-up and shutdown go, what each step is given, and what is there while
// the next one runs.
#include <utility>

#include "config/mac_config.h"
#include "control/mac_diag.h"
#include "control/mac_module.h"
#include "core/mac_data.h"
#include "platform/host/driver_manager.h"
#include "platform/host/memory_service.h"
#include "storage/driver/mac_driver.h"
#include "tests/support/journal.h"
#include "tests/support/lock_watch.h"
#include "tests/support/module_fixture.h"

namespace {

using host::Call;
using test::Journal;
using test::Log;

constexpr u32 kInst = test::kDefaultInstance;
const char* const kDrivers[] = {
    "drv_mac_flash",         "drv_mac_eeprom",       "drv_mac_env",          "drv_mac_kolbe_no_crc",
    "drv_mac_router_no_crc", "drv_mac_kolbe_in_crc", "drv_mac_router_in_crc"};

using ModuleOrder = test::ModuleTest;

std::string clear_of(size_t bytes) { return test::text("memset_s %zu %zu", bytes, bytes); }

// The calls of a start over a board without a tree, in six steps behind the log's set-up.
std::vector<Journal::Calls> start_steps() {
    Journal::Calls drivers = {clear_of(sizeof(g_mac_drv)), "strncpy_s 40 7"};
    for (const char* name : kDrivers) {
        drivers.push_back(std::string("module_driver_register ") + name);
    }
    return {{"drv_log_register 22 mac_mng 8192"},
            {clear_of(sizeof(g_mac_config)), "strncpy_s 40 7"},
            drivers,
            {"platform_misc_register mac_mng"},
            {clear_of(sizeof(g_mac_func)), "strncpy_s 40 7"},
            {clear_of(sizeof(g_mac_diag)), "strncpy_s 40 7", "diag_create_kobject mac_mng",
             "diag_module_register mac_mng", clear_of(32), "strncpy_s 32 7", clear_of(32),
             "strncpy_s 32 7", "platform_sysfs_create_group", "diag_filelist_register mac_mng 7"},
            {"sprintf_s 64", "strncpy_s 40 18",
             "xml_get_entry_list 0xffffffff mac_mng mac_storage_main",
             "xml_get_entry_list 0xffffffff mac_mng mac_storage_spare"}};
}

const std::initializer_list<std::string> kStartCalls = {
    "drv_log_register", "module_driver_", "platform_misc_",
    "platform_sysfs_",  "diag_",          "memset_s",
    "strncpy_s",        "sprintf_s",      "xml_"};

TEST_F(ModuleOrder, Start_CallsItsServicesStepByStep) {
    use_board(test::board_with(""));
    Journal journal(kStartCalls);
    EXPECT_EQ(mac_module_init(), 0u);
    Journal::Calls expected;
    for (const Journal::Calls& step : start_steps()) {
        expected.insert(expected.end(), step.begin(), step.end());
    }
    EXPECT_EQ(journal.take(), expected);
    mac_module_exit();
}

TEST_F(ModuleOrder, Begin_ThenTheLogsRegistration_ThenTheFirstStep) {
    use_board(test::board_with(""));
    Journal journal;
    bool registered = false;
    journal.at("drv_log_register", [&] {
        registered = true;
        EXPECT_EQ(lines_of(0), (Log{{2, "mac_mng MODULE INIT BEGIN"}}));
        EXPECT_EQ(lines_of(22), Log{});
    });
    EXPECT_EQ(mac_module_init(), 0u);
    EXPECT_TRUE(registered);
    EXPECT_EQ(journal.take().front(), "drv_log_register 22 mac_mng 8192");
    EXPECT_EQ(lines_of(22).front(), (test::Line{2, "mac enter initialize config."}));
    mac_module_exit();
}

TEST_F(ModuleOrder, End_IsLoggedBehindTheMount) {
    use_board(test::board_with(""));
    Journal journal;
    journal.at("xml_get_entry_list 0xffffffff mac_mng mac_storage_spare", [&] {
        EXPECT_EQ(lines_of(0), (Log{{2, "mac_mng MODULE INIT BEGIN"}}));
    });
    EXPECT_EQ(mac_module_init(), 0u);
    EXPECT_EQ(lines_of(0).back(), (test::Line{2, "mac_mng MODULE INIT END"}));
    mac_module_exit();
}

TEST_F(ModuleOrder, EachStep_IsGivenTheModulesNumberAndName) {
    use_board(test::board_with(""));
    ASSERT_EQ(mac_module_init(), 0u);
    EXPECT_EQ(g_mac_config.module_id, 22u);
    EXPECT_STREQ(g_mac_config.name, "mac_mng");
    EXPECT_EQ(g_mac_drv.module_id, 22u);
    EXPECT_STREQ(g_mac_drv.name, "mac_mng");
    EXPECT_EQ(g_mac_func.module_id, 22u);
    EXPECT_STREQ(g_mac_func.name, "mac_mng");
    EXPECT_EQ(g_mac_diag.module_id, 22u);
    EXPECT_STREQ(g_mac_diag.name, "mac_mng");
    EXPECT_STREQ(host::device()->name, "mac_mng");
    mac_module_exit();
}

TEST_F(ModuleOrder, FailingStep_IsTheLastOneToRun) {
    const struct {
        Call call;
        unsigned nth;
        size_t step;   // of start_steps()
        size_t calls;  // of that step, the failing one included
    } cases[] = {
        {Call::kMemset, 1, 1, 1},      {Call::kStrncpy, 1, 1, 2},      {Call::kMemset, 2, 2, 1},
        {Call::kStrncpy, 2, 2, 2},     {Call::kMiscRegister, 1, 3, 1}, {Call::kMemset, 3, 4, 1},
        {Call::kStrncpy, 3, 4, 2},     {Call::kMemset, 4, 5, 1},       {Call::kStrncpy, 4, 5, 2},
        {Call::kSysfsCreate, 1, 5, 9}, {Call::kSprintf, 1, 6, 1},      {Call::kStrncpy, 7, 6, 2},
    };
    for (const auto& c : cases) {
        use_board(test::board_with(""));
        host::faults().clear();
        host::faults().fail(c.call, c.nth, 0x21);
        Journal journal(kStartCalls);
        EXPECT_NE(mac_module_init(), 0u);
        Journal::Calls expected;
        for (size_t i = 0; i < c.step; ++i) {
            const Journal::Calls step = start_steps()[i];
            expected.insert(expected.end(), step.begin(), step.end());
        }
        const Journal::Calls step = start_steps()[c.step];
        expected.insert(expected.end(), step.begin(), step.begin() + static_cast<long>(c.calls));
        EXPECT_EQ(journal.take(), expected) << "step " << c.step;
        EXPECT_EQ(lines_of(0).back(), (test::Line{2, "mac_mng MODULE INIT END"}));
        take_log();
        host::device_reclaim();
        host::diag_reclaim();
        host::driver_drop_all();
        host::heap_release_all();
    }
}

class ModuleShutdown : public test::ModuleTest {
protected:
    ModuleShutdown() {
        use_board(test::one_block());
        EXPECT_EQ(mac_module_init(), 0u);
        mac_ioctl_instance record{3};
        EXPECT_EQ(ioctl(MAC_IOCTL_INIT, &record), 0u);
        take_log();
    }
    static bool configured(u32 inst) { return mac_config_find_by_instid(inst) != nullptr; }
    static bool has_data(u32 inst) { return mac_data_find_by_instid(inst, 0) != nullptr; }
};

TEST_F(ModuleShutdown, CallsItsServicesInOrder_AndLeavesTheDevice) {
    Journal journal;
    mac_module_exit();
    Journal::Calls expected = {"diag_filelist_unregister mac_mng 7", "platform_sysfs_remove_group",
                               "diag_module_unregister mac_mng", "diag_delete_kobject"};
    for (const char* name : kDrivers) {
        expected.push_back(std::string("module_driver_unregister ") + name);
    }
    EXPECT_EQ(journal.take(), expected);
    EXPECT_NE(host::device(), nullptr);
}

TEST_F(ModuleShutdown, SaysSoFirst) {
    test::LockWatch watch;
    bool first = true;
    watch.at(host::LockEvent::kTaken, test::kConfigLock, [&] {
        if (std::exchange(first, false)) {
            EXPECT_EQ(lines_of(22), (Log{{2, "mac module exit"}}));
        }
    });
    mac_module_exit();
    EXPECT_FALSE(first);
}

TEST_F(ModuleShutdown, DefaultInstanceGoesFirst_TheOthersWithTheRegistries) {
    Journal journal;
    bool diagnostics = false;
    bool drivers = false;
    journal.at("diag_filelist_unregister", [&] {
        diagnostics = true;
        EXPECT_FALSE(configured(kInst));
        EXPECT_FALSE(has_data(kInst));
        EXPECT_TRUE(configured(3));
        EXPECT_TRUE(has_data(3));
        EXPECT_NE(module_driver_find_by_name("drv_mac_flash"), nullptr);
    });
    journal.at("diag_delete_kobject", [&] { EXPECT_TRUE(has_data(3)); });
    journal.at("module_driver_unregister drv_mac_flash", [&] {
        drivers = true;
        EXPECT_TRUE(g_mac_func.list.empty()) << "before the operations that they point to go";
        EXPECT_TRUE(configured(3));
    });
    journal.at("module_driver_unregister drv_mac_router_in_crc",
               [&] { EXPECT_TRUE(configured(3)) << "the configuration goes last"; });
    mac_module_exit();
    EXPECT_TRUE(diagnostics);
    EXPECT_TRUE(drivers);
    EXPECT_TRUE(g_mac_config.config_list.empty());
}

}  // namespace
