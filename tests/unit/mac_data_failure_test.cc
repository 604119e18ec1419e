// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The pipeline of one area step by step: what is logged when, and what record and fields
// hold after each kind of failure.
#include <map>

#include "core/mac_area.h"
#include "core/mac_data_io.h"
#include "tests/support/data_fixture.h"

namespace {

using test::Log;
using test::Mac;
using test::main_script;
using test::Record;
using test::Script;
using test::spare_script;
using test::text;

constexpr u32 kInst = test::kDataInstance;
constexpr u32 kType = 2;
constexpr u32 kNotSupported = 0x811601a4;
constexpr u32 kLacks = 0x811601a5;
constexpr u32 kFail = 0xffffffff;
constexpr u32 kWide = 0x80000002;  // a type that %d prints as a negative number

// What the fields of an area are before a step, none of them what a script yields.
constexpr u64 kFlag = 0x0102030405060708;
constexpr Mac kMac = {0x02, 0xa1, 0xa2, 0xa3, 0xa4, 0xa5};
constexpr u32 kNum = 0x321;
constexpr u32 kCrc = 0x654;
constexpr u8 kByte = 0xee;

struct Fields {
    u64 flag;
    Mac mac;
    u32 num;
    u32 crc;
    bool operator==(const Fields&) const = default;
};

void PrintTo(const Fields& fields, std::ostream* out) {
    *out << text("%llx %s %x %x", fields.flag,
                 test::hex({fields.mac.begin(), fields.mac.end()}).c_str(), fields.num, fields.crc);
}

constexpr Fields kBefore = {kFlag, kMac, kNum, kCrc};
constexpr Fields kParsed = {0xfedcba9876543210, {2, 0, 0, 0, 0, 1}, 4, 0x1234};
constexpr Fields kBuilt = {0xfedcba9876543210, kMac, kNum, 0x4321};

class MacDataFailure : public test::DataTest {
protected:
    // Type 2 over both scripts, records of 40 bytes; the spare's area is the one in use.
    MacDataFailure() {
        for (Script* const script : {&main_script(), &spare_script()}) {
            script->size = 40;
            script->flag = kBuilt.flag;
            script->parsed_flag = kParsed.flag;
        }
        create_both(kType);
        mac_area& spare = area(kType, 1);
        spare.flag = kFlag;
        std::copy(kMac.begin(), kMac.end(), spare.mac);
        spare.mac_num = kNum;
        spare.crc = kCrc;
        std::fill_n(spare.buf, spare.len, kByte);
        take_log();
    }

    static Fields fields() {
        const mac_area& spare = area(kType, 1);
        Fields fields{spare.flag, {}, spare.mac_num, spare.crc};
        std::copy_n(spare.mac, 6, fields.mac.begin());
        return fields;
    }

    static Record record() {
        const mac_area& spare = area(kType, 1);
        return {spare.buf, spare.buf + spare.len};
    }

    // A record of 40 bytes: counted from 0, then what was there.
    static Record read_up_to(u32 count) {
        Record record(40, kByte);
        for (u32 i = 0; i < count; ++i) record[i] = static_cast<u8>(i);
        return record;
    }

    static Log record_lines(int rw, const Record& record) {
        const std::string who = "mac inst 0x1f type 2 area 1 ";
        return {{3, who + text("action[0 read 1 write] %d:", rw) + test::hex(record, 0, 32) + "."},
                {3, who + text("rw %d indx[1]:", rw) + test::hex(record, 32) + "."}};
    }

    static test::Line summary(int rw, const std::string& data) {
        return {3, text("mac inst 0x1f type 2 area 1 rw %d data[%s] .", rw, data.c_str())};
    }

    static Log with(Log log, const test::Line& line) {
        log.push_back(line);
        return log;
    }

