// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Mounting and unmounting step by step, the registry after a refused set-up, and texts of
// the exported functions for numbers from 2^31 on.
#include <cstring>

#include "config/mac_config.h"
#include "core/mac_area.h"
#include "core/mac_data.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/memory_service.h"
#include "service/mac_func.h"
#include "tests/support/address_fixture.h"
#include "tests/support/lock_watch.h"

namespace {

using host::Call;
using host::LockEvent;
using test::kConfigLock;
using test::kDataSetsLock;
using test::kInstanceLock;
using test::LockWatch;
using test::Log;
using test::Mac;

constexpr u32 kInst = 0xffffffff;
constexpr u32 kFault = 0xfffffff2;
constexpr u32 kArgument = 0x811601a2;
constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};

std::vector<u32> listed_types() {
    std::vector<u32> types;
    g_mac_func.list.for_each([&](const mac_inst_mng* mng) { types.push_back(mng->mac_type); });
    return types;
}

const std::vector<u32> kTypes = {0,  1,  2,  3,  4,  5,  64, 65, 66, 67, 68,
                                 69, 70, 71, 72, 73, 74, 75, 76, 77, 78, 79};

// --- set-up ---

using MacFuncOrder = test::ServiceTest;

TEST_F(MacFuncOrder, Init_RefusedName_LeavesTheRegistryCleared) {
    ASSERT_EQ(g_mac_func.module_id, 22u);
    for (const auto refuse : {+[] { host::faults().fail(Call::kStrncpy, 1, 34); }, +[] {}}) {
        ASSERT_EQ(mac_func_init(22, "mac_mng"), 0);
        ASSERT_EQ(mac_data_create(3, 0), 0);
        refuse();
        EXPECT_EQ(mac_func_init(23, std::string(40, 'n').c_str()), -14);
        EXPECT_EQ(test::bytes_of(g_mac_func), test::Record(sizeof(g_mac_func), 0))
            << "no list, no module number, no name, no lock";
    }
    take_log();
    host::faults().fail(Call::kStrncpy, 1, static_cast<u32>(-5));
    EXPECT_EQ(mac_func_init(22, "mac_mng"), -14);
    EXPECT_EQ(take_log(3), (Log{{2, "mac enter initialize func."},
                                {1, "mac func init string copy fail err_no = -5"}}));
    EXPECT_EQ(mac_func_init(22, std::string(39, 'n').c_str()), 0) << "the longest name";
    EXPECT_EQ(mac_data_find_by_instid(3, 0), nullptr);
}

TEST_F(MacFuncOrder, Init_RefusedClear_LeavesTheRegistryAsItWas) {
    ASSERT_EQ(mac_data_create(3, 0), 0);
    take_log();
    host::faults().clear();
    host::faults().fail(Call::kMemset, 1, static_cast<u32>(-5));
    EXPECT_EQ(mac_func_init(23, "other"), -14);
    EXPECT_EQ(take_log(3), (Log{{2, "mac enter initialize func."},
                                {1, "mac func init memory set fail err_no = -5"}}));
    EXPECT_EQ(host::faults().uses(Call::kStrncpy), 0u);
    EXPECT_EQ(g_mac_func.module_id, 22u);
    EXPECT_STREQ(g_mac_func.name, "mac_mng");
    EXPECT_NE(mac_data_find_by_instid(3, 0), nullptr);
}

TEST_F(MacFuncOrder, Init_TakesItsArguments_AndSetsUpTheLock) {
    LockWatch watch;
    EXPECT_EQ(mac_func_init(23, "other"), 0);
    EXPECT_EQ(g_mac_func.module_id, 23u);
    EXPECT_STREQ(g_mac_func.name, "other");
    EXPECT_EQ(watch.take_trace(), (std::vector<std::string>{"set up &g_mac_func.lock"}));
    EXPECT_EQ(mac_data_create(3, 0), 0) << "the list takes data sets";
    EXPECT_NE(mac_data_find_by_instid(3, 0), nullptr);
}

