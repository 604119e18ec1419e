// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What the record formats leave in their outputs when they refuse, how short a buffer may
// be, and what of a record is not looked at.
#include "tests/support/formats.h"

namespace {

using test::Built;
using test::Decoded;
using test::GetFormat;
using test::kInvalid;
using test::kLength;
using test::kMismatch;
using test::kNull;
using test::kOk;
using test::kShort;
using test::kTag;
using test::Mac;
using test::NamedFormat;
using test::Record;
using test::SetFormat;

constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};

using FormatOutput = test::FormatTest;

// What set_format is given, each piece of which may be missing.
struct SetCall {
    Record buf = Record(64, 0x77);
    u64 flag = 0x1111;
    u32 crc = 0x3333;

    bool operator==(const SetCall&) const = default;
};

TEST_F(FormatOutput, SetRefused_LeavesEveryOutput) {
    const SetCall before;
    for (const NamedFormat& format : test::kAllFormats) {
        SetCall call;
        u8* const buf = call.buf.data();
        const u8* const mac = kBase.data();
        const u32 size = static_cast<u32>(format.minimum);
        EXPECT_EQ(format.set(nullptr, 1, buf, size, &call.flag, &call.crc), kNull);
        EXPECT_EQ(format.set(mac, 1, buf, size, nullptr, &call.crc), kNull);
        EXPECT_EQ(format.set(mac, 1, buf, size, &call.flag, nullptr), kNull);
        EXPECT_EQ(format.set(mac, 1, nullptr, size, &call.flag, &call.crc), kInvalid);
        EXPECT_EQ(format.set(mac, 1, buf, size - 1, &call.flag, &call.crc), kInvalid);
        EXPECT_EQ(call, before) << format.name;
        EXPECT_EQ(format.set(mac, 1, buf, size, &call.flag, &call.crc), kOk) << format.name;
    }
}

TEST_F(FormatOutput, GetRefused_LeavesEveryOutput) {
    Decoded before;
    before.num = 1;
    const Record records[] = {test::qolt(kBase, 1), test::router(kBase, 1, true),
                              test::router(kBase, 1, false), test::kolbe(kBase, 1, true),
                              test::kolbe(kBase, 1, false)};
    for (size_t i = 0; i < std::size(records); ++i) {
        const GetFormat get = test::kAllFormats[i].get;
        const u8* const buf = records[i].data();
        const u32 size = static_cast<u32>(test::kAllFormats[i].minimum);
        Decoded d = before;
        u8* const mac = d.mac.data();
        EXPECT_EQ(get(buf, size, nullptr, mac, &d.num, &d.crc), kNull);
        EXPECT_EQ(get(buf, size, &d.flag, nullptr, &d.num, &d.crc), kNull);
        EXPECT_EQ(get(buf, size, &d.flag, mac, nullptr, &d.crc), kNull);
        EXPECT_EQ(get(buf, size, &d.flag, mac, &d.num, nullptr), kNull);
        EXPECT_EQ(get(nullptr, size, &d.flag, mac, &d.num, &d.crc), kInvalid);
        EXPECT_EQ(get(buf, size - 1, &d.flag, mac, &d.num, &d.crc), kInvalid);
        EXPECT_EQ(d, before) << test::kAllFormats[i].name;
        EXPECT_EQ(get(buf, size, &d.flag, mac, &d.num, &d.crc), kOk) << test::kAllFormats[i].name;
    }
}

struct Counted {
    const char* name;
    SetFormat set;
    GetFormat get;
    u32 head;  // bytes of a record besides 6 for each address
    Record (*encode)(const Mac& base, u32 num);
};

const Counted kCounted[] = {
    {"router in", mac_router_incrc_set_format, mac_router_incrc_get_format, 16,
     [](const Mac& base, u32 num) { return test::router(base, num, true); }},
    {"router no", mac_router_nocrc_set_format, mac_router_nocrc_get_format, 16,
     [](const Mac& base, u32 num) { return test::router(base, num, false); }},
    {"kolbe in", mac_kolbe_incrc_set_format, mac_kolbe_incrc_get_format, 48,
     [](const Mac& base, u32 num) { return test::kolbe(base, num, true); }},
    {"kolbe no", mac_kolbe_nocrc_set_format, mac_kolbe_nocrc_get_format, 48,
     [](const Mac& base, u32 num) { return test::kolbe(base, num, false); }},
};

