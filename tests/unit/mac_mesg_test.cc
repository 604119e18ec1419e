// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "storage/formats/mac_mesg.h"

#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace {

using test::bytes;
using test::Log;
using test::Record;

using MacMesg = test::PlatformTest;

TEST_F(MacMesg, SetU16_HigherBits_AreIgnored) {
    Record out(2);
    mac_mesg_set_u16(out.data(), 0x12345);
    EXPECT_EQ(out, bytes("2345"));
}

TEST_F(MacMesg, GetU16_StoresAllThirtyTwoBits) {
    u32 value = 0xffffffff;
    mac_mesg_get_u16(bytes("2345").data(), &value);
    EXPECT_EQ(value, 0x2345u);
}

TEST_F(MacMesg, U32_RoundTripsMostSignificantByteFirst) {
    Record out(4);
    mac_mesg_set_u32(out.data(), 0x89abcdef);
    EXPECT_EQ(out, bytes("89abcdef"));
    u32 value = 0;
    mac_mesg_get_u32(out.data(), &value);
    EXPECT_EQ(value, 0x89abcdefu);
}

TEST_F(MacMesg, SetU48_HigherBits_AreIgnored) {
    Record out(6);
    mac_mesg_set_u48(out.data(), 0xAABB112233445566);
    EXPECT_EQ(out, bytes("112233445566"));
}

TEST_F(MacMesg, GetU48_UpperBitsAreZero) {
    u64 value = ~u64{0};
    mac_mesg_get_u48(bytes("fedcba987654").data(), &value);
    EXPECT_EQ(value, 0x0000fedcba987654u);
}

TEST_F(MacMesg, U64_RoundTripsMostSignificantByteFirst) {
    Record out(8);
    mac_mesg_set_u64(out.data(), 0x0123456789abcdef);
    EXPECT_EQ(out, bytes("0123456789abcdef"));
    u64 value = 0;
    mac_mesg_get_u64(out.data(), &value);
    EXPECT_EQ(value, 0x0123456789abcdefu);
}

TEST_F(MacMesg, AnyOffset_IsAllowed) {
    Record out(9);
    mac_mesg_set_u64(out.data() + 1, 1);
    u32 value = 0;
    mac_mesg_get_u32(out.data() + 5, &value);
    EXPECT_EQ(value, 1u);
}

TEST_F(MacMesg, NullPointers_DoNothing) {
    mac_mesg_set_u16(nullptr, 1);
    mac_mesg_set_u32(nullptr, 1);
    mac_mesg_set_u48(nullptr, 1);
    mac_mesg_set_u64(nullptr, 1);
    u32 value32 = 7;
    u64 value64 = 7;
    mac_mesg_get_u16(nullptr, &value32);
    mac_mesg_get_u32(nullptr, &value32);
    mac_mesg_get_u48(nullptr, &value64);
    mac_mesg_get_u64(nullptr, &value64);
    EXPECT_EQ(value32, 7u);
    EXPECT_EQ(value64, 7u);
    const Record in = bytes("0102030405060708");
    mac_mesg_get_u16(in.data(), nullptr);
    mac_mesg_get_u32(in.data(), nullptr);
    mac_mesg_get_u48(in.data(), nullptr);
    mac_mesg_get_u64(in.data(), nullptr);
    EXPECT_EQ(in, bytes("0102030405060708"));
}

TEST_F(MacMesg, Copy_CopiesForward) {
    Record out = bytes("00000000");
    mac_mesg_copy(out.data(), bytes("010203").data(), 3);
    EXPECT_EQ(out, bytes("01020300"));
    mac_mesg_copy(out.data(), bytes("ff").data(), 0);
    EXPECT_EQ(out, bytes("01020300"));
}

TEST_F(MacMesg, Copy_OverlappingOrInPlace_GoesByteByByteFromTheFront) {
    Record up = bytes("0102030405");
    mac_mesg_copy(up.data() + 1, up.data(), 4);
    EXPECT_EQ(up, bytes("0101010101")) << "each byte is read after the one before was written";
    up = bytes("0102030405");
    mac_mesg_copy(up.data() + 2, up.data(), 3);
    EXPECT_EQ(up, bytes("0102010201"));
    Record down = bytes("0102030405");
    mac_mesg_copy(down.data(), down.data() + 1, 4);
    EXPECT_EQ(down, bytes("0203040505"));
    Record same = bytes("0102030405");
    mac_mesg_copy(same.data(), same.data(), 5);
    EXPECT_EQ(same, bytes("0102030405"));
    Record large(40);
    for (size_t i = 0; i < large.size(); ++i) large[i] = static_cast<u8>(i);
    mac_mesg_copy(large.data() + 1, large.data(), 39);
    EXPECT_EQ(large, Record(40)) << "also where a compiler would copy words";
}