TEST_F(MacFuncOrder, Mount_RefusedName_LeavesNothing) {
    host::faults().fail(Call::kSprintf);
    EXPECT_EQ(drv_mac_init(3), kFault);
    EXPECT_EQ(mac_config_find_by_instid(3), nullptr);
    EXPECT_EQ(listed_types(), std::vector<u32>{});
    EXPECT_EQ(drv_mac_init(3), 0u) << "and nothing is in the way of the next try";
}

// --- silence without a record ---

TEST_F(MacFuncOrder, WithoutARecord_NothingIsSaidOrTouched) {
    ASSERT_EQ(mac_data_create(3, 0), 0);
    host::faults().clear();
    const LockWatch watch;
    mac_driver_install(3);
    mac_func_demount(3);
    mac_func_data_exit(3, 5);
    EXPECT_EQ(drv_mac_deinit(3), 0u);
    EXPECT_EQ(take_log(3), Log{});
    EXPECT_EQ(host::faults().uses(Call::kDriverFind), 0u);
    EXPECT_EQ(watch.taken(kInstanceLock), 0u);
    EXPECT_EQ(listed_types(), std::vector<u32>{0}) << "its data set is left in place";
}

TEST_F(MacFuncOrder, Mounting_AndUnmounting_SayNothing) {
    EXPECT_EQ(drv_mac_init(3), 0u);
    EXPECT_EQ(drv_mac_deinit(3), 0u);
    EXPECT_EQ(take_log(3), Log{});
}

// --- binding ---

class MacBinding : public test::AddressTest {
protected:
    // Main entries first, as they were read.
    static std::vector<mac_entry*> entries() {
        std::vector<mac_entry*> entries;
        mac_config_find_by_instid(kInst)->entry_list.for_each(
            [&](mac_entry* entry) { entries.push_back(entry); });
        return entries;
    }
    static void unbind() {
        for (mac_entry* const entry : entries()) entry->driver = nullptr;
    }
    static size_t bound() {
        size_t count = 0;
        for (const mac_entry* const entry : entries_) count += entry->driver != nullptr;
        return count;
    }
    static inline std::vector<mac_entry*> entries_;
};

TEST_F(MacBinding, Install_WalksInListOrder_UnderTheInstancesLock) {
    entries_ = entries();
    unbind();
    host::faults().clear();
    LockWatch watch;
    std::vector<size_t> bound_at;
    for (unsigned nth = 1; nth <= entries_.size(); ++nth) {
        host::faults().at_use(Call::kDriverFind, nth, [&, nth] {
            EXPECT_TRUE(watch.holds(kInstanceLock)) << nth;
            EXPECT_FALSE(watch.holds(kConfigLock)) << nth;
            for (size_t i = 0; i < entries_.size(); ++i) {
                EXPECT_EQ(entries_[i]->driver != nullptr, i < nth - 1) << nth << " " << i;
            }
        });
    }
    watch.at(LockEvent::kTaken, kInstanceLock, [&] { bound_at.push_back(bound()); });
    watch.at(LockEvent::kReleasing, kInstanceLock, [&] { bound_at.push_back(bound()); });
    mac_driver_install(kInst);
    EXPECT_EQ(watch.taken(kInstanceLock), 1u) << "for the whole walk";
    EXPECT_EQ(bound_at, (std::vector<size_t>{0, 7}));
    EXPECT_EQ(host::faults().uses(Call::kDriverFind), 7u);
    EXPECT_FALSE(watch.holds_any());
}

TEST_F(MacBinding, Install_NotFound_UnbindsAndGoesOnInSilence) {
    entries_ = entries();
    host::faults().clear();
    host::faults().fail(Call::kDriverFind, 2);
    mac_driver_install(kInst);
    EXPECT_EQ(entries_[1]->driver, nullptr) << "bound before, no driver of that name now";
    EXPECT_EQ(bound(), 6u);
    EXPECT_EQ(take_log(3), Log{});
}

TEST_F(MacBinding, Install_IsOfThatInstance) {
    entries_ = entries();
    unbind();
    ASSERT_EQ(set_mac_init(3), 0u);
    EXPECT_EQ(bound(), 0u);
    mac_driver_install(kInst);
    EXPECT_EQ(bound(), 7u);
}

