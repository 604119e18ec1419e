// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What both platforms share: bounded routines, CRC-16, the environment image.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "platform/bounded.h"
#include "platform/common/crc16.h"
#include "platform/common/env_image.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace {

using test::Record;

using Bounded = test::PlatformTest;

TEST_F(Bounded, Fill_RefusesWhatDoesNotFit) {
    char bytes[4] = {1, 2, 3, 4};
    EXPECT_EQ(memset_s(bytes, 4, 7, 2), 0);
    EXPECT_EQ(bytes[1], 7);
    EXPECT_EQ(bytes[2], 3);
    EXPECT_NE(memset_s(bytes, 4, 9, 5), 0);
    EXPECT_EQ(bytes[0], 7) << "left as it was";
    EXPECT_NE(memset_s(nullptr, 4, 9, 1), 0);
}

TEST_F(Bounded, Copy_RefusesWhatDoesNotFit_AndAllowsOverlap) {
    char bytes[6] = "abcde";
    EXPECT_EQ(memcpy_s(bytes + 1, 4, bytes, 4), 0);
    EXPECT_STREQ(bytes, "aabcd");
    EXPECT_EQ(memcpy_s(bytes, 5, bytes, 5), 0) << "onto itself";
    EXPECT_STREQ(bytes, "aabcd");
    EXPECT_NE(memcpy_s(bytes, 2, "xyz", 3), 0);
    EXPECT_STREQ(bytes, "aabcd");
    EXPECT_NE(memcpy_s(nullptr, 2, "xy", 2), 0);
    EXPECT_NE(memcpy_s(bytes, 2, nullptr, 2), 0);
}

TEST_F(Bounded, TextCopy_NeedsRoomForTheTerminator) {
    char text[4] = "old";
    EXPECT_NE(strncpy_s(text, 4, "four", 4), 0);
    EXPECT_STREQ(text, "old");
    EXPECT_EQ(strncpy_s(text, 4, "four", 3), 0);
    EXPECT_STREQ(text, "fou");
    EXPECT_EQ(strncpy_s(text, 4, "a", 99), 0);
    EXPECT_STREQ(text, "a");
    EXPECT_NE(strncpy_s(nullptr, 4, "a", 1), 0);
    EXPECT_NE(strncpy_s(text, 4, nullptr, 1), 0);
    EXPECT_NE(strncpy_s(text, 0, "", 0), 0);
}

