// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The pipeline of one area, over scripted drivers.
#include "core/mac_data_io.h"

#include "core/mac_area.h"
#include "tests/support/data_fixture.h"

namespace {

using host::Call;
using test::Log;
using test::main_script;
using test::spare_script;
using test::text;

constexpr u32 kInst = test::kDataInstance;
constexpr u32 kNotSupported = 0x811601a4;
constexpr u32 kLacks = 0x811601a5;

using MacDataIo = test::DataTest;

TEST_F(MacDataIo, GetData_NoneAndNotSupported_AreDifferent) {
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    EXPECT_EQ(mac_get_data(kInst, 2, 2), nullptr);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 2 invaild."}}));
    const mac_area* area = mac_get_data(kInst, 2, 0);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(area), kNotSupported);
    EXPECT_FALSE(mac_area_present(area));
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type 2 area 0 not support."}}));
    area = mac_get_data(kInst, 3, 1);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(area), kNotSupported);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 3 find mng no exist."},
                               {2, "mac inst 0x1f type 3 area 1 not support."}}));
}

TEST_F(MacDataIo, GetData_DataSetVanishes_IsNotFollowed) {
    create_both(2);
    host::faults().clear();
    host::faults().at_use(Call::kSpinLock, 1,
                          [] { mac_data_remove(mac_data_find_by_instid(kInst, 2)); });
    EXPECT_FALSE(mac_area_present(mac_get_data(kInst, 2, 0)));
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 find mng no exist."},
                               {2, "mac inst 0x1f type 2 area 0 not support."}}));
}

TEST_F(MacDataIo, Operations_PassTheAreasArguments) {
    create_both(2);
    EXPECT_EQ(mac_data_read(kInst, 2, 1), 0u);
    const test::Script::Access expected = {kInst, "s", 45, 0x4c0, 16};
    EXPECT_EQ(spare_script().reads, std::vector{expected});
    EXPECT_EQ(mac_data_write(kInst, 2, 1), 0u);
    EXPECT_EQ(spare_script().writes, std::vector{expected});
    const test::Script::Build built = {spare_script().parsed_mac, 4, 16};
    EXPECT_EQ(spare_script().builds, std::vector{built});
    EXPECT_EQ(area(2, 1).crc, 0x4321u);
    EXPECT_EQ(area(2, 1).flag, 0x51u);
}

using AreaOp = u32 (*)(u32, u32, u32);

TEST_F(MacDataIo, Operations_AreaAboveOne_Fail) {
    create_both(2);
    for (const AreaOp op : {mac_get_device, mac_set_device, mac_get_format, mac_set_format}) {
        EXPECT_EQ(op(kInst, 2, 2), 0xffffffffu);
        EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 2 invaild."}}));
    }
}

TEST_F(MacDataIo, Operations_WithoutDriverOrSlot_NameTheOperation) {
    const struct {
        AreaOp op;
        const char* word;
    } operations[] = {{mac_get_device, "data_get"},
                      {mac_set_device, "data_set"},
                      {mac_get_format, "form_get"},
                      {mac_set_format, "form_set"}};
    create_both(2);
    for (const auto& [op, word] : operations) {
        mac_entery_find_by_storage(kInst, 2, 0)->driver = nullptr;
        EXPECT_EQ(op(kInst, 2, 0), kNotSupported);
        EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 0 driver uninstall"},
                                   {1, text("mac inst 0x1f type 2 area 0 %s not exist", word)}}));
        static const MacDriverOps empty{};
        mac_entery_find_by_storage(kInst, 2, 0)->driver = const_cast<MacDriverOps*>(&empty);
        EXPECT_EQ(op(kInst, 2, 0), kLacks);
        EXPECT_EQ(take_log(), (Log{{1, text("mac inst 0x1f type 2 area 0 %s uninstall", word)}}));
    }
}

TEST_F(MacDataIo, Operations_UnconfiguredArea_HasNoDriver) {
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    EXPECT_EQ(mac_get_device(kInst, 2, 0), kNotSupported);
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type 2 area 0 not support."},
                               {1, "mac inst 0x1f type 2 area 0 data_get not exist"}}));
}

std::string counting(u32 from, u32 count) {
    std::string digits;
    for (u32 i = from; i < from + count; ++i) digits += text("%02x", i);
    return digits;
}

