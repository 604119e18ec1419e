// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Mounting, address operations and the exported functions, over real drivers and
// media in memory.
#include "config/mac_config.h"
#include "core/mac_area.h"
#include "core/mac_data.h"
#include "mac_mng/mac_mng.h"
#include "platform/common/service_status.h"
#include "platform/host/driver_manager.h"
#include "platform/host/memory_service.h"
#include "service/mac_address.h"
#include "service/mac_func.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace {

using host::Call;
using test::Log;
using test::Mac;
using test::Record;
using test::text;

constexpr u32 kInst = 0xffffffff;
constexpr u32 kFault = 0xfffffff2;
constexpr u32 kFail = 0xffffffff;
constexpr u32 kNotSupported = 0x811601a4;
constexpr u32 kInvalid = 0x811601ab;
constexpr u32 kMismatch = 0x811601a7;
constexpr u32 kArgument = 0x811601a2;
constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};

// --- set-up and mounting ---

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
    use_board(test::board_with(
        test::tree_xml(test::entry_xml(0, 0, "drv_mac_flash", 45, 0x4c0, 16) +
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

// --- address operations ---

// Type 0 on flash and EEPROM, type 1 main only, type 2 spare only, type 3 a router
// record, type 4 Kolbe with a main copy alone.
class MacService : public test::ServiceTest {
protected:
    MacService() {
        use_board(test::board_with(
            test::tree_xml(test::entry_xml(0, 0, "drv_mac_flash", 45, 0x4c0, 16) +
                               test::entry_xml(1, 1, "drv_mac_eeprom", 264, 0x100, 16) +
                               test::entry_xml(2, 3, "drv_mac_router_in_crc", 264, 0x200, 8) +
                               test::entry_xml(3, 4, "drv_mac_kolbe_in_crc", 264, 0x400, 4),
                           test::entry_xml(0, 0, "drv_mac_eeprom", 265, 0x10, 16) +
                               test::entry_xml(1, 2, "drv_mac_eeprom", 265, 0x20, 16) +
                               test::entry_xml(2, 3, "drv_mac_router_in_crc", 265, 0x200, 8))));
        EXPECT_EQ(set_mac_init(kInst), 0u);
        take_log();
    }

    void put(const std::string& image, size_t at, const Record& record) {
        std::copy(record.begin(), record.end(),
                  board().memory(image).begin() + static_cast<long>(at));
    }
    std::string stored(const std::string& image, size_t at, size_t count = 16) {
        return test::hex(board().memory(image), at, count);
    }
    void store_type0(const Record& record) {
        put("flash", 0x4c0, record);
        put("eeprom-265", 0x10, record);
    }
};

TEST_F(MacService, GetAddr_BothCopiesGood_ReadsOnly) {
    store_type0(test::qolt(kBase, 16));
    Mac mac{};
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, mac.data(), 6), 0u);
    EXPECT_EQ(mac, kBase);
    u32 num = 0;
    EXPECT_EQ(drv_mac_get_num(kInst, 0, &num), 0u);
    EXPECT_EQ(num, 16u);
    EXPECT_EQ(take_log(), Log{});
    EXPECT_EQ(board().flash(45)->traffic().programs, 0u);
    EXPECT_EQ(board().flash(45)->traffic().reads, 2u) << "one for each operation";
    EXPECT_EQ(board().eeprom(265)->traffic().reads, 2u);
}

TEST_F(MacService, Read_RepairsEitherCopy) {
    const Record good = test::qolt(kBase, 16);
    Record bad = good;
    bad[9] ^= 1;
    Mac mac{};
    store_type0(good);
    put("flash", 0x4c0, bad);
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, mac.data(), 6), 0u);
    EXPECT_EQ(mac, kBase);
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(good));
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff type 0 area 0 format fail 0x811601a7."},
                               {2, "mac inst 0xffffffff type 0 copy[1->0] write OK."}}));
    put("eeprom-265", 0x10, bad);
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, mac.data(), 6), 0u);
    EXPECT_EQ(stored("eeprom-265", 0x10), test::hex(good));
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff type 0 area 1 format fail 0x811601a7."},
                               {2, "mac inst 0xffffffff type 0 copy[0->1] write OK."}}));
}

