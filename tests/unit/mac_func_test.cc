// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Mounting and unmounting of instances.
#include "service/mac_func.h"

#include "config/mac_config.h"
#include "core/mac_area.h"
#include "core/mac_data.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/memory_service.h"
#include "tests/support/fixture.h"

namespace {

using host::Call;
using test::Log;

constexpr u32 kInst = 0xffffffff;
constexpr u32 kFault = 0xfffffff2;
constexpr u32 kFail = 0xffffffff;

using MacFunc = test::ServiceTest;

TEST_F(MacFunc, Init_SetsUpTheRegistry) {
    EXPECT_EQ(mac_func_init(22, "mac_mng"), 0);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize func."}}));
    EXPECT_EQ(g_mac_func.module_id, 22u);
    EXPECT_STREQ(g_mac_func.name, "mac_mng");
    EXPECT_TRUE(g_mac_func.list.empty());
}

TEST_F(MacFunc, Init_Refusals_Fail) {
    host::faults().fail(Call::kMemset, 1, 22);
    EXPECT_EQ(mac_func_init(22, "mac_mng"), -14);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize func."},
                               {1, "mac func init memory set fail err_no = 22"}}));
    EXPECT_EQ(mac_func_init(22, std::string(40, 'n').c_str()), -14);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize func."},
                               {1, "mac func init string copy fail err_no = 34"}}));
    EXPECT_STREQ(g_mac_func.name, "") << "left cleared";
}

TEST_F(MacFunc, Mount_CreatesTwentyTwoDataSets) {
    EXPECT_EQ(set_mac_init(0), 0u);
    std::vector<u32> types;
    g_mac_func.list.for_each([&](const mac_inst_mng* mng) { types.push_back(mng->mac_type); });
    std::vector<u32> expected = {0, 1, 2, 3, 4, 5};
    for (u32 type = 64; type <= 79; ++type) expected.push_back(type);
    EXPECT_EQ(types, expected);
    EXPECT_EQ(mac_data_find_by_instid(0, 6), nullptr);
    EXPECT_EQ(mac_data_find_by_instid(0, 63), nullptr);
    EXPECT_STREQ(mac_config_find_by_instid(0)->name, "mac_mng_0x00000000");
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacFunc, Mount_ReadsNoMedium) {
    use_board(test::board_with(
        test::tree_xml(test::entry_xml(0, 0, "drv_mac_flash", 45, 0x4c0, 16), "")));
    EXPECT_EQ(set_mac_init(kInst), 0u);
    EXPECT_EQ(board().flash(45)->traffic(), host::Traffic{});
}

TEST_F(MacFunc, Mount_Twice_LeavesTheFirstIntact) {
    ASSERT_EQ(set_mac_init(3), 0u);
    const mac_inst_mng* const first = mac_data_find_by_instid(3, 0);
    EXPECT_EQ(set_mac_init(3), kFault);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x3 search config exist."},
                               {1, "mac inst 0x3 config initial fail"}}));
    EXPECT_EQ(mac_data_find_by_instid(3, 0), first);
}

TEST_F(MacFunc, Mount_NameCannotBeBuilt_Fails) {
    host::faults().fail(Call::kSprintf);
    EXPECT_EQ(set_mac_init(3), kFault);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac build name done fail"}, {1, "mac inst 0x3 build name fail"}}));
}

TEST_F(MacFunc, Mount_DataSetFails_GoesOnWithTheNextType) {
    host::faults().fail(Call::kZalloc, 2);
    EXPECT_EQ(set_mac_init(3), 0u);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x3 type 0 malloc mng fail."},
                               {1, "mac inst 0x3 type 0 data create fail -1."}}));
    EXPECT_EQ(mac_data_find_by_instid(3, 0), nullptr);
    EXPECT_NE(mac_data_find_by_instid(3, 1), nullptr);
}

TEST_F(MacFunc, Mount_BindsEveryEntry) {
    use_board(
        test::board_with(test::tree_xml(test::entry_xml(0, 0, "drv_mac_flash", 45, 0x4c0, 16) +
                                            test::entry_xml(1, 1, "no_such_driver", 45, 0x4d0, 16),
                                        test::entry_xml(0, 0, "drv_mac_eeprom", 264, 0, 16))));
    EXPECT_EQ(set_mac_init(kInst), 0u);
    EXPECT_EQ(mac_entery_find_by_storage(kInst, 0, 0)->driver,
              module_driver_func_find_by_name("drv_mac_flash"));
    EXPECT_EQ(mac_entery_find_by_storage(kInst, 0, 1)->driver,
              module_driver_func_find_by_name("drv_mac_eeprom"));
    EXPECT_EQ(mac_entery_find_by_storage(kInst, 1, 0)->driver, nullptr);
    mac_driver_install(77);
}