TEST_F(Bounded, Print_IsWholeOrNothing) {
    char text[5] = "old";
    EXPECT_EQ(sprintf_s(text, 5, "%d", 1234), 4);
    EXPECT_STREQ(text, "1234");
    EXPECT_EQ(sprintf_s(text, 5, "%d", 12345), -1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(sprintf_s(text, 0, "%d", 1), -1);
    EXPECT_EQ(sprintf_s(nullptr, 5, "%d", 1), -1);
}

TEST_F(Bounded, TruncatedPrint_StoresWhatFits) {
    char text[5] = "old";
    EXPECT_EQ(snprintf_truncated_s(text, 5, "%s", "abc"), 3);
    EXPECT_EQ(snprintf_truncated_s(text, 5, "%s", "abcdef"), 4);
    EXPECT_STREQ(text, "abcd");
    EXPECT_EQ(snprintf_truncated_s(text, 1, "%s", "x"), 0);
    EXPECT_STREQ(text, "");
    text[0] = 'k';
    EXPECT_EQ(snprintf_truncated_s(text, 0, "%s", "x"), 0);
    EXPECT_EQ(text[0], 'k');
}

const char kCheckText[] = "123456789";

TEST(Crc16, EveryVariant_GivesItsCheckValue) {
    for (const platform::Crc16Variant& variant : platform::kCrc16Variants) {
        platform::Crc16 crc;
        crc.select(variant);
        EXPECT_EQ(crc.value(reinterpret_cast<const u8*>(kCheckText), 9), variant.check)
            << variant.name;
    }
}

TEST(Crc16, EveryVariant_MatchesTheBitwiseModelAtEveryLength) {
    std::mt19937 random(1);
    Record data(200);
    for (u8& byte : data) byte = static_cast<u8>(random());
    for (const platform::Crc16Variant& variant : platform::kCrc16Variants) {
        platform::Crc16 crc;
        crc.select(variant);
        for (size_t length = 0; length <= data.size(); ++length) {
            const Record part(data.begin(), data.begin() + static_cast<long>(length));
            ASSERT_EQ(
                crc.value(part.data(), length),
                test::crc16(part, variant.poly, variant.init, variant.reflected, variant.xorout))
                << variant.name << " " << length;
        }
    }
}

// Name, CRC of sixteen bytes 0x00, of sixteen bytes 0xff.
const struct {
    const char* name;
    u16 zeros;
    u16 ones;
} kKnown[] = {
    {"arc", 0x0000, 0x7040},
    {"cdma2000", 0xfc81, 0x95de},
    {"cms", 0x7d0f, 0x7f01},
    {"dds-110", 0x8e27, 0x8c29},
    {"dect-r", 0x0001, 0x51f5},
    {"dect-x", 0x0000, 0x51f4},
    {"dnp", 0xffff, 0x0053},
    {"en-13757", 0xffff, 0xca00},
    {"genibus", 0x95f5, 0x95b4},
    {"gsm", 0xffff, 0xffbe},
    {"ibm-3740", 0x6a0a, 0x6a4b},
    {"ibm-sdlc", 0xafa9, 0x2da9},
    {"iso-iec-14443-3-a", 0x4937, 0xcb37},
    {"kermit", 0x0000, 0x8200},
    {"lj1200", 0x0000, 0xa815},
    {"m17", 0x72a7, 0xbd86},
    {"maxim-dow", 0xffff, 0x8fbf},
    {"mcrf4xx", 0x5056, 0xd256},
    {"modbus", 0xf0be, 0x80fe},
    {"nrsc-5", 0xb717, 0x0e7f},
    {"opensafety-a", 0x0000, 0xcf21},
    {"opensafety-b", 0x0000, 0xe0b1},
    {"profibus", 0xb507, 0x36d9},
    {"riello", 0x3971, 0xbb71},
    {"spi-fujitsu", 0x45ab, 0x45ea},
    {"t10-dif", 0x0000, 0xfdb5},
    {"teledisk", 0x0000, 0x27eb},
    {"tms37157", 0x1477, 0x9677},
    {"umts", 0x0000, 0x020e},
    {"usb", 0x0f41, 0x7f01},
    {"xmodem", 0x0000, 0x0041},
};

TEST(Crc16, EveryVariant_GivesItsValuesOverZerosAndOnes) {
    ASSERT_EQ(std::size(kKnown), platform::kCrc16VariantCount);
    for (const auto& known : kKnown) {
        const platform::Crc16Variant* const variant = platform::crc16_find(known.name);
        ASSERT_NE(variant, nullptr) << known.name;
        platform::Crc16 crc;
        crc.select(*variant);
        EXPECT_EQ(crc.value(Record(16, 0x00).data(), 16), known.zeros) << known.name;
        EXPECT_EQ(crc.value(Record(16, 0xff).data(), 16), known.ones) << known.name;
    }
}

TEST(Crc16, Find_TakesNamesAndAliasesInAnyCase) {
    for (const platform::Crc16Variant& variant : platform::kCrc16Variants) {
        EXPECT_EQ(platform::crc16_find(variant.name), &variant);
        EXPECT_EQ(platform::crc16_find((std::string("crc-16/") + variant.name).c_str()), &variant);
    }
    EXPECT_STREQ(platform::crc16_find("ccitt-false")->name, "IBM-3740");
    EXPECT_STREQ(platform::crc16_find("X-25")->name, "IBM-SDLC");
    EXPECT_STREQ(platform::crc16_find("Zmodem")->name, "XMODEM");
    EXPECT_STREQ(platform::crc16_find("lte")->name, "XMODEM");
    EXPECT_STREQ(platform::crc16_find(platform::kCrc16Default)->name, "IBM-3740");
    for (const char* const unknown : {"", "crc", "ibm", "ibm-37400", "CRC-16/", "X-2", "XMODE"}) {
        EXPECT_EQ(platform::crc16_find(unknown), nullptr) << unknown;
    }
}

// --- the environment image ---

using platform::EnvCopy;
using platform::EnvFlags;
using platform::EnvResult;
using platform::EnvState;

std::string variables(const Record& data) {
    std::string text;
    for (size_t at = 0; at < data.size() && data[at] != 0;) {
        const std::string entry = reinterpret_cast<const char*>(data.data() + at);
        text += entry + ";";
        at += entry.size() + 1;
    }
    return text;
}

EnvResult set(Record* data, const char* name, const char* value) {
    return platform::env_set(data->data(), static_cast<u32>(data->size()), name, value);
}

std::string find(const Record& data, const char* name) {
    u32 length = 0;
    const char* const value =
        platform::env_find(data.data(), static_cast<u32>(data.size()), name, &length);
    return value == nullptr ? "(none)" : std::string(value, length);
}

TEST(EnvImage, Crc32_IsZlibs) {
    EXPECT_EQ(platform::env_crc32(reinterpret_cast<const u8*>(kCheckText), 9), 0xcbf43926u);
    EXPECT_EQ(platform::env_crc32(reinterpret_cast<const u8*>(kCheckText), 0), 0u);
    Record data(100);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<u8>(i * 7);
    for (size_t length = 0; length < data.size(); ++length) {
        u32 crc = 0xffffffff;
        for (size_t i = 0; i < length; ++i) {
            crc ^= data[i];
            for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? crc >> 1 ^ 0xedb88320 : crc >> 1;
        }
        ASSERT_EQ(platform::env_crc32(data.data(), length), ~crc) << length;
    }
}

TEST(EnvImage, Set_KeepsOtherVariablesAndTheirOrder) {
    Record data(64);
    EXPECT_EQ(set(&data, "a", "1"), EnvResult::kOk);
    EXPECT_EQ(set(&data, "bb", "22"), EnvResult::kOk);
    EXPECT_EQ(set(&data, "c", "3"), EnvResult::kOk);
    EXPECT_EQ(variables(data), "a=1;bb=22;c=3;");
    EXPECT_EQ(set(&data, "bb", "longer"), EnvResult::kOk);
    EXPECT_EQ(variables(data), "a=1;bb=longer;c=3;");
    EXPECT_EQ(set(&data, "bb", "2"), EnvResult::kOk);
    EXPECT_EQ(variables(data), "a=1;bb=2;c=3;");
    EXPECT_EQ(set(&data, "a", ""), EnvResult::kOk) << "an empty value removes";
    EXPECT_EQ(variables(data), "bb=2;c=3;");
    EXPECT_EQ(Record(data.begin() + 9, data.end()), Record(55)) << "padding is zeroed";
}

TEST(EnvImage, Find_MatchesWholeNames) {
    Record data(64);
    set(&data, "ethaddr_num", "2");
    set(&data, "ethaddr", "1");
    set(&data, "empty_like", "=");
    EXPECT_EQ(find(data, "ethaddr"), "1");
    EXPECT_EQ(find(data, "ethaddr_num"), "2");
    EXPECT_EQ(find(data, "eth"), "(none)");
    EXPECT_EQ(find(data, "empty_like"), "=");
    EXPECT_EQ(find(Record(8), "a"), "(none)");
}

TEST(EnvImage, Find_UnterminatedData_StaysInside) {
    Record data(8, 'x');
    data[1] = '=';
    EXPECT_EQ(find(data, "x"), "xxxxxx");
    EXPECT_EQ(set(&data, "y", "1"), EnvResult::kNoSpace);
}

TEST(EnvImage, Set_OverAnUnterminatedLastText_StaysInside) {
    Record data(9, 'x');
    data[1] = '=';
    data.back() = 0x5a;  // behind the area
    EXPECT_EQ(platform::env_set(data.data(), 8, "x", "1"), EnvResult::kOk);
    EXPECT_EQ(data, (Record{'x', '=', '1', 0, 0, 0, 0, 0, 0x5a}));
}

TEST(EnvImage, Set_NeedsRoomForBothTerminators) {
    Record data(8);
    EXPECT_EQ(set(&data, "a", "12345"), EnvResult::kNoSpace);
    EXPECT_EQ(data, Record(8)) << "nothing is changed";
    EXPECT_EQ(set(&data, "a", "1234"), EnvResult::kOk);
    EXPECT_EQ(set(&data, "b", "1"), EnvResult::kNoSpace);
    EXPECT_EQ(variables(data), "a=1234;");
    EXPECT_EQ(set(&data, "a", "4321"), EnvResult::kOk);
}

TEST(EnvImage, Set_BadNames_AreRefused) {
    Record data(32);
    EXPECT_EQ(set(&data, "", "1"), EnvResult::kBadName);
    EXPECT_EQ(set(&data, "a=b", "1"), EnvResult::kBadName);
}

TEST(EnvImage, InspectAndSeal_AgreeForEveryFlag) {
    for (const EnvFlags flags : {EnvFlags::kNone, EnvFlags::kCounter, EnvFlags::kBoolean}) {
        Record copy(64, 0xff);
        EXPECT_EQ(platform::env_inspect(copy.data(), 64, flags).state, EnvState::kErased);
        copy[9] = 0;
        EXPECT_EQ(platform::env_inspect(copy.data(), 64, flags).state, EnvState::kDamaged);
        const u32 at = platform::env_data_offset(flags);
        std::fill(copy.begin() + at, copy.end(), u8{0});
        platform::env_set(copy.data() + at, 64 - at, "a", "1");
        platform::env_seal(copy.data(), 64, flags, 9);
        const EnvCopy found = platform::env_inspect(copy.data(), 64, flags);
        EXPECT_EQ(found.state, EnvState::kValid);
        EXPECT_EQ(found.flag, flags == EnvFlags::kNone ? 0 : 9);
        copy[63] ^= 1;
        EXPECT_EQ(platform::env_inspect(copy.data(), 64, flags).state, EnvState::kDamaged);
    }
}

TEST(EnvImage, Preferred_Counter_IsASerialNumber) {
    for (const int first : {0, 1, 127, 128, 254, 255}) {
        for (const int second : {0, 1, 127, 128, 254, 255}) {
            const int ahead = (second - first + 256) % 256;
            const u32 expected = ahead > 0 && ahead < 128 ? 1 : 0;
            EXPECT_EQ(platform::env_preferred(static_cast<u8>(first), static_cast<u8>(second),
                                              EnvFlags::kCounter),
                      expected)
                << first << " " << second;
        }
    }
    EXPECT_EQ(platform::env_next_flag(EnvFlags::kCounter, 255), 0);
    EXPECT_EQ(platform::env_next_flag(EnvFlags::kCounter, 7), 8);
}

TEST(EnvImage, Preferred_Boolean_IsTheActiveCopy) {
    const auto preferred = [](u8 first, u8 second) {
        return platform::env_preferred(first, second, EnvFlags::kBoolean);
    };
    EXPECT_EQ(preferred(1, 0), 0u);
    EXPECT_EQ(preferred(0, 1), 1u);
    EXPECT_EQ(preferred(1, 1), 0u);
    EXPECT_EQ(preferred(0, 0), 0u);
    EXPECT_EQ(preferred(0, 0xff), 1u);
    EXPECT_EQ(preferred(0xff, 0), 0u);
    EXPECT_EQ(platform::env_next_flag(EnvFlags::kBoolean, 0), 1);
}

}  // namespace
