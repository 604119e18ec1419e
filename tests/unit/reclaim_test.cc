// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Calls that are inside while their instance is unmounted, or the module shut down.
#include "platform/reclaim.h"

#include <functional>
#include <map>

#include "base/guard.h"
#include "config/mac_config.h"
#include "control/mac_module.h"
#include "core/mac_area.h"
#include "core/mac_data_sync.h"
#include "mac_mng/mac_mng.h"
#include "platform/common/grace.h"
#include "platform/host/driver_manager.h"
#include "platform/host/memory_service.h"
#include "platform/host/reclaim_service.h"
#include "platform/poison.h"
#include "tests/support/data_fixture.h"
#include "tests/support/module_fixture.h"

namespace {

using host::Call;
using test::kDataInstance;
using test::kDefaultInstance;

// --- grace periods ---

class Grace : public ::testing::Test {
protected:
    // The record of this number is released when nobody can be using it.
    void later(int number) {
        records_[number].number = number;
        records_[number].reclaim.release = [](platform_reclaim* reclaim) {
            reinterpret_cast<Record*>(reclaim)->released = true;
        };
        grace_release(grace_later(&grace_, &records_[number].reclaim));
    }
    u32 enter() { return grace_enter(&grace_); }
    void leave(u32 side) { grace_release(grace_leave(&grace_, side)); }
    bool released(int number) { return records_[number].released; }

private:
    struct Record {
        platform_reclaim reclaim;
        int number;
        bool released;
    };
    std::map<int, Record> records_;
    grace grace_{};
};

TEST_F(Grace, NobodyInside_ReleasedAtOnce) {
    later(1);
    EXPECT_TRUE(released(1));
    leave(enter());
    later(2);
    EXPECT_TRUE(released(2));
}

TEST_F(Grace, WaitsForEveryCallThatIsInside) {
    const u32 first = enter();
    const u32 second = enter();
    later(1);
    leave(second);
    EXPECT_FALSE(released(1));
    leave(first);
    EXPECT_TRUE(released(1));
}

TEST_F(Grace, CallThatEntersLater_IsNotWaitedFor) {
    const u32 before = enter();
    later(1);
    const u32 after = enter();
    leave(before);
    EXPECT_TRUE(released(1));
    leave(after);
}

TEST_F(Grace, RecordsOfAllAges_WaitForTheirOwnCalls) {
    const u32 first = enter();
    later(1);
    const u32 second = enter();
    later(2);
    const u32 third = enter();
    later(3);
    leave(first);
    EXPECT_TRUE(released(1));
    EXPECT_FALSE(released(2) || released(3)) << "the second call is inside";
    leave(second);
    EXPECT_FALSE(released(3)) << "the third call is inside";
    leave(third);
    EXPECT_TRUE(released(2) && released(3));
}

TEST_F(Grace, ChainOfCallsThatNeverEnds_DelaysNobody) {
    u32 inside = enter();
    for (int i = 0; i < 100; ++i) {
        later(i);
        const u32 next = enter();
        leave(inside);
        inside = next;
        EXPECT_TRUE(i == 0 || released(i - 1)) << i;
    }
    leave(inside);
    EXPECT_TRUE(released(99));
}

// --- the system's records ---

class Reclaim : public test::DataTest {
protected:
    // Runs something in the middle of a call: when it has asked for the spinlock `nth`
    // times.
    static void in_the_middle(unsigned nth, std::function<void()> action) {
        host::faults().clear();
        host::faults().at_use(Call::kSpinLock, nth, std::move(action));
    }
};

TEST_F(Reclaim, Unmounting_UnlinksAndPoisonsAtOnce_FreesWhenTheCallHasLeft) {
    create_both(2);
    mac_inst_mng* const mng = mac_data_find_by_instid(kDataInstance, 2);
    mac_inst_config* const config = mac_config_find_by_instid(kDataInstance);
    mac_entry* const entry = mac_entery_find_by_storage(kDataInstance, 2, 0);
    const auto mounted = host::heap_use().blocks;
    const int token = platform_reclaim_enter();
    EXPECT_EQ(drv_mac_deinit(kDataInstance), 0u);
    EXPECT_EQ(mac_data_find_by_instid(kDataInstance, 2), nullptr);
    EXPECT_EQ(mac_config_find_by_instid(kDataInstance), nullptr);
    for (const mac_link& link : {mng->list, config->list, entry->list}) {
        EXPECT_EQ(link.next, platform_list_poison().next);
        EXPECT_EQ(link.prev, platform_list_poison().prev);
    }
    EXPECT_EQ(host::heap_use().blocks, mounted);
    EXPECT_EQ(host::records_waiting(), 4u) << "data set, two entries, configuration";
    EXPECT_STREQ(mng->area[0].name, "m");
    platform_reclaim_leave(token);
    EXPECT_EQ(host::records_waiting(), 0u);
    EXPECT_EQ(host::heap_use().blocks, mounted - 4) << "the buffers are left on purpose";
}

TEST_F(Reclaim, Shutdown_FreesBuffersAndRecords_WhenTheCallHasLeft) {
    create_both(2);
    mac_inst_mng* const mng = mac_data_find_by_instid(kDataInstance, 2);
    const auto mounted = host::heap_use().blocks;
    const int token = platform_reclaim_enter();
    mac_func_exit();
    mac_config_exit();
    EXPECT_TRUE(g_mac_func.list.empty());
    EXPECT_TRUE(g_mac_config.config_list.empty());
    EXPECT_EQ(mng->list.prev, platform_list_poison().prev);
    EXPECT_NE(mng->area[0].buf, nullptr) << "the call may be filling it";
    EXPECT_EQ(host::heap_use().blocks, mounted);
    platform_reclaim_leave(token);
    EXPECT_EQ(host::heap_use().blocks, mounted - 6);
}

TEST_F(Reclaim, OneEntryRemoved_IsFreedWhenTheCallHasLeft) {
    create_both(2);
    mac_entry* const entry = mac_entery_find_by_storage(kDataInstance, 2, 1);
    const int token = platform_reclaim_enter();
    mac_remove_entry(entry);
    EXPECT_EQ(mac_entery_find_by_storage(kDataInstance, 2, 1), nullptr);
    EXPECT_STREQ(entry->drv_name, "script_spare");
    platform_reclaim_leave(token);
    EXPECT_EQ(host::records_waiting(), 0u);
}

// Each of the nine is inside while it runs, and drv_mac_deinit() is not.
TEST_F(Reclaim, EveryFunction_UnmountedAtEveryStep_TouchesNothingFreed) {
    u8 buf[12];
    u32 num = 0;
    const u8 address[6] = {2, 0, 0, 0, 0, 9};
    const std::map<std::string, std::function<u32()>> functions = {
        {"set_addr", [&] { return drv_mac_set_addr(kDataInstance, 2, address); }},
        {"get_addr", [&] { return drv_mac_get_addr(kDataInstance, 2, buf, 6); }},
        {"set_addr_num", [&] { return drv_mac_set_addr_num(kDataInstance, 2, 4, address); }},
        {"get_addr_num", [&] { return drv_mac_get_addr_num(kDataInstance, 2, 2, buf, 12); }},
        {"set_num", [&] { return drv_mac_set_num(kDataInstance, 2, 4); }},
        {"get_num", [&] { return drv_mac_get_num(kDataInstance, 2, &num); }},
    };
    for (const auto& [name, function] : functions) {
        for (unsigned nth = 1;; ++nth) {
            if (mac_config_find_by_instid(kDataInstance) == nullptr) {
                ASSERT_EQ(mac_create_config(kDataInstance, "n"), 0);
            }
            if (mac_data_find_by_instid(kDataInstance, 2) == nullptr) create_both(2);
            bool unmounted = false;
            in_the_middle(nth, [&unmounted] {
                unmounted = true;
                EXPECT_EQ(host::calls_inside(), 1u);
                drv_mac_deinit(kDataInstance);
                EXPECT_GT(host::records_waiting(), 0u);
            });
            const u32 result = function();
            host::faults().clear();
            EXPECT_EQ(host::calls_inside(), 0u) << name;
            EXPECT_EQ(host::records_waiting(), 0u) << name << " " << nth;
            if (!unmounted) {
                EXPECT_EQ(result, 0u) << name;
                break;
            }
        }
    }
}

TEST_F(Reclaim, HooksAndMounting_AreInside_UnmountingIsNot) {
    unsigned inside = 9;
    in_the_middle(1, [&inside] { inside = host::calls_inside(); });
    EXPECT_EQ(drv_mac_init(0x77), 0u);
    EXPECT_EQ(inside, 1u);
    in_the_middle(1, [&inside] { inside = host::calls_inside(); });
    EXPECT_EQ(drv_mac_deinit(0x77), 0u);
    EXPECT_EQ(inside, 0u);
}

// Both copies bad but the spare: the main copy is repaired, under the mutex.
TEST_F(Reclaim, RemountedWhileAreasAreCopied_TheLockedSetIsUnlocked) {
    create_both(2);
    mac_inst_mng* const locked = mac_data_find_by_instid(kDataInstance, 2);
    const mac::CallGuard inside;
    in_the_middle(2, [] {
        drv_mac_deinit(kDataInstance);
        ASSERT_EQ(mac_create_config(kDataInstance, "n"), 0);
        create_both(2);
    });
    EXPECT_EQ(mac_data_copy(kDataInstance, 2, 0, 1), 0u);
    EXPECT_NE(mac_data_find_by_instid(kDataInstance, 2), locked);
    platform_mutex_lock(&locked->mac_mutex);  // would end the process if it were held
    platform_mutex_unlock(&locked->mac_mutex);
    mac_data_lock(kDataInstance, 2);
    mac_data_unlock(kDataInstance, 2);
}

TEST_F(Reclaim, EntryUnlinkedUnderTheWalk_EndsIt) {
    create_both(2);
    mac_inst_config* const config = mac_config_find_by_instid(kDataInstance);
    const mac::CallGuard inside;
    unsigned visited = 0;
    const mac_entry* const found = config->entry_list.find([&](const mac_entry&) {
        if (visited++ == 0) mac_delete_entry(config);
        return false;
    });
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(visited, 1u);
}

// --- the module ---

class ReclaimModule : public test::ModuleTest {};

TEST_F(ReclaimModule, CallThatNeverLeft_IsSeenAtUnload) {
    load();
    EXPECT_DEATH(
        {
            (void)platform_reclaim_enter();
            unload();
        },
        "unloaded while a call is inside");
    EXPECT_DEATH(platform_reclaim_leave(platform_reclaim_enter() ^ 1), "more calls left");
    EXPECT_DEATH(platform_reclaim_leave(7), "token that nobody was given");
}

TEST_F(ReclaimModule, CommandOfAProcessThatIsKilled_DoesNothing) {
    load();
    mac_ioctl_instance record{kDefaultInstance};
    host::faults().fail(Call::kMutexKilled, 1, static_cast<u32>(-4));
    EXPECT_EQ(host::device_ioctl(MAC_IOCTL_DEINIT, &record), -4);
    EXPECT_NE(mac_config_find_by_instid(kDefaultInstance), nullptr) << "it is still mounted";
    EXPECT_EQ(host::device_ioctl(MAC_IOCTL_DEINIT, &record), 0) << "and the mutex is free";
}

TEST_F(ReclaimModule, StartUpThatFails_NamesItsStep_AndLeavesNothingWhenAbandoned) {
    const struct {
        Call call;
        unsigned nth;
        const char* step;
        size_t names;  // of attributes: kept until the module goes
    } failures[] = {
        {Call::kMemset, 1, "configuration registry", 0},
        {Call::kMemset, 2, "storage drivers", 0},
        {Call::kMiscRegister, 1, "control device", 0},
        {Call::kMemset, 3, "address service", 0},
        {Call::kSysfsCreate, 1, "diagnostic attributes", 10},
        {Call::kSprintf, 1, "default instance", 10},
    };
    for (const auto& failure : failures) {
        host::attach(nullptr);
        host::diag_reclaim();
        host::device_reclaim();
        host::heap_release_all();
        host::faults().clear();
        use_board(test::one_block());
        host::faults().fail(failure.call, failure.nth);
        EXPECT_NE(mac_module_init(), 0u) << failure.step;
        EXPECT_STREQ(mac_module_failed_step(), failure.step);
        mac_module_abandon();
        EXPECT_EQ(host::heap_use().blocks, failure.names) << failure.step;
        EXPECT_EQ(host::driver_count(), 0u) << failure.step;
    }
    host::faults().clear();
    host::diag_reclaim();
    host::device_reclaim();
    EXPECT_EQ(mac_module_init(), 0u);
    EXPECT_EQ(mac_module_failed_step(), nullptr);
    mac_module_exit();
}

}  // namespace
