// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The decoders against a model that is written from the tables of the formats.
#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "mac_mng/mac_status.h"
#include "platform/host/board.h"
#include "storage/formats/mac_kolbe.h"
#include "storage/formats/mac_qolt.h"
#include "storage/formats/mac_router.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/encoder.h"
#include "tools/macctl/record.h"

namespace fuzz {

namespace {

using test::Mac;
using test::Record;
using GetFormat = u32 (*)(const u8*, u32, u64*, u8*, u32*, u32*);

constexpr size_t kLongest = 256;
constexpr Mac kUntouched = {9, 9, 9, 9, 9, 9};

// What a decoder leaves.
struct Decoded {
    u32 status = 0;
    u64 flag = 0x1111;
    Mac mac = kUntouched;
    u32 num = 0;
    u32 crc = 0x3333;

    bool operator==(const Decoded&) const = default;
};

u64 big_endian(const Record& record, size_t at, size_t count) {
    u64 value = 0;
    for (size_t i = 0; i < count; ++i) value = value * 256 + record[at + i];
    return value;
}

u64 tag_value(std::string_view text) {
    u64 value = 0;
    for (const char c : text) value = value * 256 + static_cast<u8>(c);
    return value;
}

u16 crc_of(const Record& record, size_t from, size_t count) {
    const auto begin = record.begin() + static_cast<long>(from);
    return test::crc16(Record(begin, begin + static_cast<long>(count)));
}

Mac address_at(const Record& record, size_t at, bool swapped) {
    Mac mac;
    for (size_t i = 0; i < 6; ++i) mac[i] = record[at + (swapped ? i ^ 1 : i)];
    return mac;
}

Decoded refused(Decoded so_far, u32 status) {
    so_far.status = status;
    return so_far;
}

Decoded model_qolt(const Record& record, size_t length, Decoded d) {
    if (length < 16) return refused(d, MAC_INVALID_ARGUMENT);
    d.flag = big_endian(record, 0, 4);
    if (d.flag != tag_value("QOLT")) return refused(d, MAC_WRONG_TAG);
    d.num = static_cast<u32>(big_endian(record, 4, 4));
    d.mac = address_at(record, 8, false);
    d.crc = static_cast<u32>(big_endian(record, 14, 2));
    return refused(d, d.crc == crc_of(record, 0, 14) ? MAC_OK : MAC_CHECK_MISMATCH);
}

Decoded model_router(const Record& record, size_t length, Decoded d, bool with_crc) {
    if (length < 22) return refused(d, MAC_INVALID_ARGUMENT);
    const u64 field = big_endian(record, 0, 4);
    if (field < 14) return refused(d, MAC_LENGTH_FIELD_SMALL);
    const u64 count = (field - 8) / 6;
    if (length < 16 + 6 * count) return refused(d, MAC_RECORD_SHORT);
    d.flag = big_endian(record, 4, 8);
    if (d.flag != tag_value("MACREADY")) return refused(d, MAC_WRONG_TAG);
    d.mac = address_at(record, 12, false);
    const size_t trailer_at = 12 + 6 * count;
    const u32 trailer = static_cast<u32>(big_endian(record, trailer_at, 4));
    if (with_crc && trailer != crc_of(record, 0, trailer_at)) {
        return refused(d, MAC_CHECK_MISMATCH);
    }
    d.num = static_cast<u32>(count);
    d.crc = trailer;
    return d;
}

Decoded model_kolbe(const Record& record, size_t length, Decoded d, bool with_crc) {
    if (length < 48 + u64{6} * d.num) return refused(d, MAC_INVALID_ARGUMENT);
    d.flag = with_crc ? big_endian(record, 0, 4) : tag_value("NONE");
    if (with_crc && d.flag != tag_value("GOOD")) return refused(d, MAC_WRONG_TAG);
    d.mac = address_at(record, 48, true);
    for (size_t i = 0; with_crc && i < d.num; ++i) {
        const Mac address = address_at(record, 48 + 6 * i, true);
        if (big_endian(record, 4 + 2 * i, 2) != test::crc16(Record(address.begin(), address.end())))
            return refused(d, MAC_CHECK_MISMATCH);
    }
    d.crc = 0x5a5a;
    return d;
}

struct Format {
    GetFormat get;
    Decoded (*model)(const Record&, size_t, Decoded);
    bool counted;
};

constexpr Format kFormats[] = {
    {mac_qolt_get_format, model_qolt, true},
    {mac_router_incrc_get_format,
     [](const Record& r, size_t l, Decoded d) { return model_router(r, l, d, true); }, true},
    {mac_router_nocrc_get_format,
     [](const Record& r, size_t l, Decoded d) { return model_router(r, l, d, false); }, true},
    {mac_kolbe_incrc_get_format,
     [](const Record& r, size_t l, Decoded d) { return model_kolbe(r, l, d, true); }, false},
    {mac_kolbe_nocrc_get_format,
     [](const Record& r, size_t l, Decoded d) { return model_kolbe(r, l, d, false); }, false},
};

// Check values that fit, so that more than their mismatch is seen.
void seal(Record* record, size_t format, u32 num) {
    const auto put = [record](size_t at, u16 value) {
        if (at + 2 > record->size()) return;
        (*record)[at] = static_cast<u8>(value >> 8);
        (*record)[at + 1] = static_cast<u8>(value);
    };
    if (format == 0 && record->size() >= 16) put(14, crc_of(*record, 0, 14));
    if (format == 1 && record->size() >= 16) {
        const u64 count = (big_endian(*record, 0, 4) - 8) / 6;
        const u64 trailer = 12 + 6 * count;
        if (count < 64 && trailer + 4 <= record->size()) {
            put(trailer, 0);
            put(trailer + 2, crc_of(*record, 0, trailer));
        }
    }
    for (size_t i = 0; format == 3 && i < num && 54 + 6 * i <= record->size(); ++i) {
        const Mac address = address_at(*record, 48 + 6 * i, true);
        put(4 + 2 * i, test::crc16(Record(address.begin(), address.end())));
    }
}

struct Case {
    size_t format;
    u32 num;  // what the caller says; the counted formats do not look at it
    Record record;
};

// Bytes: format, whether the check values are made right, count, the record.
Case parse(Input input) {
    // Made once, for it costs more than a run; a test may have taken the board away.
    static std::unique_ptr<const macctl::CrcChoice> choice;
    if (choice == nullptr || host::attached_board() == nullptr) {
        choice.reset();
        choice = std::make_unique<const macctl::CrcChoice>(*platform::crc16_find("ibm-3740"));
    }
    Reader reader(input);
    Case parsed;
    parsed.format = reader.byte() % std::size(kFormats);
    const bool sealed = reader.byte() % 2 == 1;
    const u32 count = reader.byte();
    parsed.num = kFormats[parsed.format].counted ? 0x2222 : count;
    const Input rest = reader.bytes(kLongest);
    parsed.record.assign(rest.begin(), rest.end());
    if (sealed) seal(&parsed.record, parsed.format, parsed.num);
    return parsed;
}

// With a count of 0 a Kolbe decoder still reads one address.
size_t readable(const Case& parsed, size_t length) {
    return parsed.num == 0 ? std::max<size_t>(length, 54) : length;
}

// The record's first bytes in a buffer without one more than the decoder may read.
Decoded decode(const Case& parsed, size_t length) {
    const auto exact = std::make_unique<u8[]>(readable(parsed, length));
    std::copy_n(parsed.record.begin(), std::min(readable(parsed, length), parsed.record.size()),
                exact.get());
    Decoded found;
    found.num = parsed.num;
    found.status = kFormats[parsed.format].get(exact.get(), static_cast<u32>(length), &found.flag,
                                               found.mac.data(), &found.num, &found.crc);
    return found;
}

}  // namespace

void formats(Input input) {
    const Case parsed = parse(input);
    Decoded start;
    start.num = parsed.num;
    for (size_t length = 0; length <= parsed.record.size(); ++length) {
        if (readable(parsed, length) > parsed.record.size()) continue;
        must(decode(parsed, length) == kFormats[parsed.format].model(parsed.record, length, start),
             "a decoder differs from its model");
    }
}

FormatsReach formats_reach(Input input) {
    const Case parsed = parse(input);
    const Decoded found = decode(parsed, parsed.record.size());
    return {parsed.format, parsed.record.size(), found.status, found.mac, found.num};
}

}  // namespace fuzz
