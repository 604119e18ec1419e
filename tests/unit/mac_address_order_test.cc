// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Address operations: which of their checks comes first, every line they log at its
// level, and values at the ends of their ranges.
#include "core/mac_data.h"
#include "mac_mng/mac_mng.h"
#include "service/mac_address.h"
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
constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};
constexpr Mac kZeros = {};
constexpr Mac kOnes = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};

constexpr char kSetAddrRefresh[] =
    "set mac addr: mac func data read unsuccessfully.ret=0x%x,inst=0xffffffff,type=%d.";
constexpr char kSetNumRefresh[] =
    "set mac num: mac func data read unsucessfully.ret=0x%x,inst=0xffffffff,type=%d.";

class MacAddressOrder : public test::AddressTest {
protected:
    // Type 0 with a good main copy and a damaged spare, and whether that is mended.
    void damage_spare() {
        store_type0(good);
        Record bad = good;
        bad[9] ^= 1;
        put("eeprom-265", 0x10, bad);
    }
    bool mended() { return stored("eeprom-265", 0x10) == test::hex(good); }

    const Record good = test::qolt(kBase, 16);
    const Log mending = {{1, "mac inst 0xffffffff type 0 area 1 format fail 0x811601a7."},
                         {2, "mac inst 0xffffffff type 0 copy[0->1] write OK."}};
    Log mending_and(const std::string& error) {
        Log log = mending;
        log.push_back({1, error});
        return log;
    }
};

// --- refresh, main area, validity ---

TEST_F(MacAddressOrder, RefusedAddress_HasStillMendedTheSpare) {
    damage_spare();
    EXPECT_EQ(drv_mac_set_addr(kInst, 0, kZeros.data()), kInvalid);
    EXPECT_TRUE(mended());
    EXPECT_EQ(take_log(), mending_and("mac inst 0xffffffff type 0 mac all_bit01[0-0x0] err."));
    damage_spare();
    EXPECT_EQ(drv_mac_set_addr(kInst, 0, kOnes.data()), kInvalid);
    EXPECT_TRUE(mended());
    EXPECT_EQ(take_log(), mending_and("mac inst 0xffffffff type 0 mac all_bit01[255-0xff] err."));
    damage_spare();
    EXPECT_EQ(set_mac_addr(kInst, 0, kBase.data(), 5), kFail);
    EXPECT_TRUE(mended());
    EXPECT_EQ(take_log(), mending) << "a wrong length is refused in silence";
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(good));
}

TEST_F(MacAddressOrder, RefusedCount_HasStillMendedTheSpare) {
    damage_spare();
    EXPECT_EQ(drv_mac_set_num(kInst, 0, 0xffff), kInvalid);
    EXPECT_TRUE(mended());
    EXPECT_EQ(take_log(), mending_and("mac inst 0xffffffff type 0 mac num[0xffff] err."));
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(good));
}

TEST_F(MacAddressOrder, SetAddrNum_Refused_ReadsAndMendsNothing) {
    damage_spare();
    EXPECT_EQ(drv_mac_set_addr_num(kInst, 0, 3, kZeros.data()), kInvalid);
    EXPECT_EQ(drv_mac_set_addr_num(kInst, 0, 0xffff, kBase.data()), kInvalid);
    EXPECT_FALSE(mended());
    EXPECT_EQ(board().flash(45)->traffic(), host::Traffic{});
}

TEST_F(MacAddressOrder, InvalidValue_WithoutMainArea_IsThatThereIsNoArea) {
    // Type 5 has no storage, type 2 a good spare alone, type 6 no data set.
    put("eeprom-265", 0x20, good);
    for (const u32 type : {5u, 2u, 6u}) {
        for (const u8* const addr : {kZeros.data(), kOnes.data(), kBase.data()}) {
            EXPECT_EQ(drv_mac_set_addr(kInst, type, addr), kFault) << type;
        }
        EXPECT_EQ(set_mac_addr(kInst, type, kBase.data(), 5), kFault) << type;
        EXPECT_EQ(drv_mac_set_num(kInst, type, 0xffff), kFault) << type;
        EXPECT_EQ(drv_mac_set_num(kInst, type, 1), kFault) << type;
    }
    for (const test::Line& line : take_log()) {
        EXPECT_EQ(line.text.find("all_bit01"), std::string::npos) << line.text;
        EXPECT_EQ(line.text.find("mac num["), std::string::npos) << line.text;
    }
    EXPECT_EQ(stored("eeprom-265", 0x20), test::hex(good));
}

TEST_F(MacAddressOrder, NullAddress_WithoutMainArea_IsNotRead) {
    for (const u32 type : {5u, 2u, 6u}) {
        EXPECT_EQ(drv_mac_set_addr(kInst, type, nullptr), kFault) << type;
    }
    EXPECT_EQ(drv_mac_set_addr(7, 0, nullptr), kFault) << "an instance that is not mounted";
}