TEST_F(MacService, Read_BothCopiesBad_WritesNothing) {
    Record bad = test::qolt(kBase, 16);
    bad[9] ^= 1;
    store_type0(bad);
    Mac mac{};
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, mac.data(), 6), kMismatch);
    EXPECT_EQ(mac, Mac{});
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(bad));
    EXPECT_EQ(stored("eeprom-265", 0x10), test::hex(bad));
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0xffffffff type 0 area 0 format fail 0x811601a7."},
                   {1, "mac inst 0xffffffff type 0 area 1 format fail 0x811601a7."},
                   {1, "mac inst 0xffffffff type 0 data store fail -2129264217."},
                   {1, "mac inst 0xffffffff get type[0] addr failed 0x811601a7."}}));
}

TEST_F(MacService, MediumFails_AdaptersLineComesFirst) {
    store_type0(test::qolt(kBase, 16));
    host::faults().fail(Call::kFlashRead, 1, 0x82000003);
    u32 num = 0;
    EXPECT_EQ(drv_mac_get_num(kInst, 0, &num), 0u);
    const Log log = take_log();
    ASSERT_GE(log.size(), 2u);
    EXPECT_EQ(log[0].text,
              "mac inst 0xffffffff flash_r chip[0x2d-0x4c0] len[16] invalid ret[0x82000003].");
    EXPECT_EQ(log[1].text,
              "mac inst 0xffffffff type 0 area 0 read unsuccessfully 0x82000003.");
}

TEST_F(MacService, SetAddrNum_StoresBoth_WithoutARefresh) {
    EXPECT_EQ(drv_mac_set_addr_num(kInst, 0, 16, kBase.data()), 0u);
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(test::qolt(kBase, 16)));
    EXPECT_EQ(stored("eeprom-265", 0x10), test::hex(test::qolt(kBase, 16)));
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0xffffffff type 0 copy[0->1] write OK."},
                               {2, "mac inst 0xffffffff type 0 sync[0->1] store OK."}}))
        << "the erased copies were not looked at";
}

TEST_F(MacService, SetAddr_KeepsTheCount) {
    store_type0(test::qolt(kBase, 7));
    const Mac fresh = {0x02, 1, 2, 3, 4, 5};
    EXPECT_EQ(drv_mac_set_addr(kInst, 0, fresh.data()), 0u);
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(test::qolt(fresh, 7)));
    EXPECT_EQ(stored("eeprom-265", 0x10), test::hex(test::qolt(fresh, 7)));
}

TEST_F(MacService, SetNum_KeepsTheAddress) {
    store_type0(test::qolt(kBase, 7));
    EXPECT_EQ(drv_mac_set_num(kInst, 0, 65534), 0u);
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(test::qolt(kBase, 65534)));
    EXPECT_EQ(drv_mac_set_num(kInst, 0, 65535), kInvalid);
    EXPECT_EQ(take_log().back().text, "mac inst 0xffffffff type 0 mac num[0xffff] err.");
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(test::qolt(kBase, 65534)));
}

TEST_F(MacService, SetAddr_InvalidAddress_IsRefused) {
    store_type0(test::qolt(kBase, 7));
    const Mac zeros = {};
    EXPECT_EQ(drv_mac_set_addr(kInst, 0, zeros.data()), kInvalid);
    EXPECT_EQ(set_mac_addr(kInst, 0, kBase.data(), 5), kFail);
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(test::qolt(kBase, 7)));
}

