// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Data sets and the configuration of their areas, over scripted drivers.
#include <cstring>

#include "core/mac_area.h"
#include "core/mac_data_io.h"
#include "platform/env.h"
#include "platform/host/memory_service.h"
#include "platform/memory.h"
#include "storage/driver/mac_driver.h"
#include "tests/support/data_fixture.h"

namespace {

using host::Call;
using test::Log;
using test::main_script;
using test::text;

constexpr u32 kInst = test::kDataInstance;
constexpr u32 kNotSupported = 0x811601a4;

using MacData = test::DataTest;

TEST_F(MacData, Create_WithoutEntries_LeavesBothAreasUnsupported) {
    EXPECT_EQ(mac_data_create(kInst, 2), 0);
    u32 support = 7;
    mac_type_support(kInst, 2, &support);
    EXPECT_EQ(support, 0u);
    const mac_area empty{};
    EXPECT_EQ(memcmp(&area(2, 0), &empty, sizeof(empty)), 0);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacData, Create_Twice_FailsAndLeavesTheFirst) {
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    const mac_inst_mng* const first = mac_data_find_by_instid(kInst, 2);
    EXPECT_EQ(mac_data_create(kInst, 2), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 find mng exist."}}));
    EXPECT_EQ(mac_data_find_by_instid(kInst, 2), first);
}

TEST_F(MacData, Create_NoMemory_Fails) {
    host::faults().fail(Call::kZalloc);
    EXPECT_EQ(mac_data_create(kInst, 2), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 malloc mng fail."}}));
    EXPECT_EQ(mac_data_find_by_instid(kInst, 2), nullptr);
}

TEST_F(MacData, Create_ConfiguresAreasFromEntries) {
    create_both(2);
    const mac_area& main = area(2, 0);
    EXPECT_EQ(main.support, 1u);
    EXPECT_EQ(main.chip_id, 45u);
    EXPECT_EQ(main.channel, 0x4c0u);
    EXPECT_EQ(main.cfg_flag, 0x51u);
    EXPECT_EQ(main.flag, 1u);
    EXPECT_EQ(main.crc, 1u);
    EXPECT_EQ(main.mac_num, 16u);
    EXPECT_EQ(main.cfg_num, 16u);
    EXPECT_EQ(main.len, 16u);
    EXPECT_STREQ(main.name, "m");
    EXPECT_EQ(test::hex({main.mac, main.mac + 6}), "000000000000");
    EXPECT_EQ(test::hex({main.buf, main.buf + 16}), std::string(32, '0'));
    EXPECT_STREQ(area(2, 1).name, "s");
    EXPECT_EQ(take_log(), Log{});
    mac_data_dump(kInst, 2, 0, 0);
    EXPECT_EQ(take_log(3),
              (Log{{3, "mac inst 0x1f type 2 area 0 rw 0 data[0x1-0x1-0x10-00-00-00-00-00-00] ."}}))
        << "a dump before any read";
}

TEST_F(MacData, Create_UnboundDriver_GivesAOneByteRecord) {
    add_entry(2, 0x4d08, "no_such_driver");
    mac_driver_install(kInst);
    EXPECT_EQ(mac_data_create(kInst, 2), 0);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0x1f type 2 area 0 driver uninstall"},
                   {1,
                    "mac area config\xa3\xbamac get flag fail.ret 2165703076 inst 0x1f type 2 "
                    "area 0"},
                   {1, "mac inst 0x1f type 2 area 0 driver uninstall"}}));
    EXPECT_EQ(area(2, 0).support, 1u);
    EXPECT_EQ(area(2, 0).len, 1u);
    EXPECT_EQ(area(2, 0).cfg_flag, 0u);
}

