// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Arguments, limits and lists of the exported functions.
#include "config/mac_config.h"
#include "core/mac_data.h"
#include "mac_mng/mac_mng.h"
#include "service/mac_address.h"
#include "tests/support/address_fixture.h"

namespace {

using test::Log;
using test::Mac;

constexpr u32 kInst = 0xffffffff;
constexpr u32 kFault = 0xfffffff2;
constexpr u32 kFail = 0xffffffff;
constexpr u32 kNotSupported = 0x811601a4;
constexpr u32 kInvalid = 0x811601ab;
constexpr u32 kArgument = 0x811601a2;
constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};

using MacExport = test::AddressTest;

TEST_F(MacExport, GetInfo_ShortOrNullBuffer_HasSetTheCount) {
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

TEST_F(MacExport, GetInfo_FailedRefresh_LeavesTheOutputs) {
    u8 buf[6] = {9};
    u32 num = 7;
    EXPECT_EQ(get_mac_info(kInst, 0, buf, 6, &num), kFail);
    EXPECT_EQ(num, 7u);
    EXPECT_EQ(buf[0], 9);
}

TEST_F(MacExport, GetAddr_OnlySixBytesCanSucceed) {
    store_type0(test::qolt(kBase, 9));
    u8 seven[7] = {};
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, seven, 7), kFail);
    EXPECT_EQ(test::hex({seven, seven + 6}), "0011223344fe") << "copied all the same";
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, seven, 5), kFault);
    EXPECT_EQ(take_log().back().text, "mac inst 0xffffffff get type[0] addr failed 0xfffffff2.");
}

TEST_F(MacExport, List_CarriesThroughTheBytes) {
    store_type0(test::qolt(kBase, 3));
    u8 out[20];
    std::fill_n(out, sizeof(out), u8{0x77});
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 3, out, sizeof(out)), 0u);
    EXPECT_EQ(test::hex({out, out + 20}), "0011223344fe0011223344ff0011223345007777");
}

TEST_F(MacExport, List_WrapsAtTheEnd) {
    store_type0(test::qolt({0xff, 0xff, 0xff, 0xff, 0xff, 0xfe}, 3));
    u8 out[18];
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 3, out, sizeof(out)), 0u);
    EXPECT_EQ(test::hex({out, out + 18}), "fffffffffffeffffffffffff000000000000");
}

TEST_F(MacExport, List_ZeroBase_IsNotChecked) {
    store_type0(test::qolt({}, 2));
    u8 out[12];
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 2, out, sizeof(out)), 0u);
    EXPECT_EQ(test::hex({out, out + 12}), "000000000000000000000001");
}

TEST_F(MacExport, List_CountZero_TouchesNothing) {
    store_type0(test::qolt(kBase, 3));
    u8 byte = 0x5a;
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 0, &byte, 0), 0u);
    EXPECT_EQ(byte, 0x5a);
    EXPECT_EQ(get_mac_list(kInst, 0, 0, nullptr, 0), 0u);
}

TEST_F(MacExport, List_Limits_AreLogged) {
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

TEST_F(MacExport, List_TypeWithoutDataSet_LogsFourLines) {
    u8 out[6];
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 6, 1, out, 6), kNotSupported);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff type 6 find mng no exist."},
                               {1, "mac inst 0xffffffff type 6 find mng no exist."},
                               {1, "mac inst 0xffffffff get type[6] info fail run -2129264220."},
                               {1, "mac inst 0xffffffff type 6 num 1, get failed 0x811601a4."}}));
}

TEST_F(MacExport, NullArguments_AreRefusedInSilence) {
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

TEST_F(MacExport, SetAddrNum_Refusals_AreLoggedOnceMore) {
    EXPECT_EQ(drv_mac_set_addr_num(kInst, 0, 65535, kBase.data()), kInvalid);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0xffffffff type 0 mac num[0xffff] err."},
                   {1, "mac inst 0xffffffff type 0 num 65535, set failed 0x811601ab."}}));
}

TEST_F(MacExport, DefaultInstance_MountsByTheExportedName) {
    EXPECT_EQ(drv_mac_init(kInst), kFault) << "mounted already";
    EXPECT_EQ(drv_mac_deinit(kInst), 0u);
    EXPECT_EQ(drv_mac_init(kInst), 0u);
}

}  // namespace
