// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Main and spare: the decision over the full cross product, and changes.
#include "core/mac_data_sync.h"

#include "config/mac_config.h"
#include "core/mac_data_io.h"
#include "platform/bounded.h"
#include "service/mac_func.h"
#include "tests/support/fixture.h"
#include "tests/support/script_driver.h"

namespace {

using host::Call;
using test::Log;
using test::Mac;
using test::main_script;
using test::spare_script;
using test::text;

constexpr u32 kInst = 0x1f;
constexpr u32 kType = 2;
constexpr u32 kMismatch = 0x811601a7;
constexpr u32 kNotSupported = 0x811601a4;
constexpr u32 kFail = 0xffffffff;
constexpr u32 kInvalid = 0x811601ab;
constexpr Mac kZero = {};
constexpr Mac kNew = {0x02, 0xaa, 0xbb, 0xcc, 0xdd, 0x01};

class MacSync : public test::RegistryTest {
protected:
    void create(bool with_main, bool with_spare) {
        test::install_scripts();
        mac_delete_config();
        mac_data_delete();
        ASSERT_EQ(mac_create_config(kInst, "n"), 0);
        if (with_main) add_entry(0x4d08, "script_main");
        if (with_spare) add_entry(0x4d09, "script_spare");
        mac_driver_install(kInst);
        ASSERT_EQ(mac_data_create(kInst, kType), 0);
        take_log();
    }

