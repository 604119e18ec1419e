// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Start-up, shutdown, and loading again.
#include "control/mac_module.h"

#include "config/mac_config.h"
#include "control/mac_ioctl.h"
#include "core/mac_data.h"
#include "platform/host/driver_manager.h"
#include "platform/host/memory_service.h"
#include "tests/support/module_fixture.h"

namespace {

using host::Call;
using test::Log;
using test::one_block;

constexpr u32 kInst = test::kDefaultInstance;

using MacModule = test::ModuleTest;

TEST_F(MacModule, Start_LogsItsOrder) {
    use_board(one_block());
    EXPECT_EQ(mac_module_init(), 0u);
    EXPECT_EQ(lines_of(0), (Log{{2, "mac_mng MODULE INIT BEGIN"}, {2, "mac_mng MODULE INIT END"}}));
    const Log log = take_log();
    ASSERT_EQ(log.size(), 11u);
    EXPECT_EQ(log[0].text, "mac enter initialize config.");
    EXPECT_EQ(log[1].text, "mac enter initialize drv.");
    EXPECT_EQ(log[2].text, "mac create medium[0-drv_mac_flash] driver ret 0");
    EXPECT_EQ(log[9].text, "mac enter initialize func.");
    EXPECT_EQ(log[10].text, "mac enter initialize diag.");
    EXPECT_STREQ(mac_config_find_by_instid(kInst)->name, "mac_mng_0xffffffff");
    mac_module_exit();
    EXPECT_EQ(take_log(), (Log{{2, "mac module exit"}}));
    EXPECT_NE(host::device(), nullptr) << "the control device stays registered";
    EXPECT_EQ(host::driver_count(), 0u);
    EXPECT_TRUE(host::diag_objects().empty());
    EXPECT_EQ(mac_config_find_by_instid(kInst), nullptr);
}

TEST_F(MacModule, Start_WithoutATree_Succeeds) {
    load(test::board_with(""));
    mac_ioctl_address record = address_record(0, 0, {});
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR, &record), 0x811601a4u);
    EXPECT_EQ(module_->listing_status(), 0u) << "there is nothing to list";
}

TEST_F(MacModule, FailingSteps_EndStartUp_AndUndoNothing) {
    const struct {
        Call call;
        unsigned nth;
        u32 code;
        u32 result;
        bool device;
        unsigned drivers;
    } steps[] = {
        {Call::kMemset, 1, 22, 0xfffffff2, false, 0},        // configuration
        {Call::kMemset, 2, 22, 0xfffffff2, false, 0},        // drivers
        {Call::kMiscRegister, 1, 16, 0x81160002, false, 7},  // device
        {Call::kMemset, 3, 22, 0xfffffff2, true, 7},         // address service
        {Call::kSysfsCreate, 1, 0x77, 0x77, true, 7},        // diagnostics
        {Call::kSprintf, 1, 0, 0xfffffff2, true, 7},         // default instance
    };
    for (const auto& step : steps) {
        use_board(one_block());
        host::faults().clear();
        host::faults().fail(step.call, step.nth, step.code);
        EXPECT_EQ(mac_module_init(), step.result);
        EXPECT_EQ(lines_of(0),
                  (Log{{2, "mac_mng MODULE INIT BEGIN"}, {2, "mac_mng MODULE INIT END"}}));
        EXPECT_EQ(host::device() != nullptr, step.device);
        EXPECT_EQ(host::driver_count(), step.drivers);
        take_log();
        host::device_reclaim();
        host::diag_reclaim();
        host::driver_drop_all();
        host::heap_release_all();
    }
}

TEST_F(MacModule, DeviceRefused_IsLogged) {
    use_board(one_block());
    host::faults().fail(Call::kMiscRegister, 1, 16);
    EXPECT_EQ(mac_module_init(), 0x81160002u);
    EXPECT_EQ(take_log().back(), (test::Line{1, "[mac device init]misc_register fail"}));
}

TEST_F(MacModule, Loader_LeavesNothingAfterAFailedStart_AndLoadsAgain) {
    host::Board& board = use_board(one_block());
    for (const Call call : {Call::kMiscRegister, Call::kSysfsCreate, Call::kSprintf}) {
        host::faults().clear();
        host::faults().fail(call, 1, 16);
        {
            const host::Module failed(board);
            EXPECT_NE(failed.status(), 0u);
            EXPECT_EQ(host::device_ioctl(0x4d03, nullptr), -1) << "the device cannot be opened";
            EXPECT_EQ(host::driver_count(), 0u);
            EXPECT_TRUE(host::diag_objects().empty());
        }
        const host::Module module(board);
        EXPECT_EQ(module.status(), 0u);
        EXPECT_EQ(host::device_ioctl(0x4d08, nullptr), s64{static_cast<s32>(0x81160001)});
    }
    EXPECT_EQ(host::device_ioctl(0x4d08, nullptr), -1) << "unloaded";
}

TEST_F(MacModule, LogRegistrationRefused_DoesNotMatter) {
    use_board(one_block());
    host::faults().fail(Call::kLogRegister, 1, 9);
    EXPECT_EQ(mac_module_init(), 0u);
    mac_module_exit();
}

TEST_F(MacModule, Shutdown_FreesInstancesStillMounted) {
    use_board(one_block());
    ASSERT_EQ(mac_module_init(), 0u);
    mac_ioctl_instance record{3};
    ASSERT_EQ(ioctl(MAC_IOCTL_INIT, &record), 0u);
    record.inst = kInst;
    ASSERT_EQ(ioctl(MAC_IOCTL_DEINIT, &record), 0u);
    take_log();
    mac_module_exit();
    EXPECT_EQ(take_log(), (Log{{2, "mac module exit"}}))
        << "unmounting what is not mounted logs nothing";
    EXPECT_TRUE(g_mac_config.config_list.empty());
    EXPECT_TRUE(g_mac_func.list.empty());
    // The loader's own shutdown follows.
    mac_device_deinit();
    EXPECT_EQ(host::device(), nullptr);
}

TEST_F(MacModule, ManyRounds_LeaveOnlyWhatIsLeftOnPurpose) {
    host::Board& board = use_board(one_block());
    for (int round = 0; round < 100; ++round) {
        const host::Module module(board);
        ASSERT_EQ(module.status(), 0u);
    }
    EXPECT_EQ(host::heap_use().blocks, 0u);
}

}  // namespace
