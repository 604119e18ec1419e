// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "storage/driver/mac_driver.h"

#include "platform/host/driver_manager.h"
#include "platform/host/memory_service.h"
#include "storage/formats/mac_kolbe.h"
#include "storage/formats/mac_qolt.h"
#include "storage/formats/mac_router.h"
#include "storage/media/mac_media.h"
#include "tests/support/fixture.h"
#include "tests/support/journal.h"

namespace {

using host::Call;
using test::Log;
using MacDriverTest = test::PlatformTest;

struct Expected {
    u32 medium;
    const char* name;
    MacDriverOps ops;
};

const Expected kExpected[] = {
    {0,
     "drv_mac_flash",
     {{},
      mac_qolt_get_flag,
      mac_qolt_get_size,
      mac_qolt_set_format,
      mac_qolt_get_format,
      mac_flash_write,
      mac_flash_read}},
    {1,
     "drv_mac_eeprom",
     {{},
      mac_qolt_get_flag,
      mac_qolt_get_size,
      mac_qolt_set_format,
      mac_qolt_get_format,
      mac_eeprom_write,
      mac_eeprom_read}},
    {3,
     "drv_mac_env",
     {{},
      mac_qolt_get_flag,
      mac_qolt_get_size,
      mac_qolt_set_format,
      mac_qolt_get_format,
      mac_env_write,
      mac_env_read}},
    {4,
     "drv_mac_kolbe_no_crc",
     {{},
      mac_kolbe_nocrc_get_flag,
      mac_kolbe_nocrc_get_size,
      mac_kolbe_nocrc_set_format,
      mac_kolbe_nocrc_get_format,
      mac_eeprom_write,
      mac_eeprom_read}},
    {5,
     "drv_mac_router_no_crc",
     {{},
      mac_router_nocrc_get_flag,
      mac_router_nocrc_get_size,
      mac_router_nocrc_set_format,
      mac_router_nocrc_get_format,
      mac_eeprom_write,
      mac_eeprom_read}},
    {6,
     "drv_mac_kolbe_in_crc",
     {{},
      mac_kolbe_incrc_get_flag,
      mac_kolbe_incrc_get_size,
      mac_kolbe_incrc_set_format,
      mac_kolbe_incrc_get_format,
      mac_eeprom_write,
      mac_eeprom_read}},
    {7,
     "drv_mac_router_in_crc",
     {{},
      mac_router_incrc_get_flag,
      mac_router_incrc_get_size,
      mac_router_incrc_set_format,
      mac_router_incrc_get_format,
      mac_eeprom_write,
      mac_eeprom_read}},
};

TEST_F(MacDriverTest, Init_RegistersTheSevenInOrder) {
    EXPECT_EQ(mac_drv_init(22, "mac_mng"), 0);
    Log expected = {{2, "mac enter initialize drv."}};
    for (const Expected& row : kExpected) {
        expected.push_back(
            {2, test::text("mac create medium[%u-%s] driver ret 0", row.medium, row.name)});
    }
    EXPECT_EQ(take_log(), expected);
    EXPECT_EQ(host::driver_count(), 7u);
    EXPECT_EQ(g_mac_drv.module_id, 22u);
    EXPECT_STREQ(g_mac_drv.name, "mac_mng");
    EXPECT_TRUE(g_mac_drv.list.empty()) << "the drivers are the manager's";
    mac_drv_exit();
    EXPECT_EQ(host::driver_count(), 0u);
    EXPECT_EQ(host::heap_use().blocks, 0u);
}

TEST_F(MacDriverTest, Drivers_PairFormatAndMedium) {
    ASSERT_EQ(mac_drv_init(22, "mac_mng"), 0);
    for (const Expected& row : kExpected) {
        const MacDriver* const driver = mac_driver_find_by_medium(static_cast<int>(row.medium));
        ASSERT_NE(driver, nullptr) << row.name;
        EXPECT_STREQ(driver->name, row.name);
        EXPECT_EQ(driver->ops->reserved[0], nullptr);
        EXPECT_EQ(driver->ops->reserved[1], nullptr);
        EXPECT_EQ(driver->ops->get_flag, row.ops.get_flag) << row.name;
        EXPECT_EQ(driver->ops->get_size, row.ops.get_size) << row.name;
        EXPECT_EQ(driver->ops->set_format, row.ops.set_format) << row.name;
        EXPECT_EQ(driver->ops->get_format, row.ops.get_format) << row.name;
        EXPECT_EQ(driver->ops->write, row.ops.write) << row.name;
        EXPECT_EQ(driver->ops->read, row.ops.read) << row.name;
        EXPECT_EQ(module_driver_func_find_by_name(row.name), driver->ops);
    }
}

TEST_F(MacDriverTest, OpsRecord_HasTheSlotsInOrder) {
    EXPECT_EQ(offsetof(MacDriverOps, get_flag), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(MacDriverOps, get_size), 3 * sizeof(void*));
    EXPECT_EQ(offsetof(MacDriverOps, set_format), 4 * sizeof(void*));
    EXPECT_EQ(offsetof(MacDriverOps, get_format), 5 * sizeof(void*));
    EXPECT_EQ(offsetof(MacDriverOps, write), 6 * sizeof(void*));
    EXPECT_EQ(offsetof(MacDriverOps, read), 7 * sizeof(void*));
}

TEST_F(MacDriverTest, Init_ClearRefused_Fails) {
    host::faults().fail(Call::kMemset, 1, 34);
    EXPECT_EQ(mac_drv_init(22, "mac_mng"), -14);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize drv."},
                               {1, "mac drv init memory set fail err_no = 34"}}));
}

