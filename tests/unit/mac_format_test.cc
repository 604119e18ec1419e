// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The five record formats against the tests' own encoder.
#include "tests/support/formats.h"

namespace {

using test::build;
using test::Built;
using test::bytes;
using test::decode;
using test::Decoded;
using test::GetFormat;
using test::kAllFormats;
using test::kGoodFlag;
using test::kInvalid;
using test::kLength;
using test::kMismatch;
using test::kNoneFlag;
using test::kNull;
using test::kOk;
using test::kQoltFlag;
using test::kReadyFlag;
using test::kShort;
using test::kTag;
using test::Mac;
using test::NamedFormat;
using test::Record;
using test::SetFormat;

constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};

using Formats = test::FormatTest;

TEST_F(Formats, Set_NullPointers_ComeBeforeTheBuffer) {
    for (const NamedFormat& format : kAllFormats) {
        Record buf(64);
        u64 flag = 0;
        u32 crc = 0;
        const u8* const mac = kBase.data();
        EXPECT_EQ(format.set(nullptr, 1, buf.data(), 64, &flag, &crc), kNull) << format.name;
        EXPECT_EQ(format.set(nullptr, 1, nullptr, 64, &flag, &crc), kNull) << format.name;
        EXPECT_EQ(format.set(mac, 1, buf.data(), 64, nullptr, &crc), kNull) << format.name;
        EXPECT_EQ(format.set(mac, 1, buf.data(), 64, &flag, nullptr), kNull) << format.name;
        EXPECT_EQ(format.set(mac, 1, nullptr, 64, &flag, &crc), kInvalid) << format.name;
        EXPECT_EQ(buf, Record(64)) << format.name;
    }
}

TEST_F(Formats, Get_NullPointers_ComeBeforeTheBuffer) {
    for (const NamedFormat& format : kAllFormats) {
        const Record buf(64);
        Decoded d;
        d.num = 1;
        u8* const mac = d.mac.data();
        EXPECT_EQ(format.get(buf.data(), 64, nullptr, mac, &d.num, &d.crc), kNull) << format.name;
        EXPECT_EQ(format.get(buf.data(), 64, &d.flag, nullptr, &d.num, &d.crc), kNull);
        EXPECT_EQ(format.get(buf.data(), 64, &d.flag, mac, nullptr, &d.crc), kNull);
        EXPECT_EQ(format.get(buf.data(), 64, &d.flag, mac, &d.num, nullptr), kNull);
        EXPECT_EQ(format.get(nullptr, 64, &d.flag, mac, &d.num, nullptr), kNull);
        EXPECT_EQ(format.get(nullptr, 64, &d.flag, mac, &d.num, &d.crc), kInvalid);
    }
}

TEST_F(Formats, EveryBufferBelowTheMinimum_IsRefused) {
    for (const NamedFormat& format : kAllFormats) {
        for (size_t length = 0; length < format.minimum; ++length) {
            const Record buf(64);
            Decoded d;
            d.num = 1;
            const Decoded before = d;
            EXPECT_EQ(decode(format.get, buf, length, &d), kInvalid) << format.name << length;
            EXPECT_EQ(d, before) << format.name << " " << length;
            const Built built = build(format.set, kBase, 1, length, 0x77);
            EXPECT_EQ(built.result, kInvalid) << format.name << " " << length;
            EXPECT_EQ(built.buf, Record(length, 0x77)) << format.name << " " << length;
        }
    }
}

TEST_F(Formats, AbsurdCounts_AreRefusedWithoutWalking) {
    // 6 * 0x2aaaaaab wraps to 2 in 32 bits.
    for (const NamedFormat& format : kAllFormats) {
        if (format.set == mac_qolt_set_format) continue;
        for (const u32 num : {0x2aaaaaabu, 0xffffffffu}) {
            EXPECT_EQ(build(format.set, kBase, num, 64).result, kInvalid) << format.name;
        }
    }
    for (const GetFormat get : {mac_kolbe_incrc_get_format, mac_kolbe_nocrc_get_format}) {
        Decoded d;
        d.num = 0x2aaaaaab;
        EXPECT_EQ(decode(get, Record(64), &d), kInvalid);
    }
}

