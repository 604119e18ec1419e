// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Main and spare, step by step: the state that two reads leave, what is decided by it, and
// resets that fail.
#include "core/mac_data_io.h"
#include "core/mac_data_sync.h"
#include "tests/support/data_fixture.h"
#include "tests/support/journal.h"

namespace {

using host::Call;
using test::Log;
using test::Mac;
using test::main_script;
using test::spare_script;
using test::text;

constexpr u32 kInst = test::kDataInstance;
constexpr u32 kType = 2;
constexpr u32 kMismatch = 0x811601a7;
constexpr u32 kNotSupported = 0x811601a4;
constexpr u32 kFail = 0xffffffff;
constexpr Mac kZero = {};

struct State {
    u32 main = 0x11;
    u32 spare = 0x12;
    int sync = 0x13;
    bool operator==(const State&) const = default;
};

void PrintTo(const State& state, std::ostream* out) {
    *out << text("main 0x%x spare 0x%x sync %d", state.main, state.spare, state.sync);
}

class MacDataState : public test::DataTest {
protected:
    static State state(u32 type = kType) {
        State state;
        mac_data_read_state(kInst, type, &state.main, &state.spare, &state.sync);
        return state;
    }
};

// --- the state after both reads ---

TEST_F(MacDataState, ReadState_WithSpare_IsSilentAndInStepWhenEqual) {
    create_both(kType);
    const struct {
        u32 main;
        u32 spare;
        u32 main_crc;
        u32 spare_crc;
        int sync;
    } cases[] = {
        {0, 0, 5, 5, 0},          {0, 0, 0, 0, 0},          {0, 0, 5, 6, -1},
        {0, 0, 6, 5, -1},         {0, 0, 5, 0, -1},         {0, 0, 0, 5, -1},
        {0, kMismatch, 5, 5, -1}, {kMismatch, 0, 5, 5, -1}, {kMismatch, kMismatch, 5, 5, -1},
        {0, kMismatch, 0, 5, -1}, {kMismatch, 0, 5, 0, -1}, {kMismatch, 0x811601ae, 5, 5, -1},
    };
    for (const auto& c : cases) {
        main_script().parse_result = c.main;
        main_script().parsed_crc = c.main_crc;
        spare_script().parse_result = c.spare;
        spare_script().parsed_crc = c.spare_crc;
        EXPECT_EQ(state(), (State{c.main, c.spare, c.sync}));
        Log expected;
        for (const auto& [area, code] : {std::pair(0, c.main), std::pair(1, c.spare)}) {
            if (code == 0) continue;
            expected.push_back(
                {1, text("mac inst 0x1f type 2 area %d format fail 0x%x.", area, code)});
        }
        EXPECT_EQ(take_log(), expected);
    }
    EXPECT_EQ(test::write_order(), "") << "nothing is mended here";
}

TEST_F(MacDataState, ReadState_WithoutSpare_IsWhatMainIs) {
    create_main(kType);
    EXPECT_EQ(state(), (State{0, kNotSupported, 0}));
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type 2 check main 0, sync 0"}}));
    main_script().parse_result = kMismatch;
    EXPECT_EQ(state(), (State{kMismatch, kNotSupported, -1}));
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 0 format fail 0x811601a7."},
                               {2, "mac inst 0x1f type 2 check main -2129264217, sync -1"}}));
    main_script().read_result = 5;
    EXPECT_EQ(state(), (State{5, kNotSupported, -1}));
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type 2 area 0 read unsuccessfully 0x5."},
                               {2, "mac inst 0x1f type 2 check main 5, sync -1"}}));
}

TEST_F(MacDataState, ReadState_WithSpareAlone_IsNotInStep) {
    create_spare(kType);
    EXPECT_EQ(state(), (State{kNotSupported, 0, -1}));
    EXPECT_EQ(spare_script().reads.size(), 1u);
    EXPECT_EQ(take_log(),
              (Log{{2, "mac inst 0x1f type 2 area 0 not support."},
                   {1, "mac inst 0x1f type 2 area 0 data_get not exist"},
                   {2, "mac inst 0x1f type 2 area 0 read unsuccessfully 0x811601a4."}}));
}

TEST_F(MacDataState, ReadState_MainIsReadFirst) {
    create_both(kType);
    std::string order;
    main_script().at_operation = [&](const std::string& name) { order += "m " + name + ", "; };
    spare_script().at_operation = [&](const std::string& name) { order += "s " + name + ", "; };
    (void)state();
    EXPECT_EQ(order, "m read, m get_format, s read, s get_format, ");
}

TEST_F(MacDataState, ReadState_ForTheSparesSupport_AsksWhenMainIsRead) {
    create_both(kType);
    main_script().at_operation = [](const std::string&) { area(kType, 1).support = 0; };
    EXPECT_EQ(state(), (State{0, kNotSupported, 0}));
    EXPECT_TRUE(spare_script().reads.empty());
}