TEST_F(MacDataIo, Read_LogsTheRecordInLinesOfThirtyTwo) {
    const struct {
        u32 size;
        u32 full;
        u32 tail;
    } cases[] = {{16, 0, 16}, {32, 1, 0}, {40, 1, 8}, {64, 2, 0}};
    u32 type = 10;
    for (const auto& c : cases) {
        main_script().size = c.size;
        add_entry(++type, 0x4d08, "script_main");
        mac_driver_install(kInst);
        ASSERT_EQ(mac_data_create(kInst, type), 0);
        take_log();
        EXPECT_EQ(mac_data_read(kInst, type, 0), 0u);
        Log expected;
        for (u32 i = 0; i < c.full; ++i) {
            expected.push_back(
                {3, text("mac inst 0x1f type %u area 0 action[0 read 1 write] 0:", type) +
                        counting(32 * i, 32) + "."});
        }
        if (c.tail != 0) {
            expected.push_back(
                {3, text("mac inst 0x1f type %u area 0 rw 0 indx[%u]:", type, c.full) +
                        counting(32 * c.full, c.tail) + "."});
        }
        expected.push_back({3, text("mac inst 0x1f type %u area 0 rw 0 "
                                    "data[0x99-0x1234-0x4-02-00-00-00-00-01] .",
                                    type)});
        EXPECT_EQ(take_log(3), expected) << c.size;
    }
}

TEST_F(MacDataIo, Read_LogsEveryLineOfALongRecord) {
    constexpr u32 kLines = 0x10001;
    main_script().size = 32 * kLines;
    add_entry(11, 0x4d08, "script_main");
    mac_driver_install(kInst);
    ASSERT_EQ(mac_data_create(kInst, 11), 0);
    take_log();
    EXPECT_EQ(mac_data_read(kInst, 11, 0), 0u);
    EXPECT_EQ(take_log(3).size(), kLines + 1) << "and the fields";
}

TEST_F(MacDataIo, Read_MediumFails_LogsANoticeOnly) {
    create_both(2);
    area(2, 0).mac_num = 77;
    main_script().read_result = 0x82000003;
    EXPECT_EQ(mac_data_read(kInst, 2, 0), 0x82000003u);
    EXPECT_EQ(take_log(3),
              (Log{{2, "mac inst 0x1f type 2 area 0 read unsuccessfully 0x82000003."}}));
    EXPECT_EQ(area(2, 0).mac_num, 77u) << "the parsed fields are untouched";
}

TEST_F(MacDataIo, Read_ParseFails_LogsTheRecordAndTheCode) {
    create_both(2);
    main_script().parse_result = 0x811601a7;
    EXPECT_EQ(mac_data_read(kInst, 2, 0), 0x811601a7u);
    EXPECT_EQ(take_log(3),
              (Log{{3, "mac inst 0x1f type 2 area 0 rw 0 indx[0]:" + counting(0, 16) + "."},
                   {1, "mac inst 0x1f type 2 area 0 format fail 0x811601a7."}}));
}

TEST_F(MacDataIo, Write_LogsRecordAndSummary) {
    create_both(2);
    EXPECT_EQ(mac_data_write(kInst, 2, 0), 0u);
    std::string filled;
    for (int i = 0; i < 16; ++i) filled += "b0";
    EXPECT_EQ(take_log(3), (Log{{3, "mac inst 0x1f type 2 area 0 rw 1 indx[0]:" + filled + "."},
                                {3,
                                 "mac inst 0x1f type 2 area 0 rw 1 "
                                 "data[0x51-0x4321-0x10-00-00-00-00-00-00] ."}}));
}

TEST_F(MacDataIo, Write_BuildFails_NeverTouchesTheMedium) {
    create_both(2);
    main_script().build_result = 0x811601a2;
    EXPECT_EQ(mac_data_write(kInst, 2, 0), 0x811601a2u);
    EXPECT_EQ(take_log(3), (Log{{1, "mac inst 0x1f type 2 area 0 format write fail."}}));
    EXPECT_TRUE(main_script().writes.empty());
}

TEST_F(MacDataIo, Write_MediumFails_KeepsTheBuiltFields) {
    create_both(2);
    main_script().write_result = 0x55;
    EXPECT_EQ(mac_data_write(kInst, 2, 0), 0x55u);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 0 write data fail."}}));
    EXPECT_EQ(area(2, 0).crc, 0x4321u);
    EXPECT_EQ(area(2, 0).buf[0], 0xb0);
}

TEST_F(MacDataIo, MesgAndDump_WithoutArea_SayNull) {
    ASSERT_EQ(mac_data_create(kInst, 2), 0);
    mac_data_mesg(kInst, 2, 0, 0);
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1f type 2 area 0 not support."},
                               {1, "mac inst 0x1f type 2 area 0 dump data is null."}}));
    mac_data_dump(kInst, 2, 2, 1);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1f type 2 area 2 invaild."},
                               {1, "mac inst 0x1f type 2 area 2 dump data is null."}}));
}

}  // namespace
