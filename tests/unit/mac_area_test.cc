// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The configuration of an area: the order of its steps, what it leaves in each field, and
// who each text says it is about.
#include "core/mac_area.h"

#include "platform/host/memory_service.h"
#include "tests/support/data_fixture.h"
#include "tests/support/lock_watch.h"

namespace {

using host::Call;
using host::LockEvent;
using test::kDataSetMutex;
using test::kDataSetsLock;
using test::LockWatch;
using test::Log;
using test::main_script;
using test::spare_script;
using test::text;

constexpr u32 kInst = test::kDataInstance;
constexpr u32 kNotSupported = 0x811601a4;
constexpr u32 kLacks = 0x811601a5;
constexpr u32 kFail = 0xffffffff;

using MacArea = test::DataTest;

// --- order ---

TEST_F(MacArea, Create_MutexFirst_ThenBothAreas_ListedLast) {
    add_entry(2, 0x4d08, "script_main", "m");
    add_entry(2, 0x4d09, "script_spare", "s");
    mac_driver_install(kInst);
    host::faults().clear();
    LockWatch watch;
    std::vector<std::string> steps;
    const auto step = [&steps](const std::string& name) { steps.push_back(name); };
    watch.at(LockEvent::kSetUp, kDataSetMutex, [&] { step("mutex"); });
    watch.at(LockEvent::kTaken, kDataSetsLock, [&] { step("list"); });
    main_script().at_operation = [&](const std::string& name) { step("main " + name); };
    spare_script().at_operation = [&](const std::string& name) { step("spare " + name); };
    for (unsigned nth = 1; nth <= 3; ++nth) {
        host::faults().at_use(Call::kZalloc, nth, [&] { step("memory"); });
        host::faults().at_use(Call::kStrncpy, nth, [&] { step("name"); });
    }
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    EXPECT_EQ(steps, (std::vector<std::string>{
                         "list",             // looks for one that exists
                         "memory", "mutex",  //
                         "main get_flag", "name", "main get_size", "memory",  //
                         "spare get_flag", "name", "spare get_size", "memory", "list"}));
    EXPECT_EQ(main_script().sizes, std::vector<u32>{16}) << "asked for the entry's count";
}

TEST_F(MacArea, Create_Existing_AllocatesNothing) {
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    host::faults().clear();
    const LockWatch watch;
    EXPECT_EQ(mac_data_create(kInst, 2), -1);
    EXPECT_EQ(host::faults().uses(Call::kZalloc), 0u);
    EXPECT_EQ(watch.taken(kDataSetsLock), 1u) << "to look, not to insert";
}

TEST_F(MacArea, Create_SameTypeOrInstance_IsNoDuplicate) {
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    EXPECT_EQ(mac_data_create(kInst, 3), 0);
    EXPECT_EQ(mac_data_create(kInst + 1, 2), 0);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacArea, Config_WithoutEntry_StopsBeforeTheDriver) {
    mac_inst_mng mng{};
    host::faults().clear();
    EXPECT_EQ(mac_area_config(&mng, kInst, 2, 0), kNotSupported);
    EXPECT_EQ(mac_area_config(&mng, kInst, 2, 2), kNotSupported) << "no third area";
    EXPECT_EQ(host::faults().uses(Call::kZalloc), 0u);
    EXPECT_EQ(host::faults().uses(Call::kStrncpy), 0u);
    EXPECT_EQ(take_log(3), Log{});
}

TEST_F(MacArea, Config_ReturnsItsOwnCodes) {
    add_entry(2, 0x4d09, "script_spare");
    mac_driver_install(kInst);
    mac_inst_mng mng{};
    host::faults().fail(Call::kZalloc);
    EXPECT_EQ(mac_area_init(&mng, kInst, 2, 1), kFail);
    EXPECT_EQ(mac_area_init(&mng, kInst, 2, 0), kNotSupported) << "it has no entry";
    spare_script().ops.get_flag = nullptr;
    EXPECT_EQ(mac_area_init(&mng, kInst, 2, 1), 0u) << "a step that fails is passed";
    EXPECT_EQ(mng.area[1].support, 1u);
    mac_area_delete(&mng, 1);
    EXPECT_EQ(mac_area_init(nullptr, kInst, 2, 1), kFail);
}

// --- fields ---

TEST_F(MacArea, Config_FillsEachFieldOfEachArea) {
    const auto add = [](u32 code, const char* driver, const char* name, u32 base) {
        mac_entry entry{};
        entry.inst_id = kInst;
        entry.id = 2;
        entry.storage_code = code;
        entry.chip_id = base + 1;
        entry.channel = base + 2;
        entry.mac_num = base + 3;
        ASSERT_EQ(strncpy_s(entry.drv_name, 40, driver, 39), 0);
        ASSERT_EQ(strncpy_s(entry.storage_name, 40, name, 39), 0);
        ASSERT_EQ(mac_create_entry(&entry), 0);
    };
    add(0x4d08, "script_main", "m", 0x10100);
    add(0x4d09, "script_spare", "s", 0x20200);
    main_script().flag = 0x1122334455667788;
    spare_script().flag = 0x99aabbccddeeff00;
    main_script().size = 24;
    spare_script().size = 40;
    mac_driver_install(kInst);
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    const mac_inst_mng* const mng = mac_data_find_by_instid(kInst, 2);
    EXPECT_EQ(mng->inst_id, kInst);
    EXPECT_EQ(mng->mac_type, 2u);
    for (u32 index = 0; index < 2; ++index) {
        const mac_area& area = mng->area[index];
        const u32 base = index == 0 ? 0x10100 : 0x20200;
        EXPECT_EQ(area.support, 1u);
        EXPECT_EQ(area.chip_id, base + 1);
        EXPECT_EQ(area.channel, base + 2);
        EXPECT_EQ(area.mac_num, base + 3);
        EXPECT_EQ(area.cfg_num, base + 3);
        EXPECT_EQ(area.cfg_flag, index == 0 ? 0x1122334455667788u : 0x99aabbccddeeff00u);
        EXPECT_EQ(area.flag, 1u);
        EXPECT_EQ(area.crc, 1u);
        EXPECT_EQ(area.len, index == 0 ? 24u : 40u);
        EXPECT_STREQ(area.name, index == 0 ? "m" : "s");
        EXPECT_EQ(test::hex({area.mac, area.mac + 6}), "000000000000");
        EXPECT_EQ(test::Record(area.buf, area.buf + area.len), test::Record(area.len, 0));
    }
    EXPECT_EQ(main_script().sizes, std::vector<u32>{0x10103});
    EXPECT_EQ(spare_script().sizes, std::vector<u32>{0x20203});
}

TEST_F(MacArea, Config_EmptyFlagSlot_LeavesTheFlagZero) {
    main_script().ops.get_flag = nullptr;
    create_both(2);
    EXPECT_EQ(area(2, 0).cfg_flag, 0u);
    EXPECT_EQ(area(2, 0).flag, 1u);
    EXPECT_EQ(area(2, 0).len, 16u) << "the size is asked for all the same";
    EXPECT_EQ(area(2, 1).cfg_flag, 0x51u);
}

TEST_F(MacArea, Config_EmptySizeSlot_KeepsTheFlag) {
    main_script().ops.get_size = nullptr;
    create_both(2);
    EXPECT_EQ(area(2, 0).cfg_flag, 0x51u);
    EXPECT_EQ(area(2, 0).len, 1u);
    EXPECT_EQ(area(2, 1).len, 16u);
}

TEST_F(MacArea, Config_NoMemory_LeavesEveryFieldButTheName) {
    add_entry(2, 0x4d08, "script_main", "m");
    mac_driver_install(kInst);
    host::faults().fail(Call::kZalloc, 2);
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    mac_area& main = area(2, 0);
    EXPECT_STREQ(main.name, "m") << "copied before the buffer was asked for";
    main.name[0] = '\0';
    EXPECT_EQ(test::bytes_of(main), test::Record(sizeof(main), 0));
}

TEST_F(MacArea, GetSize_WithoutOperation_LeavesOne) {
    main_script().ops.get_size = nullptr;
    create_both(2);
    u32 size = 7;
    EXPECT_EQ(mac_get_size(kInst, 2, 0, 5, &size), kLacks);
    EXPECT_EQ(size, 1u);
    EXPECT_EQ(mac_get_size(kInst, 2, 1, 5, &size), 0u);
    EXPECT_EQ(size, 16u);
    EXPECT_EQ(spare_script().sizes.back(), 5u);
}

TEST_F(MacArea, GetFlag_WithoutOperation_LeavesTheOutput) {
    main_script().ops.get_flag = nullptr;
    create_both(2);
    u64 flag = 7;
    EXPECT_EQ(mac_get_flag(kInst, 2, 0, &flag), kLacks);
    EXPECT_EQ(flag, 7u);
    EXPECT_EQ(mac_get_flag(kInst, 2, 1, &flag), 0u);
    EXPECT_EQ(flag, 0x51u);
}

// --- texts ---

TEST_F(MacArea, Texts_NameTheSpareArea) {
    spare_script().ops.get_flag = nullptr;
    spare_script().ops.get_size = nullptr;
    add_entry(2, 0x4d09, "script_spare", "a_storage_name_of_32_characters_");
    mac_driver_install(kInst);
    host::faults().fail(Call::kZalloc, 2);
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0x1f type 2 area 1 get_flag uninstall"},
                   {1,
                    "mac area config\xa3\xbamac get flag fail.ret 2165703077 inst 0x1f type 2 "
                    "area 1"},
                   {1, "mac inst 0x1f type 2 area 1 str_name err_no = 34"},
                   {1, "mac inst 0x1f type 2 area 1 get_size uninstall"},
                   {1,
                    "mac area config\xa3\xbamac get size fail.ret 2165703077 inst 0x1f type 2 "
                    "area 1"},
                   {1, "mac inst 0x1f type 2 area 1 malloc data fail."}}));
    EXPECT_EQ(area(2, 1).support, 0u);
    mac_entery_find_by_storage(kInst, 2, 1)->driver = nullptr;
    EXPECT_EQ(mac_driver_find_by_storage(kInst, 2, 1), nullptr);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 1 driver uninstall"}}));
}