TEST_F(MacService, SetAddr_AfterFailedRefresh_StoresTheResetCount) {
    // Both copies are erased: the refresh fails, resets the area, and the write
    // goes on with the count 0xffff that the reset left.
    EXPECT_EQ(drv_mac_set_addr(kInst, 0, kBase.data()), 0u);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0xffffffff type 0 area 0 format fail 0x811601ae."},
                   {1, "mac inst 0xffffffff type 0 area 1 format fail 0x811601ae."},
                   {1, "mac inst 0xffffffff type 0 data store fail -1."},
                   {1, "set mac addr: mac func data read unsuccessfully.ret=0xffffffff,"
                       "inst=0xffffffff,type=0."},
                   {2, "mac inst 0xffffffff type 0 copy[0->1] write OK."},
                   {2, "mac inst 0xffffffff type 0 sync[0->1] store OK."}}));
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(test::qolt(kBase, 0xffff)));
    u32 num = 0;
    EXPECT_EQ(drv_mac_get_num(kInst, 0, &num), kInvalid);
    EXPECT_EQ(num, 0xffffu) << "delivered and reported";
}

TEST_F(MacService, SetNum_AfterFailedRefresh_StoresAZeroAddress) {
    EXPECT_EQ(drv_mac_set_num(kInst, 0, 5), 0u);
    const Log log = take_log();
    EXPECT_EQ(log[3].text, "set mac num: mac func data read unsucessfully.ret=0xffffffff,"
                           "inst=0xffffffff,type=0.");
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(test::qolt({}, 5)));
    Mac mac = kBase;
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, mac.data(), 6), kInvalid);
    EXPECT_EQ(mac, Mac{}) << "in the buffer, but reported";
}

TEST_F(MacService, SetAddr_AfterFailedRefresh_RouterIsRefusedByItsLength) {
    EXPECT_EQ(drv_mac_set_addr(kInst, 3, kBase.data()), kArgument);
    EXPECT_EQ(take_log().back().text,
              "mac inst 0xffffffff type 3 area 0 format write fail.");
}

TEST_F(MacService, ResetKolbeArea_StaysRefused_UntilASetWithAFittingCount) {
    u32 num = 0;
    EXPECT_EQ(drv_mac_get_num(kInst, 4, &num), kFail) << "erased: wrong tag";
    put("eeprom-264", 0x400, test::kolbe(kBase, 4, true));
    take_log();
    EXPECT_EQ(drv_mac_get_num(kInst, 4, &num), kFail);
    EXPECT_EQ(take_log()[0].text,
              "mac inst 0xffffffff type 4 area 0 format fail 0x811601a2.")
        << "the reset count 0xffff does not fit the record";
    EXPECT_EQ(drv_mac_set_addr_num(kInst, 4, 4, kBase.data()), 0u);
    EXPECT_EQ(drv_mac_get_num(kInst, 4, &num), 0u);
    EXPECT_EQ(num, 4u);
}

TEST_F(MacService, KolbePair_DifferentBlocks_LookEqual) {
    // The constant check value cannot tell two Kolbe records apart.
    use_board(test::board_with(
        test::tree_xml(test::entry_xml(0, 0, "drv_mac_kolbe_in_crc", 264, 0, 2),
                       test::entry_xml(0, 0, "drv_mac_kolbe_in_crc", 265, 0, 2))));
    drv_mac_deinit(kInst);
    ASSERT_EQ(drv_mac_init(kInst), 0u);
    put("eeprom-264", 0, test::kolbe(kBase, 2, true));
    const Record other = test::kolbe({2, 2, 2, 2, 2, 2}, 2, true);
    put("eeprom-265", 0, other);
    Mac mac{};
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, mac.data(), 6), 0u);
    EXPECT_EQ(mac, kBase);
    EXPECT_EQ(stored("eeprom-265", 0, other.size()), test::hex(other));
}

