// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The list of data sets: what its spinlock guards, when the mutex of a data set is held,
// and look-ups among many.
#include "core/mac_data_io.h"
#include "core/mac_data_sync.h"
#include "platform/host/memory_service.h"
#include "platform/memory.h"
#include "tests/support/data_fixture.h"
#include "tests/support/lock_watch.h"

namespace {

using host::LockEvent;
using test::kDataSetMutex;
using test::kDataSetsLock;
using test::LockWatch;
using test::Log;
using test::main_script;
using test::spare_script;

constexpr u32 kInst = test::kDataInstance;

class MacDataLock : public test::DataTest {
protected:
    // Whether a data set is on the list, seen past its lock.
    static bool listed(const mac_inst_mng* mng) {
        bool found = false;
        g_mac_func.list.for_each([&](const mac_inst_mng* each) { found |= each == mng; });
        return found;
    }

    // What a question has for an answer just after the list's lock is taken and just
    // before it is released.
    template <typename Answer>
    struct Edges {
        Answer taken{};
        Answer releasing{};
    };

    template <typename Question, typename Work>
    static auto at_edges(Question question, Work work) {
        Edges<decltype(question())> edges;
        LockWatch watch;
        watch.at(LockEvent::kTaken, kDataSetsLock, [&] { edges.taken = question(); });
        watch.at(LockEvent::kReleasing, kDataSetsLock, [&] { edges.releasing = question(); });
        work();
        EXPECT_EQ(watch.taken(kDataSetsLock), 1u);
        EXPECT_FALSE(watch.holds_any());
        return edges;
    }

