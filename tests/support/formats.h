// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The five record formats as one table, and what a call of theirs left behind.
#ifndef TESTS_SUPPORT_FORMATS_H
#define TESTS_SUPPORT_FORMATS_H

#include "storage/formats/mac_kolbe.h"
#include "storage/formats/mac_qolt.h"
#include "storage/formats/mac_router.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace test {

inline constexpr u32 kOk = 0;
inline constexpr u32 kNull = 0x811601a1;
inline constexpr u32 kInvalid = 0x811601a2;
inline constexpr u32 kMismatch = 0x811601a7;
inline constexpr u32 kShort = 0x811601ad;
inline constexpr u32 kTag = 0x811601ae;
inline constexpr u32 kLength = 0x811601b3;
inline constexpr u64 kQoltFlag = 0x514f4c54;
inline constexpr u64 kGoodFlag = 0x474f4f44;
inline constexpr u64 kNoneFlag = 0x4e4f4e45;
inline constexpr u64 kReadyFlag = 0x4d41435245414459;

using SetFormat = u32 (*)(const u8*, u32, u8*, u32, u64*, u32*);
using GetFormat = u32 (*)(const u8*, u32, u64*, u8*, u32*, u32*);

struct NamedFormat {
    const char* name;
    SetFormat set;
    GetFormat get;
    size_t minimum;  // buffer that get_format wants for one address
};

inline constexpr NamedFormat kAllFormats[] = {
    {"qolt", mac_qolt_set_format, mac_qolt_get_format, 16},
    {"router in", mac_router_incrc_set_format, mac_router_incrc_get_format, 22},
    {"router no", mac_router_nocrc_set_format, mac_router_nocrc_get_format, 22},
    {"kolbe in", mac_kolbe_incrc_set_format, mac_kolbe_incrc_get_format, 54},
    {"kolbe no", mac_kolbe_nocrc_set_format, mac_kolbe_nocrc_get_format, 54},
};

// What a get_format leaves in its outputs, and what they hold before.
struct Decoded {
    u64 flag = 0x1111;
    Mac mac = {9, 9, 9, 9, 9, 9};
    u32 num = 0x2222;
    u32 crc = 0x3333;

    bool operator==(const Decoded&) const = default;
};

inline void PrintTo(const Decoded& decoded, std::ostream* out) {
    *out << text("flag %llx mac %s num %u crc %x", decoded.flag,
                 hex({decoded.mac.begin(), decoded.mac.end()}).c_str(), decoded.num, decoded.crc);
}

// Runs get_format over a record; bytes behind `length` belong to the test.
inline u32 decode(GetFormat get, const Record& record, size_t length, Decoded* decoded) {
    return get(record.data(), static_cast<u32>(length), &decoded->flag, decoded->mac.data(),
               &decoded->num, &decoded->crc);
}

inline u32 decode(GetFormat get, const Record& record, Decoded* decoded) {
    return decode(get, record, record.size(), decoded);
}

// What a set_format leaves.
struct Built {
    u32 result;
    Record buf;
    u64 flag = 0;
    u32 crc = 0;
};

inline Built build(SetFormat set, const Mac& mac, u32 num, size_t length, u8 fill = 0) {
    Built built{0, Record(length, fill)};
    built.result =
        set(mac.data(), num, built.buf.data(), static_cast<u32>(length), &built.flag, &built.crc);
    return built;
}

class FormatTest : public PlatformTest {
protected:
    FormatTest() { use_board(board_with("")); }
    ~FormatTest() override { EXPECT_EQ(take_log(3), Log{}) << "formats log nothing"; }
};

}  // namespace test

#endif