TEST_F(MacService, DifferentFormats_AreRewrittenAtEveryAccess) {
    use_board(test::board_with(
        test::tree_xml(test::entry_xml(0, 0, "drv_mac_flash", 45, 0, 2),
                       test::entry_xml(0, 0, "drv_mac_router_in_crc", 265, 0, 2))));
    drv_mac_deinit(kInst);
    ASSERT_EQ(drv_mac_init(kInst), 0u);
    ASSERT_EQ(drv_mac_set_addr_num(kInst, 0, 2, kBase.data()), 0u);
    const host::Traffic written = board().eeprom(265)->traffic();
    take_log();
    for (int round = 0; round < 3; ++round) {
        u32 num = 0;
        EXPECT_EQ(drv_mac_get_num(kInst, 0, &num), 0u);
        EXPECT_EQ(take_log(), (Log{{2, "mac inst 0xffffffff type 0 copy[0->1] write OK."}}));
    }
    EXPECT_EQ(board().eeprom(265)->traffic().programs, written.programs)
        << "the platform spares the medium";
}

TEST_F(MacService, UnsupportedTypes_HaveTheirCodes) {
    for (const u32 type : {5u, 6u}) {
        Mac mac{};
        u32 num = 0;
        EXPECT_EQ(drv_mac_get_addr(kInst, type, mac.data(), 6), kNotSupported);
        EXPECT_EQ(drv_mac_get_num(kInst, type, &num), kNotSupported);
        EXPECT_EQ(drv_mac_get_addr_num(kInst, type, 0, mac.data(), 6), kNotSupported);
        EXPECT_EQ(drv_mac_set_addr(kInst, type, kBase.data()), kFault);
        EXPECT_EQ(drv_mac_set_num(kInst, type, 1), kFault);
        EXPECT_EQ(drv_mac_set_addr_num(kInst, type, 1, kBase.data()), kFail);
    }
}

TEST_F(MacService, OnlyASpare_FaultsNowhere) {
    put("eeprom-265", 0x20, test::qolt(kBase, 16));
    Mac mac{};
    u32 num = 7;
    EXPECT_EQ(drv_mac_get_addr(kInst, 2, mac.data(), 6), kFault);
    EXPECT_EQ(drv_mac_get_num(kInst, 2, &num), kFault);
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 2, 1, mac.data(), 6), kFault);
    EXPECT_EQ(drv_mac_set_addr(kInst, 2, kBase.data()), kFault);
    EXPECT_EQ(drv_mac_set_num(kInst, 2, 1), kFault);
    EXPECT_EQ(drv_mac_set_addr_num(kInst, 2, 1, kBase.data()), kFail);
    EXPECT_EQ(num, 7u);
    EXPECT_EQ(stored("eeprom-265", 0x20), test::hex(test::qolt(kBase, 16)));
}

TEST_F(MacService, GetInfo_ShortOrNullBuffer_HasSetTheCount) {
    store_type0(test::qolt(kBase, 9));
    u8 four[4] = {};
    u32 num = 0;
    EXPECT_EQ(get_mac_info(kInst, 0, four, 4, &num), kFault);
    EXPECT_EQ(num, 9u);
    EXPECT_EQ(take_log(), (Log{{1, "get mac addr memory copy fail err_no = 34"}}));
    num = 0;
    EXPECT_EQ(get_mac_info(kInst, 0, nullptr, 6, &num), kFault);
    EXPECT_EQ(num, 9u);
    EXPECT_EQ(take_log(), (Log{{1, "get mac addr memory copy fail err_no = 22"}}));
}

TEST_F(MacService, GetInfo_FailedRefresh_LeavesTheOutputs) {
    u8 buf[6] = {9};
    u32 num = 7;
    EXPECT_EQ(get_mac_info(kInst, 0, buf, 6, &num), kFail);
    EXPECT_EQ(num, 7u);
    EXPECT_EQ(buf[0], 9);
}

TEST_F(MacService, GetAddr_OnlySixBytesCanSucceed) {
    store_type0(test::qolt(kBase, 9));
    u8 seven[7] = {};
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, seven, 7), kFail);
    EXPECT_EQ(test::hex({seven, seven + 6}), "0011223344fe") << "copied all the same";
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, seven, 5), kFault);
    EXPECT_EQ(take_log().back().text, "mac inst 0xffffffff get type[0] addr failed 0xfffffff2.");
}