    static mac_area& area(u32 index) { return mac_data_find_by_instid(kInst, kType)->area[index]; }
    static Mac mac_of(u32 index) {
        Mac mac;
        std::copy_n(area(index).mac, 6, mac.begin());
        return mac;
    }

private:
    static void add_entry(u32 code, const char* driver) {
        mac_entry entry{};
        entry.inst_id = kInst;
        entry.id = kType;
        entry.storage_code = code;
        ASSERT_EQ(strncpy_s(entry.drv_name, 40, driver, 39), 0);
        ASSERT_EQ(mac_create_entry(&entry), 0);
    }
};

// --- validity ---

TEST_F(MacSync, ValidAddr_OnlyAllZerosAndAllOnes_AreRefused) {
    const Mac zeros = {};
    EXPECT_EQ(mac_data_vaild_addr(kInst, kType, zeros.data(), 6), kInvalid);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 mac all_bit01[0-0x0] err."}}));
    const Mac ones = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
    EXPECT_EQ(mac_data_vaild_addr(kInst, kType, ones.data(), 6), kInvalid);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 mac all_bit01[255-0xff] err."}}));
    for (const Mac& good : {Mac{0x01, 0x00, 0x5e, 0, 0, 1}, Mac{0x02, 0, 0, 0, 0, 0},
                            Mac{0, 0, 0, 0, 0, 1}, Mac{0xff, 0xff, 0xff, 0xff, 0xff, 0xfe}}) {
        EXPECT_EQ(mac_data_vaild_addr(kInst, kType, good.data(), 6), 0u);
    }
    for (const u32 length : {0u, 5u, 7u}) {
        EXPECT_EQ(mac_data_vaild_addr(kInst, kType, kNew.data(), length), kFail);
    }
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacSync, ValidNum_IsUpTo0xfffe) {
    for (const u32 num : {0u, 1u, 0xfffeu}) EXPECT_EQ(mac_data_vaild_num(kInst, kType, num), 0u);
    EXPECT_EQ(take_log(), Log{});
    for (const u32 num : {0xffffu, 0x10000u, 0xffffffffu}) {
        EXPECT_EQ(mac_data_vaild_num(kInst, kType, num), kInvalid);
        EXPECT_EQ(take_log(), (Log{{1, text("mac inst 0x1f type 2 mac num[0x%x] err.", num)}}));
    }
}

// --- the decision ---

enum class Copy { kGood, kBadCheck, kUnreadable, kWrongTag };
enum class Repair { kWorks, kBuildFails, kWriteFails };

constexpr Mac kMainMac = {0x02, 0, 0, 0, 0, 0x11};
constexpr Mac kSpareMac = {0x02, 0, 0, 0, 0, 0x22};

void prepare(test::Script& script, Copy copy, const Mac& mac, u32 num, u32 crc, Repair repair) {
    script.parsed_mac = mac;
    script.parsed_num = num;
    script.parsed_crc = crc;
    if (copy == Copy::kBadCheck) script.parse_result = kMismatch;
    if (copy == Copy::kWrongTag) script.parse_result = 0x811601ae;
    if (copy == Copy::kUnreadable) script.read_result = 0x82000003;
    if (repair == Repair::kBuildFails) script.build_result = 0x811601a2;
    if (repair == Repair::kWriteFails) script.write_result = 0x82000004;
}

struct Expected {
    u32 result = 0;
    int target = -1;  // the area that is rewritten, -1 for none
    bool reset = false;
};

Expected expect(bool spare, Copy main, Copy other, bool equal, Repair repair) {
    const u32 repair_code = repair == Repair::kWorks        ? 0
                            : repair == Repair::kBuildFails ? 0x811601a2
                                                            : 0x82000004;
    if (!spare) {
        if (main == Copy::kGood) return {};
        return {main == Copy::kBadCheck ? kMismatch : kFail, -1, true};
    }
    if (main == Copy::kGood && other == Copy::kGood && equal) return {};
    if (main == Copy::kGood) return {repair_code, 1};
    if (other == Copy::kGood) return {repair_code, 0};
    const bool both = main == Copy::kBadCheck && other == Copy::kBadCheck;
    return {both ? kMismatch : kFail, -1, true};
}

Log expected_log(bool spare, Copy main, Copy other, const Expected& e, Repair repair) {
    Log log;
    const auto read_lines = [&](u32 index, Copy copy) {
        const std::string who = text("mac inst 0x1f type 2 area %u ", index);
        if (copy == Copy::kUnreadable) log.push_back({2, who + "read unsuccessfully 0x82000003."});
        if (copy == Copy::kBadCheck) log.push_back({1, who + "format fail 0x811601a7."});
        if (copy == Copy::kWrongTag) log.push_back({1, who + "format fail 0x811601ae."});
    };
    read_lines(0, main);
    if (spare) {
        read_lines(1, other);
    } else {
        const u32 code = main == Copy::kGood         ? 0
                         : main == Copy::kBadCheck   ? kMismatch
                         : main == Copy::kUnreadable ? 0x82000003
                                                     : 0x811601ae;
        log.push_back({2, text("mac inst 0x1f type 2 check main %d, sync %d",
                               static_cast<s32>(code), code == 0 ? 0 : -1)});
    }
    if (e.target < 0) return log;
    const std::string who = text("mac inst 0x1f type 2 area %d ", e.target);
    if (repair == Repair::kBuildFails) log.push_back({1, who + "format write fail."});
    if (repair == Repair::kWriteFails) log.push_back({1, who + "write data fail."});
    if (repair == Repair::kWorks) {
        log.push_back(
            {2, text("mac inst 0x1f type 2 copy[%d->%d] write OK.", 1 - e.target, e.target)});
    }
    return log;
}

using Case = std::tuple<bool, Copy, Copy, bool, Repair>;
class MacDecision : public MacSync, public ::testing::WithParamInterface<Case> {};

TEST_P(MacDecision, InitStore_DoesWhatTheTableSays) {
    const auto [spare, main, other, equal, repair] = GetParam();
    create(true, spare);
    prepare(main_script(), main, kMainMac, 4, 0x1111, repair);
    prepare(spare_script(), other, kSpareMac, 5, equal ? 0x1111 : 0x2222, repair);
    const Expected e = expect(spare, main, other, equal, repair);

    EXPECT_EQ(mac_data_init_store(kInst, kType), e.result);
    EXPECT_EQ(take_log(), expected_log(spare, main, other, e, repair));

    EXPECT_EQ(main_script().reads.size(), 1u) << "each area is read once";
    EXPECT_EQ(spare_script().reads.size(), spare ? 1u : 0u);
    const std::string writes = e.target < 0 || repair == Repair::kBuildFails ? ""
                               : e.target == 0                               ? "m"
                                                                             : "s";
    EXPECT_EQ(test::write_order(), writes) << "nothing else is ever written";
    if (e.target >= 0) {
        const Mac& winner = e.target == 1 ? kMainMac : kSpareMac;
        const u32 winner_num = e.target == 1 ? 4 : 5;
        const test::Script& target = e.target == 0 ? main_script() : spare_script();
        ASSERT_EQ(target.builds.size(), 1u);
        EXPECT_EQ(target.builds[0].mac, winner);
        EXPECT_EQ(target.builds[0].num, winner_num);
        EXPECT_EQ(mac_of(static_cast<u32>(e.target)), winner);
    }
    for (u32 index = 0; index < (spare ? 2u : 1u) && e.reset; ++index) {
        EXPECT_EQ(mac_of(index), kZero);
        EXPECT_EQ(area(index).mac_num, 0xffffu);
        EXPECT_EQ(area(index).flag, 1u) << "left as it was";
        EXPECT_EQ(area(index).crc, 1u) << "left as it was";
    }
}

INSTANTIATE_TEST_SUITE_P(CrossProduct, MacDecision,
                         ::testing::Combine(::testing::Bool(),
                                            ::testing::Values(Copy::kGood, Copy::kBadCheck,
                                                              Copy::kUnreadable, Copy::kWrongTag),
                                            ::testing::Values(Copy::kGood, Copy::kBadCheck,
                                                              Copy::kUnreadable, Copy::kWrongTag),
                                            ::testing::Bool(),
                                            ::testing::Values(Repair::kWorks, Repair::kBuildFails,
                                                              Repair::kWriteFails)));

TEST_F(MacSync, InitStore_MediumSaysMismatchItself_CountsAsMismatch) {
    create(true, true);
    main_script().read_result = kMismatch;
    spare_script().parse_result = kMismatch;
    EXPECT_EQ(mac_data_init_store(kInst, kType), kMismatch);
}

TEST_F(MacSync, InitState_ResetFails_IsLoggedWithASpare) {
    create(true, true);
    host::faults().fail(Call::kMemset, 1, 22);
    EXPECT_EQ(mac_data_init_state(kInst, kType, kMismatch, kMismatch), kMismatch)
        << "the outcome does not depend on the reset";
    EXPECT_EQ(take_log(), (Log{{1, "set mac addr copy fail err_no = 22"},
                               {1, "mac data init state fail ret = 4294967295"}}));
    EXPECT_EQ(area(1).mac_num, 0xffffu) << "the spare is reset all the same";
}

TEST_F(MacSync, InitState_ResetFails_ChangesTheOutcomeWithoutASpare) {
    create(true, false);
    host::faults().fail(Call::kMemset, 1, 22);
    EXPECT_EQ(mac_data_init_state(kInst, kType, kMismatch, kNotSupported), kFail);
    EXPECT_EQ(take_log(), (Log{{1, "set mac addr copy fail err_no = 22"},
                               {1, "mac data init state fail ret = 4294967295"}}));
}

TEST_F(MacSync, InitState_WithoutSpare_GoodMain_IsFine) {
    create(true, false);
    EXPECT_EQ(mac_data_init_state(kInst, kType, 0, kNotSupported), 0u);
}

TEST_F(MacSync, InitState_OnlyASpare_RepairsNothing) {
    create(false, true);
    take_log();
    EXPECT_EQ(mac_data_init_store(kInst, kType), 0u) << "a missing target counts as success";
    EXPECT_EQ(test::write_order(), "");
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type 2 area 0 not support."},
                               {1, "mac inst 0x1f type 2 area 0 data_get not exist"},
                               {2, "mac inst 0x1f type 2 area 0 read unsuccessfully 0x811601a4."},
                               {2, "mac inst 0x1f type 2 area 0 not support."}}));
}