TEST_F(Formats, Flags_AreTheTags) {
    const auto flag_of = [](void (*get_flag)(u64*)) {
        u64 flag = 0;
        get_flag(&flag);
        get_flag(nullptr);
        return flag;
    };
    EXPECT_EQ(flag_of(mac_qolt_get_flag), kQoltFlag);
    EXPECT_EQ(flag_of(mac_router_incrc_get_flag), kReadyFlag);
    EXPECT_EQ(flag_of(mac_router_nocrc_get_flag), kReadyFlag);
    EXPECT_EQ(flag_of(mac_kolbe_incrc_get_flag), kGoodFlag);
    EXPECT_EQ(flag_of(mac_kolbe_nocrc_get_flag), kNoneFlag);
}

TEST_F(Formats, Sizes_AreTheLowThirtyTwoBits) {
    EXPECT_EQ(mac_qolt_get_size(0), 16u);
    EXPECT_EQ(mac_qolt_get_size(1000), 16u);
    EXPECT_EQ(mac_router_incrc_get_size(0), 16u);
    EXPECT_EQ(mac_router_nocrc_get_size(3), 34u);
    EXPECT_EQ(mac_router_incrc_get_size(65534), 393220u);
    EXPECT_EQ(mac_router_incrc_get_size(0x2aaaaaab), 18u);
    EXPECT_EQ(mac_kolbe_incrc_get_size(0), 48u);
    EXPECT_EQ(mac_kolbe_nocrc_get_size(2), 60u);
    EXPECT_EQ(mac_kolbe_incrc_get_size(0x2aaaaaab), 50u);
    EXPECT_EQ(mac_router_nocrc_get_size(65534), 393220u);
    EXPECT_EQ(mac_kolbe_incrc_get_size(65534), 393252u);
    EXPECT_EQ(mac_kolbe_nocrc_get_size(65534), 393252u);
}

TEST_F(Formats, QoltSet_BuildsTheRecord_AndLeavesWhatIsBehindIt) {
    const Built built = build(mac_qolt_set_format, kBase, 16, 18, 0x77);
    EXPECT_EQ(built.result, kOk);
    Record expected = test::qolt(kBase, 16);
    EXPECT_EQ(built.crc, static_cast<u32>(expected[14] << 8 | expected[15]));
    expected.insert(expected.end(), {0x77, 0x77});
    EXPECT_EQ(built.buf, expected);
    EXPECT_EQ(built.flag, kQoltFlag);
}

TEST_F(Formats, QoltGet_Sixteen_Decodes) {
    Decoded d;
    const Record record = test::qolt(kBase, 0x12345678);
    EXPECT_EQ(decode(mac_qolt_get_format, record, &d), kOk);
    EXPECT_EQ(
        d, (Decoded{kQoltFlag, kBase, 0x12345678, static_cast<u32>(record[14] << 8 | record[15])}));
}

TEST_F(Formats, QoltGet_CountZero_Succeeds) {
    Decoded d;
    EXPECT_EQ(decode(mac_qolt_get_format, test::qolt(kBase, 0), &d), kOk);
    EXPECT_EQ(d.num, 0u);
}

TEST_F(Formats, QoltGet_WrongTag_ShowsItAndTouchesNothingElse) {
    Record record = test::qolt(kBase, 16);
    record[3] = 'X';
    Decoded d;
    EXPECT_EQ(decode(mac_qolt_get_format, record, &d), kTag);
    EXPECT_EQ(d, (Decoded{0x514f4c58, {9, 9, 9, 9, 9, 9}, 0x2222, 0x3333}));
}