TEST_F(MacData, UnboundArea_FailsAtTheDriver_ThenAtTheLengthCheck) {
    ASSERT_EQ(mac_drv_init(22, "mac_mng"), 0);
    add_entry(2, 0x4d08, "drv_mac_late");
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    take_log();
    EXPECT_EQ(mac_data_read(kInst, 2, 0), kNotSupported);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0x1f type 2 area 0 driver uninstall"},
                   {1, "mac inst 0x1f type 2 area 0 data_get not exist"},
                   {2, "mac inst 0x1f type 2 area 0 read unsuccessfully 0x811601a4."}}));
    mac_entery_find_by_storage(kInst, 2, 0)->driver =
        module_driver_func_find_by_name("drv_mac_flash");
    EXPECT_EQ(mac_data_read(kInst, 2, 0), 0x811601a2u);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 0 format fail 0x811601a2."}}));
}

TEST_F(MacData, UnboundEnvArea_BoundLater_ReadsWithinItsAllocation) {
    ASSERT_EQ(mac_drv_init(22, "mac_mng"), 0);
    add_entry(2, 0x4d08, "drv_mac_late", "m0");
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    ASSERT_EQ(drv_env_set("m0", "00:11:22:33:44:55"), 0u);
    ASSERT_EQ(drv_env_save(), 0u);
    mac_entery_find_by_storage(kInst, 2, 0)->driver =
        module_driver_func_find_by_name("drv_mac_env");
    EXPECT_EQ(mac_get_device(kInst, 2, 0), 0u) << "sixteen bytes into a record of one";
    EXPECT_EQ(area(2, 0).buf[13], 0x55);
}

TEST_F(MacData, EmptyKolbeRecord_ReadsTheSlack) {
    ASSERT_EQ(mac_drv_init(22, "mac_mng"), 0);
    mac_entry entry{};
    entry.inst_id = kInst;
    entry.id = 2;
    entry.storage_code = 0x4d08;
    entry.chip_id = 264;
    ASSERT_EQ(strncpy_s(entry.drv_name, 40, "drv_mac_kolbe_no_crc", 39), 0);
    ASSERT_EQ(mac_create_entry(&entry), 0);
    mac_driver_install(kInst);
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    EXPECT_EQ(area(2, 0).len, 48u);
    EXPECT_EQ(mac_data_read(kInst, 2, 0), 0u);
    EXPECT_EQ(test::hex({area(2, 0).mac, area(2, 0).mac + 6}), "000000000000");
}

TEST_F(MacData, Config_EmptySlots_AreReportedAndPassed) {
    main_script().ops.get_flag = nullptr;
    main_script().ops.get_size = nullptr;
    add_entry(2, 0x4d08, "script_main");
    mac_driver_install(kInst);
    EXPECT_EQ(mac_data_create(kInst, 2), 0);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0x1f type 2 area 0 get_flag uninstall"},
                   {1,
                    "mac area config\xa3\xbamac get flag fail.ret 2165703077 inst 0x1f type 2 "
                    "area 0"},
                   {1, "mac inst 0x1f type 2 area 0 get_size uninstall"},
                   {1,
                    "mac area config\xa3\xbamac get size fail.ret 2165703077 inst 0x1f type 2 "
                    "area 0"}}));
    EXPECT_EQ(area(2, 0).support, 1u);
    EXPECT_EQ(area(2, 0).len, 1u);
}

TEST_F(MacData, Config_NoMemory_LeavesTheAreaUnsupported) {
    create_both(1);
    add_entry(2, 0x4d08, "script_main");
    add_entry(2, 0x4d09, "script_spare");
    mac_driver_install(kInst);
    host::faults().fail(Call::kZalloc, 2);
    EXPECT_EQ(mac_data_create(kInst, 2), 0);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 0 malloc data fail."}}));
    EXPECT_EQ(area(2, 0).support, 0u);
    EXPECT_EQ(area(2, 1).support, 1u);
    // Entry and driver are there, the buffer is not: nothing is touched.
    EXPECT_EQ(mac_data_read(kInst, 2, 0), kNotSupported);
    EXPECT_EQ(mac_data_write(kInst, 2, 0), kNotSupported);
    EXPECT_TRUE(main_script().reads.empty());
    EXPECT_TRUE(main_script().builds.empty());
}

TEST_F(MacData, Config_RecordAboveFourMebibytes_CannotBeAllocated) {
    main_script().size = 0x400000;
    add_entry(2, 0x4d08, "script_main");
    mac_driver_install(kInst);
    EXPECT_EQ(mac_data_create(kInst, 2), 0);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 0 malloc data fail."}}));
}