    const Record untouched = Record(40, kByte);
    const Record built = Record(40, 0xb1);
};

// --- what is logged when ---

TEST_F(MacDataFailure, Read_LogsTheRecordBetweenItsTwoSteps) {
    std::map<std::string, Log> before;
    spare_script().at_operation = [&](const std::string& name) { before[name] = take_log(3); };
    EXPECT_EQ(mac_data_read(kInst, kType, 1), 0u);
    EXPECT_EQ(before["read"], Log{});
    EXPECT_EQ(before["get_format"], record_lines(0, read_up_to(40)));
    EXPECT_EQ(take_log(3), Log{summary(0, "0xfedcba9876543210-0x1234-0x4-02-00-00-00-00-01")});
    EXPECT_EQ(spare_script().parses, std::vector<Record>{read_up_to(40)});
    EXPECT_EQ(fields(), kParsed);
}

TEST_F(MacDataFailure, Write_LogsTheRecordBeforeTheMediumGetsIt) {
    std::map<std::string, Log> before;
    spare_script().at_operation = [&](const std::string& name) { before[name] = take_log(3); };
    EXPECT_EQ(mac_data_write(kInst, kType, 1), 0u);
    EXPECT_EQ(before["set_format"], Log{});
    EXPECT_EQ(before["write"], record_lines(1, built));
    EXPECT_EQ(take_log(3), Log{summary(1, "0xfedcba9876543210-0x4321-0x321-02-a1-a2-a3-a4-a5")});
    EXPECT_EQ(spare_script().written, std::vector<Record>{built});
    EXPECT_EQ(fields(), kBuilt);
}

TEST_F(MacDataFailure, Lines_OfOneCall_CarryMarkAreaAndWideFlag) {
    for (const int rw : {0, 1, 2, -1}) {
        mac_data_mesg(kInst, kType, 1, static_cast<u32>(rw));
        EXPECT_EQ(take_log(3), record_lines(rw, untouched));
        mac_data_dump(kInst, kType, 1, static_cast<u32>(rw));
        EXPECT_EQ(take_log(3), Log{summary(rw, "0x102030405060708-0x654-0x321-02-a1-a2-a3-a4-a5")});
    }
    mac_data_dump(kInst, kType, 0, 1);
    EXPECT_EQ(
        take_log(3),
        (Log{{3, "mac inst 0x1f type 2 area 0 rw 1 data[0x1-0x1-0x10-00-00-00-00-00-00] ."}}));
}

TEST_F(MacDataFailure, Summary_HasEachByteInItsPlaceInTwoDigits) {
    mac_area& spare = area(kType, 1);
    const u8 mac[6] = {0x01, 0x20, 0x03, 0xff, 0x00, 0x0f};
    std::copy_n(mac, 6, spare.mac);
    spare.flag = 0xffffffffffffffff;
    spare.crc = 0x80000000;
    spare.mac_num = 0xffffffff;
    mac_data_dump(kInst, kType, 1, 0);
    EXPECT_EQ(take_log(3),
              Log{summary(0, "0xffffffffffffffff-0x80000000-0xffffffff-01-20-03-ff-00-0f")});
}

// --- fields and record after each failure ---

TEST_F(MacDataFailure, MediumReadFails_LeavesFieldsAndWhatWasRead) {
    spare_script().read_result = 0x82000003;
    spare_script().read_before_failing = 5;
    EXPECT_EQ(mac_data_read(kInst, kType, 1), 0x82000003u);
    EXPECT_EQ(fields(), kBefore);
    EXPECT_EQ(record(), read_up_to(5)) << "as the medium left it";
    EXPECT_EQ(take_log(3),
              (Log{{2, "mac inst 0x1f type 2 area 1 read unsuccessfully 0x82000003."}}));
    EXPECT_TRUE(spare_script().parses.empty());
}

TEST_F(MacDataFailure, ParseFails_LeavesTheFieldsAsTheFormatDid) {
    const Log log = with(record_lines(0, read_up_to(40)),
                         {1, "mac inst 0x1f type 2 area 1 format fail 0x811601a7."});
    spare_script().parse_result = 0x811601a7;
    EXPECT_EQ(mac_data_read(kInst, kType, 1), 0x811601a7u);
    EXPECT_EQ(take_log(3), log);
    EXPECT_EQ(fields(), kBefore) << "it failed before it filled them";
    spare_script().fills_when_failing = true;
    EXPECT_EQ(mac_data_read(kInst, kType, 1), 0x811601a7u);
    EXPECT_EQ(take_log(3), log) << "no summary";
    EXPECT_EQ(fields(), kParsed) << "it failed after it filled them";
    EXPECT_EQ(record(), read_up_to(40));
}

TEST_F(MacDataFailure, BuildFails_LeavesFieldsAndRecordAsTheFormatDid) {
    const Log log = {{1, "mac inst 0x1f type 2 area 1 format write fail."}};
    spare_script().build_result = 0x811601a2;
    EXPECT_EQ(mac_data_write(kInst, kType, 1), 0x811601a2u);
    EXPECT_EQ(take_log(3), log);
    EXPECT_EQ(fields(), kBefore);
    EXPECT_EQ(record(), untouched);
    spare_script().fills_when_failing = true;
    EXPECT_EQ(mac_data_write(kInst, kType, 1), 0x811601a2u);
    EXPECT_EQ(take_log(3), log);
    EXPECT_EQ(fields(), kBuilt);
    EXPECT_EQ(record(), built);
    EXPECT_TRUE(spare_script().written.empty());
}

TEST_F(MacDataFailure, MediumWriteFails_KeepsTheNewRecord) {
    spare_script().write_result = 0x82000004;
    EXPECT_EQ(mac_data_write(kInst, kType, 1), 0x82000004u);
    EXPECT_EQ(fields(), kBuilt) << "flag and check value are the new record's";
    EXPECT_EQ(record(), built);
    EXPECT_EQ(take_log(3),
              with(record_lines(1, built), {1, "mac inst 0x1f type 2 area 1 write data fail."}))
        << "no summary";
}

TEST_F(MacDataFailure, EmptySlots_EndTheOperationWhereTheyAre) {
    MacDriverOps& ops = spare_script().ops;
    const MacDriverOps all = ops;
    const std::string who = "mac inst 0x1f type 2 area 1 ";

    ops.read = nullptr;
    EXPECT_EQ(mac_data_read(kInst, kType, 1), kLacks);
    EXPECT_EQ(take_log(3),
              (Log{{1, who + "data_get uninstall"}, {2, who + "read unsuccessfully 0x811601a5."}}));
    EXPECT_EQ(record(), untouched);
    ops = all;
    ops.get_format = nullptr;
    EXPECT_EQ(mac_data_read(kInst, kType, 1), kLacks);
    EXPECT_EQ(take_log(3),
              with(with(record_lines(0, read_up_to(40)), {1, who + "form_get uninstall"}),
                   {1, who + "format fail 0x811601a5."}));
    EXPECT_EQ(fields(), kBefore);
    ops = all;
    ops.set_format = nullptr;
    EXPECT_EQ(mac_data_write(kInst, kType, 1), kLacks);
    EXPECT_EQ(take_log(3), (Log{{1, who + "form_set uninstall"}, {1, who + "format write fail."}}));
    EXPECT_TRUE(spare_script().written.empty());
    EXPECT_EQ(fields(), kBefore);
    ops = all;
    ops.write = nullptr;
    EXPECT_EQ(mac_data_write(kInst, kType, 1), kLacks);
    EXPECT_EQ(take_log(3), with(with(record_lines(1, built), {1, who + "data_set uninstall"}),
                                {1, who + "write data fail."}));
    EXPECT_EQ(fields(), kBuilt);
}

TEST_F(MacDataFailure, NoDriver_TouchesNothing) {
    mac_entery_find_by_storage(kInst, kType, 1)->driver = nullptr;
    const std::string who = "mac inst 0x1f type 2 area 1 ";
    EXPECT_EQ(mac_data_read(kInst, kType, 1), kNotSupported);
    EXPECT_EQ(take_log(3), (Log{{1, who + "driver uninstall"},
                                {1, who + "data_get not exist"},
                                {2, who + "read unsuccessfully 0x811601a4."}}));
    EXPECT_EQ(mac_data_write(kInst, kType, 1), kNotSupported);
    EXPECT_EQ(take_log(3), (Log{{1, who + "driver uninstall"},
                                {1, who + "form_set not exist"},
                                {1, who + "format write fail."}}));
    EXPECT_EQ(fields(), kBefore);
    EXPECT_EQ(record(), untouched);
}

TEST_F(MacDataFailure, SingleSteps_AreTheirOperationAlone) {
    const auto run = [](u32 (*step)(u32, u32, u32)) {
        std::string operations;
        spare_script().at_operation = [&](const std::string& name) { operations += name; };
        EXPECT_EQ(step(kInst, kType, 1), 0u);
        return operations;
    };
    EXPECT_EQ(run(mac_get_device), "read");
    EXPECT_EQ(run(mac_get_format), "get_format");
    EXPECT_EQ(run(mac_set_format), "set_format");
    EXPECT_EQ(run(mac_set_device), "write");
    EXPECT_EQ(take_log(3), Log{}) << "the lines are those of a whole read or write";
}

TEST_F(MacDataFailure, SingleSteps_PassTheResultOn) {
    spare_script().read_result = 0x71;
    spare_script().parse_result = 0x72;
    spare_script().build_result = 0x73;
    spare_script().write_result = 0x74;
    EXPECT_EQ(mac_get_device(kInst, kType, 1), 0x71u);
    EXPECT_EQ(mac_get_format(kInst, kType, 1), 0x72u);
    EXPECT_EQ(mac_set_format(kInst, kType, 1), 0x73u);
    EXPECT_EQ(mac_set_device(kInst, kType, 1), 0x74u);
    EXPECT_EQ(take_log(3), Log{});
}

// --- areas that are none ---

TEST_F(MacDataFailure, AreaAboveOne_FailsByEveryWay) {
    for (const u32 index : {2u, 0xffffffffu}) {
        const std::string who = text("mac inst 0x1f type 2 area %d ", static_cast<s32>(index));
        const test::Line invalid = {1, who + "invaild."};
        EXPECT_EQ(mac_get_data(kInst, kType, index), nullptr);
        EXPECT_EQ(take_log(3), Log{invalid});
        EXPECT_EQ(mac_data_read(kInst, kType, index), kFail);
        EXPECT_EQ(take_log(3), (Log{invalid, {2, who + "read unsuccessfully 0xffffffff."}}));
        EXPECT_EQ(mac_data_write(kInst, kType, index), kFail);
        EXPECT_EQ(take_log(3), (Log{invalid, {1, who + "format write fail."}}));
        mac_data_mesg(kInst, kType, index, 0);
        EXPECT_EQ(take_log(3), (Log{invalid, {1, who + "dump data is null."}}));
        mac_data_dump(kInst, kType, index, 0);
        EXPECT_EQ(take_log(3), (Log{invalid, {1, who + "dump data is null."}}));
    }
    EXPECT_EQ(mac_get_data(kInst, 9, 2), nullptr) << "the area is looked at first";
    EXPECT_EQ(take_log(3), (Log{{1, "mac inst 0x1f type 9 area 2 invaild."}}));
    EXPECT_TRUE(spare_script().reads.empty());
    EXPECT_TRUE(main_script().reads.empty());
}

TEST_F(MacDataFailure, GetData_IsTheAreaAskedFor) {
    EXPECT_EQ(mac_get_data(kInst, kType, 0), &area(kType, 0));
    EXPECT_EQ(mac_get_data(kInst, kType, 1), &area(kType, 1));
    EXPECT_FALSE(mac_area_present(nullptr));
    EXPECT_TRUE(mac_area_present(&area(kType, 1)));
}

TEST_F(MacDataFailure, StepsThatAreMissing_PrintTypesFrom2To31AsNegativeNumbers) {
    add_entry(kWide, 0x4d08, "script_main");
    mac_driver_install(kInst);
    ASSERT_EQ(mac_data_create(kInst, kWide), 0);
    take_log();
    const std::string who = "mac inst 0x1f type -2147483646 area 0 ";
    mac_entry* const entry = mac_entery_find_by_storage(kInst, kWide, 0);
    MacDriverOps* const driver = entry->driver;
    main_script().ops = {};
    const struct {
        u32 (*step)(u32, u32, u32);
        const char* word;
    } steps[] = {{mac_get_device, "data_get"},
                 {mac_set_device, "data_set"},
                 {mac_get_format, "form_get"},
                 {mac_set_format, "form_set"}};
    for (const auto& [step, word] : steps) {
        entry->driver = driver;
        EXPECT_EQ(step(kInst, kWide, 0), kLacks);
        EXPECT_EQ(take_log(3), (Log{{1, who + word + " uninstall"}}));
        entry->driver = nullptr;
        EXPECT_EQ(step(kInst, kWide, 0), kNotSupported);
        EXPECT_EQ(take_log(3),
                  (Log{{1, who + "driver uninstall"}, {1, who + word + " not exist"}}));
    }
}

TEST_F(MacDataFailure, Texts_PrintTypesFrom2To31AsNegativeNumbers) {
    add_entry(kWide, 0x4d08, "script_main");
    mac_driver_install(kInst);
    ASSERT_EQ(mac_data_create(kInst, kWide), 0);
    const std::string who = "mac inst 0x1f type -2147483646 area 0 ";
    const std::string line = "action[0 read 1 write] ";
    EXPECT_EQ(mac_data_read(kInst, kWide, 0), 0u);
    EXPECT_EQ(take_log(3),
              (Log{{3, who + line + "0:" + test::hex(read_up_to(40), 0, 32) + "."},
                   {3, who + "rw 0 indx[1]:2021222324252627."},
                   {3, who + "rw 0 data[0xfedcba9876543210-0x1234-0x4-02-00-00-00-00-01] ."}}));
    main_script().write_result = 9;
    EXPECT_EQ(mac_data_write(kInst, kWide, 0), 9u);
    EXPECT_EQ(take_log(2), (Log{{1, who + "write data fail."}}));
    main_script().build_result = 9;
    main_script().parse_result = 9;
    EXPECT_EQ(mac_data_write(kInst, kWide, 0), 9u);
    EXPECT_EQ(mac_data_read(kInst, kWide, 0), 9u);
    EXPECT_EQ(take_log(2), (Log{{1, who + "format write fail."}, {1, who + "format fail 0x9."}}));
    main_script().ops = {};
    EXPECT_EQ(mac_data_read(kInst, kWide, 0), kLacks);
    EXPECT_EQ(take_log(2),
              (Log{{1, who + "data_get uninstall"}, {2, who + "read unsuccessfully 0x811601a5."}}));
    EXPECT_EQ(mac_get_data(kInst, kWide, 2), nullptr);
    EXPECT_EQ(take_log(2), (Log{{1, "mac inst 0x1f type -2147483646 area 2 invaild."}}));
    mac_data_dump(kInst, kWide, 1, 0);
    const std::string spare = "mac inst 0x1f type -2147483646 area 1 ";
    EXPECT_EQ(take_log(2), (Log{{2, spare + "not support."}, {1, spare + "dump data is null."}}));
}

}  // namespace
