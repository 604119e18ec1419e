// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The media adapters: flash, EEPROM, environment.
#include "storage/media/mac_media.h"

#include "platform/common/service_status.h"
#include "platform/env.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"
#include "tests/support/journal.h"

namespace {

using host::Call;
using test::Log;
using test::Mac;
using test::Record;

constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

class MacMedia : public test::PlatformTest {
protected:
    MacMedia() { use_board(test::board_with("")); }
};

using MediumOp = u32 (*)(u32, const char*, u32, u32, u8*, u32);

struct Adapter {
    MediumOp op;
    Call call;
    u32 chip;
    const char* word;
};
const Adapter kAdapters[] = {
    {mac_flash_read, Call::kFlashRead, 45, "flash_r"},
    {mac_flash_write, Call::kFlashWrite, 45, "flash_w"},
    {mac_eeprom_read, Call::kEepromRead, 264, "e2prom_r"},
    {mac_eeprom_write, Call::kEepromWrite, 264, "e2prom_w"},
};

TEST_F(MacMedia, Failure_IsLoggedAndPassedThrough) {
    for (const Adapter& adapter : kAdapters) {
        for (const u32 code : {1u, 0xfffffff2u}) {
            host::faults().fail(adapter.call, 1, code);
            Record buf(16, 0x5a);
            EXPECT_EQ(adapter.op(0x1f, nullptr, adapter.chip, 0x10, buf.data(), 16), code);
            EXPECT_EQ(buf, Record(16, 0x5a));
            EXPECT_EQ(take_log(),
                      (Log{{2, test::text("mac inst 0x1f %s chip[0x%x-0x10] len[16] invalid "
                                          "ret[0x%x].",
                                          adapter.word, adapter.chip, code)}}));
        }
    }
}

TEST_F(MacMedia, Success_IsSilent_AndMovesTheBytes) {
    Record out = test::qolt(kBase, 16);
    EXPECT_EQ(mac_flash_write(1, nullptr, 45, 0x10010, out.data(), 16), 0u);
    EXPECT_EQ(mac_eeprom_write(1, nullptr, 265, 0x20, out.data(), 16), 0u);
    EXPECT_EQ(out, test::qolt(kBase, 16)) << "a write leaves the buffer unchanged";
    Record in(16);
    EXPECT_EQ(mac_flash_read(1, nullptr, 45, 0x10010, in.data(), 16), 0u);
    EXPECT_EQ(in, out);
    in.assign(16, 0);
    EXPECT_EQ(mac_eeprom_read(1, nullptr, 265, 0x20, in.data(), 16), 0u);
    EXPECT_EQ(in, out);
    EXPECT_EQ(take_log(), Log{});
    EXPECT_EQ(test::hex(board().memory("eeprom-265"), 0x20, 16), test::hex(out));
}

TEST_F(MacMedia, LengthZero_IsPassedThrough) {
    for (const Adapter& adapter : kAdapters) {
        u8 byte = 0;
        const unsigned before = host::faults().uses(adapter.call);
        EXPECT_EQ(adapter.op(1, nullptr, adapter.chip, 0, &byte, 0), 0u);
        EXPECT_EQ(host::faults().uses(adapter.call), before + 1);
    }
}

TEST_F(MacMedia, UnknownChip_IsTheServicesCode) {
    for (const Adapter& adapter : kAdapters) {
        u8 byte = 0;
        EXPECT_EQ(adapter.op(1, nullptr, 9999, 0, &byte, 1), u32{SERVICE_NO_CHIP});
    }
}

TEST_F(MacMedia, ServicesAreGiven_TheArgumentsAsTheyAre) {
    const char* const functions[] = {"drv_flash_read", "drv_flash_write", "drv_eeprom_read_data",
                                     "drv_eeprom_write_data"};
    Record buf(16);
    for (size_t i = 0; i < std::size(kAdapters); ++i) {
        test::Journal journal({"drv_"});
        (void)kAdapters[i].op(0x8000001f, "name", 0x90000002, 0xa0000003, buf.data(), 13);
        EXPECT_EQ(journal.take(), (test::Journal::Calls{test::text(
                                      "%s 0x8000001f 2415919106 2684354563 13", functions[i])}));
    }
}

TEST_F(MacMedia, Failure_OfAnyLength_IsLoggedAsItIs) {
    for (const Adapter& adapter : kAdapters) {
        u8 byte = 0;
        host::faults().fail(adapter.call, 1, 0x80000000);
        EXPECT_EQ(adapter.op(0xffffffff, "n", 0x80000001, 0x80000002, &byte, 0x80000003),
                  0x80000000u);
        EXPECT_EQ(take_log(),
                  (Log{{2, test::text("mac inst 0xffffffff %s chip[0x80000001-0x80000002] "
                                      "len[-2147483645] invalid ret[0x80000000].",
                                      adapter.word)}}));
    }
}

class MacEnv : public MacMedia {
protected:
    static std::string variable(const char* name) {
        char value[64] = "(none)";
        (void)drv_env_get(name, value, sizeof(value));
        return value;
    }
    static void set(const char* name, const char* value) {
        ASSERT_EQ(drv_env_set(name, value), 0u);
        ASSERT_EQ(drv_env_save(), 0u);
    }
};

TEST_F(MacEnv, Write_SetsBothVariables_AndSavesTwice) {
    Record record = test::qolt(kBase, 16);
    EXPECT_EQ(mac_env_write(7, "m0", 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(host::faults().uses(Call::kEnvSave), 2u);
    EXPECT_EQ(variable("m0_num"), "00000010");
    EXPECT_EQ(variable("m0"), "00:11:22:33:44:55");
    EXPECT_EQ(take_log(),
              (Log{{2, "mac inst 0x7 name m0 rw 1 data[16]:" + test::hex(record) + "."}}));
}

TEST_F(MacEnv, Write_NullOrTooLong_SetsNothingInSilence) {
    Record record(65);
    EXPECT_EQ(mac_env_write(7, "m0", 0, 0, nullptr, 16), 0xffffffffu);
    EXPECT_EQ(mac_env_write(7, "m0", 0, 0, record.data(), 65), 0xffffffffu);
    EXPECT_EQ(host::faults().uses(Call::kEnvSet), 0u);
    EXPECT_EQ(take_log(), Log{});
    EXPECT_EQ(mac_env_write(7, "m0", 0, 0, record.data(), 64), 0u);
}

TEST_F(MacEnv, Write_NameCannotBeFormed_Fails) {
    Record record = test::qolt(kBase, 16);
    host::faults().fail(Call::kSprintf);
    EXPECT_EQ(mac_env_write(7, "m0", 0, 0, record.data(), 16), 0xffffffffu);
    EXPECT_EQ(take_log().back(), (test::Line{2, "mac env write format invalid."}));
    const std::string long_name(60, 'n');
    EXPECT_EQ(mac_env_write(7, long_name.c_str(), 0, 0, record.data(), 16), 0xffffffffu);
    EXPECT_EQ(take_log().back(), (test::Line{2, "mac env write format invalid."}));
    EXPECT_EQ(host::faults().uses(Call::kEnvSet), 0u);
}

TEST_F(MacEnv, Names_OfFiftyNineCharacters_StillTakeTheSuffix) {
    const std::string name(59, 'n');
    Record record = test::qolt(kBase, 16);
    EXPECT_EQ(mac_env_write(7, name.c_str(), 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(variable((name + "_num").c_str()), "00000010");
    record.assign(16, 0);
    EXPECT_EQ(mac_env_read(7, name.c_str(), 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(record, test::qolt(kBase, 16));
}

TEST_F(MacEnv, Texts_HaveRoomForSixtyFour) {
    test::Journal journal({"sprintf_s", "drv_env_"});
    Record record = test::qolt(kBase, 16);
    EXPECT_EQ(mac_env_write(7, "m0", 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(journal.take(),
              (test::Journal::Calls{"sprintf_s 64", "drv_env_set m0_num 00000010", "drv_env_save",
                                    "drv_env_set m0 00:11:22:33:44:55", "drv_env_save"}));
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(journal.take(),
              (test::Journal::Calls{"sprintf_s 64", "drv_env_get m0_num 64", "drv_env_get m0 64"}));
}

TEST_F(MacEnv, Values_OfSixtyThreeCharacters_AreTheLongest) {
    const std::string tail(46, ' ');
    set("m0", ("00:11:22:33:44:55" + tail).c_str());
    set("m0_num", ("0000abcd" + tail + std::string(9, ' ')).c_str());
    Record record(16);
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(record, test::qolt(kBase, 0xabcd));
    take_log();
    set("m0_num", ("0000abcd" + tail + std::string(10, ' ')).c_str());
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(record, test::qolt(kBase, 16)) << "a count that does not fit is missing";
    EXPECT_EQ(take_log()[0], (test::Line{2, test::text("mac name m0_num env_r invalid ret[0x%x].",
                                                       u32{SERVICE_ENV_TOO_LONG})}));
    set("m0", ("00:11:22:33:44:55" + tail + " ").c_str());
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), u32{SERVICE_ENV_TOO_LONG});
}

TEST_F(MacEnv, Write_DumpsTheRecordBeforeItStores) {
    Record record = test::qolt(kBase, 16);
    record.resize(20, 0x5a);
    const Log dump = {{2, "mac inst 0x7 name m0 rw 1 data[20]:" + test::hex(record) + "."}};
    Log before;
    host::faults().at_use(Call::kEnvSet, 1, [&] { before = take_log(); });
    EXPECT_EQ(mac_env_write(7, "m0", 0, 0, record.data(), 20), 0u);
    EXPECT_EQ(before, dump) << "all that it was given, also what is not stored";
    EXPECT_EQ(take_log(), Log{});
    host::faults().fail(Call::kSprintf);
    EXPECT_EQ(mac_env_write(7, "m0", 0, 0, record.data(), 20), 0xffffffffu);
    EXPECT_EQ(take_log(), (Log{dump[0], {2, "mac env write format invalid."}}));
    EXPECT_EQ(mac_env_write(7, "m0", 0, 0, record.data(), 14), 0u);
    EXPECT_EQ(take_log(),
              (Log{{2, "mac inst 0x7 name m0 rw 1 data[14]:" + test::hex(record, 0, 14) + "."}}));
}

TEST_F(MacEnv, Write_CountFails_LeavesTheAddress) {
    set("m0", "old");
    Record record = test::qolt(kBase, 16);
    take_log();
    host::faults().clear();
    host::faults().fail(Call::kEnvSet, 1, 0x101);
    host::faults().fail(Call::kEnvSave, 1, 0x220);
    EXPECT_EQ(mac_env_write(0x1c, "m0", 0, 0, record.data(), 16), 0x321u) << "the OR of both";
    EXPECT_EQ(take_log().back(),
              (test::Line{2, "mac inst 0x1c name m0_num env_w invalid ret[0x321]."}));
    EXPECT_EQ(host::faults().uses(Call::kEnvSave), 1u) << "saved in every case, once";
    EXPECT_EQ(variable("m0"), "old");
}

TEST_F(MacEnv, Write_HighBitsOfAFailure_Stay) {
    set("m0", "old");
    Record record = test::qolt(kBase, 16);
    host::faults().fail(Call::kEnvSet, 1, 0x10000);
    EXPECT_EQ(mac_env_write(0x1c, "m0", 0, 0, record.data(), 16), 0x10000u);
    EXPECT_EQ(variable("m0"), "old") << "nothing is stored behind it";
    host::faults().fail(Call::kEnvSave, 1, 0x20000);
    EXPECT_EQ(mac_env_write(0x1c, "m0", 0, 0, record.data(), 16), 0x20000u);
    host::faults().fail(Call::kEnvSet, 2, 0x40000);
    EXPECT_EQ(mac_env_write(0x1c, "m0", 0, 0, record.data(), 16), 0x40000u);
}

TEST_F(MacEnv, Write_AddressFails_IsReportedByItsName) {
    Record record = test::qolt(kBase, 16);
    host::faults().fail(Call::kEnvSet, 2, 0x44);
    EXPECT_EQ(mac_env_write(0x1c, "m0", 0, 0, record.data(), 16), 0x44u);
    EXPECT_EQ(take_log().back(), (test::Line{2, "mac inst 0x1c name m0 env_w invalid ret[0x44]."}));
    EXPECT_EQ(variable("m0_num"), "00000010") << "the count is stored already";
}

TEST_F(MacEnv, Read_RebuildsTheRecord) {
    set("m0_num", "0000abcd");
    set("m0", "00:11:22:33:44:55");
    Record record(16);
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(record, test::qolt(kBase, 0xabcd));
    EXPECT_EQ(take_log(),
              (Log{{2, "mac inst 0x7 name m0 rw 0 data[16]:" + test::hex(record) + "."}}));
}

TEST_F(MacEnv, Read_CountMissing_MeansSixteen) {
    set("m0", "00:11:22:33:44:55");
    Record record(16);
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(record, test::qolt(kBase, 16));
    EXPECT_EQ(take_log()[0], (test::Line{2, test::text("mac name m0_num env_r invalid ret[0x%x].",
                                                       u32{SERVICE_ENV_NO_VARIABLE})}));
}

TEST_F(MacEnv, Read_Separators_AreNotChecked) {
    for (const char* const text : {"00-11-22-33-44-55", "00.11.22.33.44.55", "00x11 22/33:44-55"}) {
        set("m0", text);
        Record record(16);
        EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), 0u);
        EXPECT_EQ(record, test::qolt(kBase, 16)) << text;
    }
}

TEST_F(MacEnv, Read_CharactersThatAreNoDigits_RepeatTheLastDigit) {
    set("m0_num", "0000002z");
    set("m0", "zA:bz:zz:00:00:0f");
    Record record(16);
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), 0u);
    // High holder: 0 0 0 2, z keeps 2's predecessor in the low holder (0).
    EXPECT_EQ(test::hex(record, 4, 4), "00000020");
    EXPECT_EQ(test::hex(record, 8, 6), "2ababa00000f");
}

TEST_F(MacEnv, Read_DigitsBehindTheCount_AreNotLookedAt) {
    set("m0_num", "00000004ab");
    set("m0", "zz:11:22:33:44:55");
    Record record(16);
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(test::hex(record, 4, 10), "00000004041122334455") << "the count's last digits";
}

TEST_F(MacEnv, Read_CountMissing_LeavesTheDigitsAtZero) {
    set("m0", "zz:z1:2z:zz:00:00");
    Record record(16);
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(test::hex(record, 4, 4), "00000010") << "the default is no text with digits";
    EXPECT_EQ(test::hex(record, 8, 6), "000121210000");
}

TEST_F(MacEnv, Read_ShortTexts_ReadAsNoDigits) {
    set("m0_num", "1");
    set("m0", "ab");
    Record record(16);
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 16), 0u);
    EXPECT_EQ(test::hex(record, 4, 4), "10101010");
    EXPECT_EQ(test::hex(record, 8, 6), "abababababab");
}

TEST_F(MacEnv, Read_AddressMissing_LeavesTheBuffer) {
    Record record(16, 0x5a);
    EXPECT_EQ(mac_env_read(0x1d, "m0", 0, 0, record.data(), 16), u32{SERVICE_ENV_NO_VARIABLE});
    EXPECT_EQ(record, Record(16, 0x5a));
    const u32 code = SERVICE_ENV_NO_VARIABLE;
    EXPECT_EQ(take_log(),
              (Log{{2, test::text("mac name m0_num env_r invalid ret[0x%x].", code)},
                   {2, test::text("mac name m0 mac_str invalid ret[0x%x].", code)},
                   {2, test::text("inst 0x1d name m0_num mac read invalid ret[0x%x].", code)}}));
}

TEST_F(MacEnv, Read_NameCannotBeFormed_PrintsAnEmptyName) {
    Record record(16, 0x5a);
    host::faults().fail(Call::kSprintf);
    EXPECT_EQ(mac_env_read(0x1d, "m0", 0, 0, record.data(), 16), 0xffffffffu);
    const Log expected = {{2, "mac env read format invalid."},
                          {2, "inst 0x1d name  mac read invalid ret[0xffffffff]."}};
    EXPECT_EQ(take_log(), expected);
    EXPECT_EQ(mac_env_read(0x1d, std::string(60, 'n').c_str(), 0, 0, record.data(), 16),
              0xffffffffu);
    EXPECT_EQ(take_log(), expected);
    EXPECT_EQ(record, Record(16, 0x5a));
}

TEST_F(MacEnv, Read_NullBuffer_FailsInSilence) {
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, nullptr, 16), 0xffffffffu);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacEnv, Read_AnyLength_FillsSixteenBytes) {
    set("m0", "00:11:22:33:44:55");
    Record record(20, 0x5a);
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 1), 0u);
    Record expected = test::qolt(kBase, 16);
    expected.resize(20, 0x5a);
    EXPECT_EQ(record, expected);
    EXPECT_EQ(take_log().back(), (test::Line{2, "mac inst 0x7 name m0 rw 0 data[1]:51."}))
        << "the dump is of the length that was given";
    EXPECT_EQ(mac_env_read(7, "m0", 0, 0, record.data(), 20), 0u);
    EXPECT_EQ(take_log().back(),
              (test::Line{2, "mac inst 0x7 name m0 rw 0 data[20]:" + test::hex(expected) + "."}));
}

TEST_F(MacEnv, ReadInf_SaysWhatIsMissing) {
    set("m0", "00:11:22:33:44:55");
    u32 count_missing = 0;
    char count_text[64] = "before";
    char mac_text[64] = "";
    char count_name[64] = "";
    EXPECT_EQ(mac_env_read_inf("m0", &count_missing, count_text, mac_text, count_name), 0);
    EXPECT_EQ(count_missing, 1u);
    EXPECT_STREQ(count_text, "before");
    EXPECT_STREQ(mac_text, "00:11:22:33:44:55");
    EXPECT_STREQ(count_name, "m0_num");
    set("m0_num", "00000004");
    count_missing = 0;
    EXPECT_EQ(mac_env_read_inf("m0", &count_missing, count_text, mac_text, count_name), 0);
    EXPECT_EQ(count_missing, 0u);
    EXPECT_STREQ(count_text, "00000004");
}

}  // namespace