TEST_F(MacArea, Texts_PrintTypesFrom2To31AndErrorsAsSignedNumbers) {
    constexpr u32 kType = 0x80000002;
    main_script().ops.get_flag = nullptr;
    main_script().ops.get_size = nullptr;
    add_entry(kType, 0x4d08, "script_main");
    mac_driver_install(kInst);
    host::faults().fail(Call::kZalloc, 2);
    host::faults().fail(Call::kStrncpy, 1, static_cast<u32>(-5));
    ASSERT_EQ(mac_data_create(kInst, kType), 0);
    Log expected;
    const auto expect = [&expected](const std::string& line) { expected.push_back({1, line}); };
    const std::string who = "mac inst 0x1f type -2147483646 ";
    const std::string whose = ".ret 2165703077 inst 0x1f type -2147483646 area 0";
    expect(who + "area 0 get_flag uninstall");
    expect("mac area config\xa3\xbamac get flag fail" + whose);
    expect(who + "area 0 str_name err_no = -5");
    expect(who + "area 0 get_size uninstall");
    expect("mac area config\xa3\xbamac get size fail" + whose);
    expect(who + "area 0 malloc data fail.");
    EXPECT_EQ(take_log(), expected);
    EXPECT_EQ(mac_data_create(kInst, kType), -1);
    EXPECT_EQ(take_log(), (Log{{1, who + "find mng exist."}}));
    host::faults().fail(Call::kZalloc);
    EXPECT_EQ(mac_data_create(kInst, kType + 1), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type -2147483645 malloc mng fail."}}));
    mac_entery_find_by_storage(kInst, kType, 0)->driver = nullptr;
    EXPECT_EQ(mac_driver_find_by_storage(kInst, kType, 0), nullptr);
    EXPECT_EQ(mac_driver_find_by_device(kInst, kType, 0x4d08), nullptr);
    EXPECT_EQ(take_log(), (Log{{1, who + "area 0 driver uninstall"},
                               {1, "mac inst 0x1f find dev -2147483646 driver uninstall"}}));
    u32 support = 7;
    mac_area_support(kInst, kType + 1, 0, &support);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type -2147483645 find mng no exist."}}));
}

TEST_F(MacArea, Support_OfAnAreaAboveOne_IsZeroInSilence) {
    create_both(2);
    for (const u32 index : {2u, 3u, 0xffffffffu}) {
        u32 support = 7;
        mac_area_support(kInst, 2, index, &support);
        EXPECT_EQ(support, 0u) << index;
    }
    EXPECT_EQ(take_log(3), Log{});
}

TEST_F(MacArea, TypeSupport_AsksForMainAndSpare) {
    create_both(2);
    add_entry(4, 0x4d08, "script_main");
    add_entry(5, 0x4d09, "script_spare");
    mac_driver_install(kInst);
    u32 support = 7;
    mac_type_support(kInst, 2, &support);
    EXPECT_EQ(support, 1u) << "of both it is one";
    for (const u32 type : {4u, 5u}) {
        ASSERT_EQ(mac_data_create(kInst, type), 0);
        mac_type_support(kInst, type, &support);
        EXPECT_EQ(support, 1u) << "of one it is one";
    }
    mac_type_support(kInst, 3, &support);
    EXPECT_EQ(support, 0u);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 3 find mng no exist."},
                               {1, "mac inst 0x1f type 3 find mng no exist."}}));
}

// --- the end of an area ---

TEST_F(MacArea, Delete_FreesTheBufferOfThatArea) {
    create_both(2);
    mac_inst_mng* const mng = mac_data_find_by_instid(kInst, 2);
    const auto blocks = host::heap_use().blocks;
    mac_area_delete(mng, 2);
    mac_area_delete(mng, 0xffffffff);
    EXPECT_EQ(host::heap_use().blocks, blocks);
    mac_area_delete(mng, 1);
    EXPECT_EQ(host::heap_use().blocks, blocks - 1);
    EXPECT_NE(mng->area[0].buf, nullptr);
    EXPECT_EQ(mng->area[1].buf, nullptr);
    mac_area_delete(mng, 1);
    EXPECT_EQ(host::heap_use().blocks, blocks - 1) << "cleared: freed once";
}

}  // namespace