TEST_F(MacAddressOrder, SupportIsOne_NotWhateverIsNotZero) {
    store_type0(good);
    mac_inst_mng* const mng = mac_data_find_by_instid(kInst, 0);
    for (const u32 support : {2u, 3u, 0x101u}) {
        mng->area[0].support = support;
        EXPECT_EQ(mac_func_data_read(kInst, 0), kNotSupported) << support;
    }
    EXPECT_EQ(take_log(3), Log{});
    mng->area[0].support = 1;
    EXPECT_EQ(mac_func_data_read(kInst, 0), 0u);
}

// --- lines and levels ---

TEST_F(MacAddressOrder, Sets_TypeWithoutStorage_LogTwoLines) {
    const test::Line no_main = {2, "mac inst 0xffffffff type 5 area 0 not support."};
    EXPECT_EQ(drv_mac_set_addr(kInst, 5, kBase.data()), kFault);
    EXPECT_EQ(take_log(3), (Log{{1, test::text(kSetAddrRefresh, kNotSupported, 5)}, no_main}));
    EXPECT_EQ(drv_mac_set_num(kInst, 5, 1), kFault);
    EXPECT_EQ(take_log(3), (Log{{1, test::text(kSetNumRefresh, kNotSupported, 5)}, no_main}));
}

TEST_F(MacAddressOrder, Sets_TypeWithoutDataSet_LogFiveLines) {
    const test::Line none = {1, "mac inst 0xffffffff type 6 find mng no exist."};
    const test::Line no_main = {2, "mac inst 0xffffffff type 6 area 0 not support."};
    EXPECT_EQ(drv_mac_set_addr(kInst, 6, kBase.data()), kFault);
    EXPECT_EQ(take_log(3),
              (Log{none, none, {1, test::text(kSetAddrRefresh, kNotSupported, 6)}, none, no_main}));
    EXPECT_EQ(drv_mac_set_num(kInst, 6, 1), kFault);
    EXPECT_EQ(take_log(3),
              (Log{none, none, {1, test::text(kSetNumRefresh, kNotSupported, 6)}, none, no_main}));
}

TEST_F(MacAddressOrder, Sets_AfterAFailedRefresh_LogTheWholeRoad) {
    const auto road = [](const char* refresh) {
        return Log{{1, "mac inst 0xffffffff type 0 area 0 format fail 0x811601ae."},
                   {1, "mac inst 0xffffffff type 0 area 1 format fail 0x811601ae."},
                   {1, "mac inst 0xffffffff type 0 data store fail -1."},
                   {1, test::text(refresh, kFail, 0)},
                   {2, "mac inst 0xffffffff type 0 copy[0->1] write OK."},
                   {2, "mac inst 0xffffffff type 0 sync[0->1] store OK."}};
    };
    EXPECT_EQ(drv_mac_set_addr(kInst, 0, kBase.data()), 0u);
    EXPECT_EQ(take_log(), road(kSetAddrRefresh));
    store_type0(Record(16, 0xff));
    EXPECT_EQ(drv_mac_set_num(kInst, 0, 5), 0u);
    EXPECT_EQ(take_log(), road(kSetNumRefresh));
}

TEST_F(MacAddressOrder, Reads_TypeWithoutStorage_LogNothingOfTheirOwn) {
    Mac mac = kBase;
    u32 num = 7;
    EXPECT_EQ(mac_func_data_read(kInst, 5), kNotSupported);
    EXPECT_EQ(get_mac_info(kInst, 5, mac.data(), 6, &num), kNotSupported);
    EXPECT_EQ(get_mac_addr(kInst, 5, mac.data(), 6), kNotSupported);
    EXPECT_EQ(drv_mac_get_num(kInst, 5, &num), kNotSupported);
    EXPECT_EQ(take_log(3), Log{});
    EXPECT_EQ(mac, kBase);
    EXPECT_EQ(num, 7u);
    EXPECT_EQ(drv_mac_get_addr(kInst, 5, mac.data(), 6), kNotSupported);
    EXPECT_EQ(take_log(3), (Log{{1, "mac inst 0xffffffff get type[5] addr failed 0x811601a4."}}));
}

TEST_F(MacAddressOrder, FailedRefresh_IsLoggedByTheRefreshAndTheReader) {
    u8 out[6] = {9};
    const Log refresh = {{1, "mac inst 0xffffffff type 1 area 0 format fail 0x811601ae."},
                         {2, "mac inst 0xffffffff type 1 check main -2129264210, sync -1"},
                         {1, "mac inst 0xffffffff type 1 data store fail -1."}};
    EXPECT_EQ(mac_func_data_read(kInst, 1), kFail);
    EXPECT_EQ(take_log(), refresh);
    EXPECT_EQ(get_mac_list(kInst, 1, 1, out, 6), kFail);
    Log expected = refresh;
    expected.push_back({1, "mac inst 0xffffffff get type[1] info fail run -1."});
    EXPECT_EQ(take_log(), expected);
    EXPECT_EQ(out[0], 9);
}

