// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/record.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "mac_mng/mac_status.h"
#include "platform/algorithm.h"
#include "platform/host/board.h"
#include "storage/driver/mac_driver_table.h"
#include "storage/formats/mac_mesg.h"

namespace macctl {

namespace {

// Room behind a record, as the system's own buffers have it.
constexpr size_t kSlack = 16;

constexpr u64 kQoltTag = 0x514f4c54;            // "QOLT"
constexpr u64 kRouterTag = 0x4d41435245414459;  // "MACREADY"
constexpr u64 kKolbeTag = 0x474f4f44;           // "GOOD"

constexpr Format kFormats[] = {
    {"qolt", mac::kDriverFlash, kQoltTag, 0, 4, 8, true, true, true},
    {"router-crc", mac::kDriverRouterInCrc, kRouterTag, 4, 8, 12, true, true, true},
    {"router", mac::kDriverRouterNoCrc, kRouterTag, 4, 8, 12, false, true, false},
    {"kolbe-crc", mac::kDriverKolbeInCrc, kKolbeTag, 0, 4, 48, true, false, false},
    {"kolbe", mac::kDriverKolbeNoCrc, 0, 0, 0, 48, false, false, false},
};

const MacDriverOps* operations(const std::string& driver) {
    for (const mac::DriverRow& row : mac::kDriverTable) {
        if (driver == row.name) return &row.ops;
    }
    return nullptr;
}

std::string hex(ConstBytes bytes) {
    std::string text;
    for (const u8 byte : bytes) text += fmt::format("{}{:02x}", text.empty() ? "" : " ", byte);
    return text;
}

u32 word_at(ConstBytes bytes, size_t at) {
    return static_cast<u32>(bytes[at]) << 24 | static_cast<u32>(bytes[at + 1]) << 16 |
           static_cast<u32>(bytes[at + 2]) << 8 | bytes[at + 3];
}

u16 half_at(ConstBytes bytes, size_t at) {
    return static_cast<u16>(bytes[at] << 8 | bytes[at + 1]);
}

u16 crc_of(ConstBytes bytes) {
    u16 crc = 0;
    drv_crc16_checksum(bytes.data(), static_cast<u32>(bytes.size()), &crc);
    return crc;
}

std::string describe_tag(const Format& format, ConstBytes bytes) {
    std::string expected;
    for (u32 i = 0; i < format.tag_bytes; ++i) {
        expected += static_cast<char>(format.flag >> (8 * (format.tag_bytes - 1 - i)));
    }
    return fmt::format("tag: expected \"{}\", found {}", expected,
                       hex(bytes.subspan(format.tag_at, format.tag_bytes)));
}

// Which of the addresses of a Kolbe record does not fit its table entry.
std::string describe_kolbe_check(ConstBytes bytes, u32 num) {
    for (u32 i = 0; i < num; ++i) {
        MacAddress address{};
        mac_mesg_endian(address.data(), bytes.data() + 48 + size_t{6} * i, 6);
        const u16 expected = crc_of(address);
        const u16 found = half_at(bytes, 4 + size_t{2} * i);
        if (expected == found) continue;
        return fmt::format("check value of address {}: expected 0x{:04x} for {}, found 0x{:04x}", i,
                           expected, format_address(address.data()), found);
    }
    return "check value";
}

std::string describe_check(const Format& format, ConstBytes bytes, u32 num) {
    if (!format.counted) return describe_kolbe_check(bytes, num);
    if (format.flag == kQoltTag) {
        return fmt::format("check value: expected 0x{:04x}, found 0x{:04x}",
                           crc_of(bytes.first(14)), half_at(bytes, 14));
    }
    const size_t covered = 12 + size_t{6} * ((word_at(bytes, 0) - 8) / 6);
    return fmt::format("check value: expected 0x{:08x}, found 0x{:08x}",
                       crc_of(bytes.first(covered)), word_at(bytes, covered));
}

CopyState state_of(u32 status) {
    switch (status) {
        case MAC_OK:
            return CopyState::kGood;
        case MAC_WRONG_TAG:
            return CopyState::kWrongTag;
        case MAC_CHECK_MISMATCH:
            return CopyState::kCheckMismatch;
        case MAC_RECORD_SHORT:
        case MAC_LENGTH_FIELD_SMALL:
        case MAC_INVALID_ARGUMENT:
            return CopyState::kWrongLength;
        default:
            return CopyState::kUnreadable;
    }
}

std::string describe(const Format& format, ConstBytes bytes, u32 num, u32 status) {
    switch (state_of(status)) {
        case CopyState::kWrongTag:
            return describe_tag(format, bytes);
        case CopyState::kCheckMismatch:
            return describe_check(format, bytes, num);
        case CopyState::kWrongLength:
            if (status == MAC_INVALID_ARGUMENT || bytes.size() < 4) {
                return fmt::format("length: {} bytes are too few for a record", bytes.size());
            }
            return fmt::format(
                "length: the record says {} bytes, expected at least 14 and at most {}",
                word_at(bytes, 0), bytes.size() - 8);
        default:
            return "";
    }
}

bool is_erased(ConstBytes bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](u8 byte) { return byte == 0xff; });
}

}  // namespace