TEST_F(FormatOutput, SetInABufferThatIsShort_TouchesNothing) {
    for (const Counted& format : kCounted) {
        for (const u32 num : {0u, 1u, 2u, 3u, 22u}) {
            const u32 size = format.head + 6 * num;
            for (u32 missing = 1; missing <= 6; ++missing) {
                Record buf(size - missing, 0x77);
                u64 flag = 0x1111;
                u32 crc = 0x3333;
                EXPECT_EQ(format.set(kBase.data(), num, buf.data(), size - missing, &flag, &crc),
                          kInvalid)
                    << format.name << " " << num << " addresses, missing " << missing;
                EXPECT_EQ(buf, Record(size - missing, 0x77));
                EXPECT_EQ(flag, 0x1111u);
                EXPECT_EQ(crc, 0x3333u);
            }
            EXPECT_EQ(test::build(format.set, kBase, num, size).result, kOk) << format.name;
        }
    }
}

TEST_F(FormatOutput, GetFromABufferThatIsShort_TouchesNothing) {
    for (const Counted& format : kCounted) {
        for (const u32 num : {2u, 3u, 22u}) {
            const Record record = format.encode(kBase, num);
            Decoded before;
            before.num = num;
            for (u32 missing = 1; missing <= 6; ++missing) {
                Decoded d = before;
                EXPECT_EQ(test::decode(format.get, record, record.size() - missing, &d),
                          format.head == 48 ? kInvalid : kShort)
                    << format.name << " " << num << " addresses, missing " << missing;
                EXPECT_EQ(d, before) << format.name;
            }
            Decoded d = before;
            EXPECT_EQ(test::decode(format.get, record, &d), kOk) << format.name;
        }
    }
}

TEST_F(FormatOutput, RouterGet_BelowOneAddress_IsInvalidBeforeItsLengthIsRead) {
    for (const GetFormat get : {mac_router_incrc_get_format, mac_router_nocrc_get_format}) {
        Decoded d;
        EXPECT_EQ(test::decode(get, Record(21), &d), kInvalid);
        EXPECT_EQ(test::decode(get, Record(22), &d), kLength);
        EXPECT_EQ(d, Decoded{});
    }
}

TEST_F(FormatOutput, RouterGet_ShortBuffer_ComesBeforeTheTag) {
    for (const GetFormat get : {mac_router_incrc_get_format, mac_router_nocrc_get_format}) {
        Record record = test::router(kBase, 2, true);
        record[4] = 'X';
        Decoded d;
        EXPECT_EQ(test::decode(get, record, 27, &d), kShort);
        EXPECT_EQ(d, Decoded{});
        EXPECT_EQ(test::decode(get, record, 28, &d), kTag);
    }
}

TEST_F(FormatOutput, RouterGet_LaterAddresses_AreNotRead) {
    Record record = test::router(kBase, 4, false);
    for (size_t at = 18; at < 36; ++at) {
        record[at] = static_cast<u8>(0xff - at);
        Decoded d;
        EXPECT_EQ(test::decode(mac_router_nocrc_get_format, record, &d), kOk) << at;
        EXPECT_EQ(d, (Decoded{test::kReadyFlag, kBase, 4, 0xA5A5E7E7}));
    }
    // With CRC they count for the check value, and for nothing else.
    Record body(record.begin(), record.end() - 4);
    const u16 crc = test::crc16(body);
    body.insert(body.end(), {0, 0, static_cast<u8>(crc >> 8), static_cast<u8>(crc & 0xff)});
    Decoded d;
    EXPECT_EQ(test::decode(mac_router_incrc_get_format, body, &d), kOk);
    EXPECT_EQ(d, (Decoded{test::kReadyFlag, kBase, 4, crc}));
}