TEST_F(MacSync, InitState_OnlyABadSpare_ResetsWhatIsThere) {
    create(false, true);
    spare_script().parse_result = kMismatch;
    EXPECT_EQ(mac_data_init_store(kInst, kType), kFail);
    EXPECT_EQ(area(1).mac_num, 0xffffu);
    EXPECT_EQ(take_log().back(), (test::Line{1, "mac data init state fail ret = 4294967295"}))
        << "the main area cannot be reset";
}

TEST_F(MacSync, InitError_WithoutArea_Fails) {
    create(false, false);
    EXPECT_EQ(mac_data_init_error(kInst, kType, 0), kFail);
    EXPECT_EQ(mac_data_init_error(kInst, kType, 2), kFail);
}

TEST_F(MacSync, ReadCheck_HandsTheCheckValueBack) {
    create(true, true);
    u32 crc = 0;
    EXPECT_EQ(mac_data_read_check(kInst, kType, 0, &crc), 0u);
    EXPECT_EQ(crc, 0x1234u);
    main_script().parse_result = kMismatch;
    EXPECT_EQ(mac_data_read_check(kInst, kType, 0, &crc), kMismatch);
}

TEST_F(MacSync, ReadCheck_DataSetVanishes_Fails) {
    create(true, true);
    host::faults().clear();
    u32 crc = 0;
    ASSERT_EQ(mac_data_read_check(kInst, kType, 0, &crc), 0u);
    const unsigned locks = host::faults().uses(Call::kSpinLock);
    host::faults().at_use(Call::kSpinLock, locks,
                          [] { mac_data_remove(mac_data_find_by_instid(kInst, kType)); });
    EXPECT_EQ(mac_data_read_check(kInst, kType, 0, &crc), kFail);
}