TEST_F(MacAddressOrder, GetInfo_RefusedCopy_IsLoggedWithItsCode) {
    store_type0(good);
    host::faults().fail(Call::kMemcpy, 1, static_cast<u32>(-5));
    Mac mac{};
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, mac.data(), 6), kFault);
    EXPECT_EQ(take_log(), (Log{{1, "get mac addr memory copy fail err_no = -5"},
                               {1, "mac inst 0xffffffff get type[0] addr failed 0xfffffff2."}}));
}

// --- values at the ends of their ranges ---

TEST_F(MacAddressOrder, StoredAllOnes_AreHandedOutAndReported) {
    store_type0(test::qolt(kOnes, 3));
    Mac mac{};
    EXPECT_EQ(drv_mac_get_addr(kInst, 0, mac.data(), 6), kInvalid);
    EXPECT_EQ(mac, kOnes) << "in the buffer, but reported";
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff type 0 mac all_bit01[255-0xff] err."},
                               {1, "mac inst 0xffffffff get type[0] addr failed 0x811601ab."}}));
    u8 out[18];
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, 3, out, 18), 0u) << "a list does not check its base";
    EXPECT_EQ(test::hex({out, out + 18}), "ffffffffffff000000000000000000000001");
    u32 num = 0;
    EXPECT_EQ(drv_mac_get_num(kInst, 0, &num), 0u);
    EXPECT_EQ(drv_mac_set_num(kInst, 0, 4), 0u) << "nor does a set of the count alone";
    EXPECT_EQ(stored("flash", 0x4c0), test::hex(test::qolt(kOnes, 4)));
}

TEST_F(MacAddressOrder, StoredCountsFrom65535_AreHandedOutAndReported) {
    for (const u32 count : {0xffffu, 0x10000u, 0x80000000u, 0xffffffffu}) {
        store_type0(test::qolt(kBase, count));
        u32 num = 0;
        EXPECT_EQ(drv_mac_get_num(kInst, 0, &num), kInvalid);
        EXPECT_EQ(num, count);
        EXPECT_EQ(take_log(),
                  (Log{{1, test::text("mac inst 0xffffffff type 0 mac num[0x%x] err.", count)}}));
        Mac mac{};
        EXPECT_EQ(drv_mac_get_addr(kInst, 0, mac.data(), 6), 0u) << "the address stands";
        EXPECT_EQ(mac, kBase);
        const Mac fresh = {2, 0, 0, 0, 0, 1};
        EXPECT_EQ(drv_mac_set_addr(kInst, 0, fresh.data()), 0u);
        EXPECT_EQ(stored("flash", 0x4c0), test::hex(test::qolt(fresh, count))) << "kept as it is";
        take_log();
    }
}

TEST_F(MacAddressOrder, List_MayBeLongerThan65535) {
    constexpr u32 kCount = 70000;
    store_type0(test::qolt(kBase, kCount));
    std::vector<u8> out(6 * kCount + 1, 0x77);
    EXPECT_EQ(drv_mac_get_addr_num(kInst, 0, kCount, out.data(), 6 * kCount), 0u);
    const Mac last = test::nth(kBase, kCount - 1);
    EXPECT_EQ(test::hex(out, 6 * (kCount - 1), 6), test::hex({last.begin(), last.end()}));
    EXPECT_EQ(out.back(), 0x77);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacAddressOrder, List_TheStoredCountIsAskedBeforeTheSize) {
    store_type0(test::qolt(kBase, 3));
    u8 out[6] = {9};
    EXPECT_EQ(get_mac_list(kInst, 0, 4, out, 6), kFault) << "too many, and too long";
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff get type[0] info over num 4-3."}}));
    EXPECT_EQ(get_mac_list(kInst, 0, 0xffffffff, out, 0), kFault);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff get type[0] info over num -1-3."}}));
    EXPECT_EQ(get_mac_list(kInst, 0, 3, out, 6), kFault);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff get type[0] info size err 6-18."}}));
    EXPECT_EQ(out[0], 9);
}

TEST_F(MacAddressOrder, List_SizeIsOf32Bits) {
    store_type0(test::qolt(kBase, 0xffffffff));
    u8 out[1] = {9};
    EXPECT_EQ(get_mac_list(kInst, 0, 0x2aaaaaab, out, 1), kFault) << "six times that is 2";
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff get type[0] info size err 1-2."}}));
    EXPECT_EQ(get_mac_list(kInst, 0, 0x20000000, out, 0xbfffffff), kFault);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0xffffffff get type[0] info size err -1073741825--1073741824."}}));
    EXPECT_EQ(out[0], 9);
}

}  // namespace