TEST_F(FormatOutput, RouterInCrcGet_Mismatch_HasWrittenTagAndAddress) {
    Record record = test::router(kBase, 2, true);
    record[23] ^= 1;
    Decoded d;
    EXPECT_EQ(test::decode(mac_router_incrc_get_format, record, &d), kMismatch);
    EXPECT_EQ(d, (Decoded{test::kReadyFlag, kBase, 0x2222, 0x3333}));
    record = test::router(kBase, 2, true);
    record[25] = 1;
    d = {};
    EXPECT_EQ(test::decode(mac_router_incrc_get_format, record, &d), kMismatch)
        << "the upper half of the trailer";
    EXPECT_EQ(d, (Decoded{test::kReadyFlag, kBase, 0x2222, 0x3333}));
}

TEST_F(FormatOutput, KolbeInCrcGet_MismatchOfAnyEntry_HasWrittenTagAndAddress) {
    for (const size_t at : {size_t{4}, size_t{7}, size_t{8}, size_t{65}}) {
        Record record = test::kolbe(kBase, 3, true);
        record[at] ^= 1;
        Decoded d;
        d.num = 3;
        EXPECT_EQ(test::decode(mac_kolbe_incrc_get_format, record, &d), kMismatch) << at;
        EXPECT_EQ(d, (Decoded{test::kGoodFlag, kBase, 3, 0x3333})) << at;
    }
}

TEST_F(FormatOutput, KolbeNoCrcGet_LooksAtTheFirstAddressOnly) {
    Record record(48 + 18, 0xee);
    std::copy_n(test::kolbe(kBase, 1, false).begin() + 48, 6, record.begin() + 48);
    Decoded d;
    d.num = 3;
    EXPECT_EQ(test::decode(mac_kolbe_nocrc_get_format, record, &d), kOk);
    EXPECT_EQ(d, (Decoded{test::kNoneFlag, kBase, 3, 0x5a5a}));
}

TEST_F(FormatOutput, KolbeSet_NoAddress_WritesTheTagAlone) {
    const Built with_crc = test::build(mac_kolbe_incrc_set_format, kBase, 0, 48, 0x77);
    Record expected(48, 0x77);
    std::copy_n("GOOD", 4, expected.begin());
    EXPECT_EQ(with_crc.result, kOk);
    EXPECT_EQ(with_crc.buf, expected);
    EXPECT_EQ(with_crc.crc, 0x5a5au);
    const Built without = test::build(mac_kolbe_nocrc_set_format, kBase, 0, 48, 0x77);
    EXPECT_EQ(without.buf, Record(48, 0x77));
    EXPECT_EQ(without.flag, test::kNoneFlag);
}

TEST_F(FormatOutput, SetAndGet_WrapWithTheAddresses) {
    // Past the last address comes 0, in every list.
    const Mac last = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
    for (const Counted& format : kCounted) {
        const Record expected = format.encode(last, 3);
        EXPECT_EQ(test::build(format.set, last, 3, expected.size()).buf, expected) << format.name;
    }
}

TEST_F(FormatOutput, KolbeInCrcSet_MoreAddressesThanEntries_OverwritesInOrder) {
    // Entry 22 lands on the first two bytes of address 0, entry 23 on the next two,
    // and so on: each is stored before its own address, behind all earlier ones.
    constexpr u32 kNum = 30;
    const Built built = test::build(mac_kolbe_incrc_set_format, kBase, kNum, 48 + 6 * kNum);
    Record expected(48 + 6 * kNum);
    std::copy_n("GOOD", 4, expected.begin());
    for (u32 i = 0; i < kNum; ++i) {
        const Mac address = test::nth(kBase, i);
        const u16 crc = test::crc16(Record(address.begin(), address.end()));
        expected[4 + 2 * i] = static_cast<u8>(crc >> 8);
        expected[5 + 2 * i] = static_cast<u8>(crc & 0xff);
        for (size_t k = 0; k < 6; ++k) expected[48 + 6 * i + k] = address[k ^ 1];
    }
    EXPECT_EQ(built.result, kOk);
    EXPECT_EQ(built.buf, expected);
}

}  // namespace
