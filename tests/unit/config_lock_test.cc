// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Which locks the configuration registry and the driver registry take, and what happens
// between their taking and their release.
#include "config/mac_entery_xml.h"
#include "platform/host/memory_service.h"
#include "platform/memory.h"
#include "storage/driver/mac_driver.h"
#include "tests/support/fixture.h"
#include "tests/support/lock_watch.h"

namespace {

using host::LockEvent;
using test::kCommandMutex;
using test::kConfigLock;
using test::kDriversLock;
using test::kInstanceLock;
using test::kListingMutex;
using test::LockWatch;

using Trace = std::vector<std::string>;

Trace around(const char* lock) {
    return {std::string("take ") + lock, std::string("release ") + lock};
}

Trace operator+(Trace left, const Trace& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

const Trace kRegistry = around(kConfigLock);
const Trace kInstance = around(kInstanceLock);

class ConfigLock : public test::PlatformTest {
protected:
    ConfigLock() { EXPECT_EQ(mac_config_init(22, "mac_mng"), 0); }

    static mac_entry entry_of(u32 inst, u32 id) {
        mac_entry entry{};
        entry.inst_id = inst;
        entry.id = id;
        entry.storage_code = 0x4d08;
        return entry;
    }
    static mac_inst_config* config_of(u32 inst) {
        EXPECT_EQ(mac_create_config(inst, "n"), 0);
        return mac_config_find_by_instid(inst);
    }
    static mac_entry* add_entry(u32 inst, u32 id) {
        const mac_entry entry = entry_of(inst, id);
        EXPECT_EQ(mac_create_entry(&entry), 0);
        return mac_entery_find_by_device(inst, id, 0x4d08);
    }
    static mac_inst_config* loose_config(u32 inst) {
        auto* const config =
            static_cast<mac_inst_config*>(platform_zalloc(sizeof(mac_inst_config)));
        config->inst_id = inst;
        platform_spin_init(&config->lock, kInstanceLock);
        config->entry_list.init();
        return config;
    }
};

// A number at the taking and at the release of a lock.
template <typename Number>
std::pair<Number, Number> during(const char* lock, const std::function<Number()>& number,
                                 const std::function<void()>& call) {
    std::pair<Number, Number> seen{};
    LockWatch watch;
    watch.at(LockEvent::kTaken, lock, [&] { seen.first = number(); });
    watch.at(LockEvent::kReleasing, lock, [&] { seen.second = number(); });
    call();
    EXPECT_EQ(watch.taken(lock), 1u);
    return seen;
}

using Counts = std::pair<size_t, size_t>;

size_t configs() {
    size_t count = 0;
    g_mac_config.config_list.for_each([&count](const mac_inst_config*) { ++count; });
    return count;
}

TEST_F(ConfigLock, Init_SetsUpThree_UnderTheirNames) {
    LockWatch watch;
    EXPECT_EQ(mac_config_init(22, "mac_mng"), 0);
    EXPECT_EQ(watch.take_trace(),
              (Trace{"set up &g_mac_config.lock", "set up &g_mac_config.dev_mutex",
                     "set up &g_mac_config.show_mutex"}));
}

TEST_F(ConfigLock, Mutexes_AreTheCommandsAndTheListings) {
    LockWatch watch;
    mac_mutex_lock();
    EXPECT_TRUE(watch.holds(kCommandMutex));
    drv_mac_lock();
    EXPECT_TRUE(watch.holds(kListingMutex));
    drv_mac_unlock();
    EXPECT_FALSE(watch.holds(kListingMutex));
    mac_mutex_unlock();
    EXPECT_EQ(watch.take_trace(),
              (Trace{"take &g_mac_config.dev_mutex", "take &g_mac_config.show_mutex",
                     "release &g_mac_config.show_mutex", "release &g_mac_config.dev_mutex"}));
}

TEST_F(ConfigLock, CreateConfig_LooksForTheInstanceThenInserts) {
    LockWatch watch;
    EXPECT_EQ(mac_create_config(3, "n"), 0);
    EXPECT_EQ(watch.take_trace(),
              kRegistry + Trace{std::string("set up ") + kInstanceLock} + kRegistry);
    EXPECT_EQ(mac_create_config(3, "n"), -1);
    EXPECT_EQ(watch.take_trace(), kRegistry) << "found: nothing is made";
}

TEST_F(ConfigLock, InsertConfig_LinksUnderTheRegistrysLock) {
    mac_inst_config* const config = loose_config(3);
    EXPECT_EQ(during<size_t>(kConfigLock, configs, [config] { mac_insert_config(config); }),
              (Counts{0, 1}));
}

TEST_F(ConfigLock, InsertConfig_GoesIntoTheTableUnderTheRegistrysLock) {
    mac_inst_config* const config = loose_config(4);
    // The key is read when the table takes the record: only what it is under the lock counts.
    const auto flip = [config]() -> size_t { return config->inst_id = 7 - config->inst_id; };
    EXPECT_EQ(during<size_t>(kConfigLock, flip, [config] { mac_insert_config(config); }),
              (Counts{3, 4}));
    config->inst_id = 3;
    EXPECT_EQ(mac_config_find_by_instid(3), config);
}

TEST_F(ConfigLock, RemoveConfig_UnlinksAndFreesUnderTheRegistrysLock) {
    mac_inst_config* const config = config_of(3);
    const size_t blocks = host::heap_use().blocks;
    EXPECT_EQ(during<size_t>(
                  kConfigLock, [] { return configs() * 100 + host::heap_use().blocks; },
                  [config] { mac_remove_config(config); }),
              (Counts{100 + blocks, blocks - 1}));
}

TEST_F(ConfigLock, RemoveConfig_TakesItFromTheTableUnderTheRegistrysLock) {
    mac_inst_config* const config = config_of(3);
    config->inst_id = 4;
    {
        LockWatch watch;
        watch.at(LockEvent::kTaken, kConfigLock, [config] { config->inst_id = 3; });
        mac_remove_config(config);
    }
    EXPECT_EQ(mac_config_find_by_instid(3), nullptr);
}

TEST_F(ConfigLock, FindByInstid_WalksUnderTheRegistrysLock) {
    for (const LockEvent event : {LockEvent::kTaken, LockEvent::kReleasing}) {
        ASSERT_EQ(mac_config_init(22, "mac_mng"), 0);
        mac_inst_config* const config = loose_config(3);
        LockWatch watch;
        watch.at(event, kConfigLock, [config] {
            g_mac_config.config_list.push_back(config);
            g_mac_config.table.insert(3, config);
        });
        EXPECT_EQ(mac_config_find_by_instid(3), event == LockEvent::kTaken ? config : nullptr)
            << "it looks behind the taking and before the release";
        EXPECT_EQ(watch.take_trace(), kRegistry);
    }
}

TEST_F(ConfigLock, DeleteConfig_TakesEachInstancesLockInsideTheRegistrys) {
    for (const u32 inst : {1u, 2u}) {
        (void)config_of(inst);
        (void)add_entry(inst, 0);
    }
    LockWatch watch;
    watch.at(LockEvent::kTaken, kInstanceLock, [&watch] { EXPECT_TRUE(watch.holds(kConfigLock)); });
    watch.at(LockEvent::kReleasing, kConfigLock, [] {
        EXPECT_EQ(host::heap_use().blocks, 0u) << "all is freed before the release";
        EXPECT_EQ(configs(), 0u);
    });
    mac_delete_config();
    EXPECT_EQ(watch.take_trace(),
              Trace{kRegistry[0]} + kInstance + kInstance + Trace{kRegistry[1]});
}

TEST_F(ConfigLock, CreateEntry_LinksAndCountsUnderTheInstancesLock) {
    mac_inst_config* const config = config_of(3);
    const mac_entry entry = entry_of(3, 2);
    LockWatch watch;
    watch.at(LockEvent::kTaken, kInstanceLock, [&] {
        EXPECT_TRUE(config->entry_list.empty());
        EXPECT_EQ(config->entry_num, 0u);
        EXPECT_FALSE(watch.holds(kConfigLock)) << "dropped before";
    });
    watch.at(LockEvent::kReleasing, kInstanceLock, [config] {
        EXPECT_FALSE(config->entry_list.empty());
        EXPECT_EQ(config->entry_num, 1u);
    });
    EXPECT_EQ(mac_create_entry(&entry), 0);
    EXPECT_EQ(watch.take_trace(), kRegistry + kInstance);
}

TEST_F(ConfigLock, RemoveEntry_UnlinksFreesAndCountsUnderTheInstancesLock) {
    mac_inst_config* const config = config_of(3);
    mac_entry* const entry = add_entry(3, 2);
    const size_t blocks = host::heap_use().blocks;
    LockWatch watch;
    watch.at(LockEvent::kTaken, kInstanceLock, [&] {
        EXPECT_EQ(config->entry_list.first(), entry);
        EXPECT_EQ(config->entry_num, 1u);
        EXPECT_EQ(host::heap_use().blocks, blocks);
    });
    watch.at(LockEvent::kReleasing, kInstanceLock, [&] {
        EXPECT_TRUE(config->entry_list.empty());
        EXPECT_EQ(config->entry_num, 0u);
        EXPECT_EQ(host::heap_use().blocks, blocks - 1);
    });
    mac_remove_entry(entry);
    EXPECT_EQ(watch.take_trace(), kRegistry + kInstance);
}

TEST_F(ConfigLock, DeleteEntry_EmptiesTheInstanceUnderOneLock) {
    mac_inst_config* const config = config_of(3);
    for (u32 id = 0; id < 3; ++id) (void)add_entry(3, id);
    LockWatch watch;
    watch.at(LockEvent::kTaken, kInstanceLock, [config] { EXPECT_EQ(config->entry_num, 3u); });
    watch.at(LockEvent::kReleasing, kInstanceLock, [config] {
        EXPECT_TRUE(config->entry_list.empty());
        EXPECT_EQ(config->entry_num, 0u);
        EXPECT_EQ(host::heap_use().blocks, 1u) << "the instance's record alone";
    });
    mac_delete_entry(config);
    EXPECT_EQ(watch.take_trace(), kInstance);
}

TEST_F(ConfigLock, FindByDevice_WalksTheEntriesWithoutTheirLock) {
    (void)config_of(3);
    const mac_entry* const entry = add_entry(3, 2);
    LockWatch watch;
    EXPECT_EQ(mac_entery_find_by_device(3, 2, 0x4d08), entry);
    EXPECT_EQ(mac_entery_find_by_device(4, 2, 0x4d08), nullptr);
    EXPECT_EQ(watch.take_trace(), kRegistry + kRegistry);
}

TEST_F(ConfigLock, XmlExit_DeletesTheEntriesThenTheRecord) {
    (void)config_of(3);
    (void)add_entry(3, 2);
    LockWatch watch;
    mac_config_xml_exit(3);
    EXPECT_EQ(watch.take_trace(), kRegistry + kInstance + kRegistry);
    EXPECT_EQ(host::heap_use().blocks, 0u);
}

TEST_F(ConfigLock, NothingGiven_TakesNothing) {
    LockWatch watch;
    mac_insert_config(nullptr);
    mac_remove_config(nullptr);
    mac_insert_entry(nullptr);
    mac_remove_entry(nullptr);
    mac_delete_entry(nullptr);
    mac_driver_insert(nullptr);
    mac_driver_remove(nullptr);
    EXPECT_EQ(watch.take_trace(), Trace{});
}

class DriverLock : public test::PlatformTest {
protected:
    DriverLock() { EXPECT_EQ(mac_drv_init(22, "mac_mng"), 0); }

    static size_t drivers() {
        size_t count = 0;
        g_mac_drv.list.for_each([&count](const MacDriver*) { ++count; });
        return count;
    }
};

TEST_F(DriverLock, Init_SetsItUpUnderItsName) {
    LockWatch watch;
    EXPECT_EQ(mac_drv_init(22, "mac_mng"), 0);
    EXPECT_EQ(watch.take_trace(), (Trace{"set up &g_mac_drv.lock"}));
}

TEST_F(DriverLock, InsertAndRemove_ChangeTheListUnderIt) {
    MacDriver driver{{}, "one", nullptr};
    EXPECT_EQ(during<size_t>(kDriversLock, drivers, [&driver] { mac_driver_insert(&driver); }),
              (Counts{0, 1}));
    EXPECT_EQ(
        during<size_t>(
            kDriversLock,
            [&driver] { return driver.list.next == platform_list_poison().next ? 100 : drivers(); },
            [&driver] { mac_driver_remove(&driver); }),
        (Counts{1, 100}))
        << "unlinked and poisoned";
}

TEST_F(DriverLock, FindByName_WalksUnderIt) {
    MacDriver driver{{}, "one", nullptr};
    for (const LockEvent event : {LockEvent::kTaken, LockEvent::kReleasing}) {
        g_mac_drv.list.init();
        LockWatch watch;
        watch.at(event, kDriversLock, [&driver] { g_mac_drv.list.push_back(&driver); });
        EXPECT_EQ(mac_driver_find_by_name("one"), event == LockEvent::kTaken ? &driver : nullptr);
        EXPECT_EQ(watch.take_trace(), around(kDriversLock));
    }
}

}  // namespace