    static mac_inst_mng* made(u32 inst, u32 type) {
        EXPECT_EQ(mac_data_create(inst, type), 0);
        return mac_data_find_by_instid(inst, type);
    }
};

// --- the spinlock ---

TEST_F(MacDataLock, Insert_LinksUnderTheLock) {
    auto* const mng = static_cast<mac_inst_mng*>(platform_zalloc(sizeof(mac_inst_mng)));
    mng->inst_id = kInst;
    const auto edges = at_edges([mng] { return listed(mng); }, [mng] { mac_data_insert(mng); });
    EXPECT_FALSE(edges.taken);
    EXPECT_TRUE(edges.releasing);
    EXPECT_EQ(mac_data_find_by_instid(kInst, 0), mng);
}

TEST_F(MacDataLock, Insert_GoesIntoTheTableUnderTheLock) {
    auto* const mng = static_cast<mac_inst_mng*>(platform_zalloc(sizeof(mac_inst_mng)));
    // The key is read when the table takes the record: only what it is under the lock counts.
    mng->inst_id = kInst + 1;
    (void)at_edges(
        [mng] {
            mng->inst_id = mng->inst_id == kInst ? kInst + 1 : kInst;
            return 0;
        },
        [mng] { mac_data_insert(mng); });
    mng->inst_id = kInst;
    EXPECT_EQ(mac_data_find_by_instid(kInst, 0), mng);
}

TEST_F(MacDataLock, Insert_IntoAListThatRefuses_IsNotFoundEither) {
    auto* const mng = static_cast<mac_inst_mng*>(platform_zalloc(sizeof(mac_inst_mng)));
    mng->inst_id = kInst;
    g_mac_func.list = {};  // as before its set-up
    mac_data_insert(mng);
    EXPECT_EQ(mac_data_find_by_instid(kInst, 0), nullptr);
    g_mac_func.list.init();
}

TEST_F(MacDataLock, Insert_Nothing_LeavesTheLock) {
    const LockWatch watch;
    mac_data_insert(nullptr);
    mac_data_remove(nullptr);
    EXPECT_EQ(watch.taken(kDataSetsLock), 0u);
}

TEST_F(MacDataLock, Find_LooksUnderTheLock) {
    mac_inst_mng* const mng = made(kInst, 2);
    const auto hide = [mng](bool hidden) { mng->inst_id = hidden ? ~kInst : kInst; };
    hide(true);
    {
        LockWatch watch;
        watch.at(LockEvent::kTaken, kDataSetsLock, [&] { hide(false); });
        watch.at(LockEvent::kReleasing, kDataSetsLock, [&] { hide(true); });
        EXPECT_EQ(mac_data_find_by_instid(kInst, 2), mng) << "there while the lock is held";
        EXPECT_EQ(watch.taken(kDataSetsLock), 1u);
    }
    hide(false);
    LockWatch watch;
    watch.at(LockEvent::kTaken, kDataSetsLock, [&] { hide(true); });
    watch.at(LockEvent::kReleasing, kDataSetsLock, [&] { hide(false); });
    EXPECT_EQ(mac_data_find_by_instid(kInst, 2), nullptr) << "hidden while the lock is held";
}

TEST_F(MacDataLock, Remove_UnlinksAndFreesUnderTheLock_NotTheBuffers) {
    create_both(2);
    mac_inst_mng* const mng = mac_data_find_by_instid(kInst, 2);
    const auto blocks = host::heap_use().blocks;
    const auto edges = at_edges([mng] { return std::pair(listed(mng), host::heap_use().blocks); },
                                [mng] { mac_data_remove(mng); });
    EXPECT_EQ(edges.taken, std::pair(true, blocks));
    EXPECT_EQ(edges.releasing, std::pair(false, blocks - 1));
    EXPECT_EQ(mac_data_find_by_instid(kInst, 2), nullptr);
}

TEST_F(MacDataLock, Remove_TakesItFromTheTableUnderTheLock) {
    mac_inst_mng* const mng = made(kInst, 2);
    // The key is read when the table gives the record up: only what it is under the lock counts.
    mng->inst_id = kInst + 1;
    {
        LockWatch watch;
        watch.at(LockEvent::kTaken, kDataSetsLock, [mng] { mng->inst_id = kInst; });
        mac_data_remove(mng);
    }
    EXPECT_EQ(mac_data_find_by_instid(kInst, 2), nullptr);
}

TEST_F(MacDataLock, Delete_TakesAllAwayUnderOneLock) {
    create_both(2);
    create_both(3);
    ASSERT_EQ(mac_data_create(kInst + 1, 2), 0);
    const auto blocks = host::heap_use().blocks;
    const auto edges =
        at_edges([] { return std::pair(g_mac_func.list.empty(), host::heap_use().blocks); },
                 [] { mac_data_delete(); });
    EXPECT_EQ(edges.taken, std::pair(false, blocks));
    EXPECT_EQ(edges.releasing, std::pair(true, blocks - 7)) << "three data sets, four buffers";
}

TEST_F(MacDataLock, Delete_LeavesNothingToBeFound) {
    create_both(2);
    ASSERT_EQ(mac_data_create(kInst, 3), 0);
    ASSERT_EQ(mac_data_create(kInst + 1, 2), 0);
    mac_data_delete();
    EXPECT_EQ(mac_data_find_by_instid(kInst, 2), nullptr);
    EXPECT_EQ(mac_data_find_by_instid(kInst, 3), nullptr);
    EXPECT_EQ(mac_data_find_by_instid(kInst + 1, 2), nullptr);
    EXPECT_EQ(mac_data_create(kInst, 2), 0) << "and nothing is in the way of new ones";
    EXPECT_NE(mac_data_find_by_instid(kInst, 2), nullptr);
}

// --- look-ups among many ---

// More than the table has chains: some share one, whatever the hash is.
constexpr u32 kMany = 300;

TEST_F(MacDataLock, Find_ManyTypesOfAnInstance_EachIsItsOwn) {
    for (u32 type = 0; type < kMany; ++type) ASSERT_EQ(mac_data_create(kInst, type), 0);
    for (u32 type = 0; type < kMany; ++type) {
        const mac_inst_mng* const mng = mac_data_find_by_instid(kInst, type);
        ASSERT_NE(mng, nullptr) << type;
        EXPECT_EQ(mng->inst_id, kInst);
        EXPECT_EQ(mng->mac_type, type);
        EXPECT_EQ(mac_data_find_by_instid(kInst + 1, type), nullptr) << type;
    }
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacDataLock, Support_OfAThirdArea_IsNotWhatLiesBehindTheSecond) {
    for (u32 type = 0; type < kMany; ++type) ASSERT_EQ(mac_data_create(kInst, type), 0);
    for (u32 type = 0; type < kMany; ++type) {
        u32 support = 7;
        mac_area_support(kInst, type, 2, &support);
        EXPECT_EQ(support, 0u) << type;
    }
}

TEST_F(MacDataLock, Find_OneTypeOfManyInstances_EachIsItsOwn) {
    for (u32 inst = 0; inst < kMany; ++inst) ASSERT_EQ(mac_data_create(inst, 64), 0);
    for (u32 inst = 0; inst < kMany; ++inst) {
        const mac_inst_mng* const mng = mac_data_find_by_instid(inst, 64);
        ASSERT_NE(mng, nullptr) << inst;
        EXPECT_EQ(mng->inst_id, inst);
        EXPECT_EQ(mng->mac_type, 64u);
        EXPECT_EQ(mac_data_find_by_instid(inst, 65), nullptr) << inst;
    }
}

TEST_F(MacDataLock, Find_AfterRemovalsFromSharedChains_FindsTheRest) {
    for (u32 type = 0; type < kMany; ++type) ASSERT_EQ(mac_data_create(kInst, type), 0);
    const auto removed = [](u32 type) { return type % 3 == 0; };
    for (u32 type = 0; type < kMany; ++type) {
        if (removed(type)) mac_data_remove(mac_data_find_by_instid(kInst, type));
    }
    for (u32 type = 0; type < kMany; ++type) {
        const mac_inst_mng* const mng = mac_data_find_by_instid(kInst, type);
        ASSERT_EQ(mng == nullptr, removed(type)) << type;
        if (mng != nullptr) {
            EXPECT_EQ(mng->mac_type, type);
        }
    }
}

TEST_F(MacDataLock, Find_TwoOfOneKey_IsTheFirstInListOrder) {
    mac_inst_mng* const first = made(kInst, 2);
    auto* const second = static_cast<mac_inst_mng*>(platform_zalloc(sizeof(mac_inst_mng)));
    second->inst_id = kInst;
    second->mac_type = 2;
    mac_data_insert(second);
    EXPECT_EQ(mac_data_find_by_instid(kInst, 2), first);
    mac_data_remove(first);
    EXPECT_EQ(mac_data_find_by_instid(kInst, 2), second);
}

TEST_F(MacDataLock, List_IsInTheOrderOfCreation) {
    const std::vector<u32> order = {5, 64, 0, 79, 3};
    for (const u32 type : order) ASSERT_EQ(mac_data_create(kInst, type), 0);
    std::vector<u32> types;
    g_mac_func.list.for_each([&](const mac_inst_mng* mng) { types.push_back(mng->mac_type); });
    EXPECT_EQ(types, order);
}

// --- the mutex of a data set ---

TEST_F(MacDataLock, LockAndUnlock_AreOfThatDataSet) {
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    ASSERT_EQ(mac_data_create(kInst, 3), 0);
    LockWatch watch;
    mac_data_lock(kInst, 2);
    EXPECT_TRUE(watch.holds(kDataSetMutex));
    mac_data_lock(kInst, 3);
    mac_data_unlock(kInst, 2);
    EXPECT_TRUE(watch.holds(kDataSetMutex)) << "that of type 3";
    mac_data_unlock(kInst, 3);
    EXPECT_FALSE(watch.holds(kDataSetMutex));
    mac_data_lock(kInst, 9);
    mac_data_unlock(kInst, 9);
    EXPECT_EQ(watch.taken(kDataSetMutex), 2u) << "none for a type that is not there";
}

TEST_F(MacDataLock, DriverOperations_RunUnderNoLock) {
    create_both(2);
    LockWatch watch;
    std::string operations;
    for (test::Script* const script : {&main_script(), &spare_script()}) {
        script->at_operation = [&](const std::string& operation) {
            EXPECT_FALSE(watch.holds_any()) << operation;
            operations += operation + " ";
        };
    }
    spare_script().parsed_crc = 1;  // the copies differ: the spare is rewritten
    EXPECT_EQ(mac_data_init_store(kInst, 2), 0u);
    EXPECT_EQ(operations, "read get_format read get_format set_format write ");
    EXPECT_EQ(watch.taken(kDataSetMutex), 1u) << "for the copy alone";
    operations.clear();
    const u8 mac[6] = {2, 0, 0, 0, 0, 7};
    EXPECT_EQ(mac_set_data(kInst, 2, mac, 6, 3), 0u);
    EXPECT_EQ(operations, "set_format write set_format write ");
    EXPECT_EQ(watch.taken(kDataSetMutex), 2u);
}

}  // namespace