TEST_F(MacDriverTest, Init_NameTooLong_Fails) {
    EXPECT_EQ(mac_drv_init(22, std::string(40, 'n').c_str()), -14);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize drv."},
                               {1, "mac drv init string copy fail err_no = 34"}}));
    EXPECT_EQ(host::driver_count(), 0u);
    EXPECT_EQ(mac_drv_init(22, std::string(39, 'n').c_str()), 0) << "39 and their end fit";
    EXPECT_EQ(std::string(g_mac_drv.name), std::string(39, 'n'));
}

TEST_F(MacDriverTest, Init_EveryCreateFails_StillSucceeds) {
    host::faults().fail(Call::kZalloc, 1, 0, 7);
    EXPECT_EQ(mac_drv_init(22, "mac_mng"), 0);
    Log expected = {{2, "mac enter initialize drv."}};
    for (const Expected& row : kExpected) {
        expected.push_back({1, test::text("mac inst malloc medium %u driver fail.", row.medium)});
    }
    expected.push_back({1,
                        "mac drv init mac\xa3\xba"
                        "driver create fail ret = 4294967295"});
    EXPECT_EQ(take_log(), expected);
}

TEST_F(MacDriverTest, Init_OneCreateFails_WhicheverItIs_IsSaid) {
    for (const Expected& row : kExpected) {
        host::driver_drop_all();
        ASSERT_EQ(mac_driver_create(row.medium), 0);
        take_log();
        EXPECT_EQ(mac_drv_init(22, "mac_mng"), 0);
        EXPECT_EQ(take_log(1),
                  (Log{{1, test::text("mac inst search medium %u driver exist.", row.medium)},
                       {1,
                        "mac drv init mac\xa3\xba"
                        "driver create fail ret = 4294967295"}}));
        EXPECT_EQ(host::driver_count(), 7u);
        mac_drv_exit();
    }
}