TEST_F(MacFunc, Mount_DriverThatCannotBeHeld_IsNotBound) {
    use_board(
        test::board_with(test::tree_xml(test::entry_xml(0, 0, "drv_mac_flash", 45, 0x4c0, 16),
                                        test::entry_xml(0, 0, "drv_mac_eeprom", 264, 0, 16))));
    host::faults().fail(Call::kDriverHold, 2);
    EXPECT_EQ(set_mac_init(kInst), 0u);
    EXPECT_EQ(host::faults().uses(Call::kDriverHold), 2u);
    EXPECT_NE(mac_entery_find_by_storage(kInst, 0, 0)->driver, nullptr);
    EXPECT_EQ(mac_entery_find_by_storage(kInst, 0, 1)->driver, nullptr)
        << "its operations may be gone at any time";
}

TEST_F(MacFunc, Unmount_RemovesDataSetsAndConfiguration_LeavesBuffers) {
    use_board(test::board_with(
        test::tree_xml(test::entry_xml(0, 0, "drv_mac_flash", 45, 0x4c0, 16), "")));
    const auto before = host::heap_use().blocks;
    ASSERT_EQ(set_mac_init(kInst), 0u);
    EXPECT_EQ(set_mac_deinit(kInst), 0u);
    EXPECT_TRUE(g_mac_func.list.empty());
    EXPECT_EQ(mac_config_find_by_instid(kInst), nullptr);
    EXPECT_EQ(host::heap_use().blocks, before + 1) << "one record buffer";
    EXPECT_EQ(set_mac_init(kInst), 0u) << "and it can be mounted again";
}

TEST_F(MacFunc, Unmount_NeverMounted_SucceedsInSilence) {
    EXPECT_EQ(set_mac_deinit(3), 0u);
    EXPECT_EQ(drv_mac_deinit(3), 0u);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacFunc, Demount_WithoutConfiguration_LeavesDataSets) {
    ASSERT_EQ(mac_data_create(3, 0), 0);
    mac_func_demount(3);
    EXPECT_NE(mac_data_find_by_instid(3, 0), nullptr);
    mac_func_data_exit(3, 5);
}

TEST_F(MacFunc, Exit_FreesTheDataSetsOfAllInstances) {
    ASSERT_EQ(set_mac_init(0), 0u);
    ASSERT_EQ(set_mac_init(1), 0u);
    mac_func_exit();
    EXPECT_TRUE(g_mac_func.list.empty());
}

TEST_F(MacFunc, CheckName_TakesOneToThirtyTwo) {
    EXPECT_EQ(mac_check_name(nullptr), kFail);
    EXPECT_EQ(mac_check_name(""), kFail);
    EXPECT_EQ(mac_check_name("n"), 0u);
    EXPECT_EQ(mac_check_name(std::string(32, 'n').c_str()), 0u);
    EXPECT_EQ(mac_check_name(std::string(33, 'n').c_str()), kFail);
}

TEST_F(MacFunc, BuildName_HasEightDigits) {
    char name[64];
    EXPECT_EQ(mac_build_name(0x1a, name, sizeof(name)), 0u);
    EXPECT_STREQ(name, "mac_mng_0x0000001a");
    EXPECT_EQ(mac_build_name(0xffffffff, name, sizeof(name)), 0u);
    EXPECT_STREQ(name, "mac_mng_0xffffffff");
    EXPECT_EQ(mac_build_name(1, nullptr, 64), kFail);
    EXPECT_EQ(mac_build_name(1, name, 0), kFail);
    EXPECT_EQ(take_log(), (Log{{1, "mac build name para fail"}, {1, "mac build name para fail"}}));
    EXPECT_EQ(mac_build_name(1, name, 18), kFail);
    EXPECT_EQ(take_log(), (Log{{1, "mac build name done fail"}}));
    EXPECT_EQ(mac_build_name(1, name, 19), 0u);
}

TEST_F(MacFunc, NameLimitsAndHooks) {
    EXPECT_EQ(mac_get_max_name_usr(), 40u);
    EXPECT_EQ(mac_get_max_name_ker(), 32u);
    for (const mac_patch_hook hook : g_mac_patch_array_ker) EXPECT_EQ(hook, nullptr);
    u8 byte = 0x5a;
    EXPECT_EQ(get_mac_patch_func1(&byte, 1), 0u);
    EXPECT_EQ(get_mac_patch_func2(&byte, 1), 0u);
    EXPECT_EQ(byte, 0x5a);
}

}  // namespace