TEST_F(MacData, Config_NullDataSet_Fails) {
    EXPECT_EQ(mac_area_config(nullptr, kInst, 2, 0), 0xffffffffu);
    mac_inst_mng mng{};
    EXPECT_EQ(mac_area_init(&mng, kInst, 2, 0), kNotSupported) << "no entry";
}

TEST_F(MacData, StorageNameOf32To39Characters_IsLoggedAndLeftEmpty) {
    for (const size_t length : {31u, 32u, 39u}) {
        const u32 type = static_cast<u32>(length);
        add_entry(type, 0x4d08, "script_main", std::string(length, 's').c_str());
        mac_driver_install(kInst);
        EXPECT_EQ(mac_data_create(kInst, type), 0);
        EXPECT_EQ(area(type, 0).support, 1u) << "configuration goes on";
        if (length == 31) {
            EXPECT_EQ(take_log(), Log{});
            EXPECT_EQ(area(type, 0).name, std::string(31, 's'));
        } else {
            EXPECT_EQ(take_log(),
                      (Log{{1, text("mac inst 0x1f type %u area 0 str_name err_no = 34", type)}}));
            EXPECT_STREQ(area(type, 0).name, "");
        }
    }
}

TEST_F(MacData, AreaName_EdgeCases) {
    char name[8] = "before";
    EXPECT_EQ(mac_area_name(kInst, 2, 0, nullptr, 8), 0xffffffffu);
    EXPECT_EQ(mac_area_name(kInst, 2, 0, name, 0), 0xffffffffu);
    EXPECT_EQ(mac_area_name(kInst, 2, 0, name, 8), 0u);
    EXPECT_STREQ(name, "before") << "no entry";
    add_entry(2, 0x4d08, "d", "longer_than_it");
    EXPECT_EQ(mac_area_name(kInst, 2, 0, name, 8), 0u);
    EXPECT_STREQ(name, "before") << "does not fit";
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 0 str_name err_no = 34"}}));
}

TEST_F(MacData, AreaAttr_CopiesTheEntry) {
    u32 chip = 1;
    u32 channel = 2;
    u32 num = 3;
    EXPECT_EQ(mac_area_attr(kInst, 2, 0, &chip, &channel, &num), kNotSupported);
    EXPECT_EQ(chip, 1u);
    add_entry(2, 0x4d08, "d");
    EXPECT_EQ(mac_area_attr(kInst, 2, 0, &chip, &channel, &num), 0u);
    EXPECT_EQ(chip, 45u);
    EXPECT_EQ(channel, 0x4c0u);
    EXPECT_EQ(num, 16u);
}

TEST_F(MacData, FindByStorage_MapsAreasToCodes) {
    add_entry(2, 0x4d08, "a");
    add_entry(2, 0x4d09, "b");
    EXPECT_STREQ(mac_entery_find_by_storage(kInst, 2, 0)->drv_name, "a");
    EXPECT_STREQ(mac_entery_find_by_storage(kInst, 2, 1)->drv_name, "b");
    host::faults().clear();
    EXPECT_EQ(mac_entery_find_by_storage(kInst, 2, 2), nullptr);
    EXPECT_EQ(host::faults().uses(Call::kSpinLock), 0u) << "the registry is not asked";
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacData, DriverLookups_SayWhenNoDriverIsBound) {
    EXPECT_EQ(mac_driver_find_by_storage(kInst, 2, 0), nullptr);
    EXPECT_EQ(mac_driver_find_by_device(kInst, 2, 0x4d08), nullptr);
    EXPECT_EQ(take_log(), Log{}) << "no entry is silent";
    add_entry(2, 0x4d08, "script_main");
    EXPECT_EQ(mac_driver_find_by_storage(kInst, 2, 0), nullptr);
    EXPECT_EQ(mac_driver_find_by_device(kInst, 2, 0x4d08), nullptr);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 0 driver uninstall"},
                               {1, "mac inst 0x1f find dev 2 driver uninstall"}}));
    mac_driver_install(kInst);
    EXPECT_EQ(mac_driver_find_by_storage(kInst, 2, 0), &main_script().ops);
    EXPECT_EQ(mac_driver_find_by_device(kInst, 2, 0x4d08), &main_script().ops);
}