TEST_F(MacDriverTest, Create_Twice_IsRefused) {
    ASSERT_EQ(mac_driver_create(0), 0);
    take_log();
    EXPECT_EQ(mac_driver_create(0), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst search medium 0 driver exist."}}));
    EXPECT_EQ(host::driver_count(), 1u);
}

TEST_F(MacDriverTest, Create_NoOpsMemory_StillRegisters) {
    host::faults().fail(Call::kZalloc, 2);
    EXPECT_EQ(mac_driver_create(3), 0);
    EXPECT_EQ(take_log(), (Log{{1, "mac malloc medium 3 func fail."},
                               {1, "mac bind medium 3 driver ret -1"},
                               {2, "mac create medium[3-(null)] driver ret 0"}}));
    EXPECT_EQ(host::driver_count(), 1u);
    EXPECT_EQ(mac_driver_find_by_medium(3), nullptr) << "it has no name";
}

TEST_F(MacDriverTest, Create_RegistrationFails_StillSucceeds) {
    host::faults().fail(Call::kDriverRegister, 1, 5);
    EXPECT_EQ(mac_driver_create(1), 0);
    EXPECT_EQ(take_log(), (Log{{2, "mac create medium[1-drv_mac_eeprom] driver ret 5"}}));
    EXPECT_EQ(host::heap_use().blocks, 2u) << "neither object nor operations are freed";
}

TEST_F(MacDriverTest, Numbers_ReadSigned) {
    host::faults().fail(Call::kMemset, 1, static_cast<u32>(-34));
    EXPECT_EQ(mac_drv_init(22, "mac_mng"), -14);
    EXPECT_EQ(take_log(1), (Log{{1, "mac drv init memory set fail err_no = -34"}}));
    host::faults().fail(Call::kStrncpy, 1, static_cast<u32>(-35));
    EXPECT_EQ(mac_drv_init(22, "mac_mng"), -14);
    EXPECT_EQ(take_log(1), (Log{{1, "mac drv init string copy fail err_no = -35"}}));
    host::faults().fail(Call::kZalloc);
    EXPECT_EQ(mac_driver_create(0x80000000), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst malloc medium -2147483648 driver fail."}}));
    host::faults().fail(Call::kZalloc, 2);
    host::faults().fail(Call::kDriverRegister, 1, static_cast<u32>(-5));
    EXPECT_EQ(mac_driver_create(0x80000000), 0);
    EXPECT_EQ(take_log(), (Log{{1, "mac malloc medium -2147483648 func fail."},
                               {1, "mac bind medium -2147483648 driver ret -1"},
                               {2, "mac create medium[-2147483648-(null)] driver ret -5"}}));
}

TEST_F(MacDriverTest, Media_AreComparedInFull) {
    ASSERT_EQ(mac_driver_create(0), 0);
    EXPECT_EQ(mac_driver_find_by_medium(0x10000), nullptr);
}

TEST_F(MacDriverTest, MediumTwo_IsUnknown) {
    host::faults().clear();
    for (const int medium : {2, 8, -1}) EXPECT_EQ(mac_driver_find_by_medium(medium), nullptr);
    EXPECT_EQ(host::faults().uses(Call::kDriverFind), 0u) << "the manager is not asked";
    EXPECT_EQ(mac_driver_create(2), 0);
    EXPECT_EQ(take_log(), (Log{{2, "mac create medium[2-(null)] driver ret 0"}}));
    EXPECT_EQ(host::driver_count(), 1u);
    EXPECT_EQ(host::heap_use().blocks, 1u) << "the object alone";
    mac_driver_delete(2);
    EXPECT_EQ(host::driver_count(), 1u);
}

TEST_F(MacDriverTest, Bind_NullDriver_Fails) {
    EXPECT_EQ(mac_driver_bind(nullptr, 0), -1);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacDriverTest, Unbind_FreesTheOperations) {
    mac_driver_unbind(nullptr);
    MacDriver driver{};
    ASSERT_EQ(mac_driver_bind(&driver, 6), 0);
    EXPECT_EQ(host::heap_use().blocks, 1u);
    mac_driver_unbind(&driver);
    EXPECT_EQ(driver.ops, nullptr);
    EXPECT_EQ(host::heap_use().blocks, 0u);
}

TEST_F(MacDriverTest, Delete_UnregistersThenUnbindsThenFrees) {
    ASSERT_EQ(mac_driver_create(3), 0);
    const MacDriver* const driver = mac_driver_find_by_medium(3);
    ASSERT_EQ(host::heap_use().blocks, 2u) << "the object and its operations";
    test::Journal journal({"module_driver_"});
    size_t blocks = 0;
    const MacDriverOps* ops = nullptr;
    journal.at("module_driver_unregister", [&] {
        blocks = host::heap_use().blocks;
        ops = driver->ops;
    });
    mac_driver_delete(3);
    EXPECT_EQ(journal.take(), (test::Journal::Calls{"module_driver_unregister drv_mac_env"}));
    EXPECT_EQ(blocks, 2u) << "still bound and there";
    EXPECT_NE(ops, nullptr) << "nobody finds a driver without operations";
    EXPECT_EQ(host::heap_use().blocks, 0u) << "operations and object are freed";
}

TEST_F(MacDriverTest, Exit_DeletesInTheOrderOfCreation) {
    test::Journal journal({"module_driver_"});
    ASSERT_EQ(mac_drv_init(22, "mac_mng"), 0);
    test::Journal::Calls expected;
    for (const Expected& row : kExpected) {
        expected.push_back(std::string("module_driver_register ") + row.name);
    }
    EXPECT_EQ(journal.take(), expected);
    mac_drv_exit();
    for (std::string& call : expected) call.replace(0, 22, "module_driver_unregister");
    EXPECT_EQ(journal.take(), expected);
}

TEST_F(MacDriverTest, Create_BindsBeforeItRegisters) {
    bool bound = false;
    host::faults().at_use(Call::kDriverRegister, 1,
                          [&bound] { bound = host::heap_use().blocks == 2; });
    ASSERT_EQ(mac_driver_create(0), 0);
    EXPECT_TRUE(bound);
}

TEST_F(MacDriverTest, Delete_NeverCreated_DoesNothing) {
    mac_driver_delete(0);
    EXPECT_EQ(take_log(), Log{});
}

class MacDriverList : public test::PlatformTest {
protected:
    MacDriverList() {
        EXPECT_EQ(mac_drv_init(22, "mac_mng"), 0);
        take_log();
    }
};

TEST_F(MacDriverList, InsertFindRemove) {
    MacDriver first{{}, "one", nullptr};
    MacDriver longer{{}, "one_more", nullptr};
    MacDriver twin{{}, "one_more", nullptr};
    mac_driver_insert(nullptr);
    mac_driver_insert(&longer);
    mac_driver_insert(&first);
    mac_driver_insert(&twin);
    EXPECT_EQ(mac_driver_find_by_name("one"), &first) << "a longer name does not match";
    EXPECT_EQ(mac_driver_find_by_name("one_more"), &longer) << "the first in list order";
    EXPECT_EQ(mac_driver_find_by_name("on"), nullptr);
    mac_driver_remove(nullptr);
    mac_driver_remove(&longer);
    EXPECT_EQ(mac_driver_find_by_name("one_more"), &twin);
    EXPECT_EQ(longer.list.next, reinterpret_cast<mac_link*>(0xdead000000000100));
    EXPECT_EQ(longer.list.prev, reinterpret_cast<mac_link*>(0xdead000000000200));
}

TEST_F(MacDriverList, LinksThatDisagree_AreNotFollowed) {
    MacDriver driver{{}, "one", nullptr};
    mac_driver_remove(&driver);
    EXPECT_EQ(driver.list.next, reinterpret_cast<mac_link*>(0xdead000000000100))
        << "poisoned although it was never linked";
    mac_driver_remove(&driver);
    mac_driver_insert(&driver);
    mac_driver_insert(&driver);
    EXPECT_EQ(mac_driver_find_by_name("one"), &driver);
    EXPECT_EQ(mac_driver_find_by_name("two"), nullptr) << "the list has no loop";
}

}  // namespace