// --- order ---

TEST_F(MacBinding, Mount_BindsBeforeItCreatesTheDataSets) {
    ASSERT_EQ(set_mac_deinit(kInst), 0u);
    host::faults().clear();
    host::faults().at_use(Call::kDriverFind, 1, [] { EXPECT_TRUE(listed_types().empty()); });
    ASSERT_EQ(set_mac_init(kInst), 0u);
    EXPECT_EQ(listed_types(), kTypes);
    EXPECT_EQ(mac_data_find_by_instid(kInst, 0)->area[0].len, 16u) << "bound when it was made";
}

TEST_F(MacBinding, Unmount_DataSetsInTheirOrder_ThenEntries_ThenTheRecord) {
    LockWatch watch;
    std::vector<std::string> steps;
    std::vector<u32> gone;
    std::vector<u32> left = listed_types();
    watch.at(LockEvent::kReleasing, kDataSetsLock, [&] {
        const std::vector<u32> now = listed_types();
        if (now == left) return;
        ASSERT_EQ(now, std::vector<u32>(left.begin() + 1, left.end())) << "the first one alone";
        gone.push_back(left.front());
        left = now;
        steps.push_back("data set");
    });
    const mac_inst_config* const config = mac_config_find_by_instid(kInst);
    watch.at(LockEvent::kReleasing, kInstanceLock, [&] {
        steps.push_back(config->entry_list.empty() ? "entries" : "entries looked at");
    });
    watch.at(LockEvent::kReleasing, kConfigLock, [&] {
        if (g_mac_config.config_list.empty()) steps.push_back("record");
    });
    EXPECT_EQ(set_mac_deinit(kInst), 0u);
    EXPECT_EQ(gone, kTypes);
    std::vector<std::string> expected(kTypes.size(), "data set");
    expected.insert(expected.end(), {"entries", "record"});
    EXPECT_EQ(steps, expected);
    EXPECT_EQ(take_log(3), Log{});
}

TEST_F(MacBinding, Unmount_LeavesOtherInstances) {
    ASSERT_EQ(set_mac_init(3), 0u);
    EXPECT_EQ(set_mac_deinit(kInst), 0u);
    EXPECT_EQ(listed_types(), kTypes);
    for (const u32 type : kTypes) {
        EXPECT_NE(mac_data_find_by_instid(3, type), nullptr) << type;
        EXPECT_EQ(mac_data_find_by_instid(kInst, type), nullptr) << type;
    }
    EXPECT_NE(mac_config_find_by_instid(3), nullptr);
}

TEST_F(MacBinding, Exit_FreesDataSetsAndBuffers) {
    const auto blocks = host::heap_use().blocks;
    mac_func_exit();
    EXPECT_EQ(host::heap_use().blocks, blocks - 22 - 7) << "each data set and each buffer";
    EXPECT_EQ(mac_data_find_by_instid(kInst, 0), nullptr);
    EXPECT_NE(mac_config_find_by_instid(kInst), nullptr) << "the configuration is not its own";
}

// --- numbers from 2^31 on ---

constexpr u32 kWide = 0x80000000;

using MacWide = test::AddressTest;