TEST_F(MacData, GetFlagAndSize_WithoutDriver) {
    u64 flag = 7;
    u32 size = 7;
    EXPECT_EQ(mac_get_flag(kInst, 2, 0, &flag), kNotSupported);
    EXPECT_EQ(flag, 7u);
    EXPECT_EQ(mac_get_size(kInst, 2, 0, 5, &size), 0u);
    EXPECT_EQ(size, 1u);
}

TEST_F(MacData, Support_OfUnknownAreasAndDataSets) {
    create_both(2);
    u32 support = 7;
    mac_area_support(kInst, 2, 2, &support);
    EXPECT_EQ(support, 0u);
    EXPECT_EQ(take_log(), Log{});
    mac_area_support(kInst, 3, 0, &support);
    EXPECT_EQ(support, 0u);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 3 find mng no exist."}}));
    mac_area_support(kInst, 2, 1, &support);
    EXPECT_EQ(support, 1u);
}

TEST_F(MacData, TypeSupport_IsEitherArea) {
    add_entry(1, 0x4d08, "script_main");
    add_entry(2, 0x4d09, "script_spare");
    mac_driver_install(kInst);
    for (const u32 type : {1u, 2u}) {
        ASSERT_EQ(mac_data_create(kInst, type), 0);
        u32 support = 0;
        mac_type_support(kInst, type, &support);
        EXPECT_EQ(support, 1u);
    }
}

TEST_F(MacData, Remove_LeavesTheRecordBuffers) {
    const auto before = host::heap_use().blocks;
    create_both(2);
    mac_data_remove(nullptr);
    EXPECT_EQ(host::heap_use().blocks, before + 5) << "two entries, data set, two buffers";
    mac_data_remove(mac_data_find_by_instid(kInst, 2));
    EXPECT_EQ(mac_data_find_by_instid(kInst, 2), nullptr);
    EXPECT_EQ(host::heap_use().blocks, before + 4);
}

TEST_F(MacData, Delete_FreesDataSetsAndBuffers) {
    const auto before = host::heap_use().blocks;
    create_both(2);
    create_both(3);
    mac_data_delete();
    EXPECT_TRUE(g_mac_func.list.empty());
    EXPECT_EQ(host::heap_use().blocks, before + 4) << "the four entries";
}

TEST_F(MacData, AreaDelete_IgnoresWhatIsNotThere) {
    create_both(2);
    mac_inst_mng* const mng = mac_data_find_by_instid(kInst, 2);
    mac_area_delete(nullptr, 0);
    mac_area_delete(mng, 2);
    EXPECT_NE(mng->area[0].buf, nullptr);
    mac_area_delete(mng, 0);
    EXPECT_EQ(mng->area[0].buf, nullptr);
    EXPECT_NE(mng->area[1].buf, nullptr);
    mac_data_insert(nullptr);
}

TEST_F(MacData, AreaDelete_OfAThirdArea_LeavesWhatLiesBehindTheSecond) {
    mac_inst_mng records[2] = {};
    u8* const third = reinterpret_cast<u8*>(records) + offsetof(mac_inst_mng, area) +
                      2 * sizeof(mac_area) + offsetof(mac_area, buf);
    void* const block = platform_zalloc(16);
    std::memcpy(third, &block, sizeof(block));
    const auto blocks = host::heap_use().blocks;
    mac_area_delete(records, 2);
    EXPECT_EQ(host::heap_use().blocks, blocks);
    EXPECT_EQ(std::memcmp(third, &block, sizeof(block)), 0);
}

TEST_F(MacData, LockAndUnlock_WithoutDataSet_DoNothing) {
    mac_data_lock(kInst, 9);
    mac_data_unlock(kInst, 9);
    create_both(2);
    mac_data_lock(kInst, 2);
    mac_data_unlock(kInst, 2);
}

}  // namespace