TEST_F(MacDataState, ReadState_TypeFrom2To31_IsPrintedAsANegativeNumber) {
    create_main(0x80000002);
    EXPECT_EQ(state(0x80000002), (State{0, kNotSupported, 0}));
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type -2147483646 check main 0, sync 0"}}));
}

TEST_F(MacDataState, FailedSpare_IsMended_ThoughMainsCheckValueIsZero) {
    create_both(kType);
    main_script().parsed_crc = 0;
    for (u32* const result : {&spare_script().read_result, &spare_script().parse_result}) {
        *result = kMismatch;
        const size_t writes = spare_script().writes.size();
        EXPECT_EQ(mac_data_init_store(kInst, kType), 0u);
        EXPECT_EQ(spare_script().writes.size(), writes + 1);
        *result = 0;
    }
    EXPECT_EQ(test::write_order(), "ss");
}

TEST_F(MacDataState, FailedMain_IsMended_ThoughTheSparesCheckValueIsZero) {
    create_both(kType);
    spare_script().parsed_crc = 0;
    main_script().parse_result = kMismatch;
    EXPECT_EQ(mac_data_init_store(kInst, kType), 0u);
    EXPECT_EQ(test::write_order(), "m");
}

TEST_F(MacDataState, ReadCheck_FailedRead_LeavesTheOutput) {
    create_both(kType);
    u32 crc = 7;
    main_script().read_result = 5;
    EXPECT_EQ(mac_data_read_check(kInst, kType, 0, &crc), 5u);
    EXPECT_EQ(crc, 7u);
    EXPECT_EQ(mac_data_read_check(kInst, kType, 1, &crc), 0u);
    EXPECT_EQ(crc, 0x1234u) << "of the area asked for";
}

// --- the decision, given the results ---

TEST_F(MacDataState, InitState_GoodMainWins_WhateverTheSpareIs) {
    create_both(kType);
    fill(kType, 0, 0x20);
    fill(kType, 1, 0x30);
    EXPECT_EQ(mac_data_init_state(kInst, kType, 0, 0), 0u);
    EXPECT_EQ(test::write_order(), "s");
    EXPECT_EQ(mac_of(kType, 1), (Mac{0x20, 0x20, 0x20, 0x20, 0x20, 0x20}));
    fill(kType, 1, 0x30);
    EXPECT_EQ(mac_data_init_state(kInst, kType, 1, 0), 0u);
    EXPECT_EQ(test::write_order(), "sm");
    EXPECT_EQ(mac_of(kType, 0), (Mac{0x30, 0x30, 0x30, 0x30, 0x30, 0x30}));
    EXPECT_TRUE(main_script().reads.empty()) << "nothing is read again";
}

TEST_F(MacDataState, InitState_Codes_OfEveryPairOfFailures) {
    create_both(kType);
    const u32 other = 0x811601ae;
    for (const u32 main : {kMismatch, other}) {
        for (const u32 spare : {kMismatch, other}) {
            fill(kType, 0, 0x20);
            fill(kType, 1, 0x30);
            const bool both = main == kMismatch && spare == kMismatch;
            EXPECT_EQ(mac_data_init_state(kInst, kType, main, spare), both ? kMismatch : kFail);
            for (const u32 index : {0u, 1u}) {
                EXPECT_EQ(mac_of(kType, index), kZero);
                EXPECT_EQ(area(kType, index).mac_num, 0xffffu);
                EXPECT_EQ(area(kType, index).flag, index == 0 ? 0x20u : 0x30u) << "as it was";
                EXPECT_EQ(area(kType, index).crc, index == 0 ? 0x20u : 0x30u) << "as it was";
            }
        }
    }
    EXPECT_EQ(test::write_order(), "");
    EXPECT_EQ(take_log(3), Log{});
}

TEST_F(MacDataState, InitState_WithoutSpare_TheSparesResultDecidesNothing) {
    create_main(kType);
    for (const u32 spare : {0u, kMismatch, kNotSupported}) {
        EXPECT_EQ(mac_data_init_state(kInst, kType, 0, spare), 0u);
        EXPECT_EQ(area(kType, 0).mac_num, 16u);
    }
    EXPECT_EQ(mac_data_init_state(kInst, kType, 0x811601ae, kMismatch), kFail);
    EXPECT_EQ(mac_data_init_state(kInst, kType, kMismatch, 0), kMismatch);
    EXPECT_EQ(area(kType, 0).mac_num, 0xffffu);
    EXPECT_EQ(test::write_order(), "");
    EXPECT_EQ(take_log(3), Log{});
}

// --- resets ---