TEST_F(MacWide, ExportedFunctions_PrintThemUnsigned_TheOthersSigned) {
    Mac mac{};
    u32 num = 0;
    const test::Line none = {1, "mac inst 0xffffffff type -2147483648 find mng no exist."};
    const test::Line no_main = {2, "mac inst 0xffffffff type -2147483648 area 0 not support."};
    EXPECT_EQ(drv_mac_get_addr(kInst, kWide, mac.data(), 6), 0x811601a4u);
    EXPECT_EQ(
        take_log(),
        (Log{none, none, {1, "mac inst 0xffffffff get type[2147483648] addr failed 0x811601a4."}}));
    EXPECT_EQ(drv_mac_get_addr_num(kInst, kWide, 0xfffffffe, mac.data(), 6), 0x811601a4u);
    EXPECT_EQ(
        take_log(),
        (Log{none,
             none,
             {1, "mac inst 0xffffffff get type[-2147483648] info fail run -2129264220."},
             {1, "mac inst 0xffffffff type 2147483648 num 4294967294, get failed 0x811601a4."}}));
    EXPECT_EQ(drv_mac_set_addr_num(kInst, kWide, 0x80000001, kBase.data()), 0x811601abu);
    EXPECT_EQ(
        take_log(),
        (Log{{1, "mac inst 0xffffffff type -2147483648 mac num[0x80000001] err."},
             {1, "mac inst 0xffffffff type 2147483648 num 2147483649, set failed 0x811601ab."}}));
    EXPECT_EQ(drv_mac_get_num(kInst, kWide, &num), 0x811601a4u);
    EXPECT_EQ(take_log(), (Log{none, none}));
    EXPECT_EQ(drv_mac_set_addr(kInst, kWide, kBase.data()), kFault);
    EXPECT_EQ(take_log(), (Log{none,
                               none,
                               {1,
                                "set mac addr: mac func data read unsuccessfully.ret=0x811601a4,"
                                "inst=0xffffffff,type=-2147483648."},
                               none,
                               no_main}));
    EXPECT_EQ(drv_mac_set_num(kInst, kWide, 1), kFault);
    EXPECT_EQ(take_log(), (Log{none,
                               none,
                               {1,
                                "set mac num: mac func data read unsucessfully.ret=0x811601a4,"
                                "inst=0xffffffff,type=-2147483648."},
                               none,
                               no_main}));
}

TEST_F(MacWide, FailedRefreshAndLists_PrintTheTypeSigned) {
    mac_entry entry{};
    entry.inst_id = kInst;
    entry.id = kWide;
    entry.storage_code = 0x4d08;
    entry.chip_id = 264;
    entry.channel = 0x600;
    std::strcpy(entry.drv_name, "drv_mac_eeprom");
    ASSERT_EQ(mac_create_entry(&entry), 0);
    mac_driver_install(kInst);
    ASSERT_EQ(mac_data_create(kInst, kWide), 0);
    u8 out[6];
    EXPECT_EQ(mac_data_find_by_instid(kInst, kWide)->area[0].support, 1u);
    EXPECT_EQ(drv_mac_get_addr(kInst, kWide, out, 6), 0xffffffffu);
    const Log log = take_log(1);
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(log[1].text, "mac inst 0xffffffff type -2147483648 data store fail -1.");
    put("eeprom-264", 0x600, test::qolt(kBase, 3));
    EXPECT_EQ(drv_mac_get_addr_num(kInst, kWide, 4, out, 6), kFault);
    EXPECT_EQ(take_log(1)[0].text, "mac inst 0xffffffff get type[-2147483648] info over num 4-3.");
    EXPECT_EQ(drv_mac_get_addr_num(kInst, kWide, 2, out, 6), kFault);
    EXPECT_EQ(take_log(1)[0].text, "mac inst 0xffffffff get type[-2147483648] info size err 6-12.");
    put("eeprom-264", 0x600, test::qolt(kBase, 0x80000000));
    EXPECT_EQ(drv_mac_get_addr_num(kInst, kWide, 0xffffffff, out, 6), kFault);
    EXPECT_EQ(take_log(1)[0].text,
              "mac inst 0xffffffff get type[-2147483648] info over num -1--2147483648.");
}

TEST_F(MacWide, DataSetThatCannotBeMade_PrintsTheTypeSigned) {
    ASSERT_EQ(mac_data_create(kInst, kWide), 0);
    mac_func_data_init(kInst, kWide);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff type -2147483648 find mng exist."},
                               {1, "mac inst 0xffffffff type -2147483648 data create fail -1."}}));
}

TEST_F(MacWide, NullAddress_IsRefusedOnlyWhereItIsAskedFor) {
    for (const u32 type : {2u, 5u, 6u, kWide}) {
        EXPECT_EQ(drv_mac_set_addr_num(kInst, type, 1, nullptr), kArgument);
    }
    EXPECT_EQ(take_log(3), Log{}) << "before anything else";
    EXPECT_EQ(drv_mac_set_addr(kInst, 5, nullptr), kFault) << "for want of a main area";
}

}  // namespace