TEST_F(Formats, QoltGet_EverySingleBitFlip_IsSeen) {
    const Record good = test::qolt(kBase, 16);
    for (size_t bit = 0; bit < good.size() * 8; ++bit) {
        Record bad = good;
        bad[bit / 8] = static_cast<u8>(bad[bit / 8] ^ 1u << bit % 8);
        Decoded d;
        EXPECT_EQ(decode(mac_qolt_get_format, bad, &d), bit < 32 ? kTag : kMismatch) << bit;
        if (bit < 32) continue;
        // The damaged values are out already.
        const u32 num = static_cast<u32>(bad[4]) << 24 | static_cast<u32>(bad[5]) << 16 |
                        static_cast<u32>(bad[6]) << 8 | bad[7];
        EXPECT_EQ(d.num, num);
        EXPECT_TRUE(std::equal(d.mac.begin(), d.mac.end(), bad.begin() + 8));
        EXPECT_EQ(d.crc, static_cast<u32>(bad[14] << 8 | bad[15]));
    }
}

struct RouterCase {
    SetFormat set;
    GetFormat get;
    bool crc;
};
const RouterCase kRouters[] = {
    {mac_router_incrc_set_format, mac_router_incrc_get_format, true},
    {mac_router_nocrc_set_format, mac_router_nocrc_get_format, false},
};

u32 trailer_of(const Record& record) {
    u32 value = 0;
    for (size_t i = record.size() - 4; i < record.size(); ++i) value = value << 8 | record[i];
    return value;
}

TEST_F(Formats, RouterSet_BuildsTheRecord) {
    for (const RouterCase& router : kRouters) {
        for (const u32 num : {0u, 1u, 3u, 300u, 20000u}) {
            const Record expected = test::router(kBase, num, router.crc);
            const Built built = build(router.set, kBase, num, expected.size());
            EXPECT_EQ(built.result, kOk);
            EXPECT_EQ(built.buf, expected) << num;
            EXPECT_EQ(built.flag, kReadyFlag);
            EXPECT_EQ(built.crc, trailer_of(expected));
        }
    }
}

TEST_F(Formats, RouterSet_LongerBuffer_IsLeftBehindTheRecord) {
    const Built built = build(mac_router_incrc_set_format, kBase, 3, 40, 0x77);
    EXPECT_EQ(Record(built.buf.begin(), built.buf.begin() + 34), test::router(kBase, 3, true));
    EXPECT_EQ(Record(built.buf.begin() + 34, built.buf.end()), Record(6, 0x77));
}

TEST_F(Formats, RouterSet_EmptyList_IsLengthTagAndTrailer) {
    const Built built = build(mac_router_nocrc_set_format, kBase, 0, 16);
    EXPECT_EQ(built.buf, bytes("00000008 4d41435245414459 a5a5e7e7"));
}

TEST_F(Formats, RouterGet_Decodes) {
    for (const RouterCase& router : kRouters) {
        for (const u32 num : {1u, 3u, 65534u, 70000u}) {
            const Record record = test::router(kBase, num, router.crc);
            Decoded d;
            EXPECT_EQ(decode(router.get, record, &d), kOk);
            EXPECT_EQ(d, (Decoded{kReadyFlag, kBase, num, trailer_of(record)})) << num;
        }
    }
}

TEST_F(Formats, RouterGet_LengthWithRemainder_DropsIt) {
    for (const RouterCase& router : kRouters) {
        for (const u8 length : {u8{27}, u8{31}}) {
            Record record = test::router(kBase, 3, false);
            record[3] = length;
            const u16 crc = test::crc16(Record(record.begin(), record.begin() + 30));
            if (router.crc) {
                record[30] = record[31] = 0;
                record[32] = static_cast<u8>(crc >> 8);
                record[33] = static_cast<u8>(crc & 0xff);
            }
            Decoded d;
            EXPECT_EQ(decode(router.get, record, &d), kOk) << int{length};
            EXPECT_EQ(d.num, 3u);
            EXPECT_EQ(d.crc, router.crc ? crc : 0xA5A5E7E7u);
        }
    }
}

