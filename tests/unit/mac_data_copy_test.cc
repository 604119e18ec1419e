// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// One area into the other: what runs under the data set's mutex, and the order of the
// checks and writes of a change.
#include "core/mac_data_io.h"
#include "core/mac_data_sync.h"
#include "tests/support/data_fixture.h"
#include "tests/support/lock_watch.h"

namespace {

using host::Call;
using host::LockEvent;
using test::kDataSetMutex;
using test::kDataSetsLock;
using test::LockWatch;
using test::Log;
using test::Mac;
using test::spare_script;
using test::text;

constexpr u32 kInst = test::kDataInstance;
constexpr u32 kType = 2;
constexpr u32 kFail = 0xffffffff;
constexpr Mac kNew = {0x02, 0xaa, 0xbb, 0xcc, 0xdd, 0x01};
constexpr Mac kZero = {};

using MacDataCopy = test::DataTest;

// --- the copy and its mutex ---

TEST_F(MacDataCopy, Copy_FetchesAndCopiesUnderTheMutex) {
    create_both(kType);
    fill(kType, 0, 0x20);
    const test::Record before = test::bytes_of(area(kType, 1));
    LockWatch watch;
    bool done = false;
    watch.at(LockEvent::kTaken, kDataSetMutex,
             [&] { EXPECT_EQ(test::bytes_of(area(kType, 1)), before) << "not yet"; });
    watch.at(LockEvent::kReleasing, kDataSetMutex, [&] {
        EXPECT_EQ(mac_of(kType, 1), mac_of(kType, 0)) << "done";
        EXPECT_EQ(area(kType, 1).flag, 0x20u);
        EXPECT_EQ(area(kType, 1).mac_num, 0x20u);
        EXPECT_EQ(area(kType, 1).crc, 0x20u);
        done = true;
    });
    EXPECT_EQ(mac_data_copy(kInst, kType, 1, 0), 0u);
    EXPECT_EQ(watch.taken(kDataSetMutex), 1u);
    EXPECT_TRUE(done);
}

TEST_F(MacDataCopy, Copy_AreaThatGoesUnderTheMutex_IsNotCopied) {
    for (const u32 gone : {0u, 1u}) {
        create_both(kType + gone);
        const u32 type = kType + gone;
        area(type, 0).mac_num = 0x20;
        LockWatch watch;
        watch.at(LockEvent::kTaken, kDataSetMutex, [&] { area(type, gone).support = 0; });
        EXPECT_EQ(mac_data_copy(kInst, type, 1, 0), 0u);
        EXPECT_EQ(area(type, 1).mac_num, 16u) << "fetched when it was gone";
        EXPECT_EQ(take_log(),
                  (Log{{2, text("mac inst 0x1f type %u area %u not support.", type, gone)}}));
    }
}

TEST_F(MacDataCopy, Copy_OntoItself_TakesNoLock) {
    create_both(kType);
    const LockWatch watch;
    EXPECT_EQ(mac_data_copy(kInst, kType, 0, 0), kFail);
    EXPECT_EQ(mac_data_copy(kInst, kType, 1, 1), kFail);
    EXPECT_EQ(mac_data_copy(kInst, 9, 0, 0), kFail) << "no data set";
    EXPECT_EQ(watch.taken(kDataSetMutex), 0u);
    EXPECT_EQ(watch.taken(kDataSetsLock), 0u);
    EXPECT_EQ(take_log(3), Log{});
}

TEST_F(MacDataCopy, Copy_BothWays) {
    create_both(kType);
    fill(kType, 0, 0x20);
    fill(kType, 1, 0x30);
    EXPECT_EQ(mac_data_copy(kInst, kType, 0, 1), 0u);
    EXPECT_EQ(mac_of(kType, 0), (Mac{0x30, 0x30, 0x30, 0x30, 0x30, 0x30}));
    EXPECT_EQ(area(kType, 0).flag, 0x30u);
    EXPECT_EQ(area(kType, 0).mac_num, 0x30u);
    EXPECT_EQ(area(kType, 0).crc, 0x30u);
}

// --- writes ---

TEST_F(MacDataCopy, CopyWrite_TargetIsLookedAtBeforeTheSource) {
    create_main(kType);
    EXPECT_EQ(mac_data_copy_write(kInst, kType, 1, 1), 0u) << "not supported: success";
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type 2 area 1 not support."}}));
    EXPECT_EQ(mac_data_copy_write(kInst, kType, 0, 0), kFail);
    EXPECT_EQ(take_log(3), Log{});
}

TEST_F(MacDataCopy, SyncWrite_SourceFirst_TextsNameBoth) {
    create_both(kType);
    fill(kType, 0, 0x20);
    fill(kType, 1, 0x30);
    EXPECT_EQ(mac_data_sync_write(kInst, kType, 0, 1), 0u);
    EXPECT_EQ(test::write_order(), "sm");
    EXPECT_EQ(mac_of(kType, 0), mac_of(kType, 1));
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type 2 copy[1->0] write OK."},
                               {2, "mac inst 0x1f type 2 sync[1->0] store OK."}}));
    spare_script().build_result = 9;
    area(kType, 1).mac_num = 1;
    EXPECT_EQ(mac_data_sync_write(kInst, kType, 0, 1), 9u);
    EXPECT_EQ(area(kType, 0).mac_num, 0x30u) << "the other area is untouched";
}

TEST_F(MacDataCopy, SetData_NullAddress_IsSeenBeforeTheArea) {
    create_spare(kType);
    for (const u32 type : {kType, 9u}) {
        EXPECT_EQ(mac_set_data(kInst, type, nullptr, 6, 3), kFail);
        EXPECT_EQ(take_log(3), Log{}) << "no area was asked for";
        EXPECT_EQ(mac_set_data(kInst, type, kNew.data(), 6, 3), kFail);
        EXPECT_NE(take_log(3), Log{});
    }
}

TEST_F(MacDataCopy, SetData_RefusedCopy_LeavesTheCount) {
    create_both(kType);
    host::faults().fail(Call::kMemcpy, 1, static_cast<u32>(-5));
    EXPECT_EQ(mac_set_data(kInst, kType, kNew.data(), 6, 3), kFail);
    EXPECT_EQ(take_log(3), (Log{{1, "mac set data memory copy fail err_no = -5"}}));
    EXPECT_EQ(area(kType, 0).mac_num, 16u);
    EXPECT_EQ(test::write_order(), "");
}

TEST_F(MacDataCopy, Texts_PrintTypesFrom2To31AsNegativeNumbers) {
    constexpr u32 kWide = 0x80000002;
    create_main(kWide);
    const std::string who = "mac inst 0x1f type -2147483646 ";
    EXPECT_EQ(mac_data_vaild_addr(kInst, kWide, kZero.data(), 6), 0x811601abu);
    EXPECT_EQ(mac_data_vaild_num(kInst, kWide, 0xffffffff), 0x811601abu);
    EXPECT_EQ(mac_data_sync_write(kInst, kWide, 1, 0), 0u);
    EXPECT_EQ(mac_data_copy_write(kInst, kWide, 0, 1), 0u);
    EXPECT_EQ(take_log(), (Log{{1, who + "mac all_bit01[0-0x0] err."},
                               {1, who + "mac num[0xffffffff] err."},
                               {2, who + "area 1 not support."},
                               {2, who + "sync[0->1] store OK."},
                               {2, who + "area 1 not support."},
                               {2, who + "copy[1->0] write OK."}}));
}

}  // namespace