std::span<const Format> formats() { return kFormats; }

const Format* find_format(const std::string& name) {
    for (const Format& format : kFormats) {
        if (name == format.name) return &format;
    }
    return nullptr;
}

const Format* format_of_driver(const std::string& driver) {
    const MacDriverOps* const wanted = operations(driver);
    for (const Format& format : kFormats) {
        if (wanted != nullptr && operations(format.driver)->get_format == wanted->get_format) {
            return &format;
        }
    }
    return nullptr;
}

const char* state_name(CopyState state) {
    switch (state) {
        case CopyState::kGood:
            return "good";
        case CopyState::kErased:
            return "erased";
        case CopyState::kWrongTag:
            return "wrong tag";
        case CopyState::kWrongLength:
            return "wrong length";
        case CopyState::kCheckMismatch:
            return "check mismatch";
        case CopyState::kNotMade:
            return "not made yet";
        default:
            return "unreadable";
    }
}

Record decode_record(const Format& format, ConstBytes bytes, u32 num) {
    Record record;
    std::vector<u8> padded(bytes.begin(), bytes.end());
    padded.resize(bytes.size() + kSlack);
    const MacDriverOps* const ops = operations(format.driver);
    u64 flag = 0;
    record.num = format.counted ? 0 : num;
    record.status = ops->get_format(padded.data(), static_cast<u32>(bytes.size()), &flag,
                                    record.base.data(), &record.num, &record.check);
    record.state = is_erased(bytes) ? CopyState::kErased : state_of(record.status);
    if (record.state == CopyState::kErased) {
        record.blank = true;
        record.detail = "all bytes are 0xff";
    } else {
        record.detail = describe(format, bytes, num, record.status);
    }
    return record;
}

u64 record_size(const Format& format, u32 num) {
    if (format.flag == kQoltTag) return 16;
    return u64{6} * num + (format.flag == kRouterTag ? 16 : 48);
}

std::vector<u8> encode_record(const Format& format, const MacAddress& base, u32 num, u32* status) {
    std::vector<u8> bytes(record_size(format, num), 0xff);
    u64 flag = 0;
    u32 check = 0;
    *status = operations(format.driver)
                  ->set_format(base.data(), num, bytes.data(), static_cast<u32>(bytes.size()),
                               &flag, &check);
    return bytes;
}

MacAddress nth_address(const MacAddress& base, u32 index) {
    MacAddress address{};
    mac_data_incr(base.data(), index, address.data(), 6);
    return address;
}

bool leaves_oui(const MacAddress& base, u32 num) {
    const u32 low = static_cast<u32>(base[3]) << 16 | static_cast<u32>(base[4]) << 8 | base[5];
    return num > 0 && u64{low} + num - 1 > 0xffffff;
}

struct CrcChoice::Scratch {
    std::unique_ptr<host::Board> board;
    host::Board* before;
};

CrcChoice::CrcChoice(const platform::Crc16Variant& variant) {
    const std::string text = fmt::format("<board><platform crc16=\"{}\"/></board>", variant.name);
    auto board = host::Board::in_memory(host::BoardFile::parse(text, "scratch"));
    scratch_ = std::make_unique<Scratch>(Scratch{std::move(board), host::attached_board()});
    host::attach(scratch_->board.get());
}

CrcChoice::~CrcChoice() { host::attach(scratch_->before); }

}  // namespace macctl