TEST_F(Formats, RouterGet_LengthWords) {
    for (const RouterCase& router : kRouters) {
        Record record = test::router(kBase, 1, router.crc);
        Decoded d;
        EXPECT_EQ(decode(router.get, record, &d), kOk) << "14 is one address";
        const Decoded untouched;
        for (const u8 length : {u8{0}, u8{7}, u8{8}, u8{13}}) {
            record[3] = length;
            d = {};
            EXPECT_EQ(decode(router.get, record, &d), kLength) << int{length};
            EXPECT_EQ(d, untouched);
        }
        record[3] = 20;
        EXPECT_EQ(decode(router.get, record, &d), kShort) << "two addresses in 22 bytes";
        EXPECT_EQ(d, untouched);
        std::fill_n(record.begin(), 4, u8{0xff});
        EXPECT_EQ(decode(router.get, record, &d), kShort) << "the longest length word";
        EXPECT_EQ(d, untouched);
    }
}

TEST_F(Formats, RouterGet_WrongTag_ShowsItAndTouchesNothingElse) {
    for (const RouterCase& router : kRouters) {
        Record record = test::router(kBase, 2, router.crc);
        record[11] = 'Z';
        Decoded d;
        EXPECT_EQ(decode(router.get, record, &d), kTag);
        EXPECT_EQ(d, (Decoded{0x4d4143524541445a, {9, 9, 9, 9, 9, 9}, 0x2222, 0x3333}));
    }
}

TEST_F(Formats, RouterInCrcGet_EveryChangedByte_IsSeen) {
    const Record good = test::router(kBase, 2, true);
    for (size_t at = 0; at < good.size(); ++at) {
        Record bad = good;
        bad[at] ^= 0x10;
        Decoded d;
        const u32 result = decode(mac_router_incrc_get_format, bad, &d);
        // The length word 20 becomes a huge one, or 4.
        const u32 expected = at < 3 ? kShort : at == 3 ? kLength : at < 12 ? kTag : kMismatch;
        EXPECT_EQ(result, expected) << at;
        EXPECT_EQ(d.num, 0x2222u) << "written on success only";
        EXPECT_EQ(d.crc, 0x3333u) << "written on success only";
        if (at >= 12) {
            EXPECT_TRUE(std::equal(d.mac.begin(), d.mac.end(), bad.begin() + 12)) << at;
        }
    }
}

TEST_F(Formats, RouterNoCrcGet_AnyTrailer_IsTaken) {
    Record record = test::router(kBase, 1, false);
    std::fill(record.end() - 4, record.end(), u8{0});
    Decoded d;
    EXPECT_EQ(decode(mac_router_nocrc_get_format, record, &d), kOk);
    EXPECT_EQ(d.crc, 0u);
}

TEST_F(Formats, KolbeSet_TwoAddresses_AreSwappedInPairs) {
    constexpr Mac base = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    const Built built = build(mac_kolbe_incrc_set_format, base, 2, 60);
    EXPECT_EQ(built.result, kOk);
    EXPECT_EQ(test::hex(built.buf, 48), "110033225544110033225644");
    EXPECT_EQ(built.buf, test::kolbe(base, 2, true));
    EXPECT_EQ(built.flag, kGoodFlag);
    EXPECT_EQ(built.crc, 0x5a5au);
}

TEST_F(Formats, KolbeNoCrcSet_LeavesTheHeadAlone) {
    const Built built = build(mac_kolbe_nocrc_set_format, kBase, 2, 60, 0x77);
    EXPECT_EQ(built.result, kOk);
    EXPECT_EQ(Record(built.buf.begin(), built.buf.begin() + 48), Record(48, 0x77));
    EXPECT_EQ(test::hex(built.buf, 48), test::hex(test::kolbe(kBase, 2, false), 48));
    EXPECT_EQ(built.flag, kNoneFlag);
    EXPECT_EQ(built.crc, 0x5a5au);
}

