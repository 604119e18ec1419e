// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/support/encoder.h"

#include <algorithm>

namespace test {

namespace {

void append(Record* record, u64 value, unsigned count) {
    while (count-- > 0) record->push_back(static_cast<u8>(value >> (8 * count)));
}

void append(Record* record, const std::string& tag) {
    record->insert(record->end(), tag.begin(), tag.end());
}

u16 mirrored(u16 value, unsigned bits) {
    u16 result = 0;
    for (unsigned i = 0; i < bits; ++i) {
        if ((value >> i) & 1) result = static_cast<u16>(result | 1u << (bits - 1 - i));
    }
    return result;
}

}  // namespace

u16 crc16(const Record& bytes, u16 poly, u16 init, bool reflected, u16 xorout) {
    u16 crc = init;
    for (u8 byte : bytes) {
        if (reflected) byte = static_cast<u8>(mirrored(byte, 8));
        for (int bit = 7; bit >= 0; --bit) {
            const bool in = (byte >> bit) & 1;
            const bool out = crc >> 15;
            crc = static_cast<u16>(crc << 1);
            if (in != out) crc ^= poly;
        }
    }
    if (reflected) crc = mirrored(crc, 16);
    return crc ^ xorout;
}

u16 crc16(const Record& bytes) { return crc16(bytes, 0x1021, 0xffff, false, 0); }

Mac nth(const Mac& base, u64 index) {
    unsigned __int128 number = 0;
    for (const u8 byte : base) number = number * 256 + byte;
    number = (number + index) % (static_cast<unsigned __int128>(1) << 48);
    Mac result;
    for (int i = 5; i >= 0; --i) {
        result[static_cast<size_t>(i)] = static_cast<u8>(number % 256);
        number /= 256;
    }
    return result;
}

Record qolt(const Mac& base, u32 num) {
    Record record;
    append(&record, "QOLT");
    append(&record, num, 4);
    record.insert(record.end(), base.begin(), base.end());
    append(&record, crc16(record), 2);
    return record;
}

Record router(const Mac& base, u32 num, bool with_crc) {
    Record record;
    append(&record, u64{8} + u64{6} * num, 4);
    append(&record, "MACREADY");
    for (u32 i = 0; i < num; ++i) {
        const Mac address = nth(base, i);
        record.insert(record.end(), address.begin(), address.end());
    }
    append(&record, with_crc ? crc16(record) : 0xA5A5E7E7u, 4);
    return record;
}

Record kolbe(const Mac& base, u32 num, bool with_crc) {
    Record record(48 + size_t{6} * num, 0);
    if (with_crc) std::copy_n("GOOD", 4, record.begin());
    for (u32 i = 0; i < num; ++i) {
        const Mac address = nth(base, i);
        if (with_crc) {
            const u16 crc = crc16(Record(address.begin(), address.end()));
            record[4 + 2 * i] = static_cast<u8>(crc >> 8);
            record[5 + 2 * i] = static_cast<u8>(crc & 0xff);
        }
        for (size_t k = 0; k < 6; ++k) record[48 + 6 * i + k] = address[k ^ 1];
    }
    return record;
}

std::string hex(const Record& bytes, size_t from, size_t count) {
    static const char* const digits = "0123456789abcdef";
    std::string text;
    for (size_t i = from; i < bytes.size() && i - from < count; ++i) {
        text += digits[bytes[i] / 16];
        text += digits[bytes[i] % 16];
    }
    return text;
}

Record bytes(const std::string& digits) {
    Record result;
    std::string pair;
    for (const char digit : digits) {
        if (digit == ' ') continue;
        pair += digit;
        if (pair.size() < 2) continue;
        result.push_back(static_cast<u8>(std::stoul(pair, nullptr, 16)));
        pair.clear();
    }
    return result;
}

}  // namespace test