// --- copies and changes ---

TEST_F(MacSync, Copy_OntoItself_IsRefusedWithoutTheMutex) {
    create(true, true);
    mac_data_lock(kInst, kType);
    EXPECT_EQ(mac_data_copy(kInst, kType, 1, 1), kFail) << "would abort if it took the mutex";
    mac_data_unlock(kInst, kType);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacSync, Copy_HoldsTheDataSetsMutex) {
    create(true, true);
    mac_data_lock(kInst, kType);
    EXPECT_DEATH((void)mac_data_copy(kInst, kType, 1, 0), "&\\(inst_mng->mac_mutex\\) taken twice");
    mac_data_unlock(kInst, kType);
}

TEST_F(MacSync, Copy_MovesTheFields_NotTheBuffer) {
    create(true, true);
    area(0).flag = 0xabc;
    area(0).mac_num = 9;
    area(0).crc = 0xdef;
    std::copy(kNew.begin(), kNew.end(), area(0).mac);
    area(0).buf[0] = 0x77;
    EXPECT_EQ(mac_data_copy(kInst, kType, 1, 0), 0u);
    EXPECT_EQ(area(1).flag, 0xabcu);
    EXPECT_EQ(area(1).mac_num, 9u);
    EXPECT_EQ(area(1).crc, 0xdefu);
    EXPECT_EQ(mac_of(1), kNew);
    EXPECT_EQ(area(1).buf[0], 0);
}

TEST_F(MacSync, Copy_MissingArea_CopiesNothingAndSucceeds) {
    create(true, false);
    EXPECT_EQ(mac_data_copy(kInst, kType, 1, 0), 0u);
    EXPECT_EQ(mac_data_copy(kInst, kType, 0, 1), 0u);
    EXPECT_EQ(area(0).mac_num, 0u);
    EXPECT_EQ(area(1).support, 0u);
}

TEST_F(MacSync, CopyWrite_SameArea_Fails) {
    create(true, true);
    EXPECT_EQ(mac_data_copy_write(kInst, kType, 0, 0), kFail);
    EXPECT_EQ(test::write_order(), "");
}