TEST_F(Formats, KolbeGet_Decodes_AndLeavesTheCount) {
    Decoded d;
    d.num = 5;
    EXPECT_EQ(decode(mac_kolbe_incrc_get_format, test::kolbe(kBase, 5, true), &d), kOk);
    EXPECT_EQ(d, (Decoded{kGoodFlag, kBase, 5, 0x5a5a}));
    d = {};
    d.num = 5;
    EXPECT_EQ(decode(mac_kolbe_nocrc_get_format, test::kolbe(kBase, 5, false), &d), kOk);
    EXPECT_EQ(d, (Decoded{kNoneFlag, kBase, 5, 0x5a5a}));
}

TEST_F(Formats, KolbeGet_NoAddressExpected_StillReadsTheBase) {
    for (const bool crc : {true, false}) {
        const Record record = test::kolbe(kBase, 1, crc);
        Decoded d;
        d.num = 0;
        EXPECT_EQ(
            decode(crc ? mac_kolbe_incrc_get_format : mac_kolbe_nocrc_get_format, record, 48, &d),
            kOk);
        EXPECT_EQ(d.mac, kBase);
        EXPECT_EQ(d.num, 0u);
    }
}

TEST_F(Formats, KolbeNoCrcGet_Zeros_Succeed) {
    Decoded d;
    d.num = 1;
    EXPECT_EQ(decode(mac_kolbe_nocrc_get_format, Record(54), &d), kOk);
    EXPECT_EQ(d, (Decoded{kNoneFlag, {}, 1, 0x5a5a}));
}

TEST_F(Formats, KolbeInCrc_TwentyTwoAddresses_AreTheMost) {
    for (const u32 num : {22u, 23u}) {
        const Built built = build(mac_kolbe_incrc_set_format, kBase, num, 48 + 6 * num);
        EXPECT_EQ(built.result, kOk);
        Decoded d;
        d.num = num;
        EXPECT_EQ(decode(mac_kolbe_incrc_get_format, built.buf, &d), num == 22 ? kOk : kMismatch);
        if (num == 23) {
            const Mac last = test::nth(kBase, 22);
            const u16 crc = test::crc16(Record(last.begin(), last.end()));
            EXPECT_EQ(test::hex(built.buf, 48, 2), test::text("%04x", crc))
                << "the entry overwrites the first two bytes of the list";
        }
    }
}

TEST_F(Formats, KolbeInCrcGet_WrongTag_ShowsIt) {
    Record record = test::kolbe(kBase, 2, true);
    std::copy_n("NONE", 4, record.begin());
    Decoded d;
    d.num = 2;
    EXPECT_EQ(decode(mac_kolbe_incrc_get_format, record, &d), kTag);
    EXPECT_EQ(d, (Decoded{kNoneFlag, {9, 9, 9, 9, 9, 9}, 2, 0x3333}));
}

TEST_F(Formats, KolbeInCrcGet_EveryBitOfTableAndList_IsChecked) {
    const Record good = test::kolbe(kBase, 3, true);
    for (size_t at = 4; at < good.size(); ++at) {
        Record bad = good;
        bad[at] ^= 0x01;
        const bool unused_entry = at >= 10 && at < 48;
        Decoded d;
        d.num = 3;
        EXPECT_EQ(decode(mac_kolbe_incrc_get_format, bad, &d), unused_entry ? kOk : kMismatch)
            << at;
    }
}

TEST_F(Formats, KolbeInCrcGet_AddressesOutOfSequence_AreNotCompared) {
    Record record = test::kolbe(kBase, 2, true);
    const Record other = test::kolbe({2, 4, 6, 8, 10, 12}, 2, true);
    std::copy_n(other.begin() + 6, 2, record.begin() + 6);
    std::copy_n(other.begin() + 54, 6, record.begin() + 54);
    Decoded d;
    d.num = 2;
    EXPECT_EQ(decode(mac_kolbe_incrc_get_format, record, &d), kOk);
    EXPECT_EQ(d.mac, kBase);
}

}  // namespace