TEST_F(MacDataState, Reset_MainFirst_TheCountBeforeTheAddress) {
    create_both(kType);
    fill(kType, 0, 0x20);
    fill(kType, 1, 0x30);
    host::faults().clear();
    host::faults().at_use(Call::kMemset, 1, [] {
        EXPECT_EQ(area(kType, 0).mac_num, 0xffffu);
        EXPECT_EQ(area(kType, 0).mac[0], 0x20) << "the fill is to come";
        EXPECT_EQ(area(kType, 1).mac_num, 0x30u) << "the spare's turn is to come";
    });
    host::faults().at_use(Call::kMemset, 2, [] {
        EXPECT_EQ(mac_of(kType, 0), kZero);
        EXPECT_EQ(area(kType, 1).mac_num, 0xffffu);
        EXPECT_EQ(area(kType, 1).mac[0], 0x30);
    });
    EXPECT_EQ(mac_data_init_state(kInst, kType, kMismatch, kMismatch), kMismatch);
    EXPECT_EQ(host::faults().uses(Call::kMemset), 2u);
    EXPECT_EQ(mac_of(kType, 1), kZero);
}

TEST_F(MacDataState, Reset_LeavesFlagCheckValueAndRecord) {
    create_both(kType);
    for (const u32 index : {0u, 1u}) {
        fill(kType, index, 0x20);
        std::fill_n(area(kType, index).buf, 16, u8{0x31});
    }
    EXPECT_EQ(mac_data_init_state(kInst, kType, kMismatch, kMismatch), kMismatch);
    for (const u32 index : {0u, 1u}) {
        const mac_area& reset = area(kType, index);
        EXPECT_EQ(reset.mac_num, 0xffffu);
        EXPECT_EQ(reset.flag, 0x20u);
        EXPECT_EQ(reset.crc, 0x20u);
        EXPECT_EQ(test::Record(reset.buf, reset.buf + 16), test::Record(16, 0x31));
    }
}

TEST_F(MacDataState, Reset_OneFillFails_TheCountIsSetAndTheOtherIsReset) {
    create_both(kType);
    for (const u32 failing : {0u, 1u}) {
        fill(kType, 0, 0x20);
        fill(kType, 1, 0x20);
        host::faults().fail(Call::kMemset, failing + 1, static_cast<u32>(-5));
        EXPECT_EQ(mac_data_init_state(kInst, kType, 1, 1), kFail);
        EXPECT_EQ(take_log(), (Log{{1, "set mac addr copy fail err_no = -5"},
                                   {1, "mac data init state fail ret = 4294967295"}}));
        EXPECT_EQ(area(kType, 0).mac_num, 0xffffu);
        EXPECT_EQ(area(kType, 1).mac_num, 0xffffu);
        EXPECT_EQ(area(kType, failing).mac[0], 0x20) << "not filled";
        EXPECT_EQ(mac_of(kType, 1 - failing), kZero);
    }
}

TEST_F(MacDataState, Reset_BothFillsFail_IsLoggedOnceInOne) {
    create_both(kType);
    host::faults().fail(Call::kMemset, 1, 22, 2);
    EXPECT_EQ(mac_data_init_state(kInst, kType, kMismatch, kMismatch), kMismatch);
    EXPECT_EQ(take_log(), (Log{{1, "set mac addr copy fail err_no = 22"},
                               {1, "set mac addr copy fail err_no = 22"},
                               {1, "mac data init state fail ret = 4294967295"}}));
}

TEST_F(MacDataState, Reset_WithoutSpare_FillFails_TheCountIsSet) {
    create_main(kType);
    fill(kType, 0, 0x20);
    host::faults().fail(Call::kMemset, 1, 22);
    EXPECT_EQ(mac_data_init_error(kInst, kType, 0), kFail);
    EXPECT_EQ(area(kType, 0).mac_num, 0xffffu);
    EXPECT_EQ(area(kType, 0).mac[0], 0x20);
    EXPECT_EQ(take_log(), (Log{{1, "set mac addr copy fail err_no = 22"}}));
    fill(kType, 0, 0x20);
    host::faults().fail(Call::kMemset, 1, 22);
    EXPECT_EQ(mac_data_init_state(kInst, kType, kMismatch, kNotSupported), kFail);
    EXPECT_EQ(area(kType, 0).mac_num, 0xffffu);
    EXPECT_EQ(take_log(), (Log{{1, "set mac addr copy fail err_no = 22"},
                               {1, "mac data init state fail ret = 4294967295"}}));
    test::Journal journal({"memset_s"});
    EXPECT_EQ(mac_data_init_error(kInst, kType, 0), 0u);
    EXPECT_EQ(journal.take(), test::Journal::Calls{"memset_s 6 6"});
    EXPECT_EQ(mac_of(kType, 0), kZero);
}

}  // namespace