TEST_F(MacMesg, Copy_NullSourceOrDestination_CopiesNothing) {
    Record out = bytes("0102");
    mac_mesg_copy(out.data(), nullptr, 2);
    mac_mesg_copy(nullptr, out.data(), 2);
    EXPECT_EQ(out, bytes("0102"));
}

TEST_F(MacMesg, Endian_AnyLength_SwapsExactlySixBytes) {
    for (const u32 length : {0u, 6u, 100u}) {
        Record out(7, 0xee);
        mac_mesg_endian(out.data(), bytes("010203040506").data(), length);
        EXPECT_EQ(out, bytes("020104030605ee")) << length;
    }
}

TEST_F(MacMesg, Endian_OverlappingOrInPlace_ReadsWhatItHasWritten) {
    Record same = bytes("010203040506");
    mac_mesg_endian(same.data(), same.data(), 6);
    EXPECT_EQ(same, bytes("010103030505")) << "the first of a pair goes first";
    Record up = bytes("01020304050607");
    mac_mesg_endian(up.data() + 1, up.data(), 6);
    EXPECT_EQ(up, bytes("01020104010601"));
    Record down = bytes("00010203040506");
    mac_mesg_endian(down.data(), down.data() + 1, 6);
    EXPECT_EQ(down, bytes("02010403060506"));
}

TEST_F(MacMesg, Endian_IsItsOwnInverse) {
    Record once(6);
    Record twice(6);
    mac_mesg_endian(once.data(), bytes("8123456789ab").data(), 6);
    mac_mesg_endian(twice.data(), once.data(), 6);
    EXPECT_EQ(once, bytes("23816745ab89"));
    EXPECT_EQ(twice, bytes("8123456789ab"));
}

TEST_F(MacMesg, Endian_NullPointer_DoesNothing) {
    Record out = bytes("010203040506");
    mac_mesg_endian(out.data(), nullptr, 6);
    mac_mesg_endian(nullptr, out.data(), 6);
    EXPECT_EQ(out, bytes("010203040506"));
}

TEST_F(MacMesg, Incr_CarriesThroughAllBytes) {
    const auto after = [](const char* base, u32 index) {
        Record out(6);
        mac_data_incr(bytes(base).data(), index, out.data(), 12);
        return test::hex(out);
    };
    EXPECT_EQ(after("0000000000ff", 1), "000000000100");
    EXPECT_EQ(after("0011223344ff", 1), "001122334500");
    EXPECT_EQ(after("ffffffffffff", 1), "000000000000");
    EXPECT_EQ(after("ffffffffffff", 2), "000000000001");
    EXPECT_EQ(after("00ffffffffff", 1), "010000000000");
    EXPECT_EQ(after("000000000000", 0xffffffff), "0000ffffffff");
}

TEST_F(MacMesg, Incr_InPlaceOrOverlapping_ReadsTheBaseFirst) {
    Record same = bytes("0011223344ff");
    mac_data_incr(same.data(), 1, same.data(), 12);
    EXPECT_EQ(same, bytes("001122334500"));
    Record up = bytes("0011223344ff00");
    mac_data_incr(up.data(), 2, up.data() + 1, 12);
    EXPECT_EQ(up, bytes("00001122334501"));
    Record down = bytes("000011223344ff");
    mac_data_incr(down.data() + 1, 0x100, down.data(), 12);
    EXPECT_EQ(down, bytes("0011223345ffff"));
}

TEST_F(MacMesg, Incr_AnyRoom_WritesSixBytes) {
    for (const u32 room : {0u, 5u, 6u, 12u, 0xffffffffu}) {
        Record out(8, 0x5a);
        mac_data_incr(bytes("0000000000ff").data(), 1, out.data(), room);
        EXPECT_EQ(out, bytes("0000000001005a5a")) << room;
    }
}

TEST_F(MacMesg, Incr_NullBase_CountsAsZero) {
    Record out(6, 0xaa);
    mac_data_incr(nullptr, 5, out.data(), 12);
    EXPECT_EQ(out, bytes("000000000005"));
}