TEST_F(MacSync, SetData_WritesMainThenSpare) {
    create(true, true);
    EXPECT_EQ(mac_set_data(kInst, kType, kNew.data(), 6, 12), 0u);
    EXPECT_EQ(test::write_order(), "ms");
    EXPECT_EQ(main_script().builds[0].mac, kNew);
    EXPECT_EQ(main_script().builds[0].num, 12u);
    EXPECT_EQ(spare_script().builds[0].mac, kNew);
    EXPECT_EQ(spare_script().builds[0].num, 12u);
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type 2 copy[0->1] write OK."},
                               {2, "mac inst 0x1f type 2 sync[0->1] store OK."}}));
}

TEST_F(MacSync, SetData_WithoutSpare_StoresMainAlone) {
    create(true, false);
    EXPECT_EQ(mac_set_data(kInst, kType, kNew.data(), 6, 12), 0u);
    EXPECT_EQ(test::write_order(), "m");
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type 2 area 1 not support."},
                               {2, "mac inst 0x1f type 2 sync[0->1] store OK."}}));
}

TEST_F(MacSync, SetData_MainWriteFails_LeavesTheSpare) {
    create(true, true);
    main_script().write_result = 0x55;
    EXPECT_EQ(mac_set_data(kInst, kType, kNew.data(), 6, 12), 0x55u);
    EXPECT_EQ(test::write_order(), "m");
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 0 write data fail."}}));
}

TEST_F(MacSync, SetData_SpareWriteFails_MainIsStored) {
    create(true, true);
    spare_script().write_result = 0x56;
    EXPECT_EQ(mac_set_data(kInst, kType, kNew.data(), 6, 12), 0x56u);
    EXPECT_EQ(test::write_order(), "ms");
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 1 write data fail."}}));
}

TEST_F(MacSync, SetData_BadArguments_WriteNothing) {
    create(true, true);
    EXPECT_EQ(mac_set_data(kInst, kType, nullptr, 6, 12), kFail);
    EXPECT_EQ(take_log(), Log{});
    const u8 seven[7] = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(mac_set_data(kInst, kType, seven, 7, 12), kFail);
    EXPECT_EQ(take_log(), (Log{{1, "mac set data memory copy fail err_no = 34"}}));
    EXPECT_EQ(area(0).mac_num, 0u);
    EXPECT_EQ(mac_of(0), kZero);
    EXPECT_EQ(test::write_order(), "");
}

TEST_F(MacSync, SetData_ShorterAddress_LeavesTheRest) {
    create(true, true);
    std::copy(kNew.begin(), kNew.end(), area(0).mac);
    const u8 two[2] = {0x0a, 0x0b};
    EXPECT_EQ(mac_set_data(kInst, kType, two, 2, 1), 0u);
    EXPECT_EQ(mac_of(0), (Mac{0x0a, 0x0b, 0xbb, 0xcc, 0xdd, 0x01}));
}

TEST_F(MacSync, SetData_OwnAddress_CopiesOntoItself) {
    create(true, true);
    std::copy(kNew.begin(), kNew.end(), area(0).mac);
    EXPECT_EQ(mac_set_data(kInst, kType, area(0).mac, 6, 3), 0u);
    EXPECT_EQ(mac_of(0), kNew);
}

TEST_F(MacSync, SetData_WithoutMainArea_Fails) {
    create(false, true);
    EXPECT_EQ(mac_set_data(kInst, kType, kNew.data(), 6, 3), kFail);
    EXPECT_EQ(test::write_order(), "");
}

TEST_F(MacSync, SetInfo_ChecksBothBeforeStoring) {
    create(true, true);
    EXPECT_EQ(set_mac_info(kInst, kType, kNew.data(), 5, 3), kFail);
    EXPECT_EQ(set_mac_info(kInst, kType, kZero.data(), 6, 0xffff), kInvalid);
    EXPECT_EQ(take_log().back().text, "mac inst 0x1f type 2 mac all_bit01[0-0x0] err.");
    EXPECT_EQ(set_mac_info(kInst, kType, kNew.data(), 6, 0xffff), kInvalid);
    EXPECT_EQ(test::write_order(), "");
    EXPECT_EQ(set_mac_info(kInst, kType, kNew.data(), 6, 0xfffe), 0u);
    EXPECT_EQ(test::write_order(), "ms");
}

}  // namespace