TEST_F(MacService, List_CarriesThroughTheBytes) {
    store_type0(test::qolt(kBase, 3));
    u8 out[20];
    std::fill_n(out, sizeof(out), u8{0x77});
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 3, out, sizeof(out)), 0u);
    EXPECT_EQ(test::hex({out, out + 20}), "0011223344fe0011223344ff0011223345007777");
}

TEST_F(MacService, List_WrapsAtTheEnd) {
    store_type0(test::qolt({0xff, 0xff, 0xff, 0xff, 0xff, 0xfe}, 3));
    u8 out[18];
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 3, out, sizeof(out)), 0u);
    EXPECT_EQ(test::hex({out, out + 18}), "fffffffffffeffffffffffff000000000000");
}

TEST_F(MacService, List_ZeroBase_IsNotChecked) {
    store_type0(test::qolt({}, 2));
    u8 out[12];
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 2, out, sizeof(out)), 0u);
    EXPECT_EQ(test::hex({out, out + 12}), "000000000000000000000001");
}

TEST_F(MacService, List_CountZero_TouchesNothing) {
    store_type0(test::qolt(kBase, 3));
    u8 byte = 0x5a;
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 0, &byte, 0), 0u);
    EXPECT_EQ(byte, 0x5a);
    EXPECT_EQ(get_mac_list(kInst, 0, 0, nullptr, 0), 0u);
}

TEST_F(MacService, List_Limits_AreLogged) {
    store_type0(test::qolt(kBase, 3));
    u8 out[24];
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 4, out, sizeof(out)), kFault);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff get type[0] info over num 4-3."},
                               {1, "mac inst 0xffffffff type 0 num 4, get failed 0xfffffff2."}}));
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 3, out, 17), kFault);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff get type[0] info size err 17-18."},
                               {1, "mac inst 0xffffffff type 0 num 3, get failed 0xfffffff2."}}));
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 3, out, 18), 0u);
}

TEST_F(MacService, List_TypeWithoutDataSet_LogsFourLines) {
    u8 out[6];
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 6, 1, out, 6), kNotSupported);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0xffffffff type 6 find mng no exist."},
                   {1, "mac inst 0xffffffff type 6 find mng no exist."},
                   {1, "mac inst 0xffffffff get type[6] info fail run -2129264220."},
                   {1, "mac inst 0xffffffff type 6 num 1, get failed 0x811601a4."}}));
}

TEST_F(MacService, NullArguments_AreRefusedInSilence) {
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, nullptr, 6), kArgument);
    EXPECT_EQ(drv_mac_get_num(kInst, 0, nullptr), kArgument);
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 1, nullptr, 6), kArgument);
    EXPECT_EQ(drv_mac_set_addr_num(kInst, 0, 1, nullptr), kArgument);
    EXPECT_EQ(drv_mac_patch_func1(nullptr, 1), kArgument);
    EXPECT_EQ(drv_mac_patch_func2(nullptr, 1), kArgument);
    u8 byte = 0x5a;
    EXPECT_EQ(drv_mac_patch_func1(&byte, 0), kArgument);
    EXPECT_EQ(drv_mac_patch_func2(&byte, 0), kArgument);
    EXPECT_EQ(drv_mac_patch_func1(&byte, 1), 0u);
    EXPECT_EQ(drv_mac_patch_func2(&byte, 1), 0u);
    EXPECT_EQ(byte, 0x5a);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacService, SetAddrNum_Refusals_AreLoggedOnceMore) {
    EXPECT_EQ(drv_mac_set_addr_num(kInst, 0, 65535, kBase.data()), kInvalid);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0xffffffff type 0 mac num[0xffff] err."},
                   {1, "mac inst 0xffffffff type 0 num 65535, set failed 0x811601ab."}}));
}

TEST_F(MacService, DefaultInstance_MountsByTheExportedName) {
    EXPECT_EQ(drv_mac_init(kInst), kFault) << "mounted already";
    EXPECT_EQ(drv_mac_deinit(kInst), 0u);
    EXPECT_EQ(drv_mac_init(kInst), 0u);
}

}  // namespace
