// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Reads, repairs and changes of a block through the exported functions.
#include "service/mac_address.h"

#include "config/mac_config.h"
#include "core/mac_data.h"
#include "mac_mng/mac_mng.h"
#include "platform/common/service_status.h"
#include "tests/support/address_fixture.h"

namespace {

using host::Call;
using test::Log;
using test::Mac;
using test::Record;

constexpr u32 kInst = 0xffffffff;
constexpr u32 kFault = 0xfffffff2;
constexpr u32 kFail = 0xffffffff;
constexpr u32 kNotSupported = 0x811601a4;
constexpr u32 kInvalid = 0x811601ab;
constexpr u32 kMismatch = 0x811601a7;
constexpr u32 kArgument = 0x811601a2;
constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};

using MacService = test::AddressTest;

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
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff type 0 area 0 format fail 0x811601a7."},
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
    EXPECT_EQ(log[1].text, "mac inst 0xffffffff type 0 area 0 read unsuccessfully 0x82000003.");
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
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff type 0 area 0 format fail 0x811601ae."},
                               {1, "mac inst 0xffffffff type 0 area 1 format fail 0x811601ae."},
                               {1, "mac inst 0xffffffff type 0 data store fail -1."},
                               {1,
                                "set mac addr: mac func data read unsuccessfully.ret=0xffffffff,"
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
    EXPECT_EQ(log[3].text,
              "set mac num: mac func data read unsucessfully.ret=0xffffffff,"
              "inst=0xffffffff,type=0.");
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(test::qolt({}, 5)));
    Mac mac = kBase;
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, mac.data(), 6), kInvalid);
    EXPECT_EQ(mac, Mac{}) << "in the buffer, but reported";
}

TEST_F(MacService, SetAddr_AfterFailedRefresh_RouterIsRefusedByItsLength) {
    EXPECT_EQ(drv_mac_set_addr(kInst, 3, kBase.data()), kArgument);
    EXPECT_EQ(take_log().back().text, "mac inst 0xffffffff type 3 area 0 format write fail.");
}

TEST_F(MacService, ResetKolbeArea_StaysRefused_UntilASetWithAFittingCount) {
    u32 num = 0;
    EXPECT_EQ(drv_mac_get_num(kInst, 4, &num), kFail) << "erased: wrong tag";
    put("eeprom-264", 0x400, test::kolbe(kBase, 4, true));
    take_log();
    EXPECT_EQ(drv_mac_get_num(kInst, 4, &num), kFail);
    EXPECT_EQ(take_log()[0].text, "mac inst 0xffffffff type 4 area 0 format fail 0x811601a2.")
        << "the reset count 0xffff does not fit the record";
    EXPECT_EQ(drv_mac_set_addr_num(kInst, 4, 4, kBase.data()), 0u);
    EXPECT_EQ(drv_mac_get_num(kInst, 4, &num), 0u);
    EXPECT_EQ(num, 4u);
}

TEST_F(MacService, AbsurdConfiguredCount_IsRefusedByTheLengthCheck) {
    // 6 * 0x2aaaaaab + 16 has the low 32 bits 18: a record of 18 bytes is made, and
    // never walked.
    use_board(test::board_with(
        test::tree_xml(test::entry_xml(0, 0, "drv_mac_router_in_crc", 264, 0, 0x2aaaaaab), "")));
    drv_mac_deinit(kInst);
    ASSERT_EQ(drv_mac_init(kInst), 0u);
    EXPECT_EQ(mac_data_find_by_instid(kInst, 0)->area[0].len, 18u);
    u32 num = 0;
    EXPECT_EQ(drv_mac_get_num(kInst, 0, &num), kFail);
    EXPECT_EQ(drv_mac_set_addr_num(kInst, 0, 65534, kBase.data()), kArgument);
    EXPECT_EQ(drv_mac_set_num(kInst, 0, 1), kArgument);
}

TEST_F(MacService, KolbePair_DifferentBlocks_LookEqual) {
    // The constant check value cannot tell two Kolbe records apart.
    use_board(
        test::board_with(test::tree_xml(test::entry_xml(0, 0, "drv_mac_kolbe_in_crc", 264, 0, 2),
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

}  // namespace