TEST_F(MacMesg, Incr_NullOutput_WritesNothing) {
    mac_data_incr(bytes("010203040506").data(), 1, nullptr, 12);
}

TEST_F(MacMesg, Dump_ShortBuffer_IsLoggedWhole) {
    mac_mesg_dump(0x1a, "m0", 1, bytes("00ff10").data(), 3);
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1a name m0 rw 1 data[3]:00ff10."}}));
}

TEST_F(MacMesg, Dump_FortyBytes_ShowsSixtyThreeDigits) {
    Record buf(40);
    for (size_t i = 0; i < buf.size(); ++i) buf[i] = static_cast<u8>(0xa0 + i);
    mac_mesg_dump(3, "pool", 0, buf.data(), 40);
    EXPECT_EQ(
        take_log(),
        (Log{{2, "mac inst 0x3 name pool rw 0 data[40]:" + test::hex(buf).substr(0, 63) + "."}}));
}

TEST_F(MacMesg, Dump_ThirtyOneBytes_ShowsAllDigits) {
    const Record buf(31, 0x5a);
    mac_mesg_dump(0, "n", 0, buf.data(), 31);
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x0 name n rw 0 data[31]:" + test::hex(buf) + "."}}));
}

TEST_F(MacMesg, Dump_ThirtyTwoBytes_ShowsTheHighDigitOfTheLast) {
    Record buf(33);
    for (size_t i = 0; i < buf.size(); ++i) buf[i] = static_cast<u8>(0xef - i);
    buf[31] = 0x9c;
    const std::string shown = test::hex(buf, 0, 31) + "9";
    mac_mesg_dump(0xa, "n", 1, buf.data(), 32);
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0xa name n rw 1 data[32]:" + shown + "."}}));
    mac_mesg_dump(0xa, "n", 1, buf.data(), 33);
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0xa name n rw 1 data[33]:" + shown + "."}}));
}

TEST_F(MacMesg, Dump_NoByte_LogsAnEmptyText) {
    const u8 byte = 0x5a;
    mac_mesg_dump(0xa, "n", 0, &byte, 0);
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0xa name n rw 0 data[0]:."}}));
}

TEST_F(MacMesg, Dump_NumbersReadSigned) {
    const Record buf(32, 0x5a);
    mac_mesg_dump(1, "n", 0xffffffff, buf.data(), 0x80000000);
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1 name n rw -1 data[-2147483648]:" +
                                       test::hex(buf).substr(0, 63) + "."}}));
}

// Whatever an earlier call left on the stack.
TEST_F(MacMesg, Dump_AfterLongerOnes_EndsWithItsOwnDigits) {
    const Record buf(40, 0x5a);
    for (int i = 0; i < 5000; ++i) mac_mesg_dump(1, "n", 0, buf.data(), 40);
    take_log();
    mac_mesg_dump(1, "n", 0, buf.data(), 2);
    EXPECT_EQ(take_log(), (Log{{2, "mac inst 0x1 name n rw 0 data[2]:5a5a."}}));
}

TEST_F(MacMesg, Dump_NullBuffer_LogsNothing) {
    mac_mesg_dump(0, "m0", 1, nullptr, 3);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacMesg, Fill_OverItsOwnBase_ReadsTheBaseFirst) {
    Record list = bytes("0011223344fe000000000000000000000000");
    mac_data_fill(list.data(), 3, list.data());
    EXPECT_EQ(list, bytes("0011223344fe0011223344ff001122334500"));
}

TEST_F(MacMesg, Fill_IsThatManyIncrements_AndNothingBehind) {
    for (const char* base : {"000000000000", "0211223344fe", "02fffffffffe", "fffffffffffe"}) {
        for (const u32 count : {0u, 1u, 2u, 3u, 255u, 256u, 1000u}) {
            test::Record out(6 * count + 2, 0x5a);
            mac_data_fill(test::bytes(base).data(), count, out.data());
            for (u32 i = 0; i < count; ++i) {
                u8 expected[6];
                mac_data_incr(test::bytes(base).data(), i, expected, 6);
                ASSERT_EQ(test::Record(out.begin() + 6 * i, out.begin() + 6 * i + 6),
                          test::Record(expected, expected + 6))
                    << base << i;
            }
            EXPECT_EQ(out[6 * count], 0x5a);
            EXPECT_EQ(out[6 * count + 1], 0x5a);
        }
    }
}

}  // namespace
