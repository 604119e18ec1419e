// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/common/crc16.h"

namespace platform {

constexpr Crc16Variant kCrc16Variants[kCrc16VariantCount] = {
    // name, aliases, poly, init, reflected, xorout, check
    {"ARC", "CRC-16, CRC-IBM, LHA, ARC", 0x8005, 0x0000, true, 0x0000, 0xbb3d},
    {"CDMA2000", "", 0xc867, 0xffff, false, 0x0000, 0x4c06},
    {"CMS", "", 0x8005, 0xffff, false, 0x0000, 0xaee7},
    {"DDS-110", "", 0x8005, 0x800d, false, 0x0000, 0x9ecf},
    {"DECT-R", "R-CRC-16", 0x0589, 0x0000, false, 0x0001, 0x007e},
    {"DECT-X", "X-CRC-16", 0x0589, 0x0000, false, 0x0000, 0x007f},
    {"DNP", "", 0x3d65, 0x0000, true, 0xffff, 0xea82},
    {"EN-13757", "", 0x3d65, 0x0000, false, 0xffff, 0xc2b7},
    {"GENIBUS", "DARC, EPC, EPC-C1G2, I-CODE", 0x1021, 0xffff, false, 0xffff, 0xd64e},
    {"GSM", "", 0x1021, 0x0000, false, 0xffff, 0xce3c},
    {"IBM-3740", "AUTOSAR, CCITT-FALSE", 0x1021, 0xffff, false, 0x0000, 0x29b1},
    {"IBM-SDLC", "ISO-HDLC, ISO-IEC-14443-3-B, CRC-B, X-25", 0x1021, 0xffff, true, 0xffff, 0x906e},
    {"ISO-IEC-14443-3-A", "CRC-A", 0x1021, 0xc6c6, true, 0x0000, 0xbf05},
    {"KERMIT", "BLUETOOTH, CCITT, CCITT-TRUE, V-41-LSB", 0x1021, 0x0000, true, 0x0000, 0x2189},
    {"LJ1200", "", 0x6f63, 0x0000, false, 0x0000, 0xbdf4},
    {"M17", "", 0x5935, 0xffff, false, 0x0000, 0x772b},
    {"MAXIM-DOW", "MAXIM", 0x8005, 0x0000, true, 0xffff, 0x44c2},
    {"MCRF4XX", "", 0x1021, 0xffff, true, 0x0000, 0x6f91},
    {"MODBUS", "", 0x8005, 0xffff, true, 0x0000, 0x4b37},
    {"NRSC-5", "", 0x080b, 0xffff, true, 0x0000, 0xa066},
    {"OPENSAFETY-A", "", 0x5935, 0x0000, false, 0x0000, 0x5d38},
    {"OPENSAFETY-B", "", 0x755b, 0x0000, false, 0x0000, 0x20fe},
    {"PROFIBUS", "IEC-61158-2", 0x1dcf, 0xffff, false, 0xffff, 0xa819},
    {"RIELLO", "", 0x1021, 0xb2aa, true, 0x0000, 0x63d0},
    {"SPI-FUJITSU", "AUG-CCITT", 0x1021, 0x1d0f, false, 0x0000, 0xe5cc},
    {"T10-DIF", "", 0x8bb7, 0x0000, false, 0x0000, 0xd0db},
    {"TELEDISK", "", 0xa097, 0x0000, false, 0x0000, 0x0fb3},
    {"TMS37157", "", 0x1021, 0x89ec, true, 0x0000, 0x26b1},
    {"UMTS", "BUYPASS, VERIFONE", 0x8005, 0x0000, false, 0x0000, 0xfee8},
    {"USB", "", 0x8005, 0xffff, true, 0xffff, 0xb4c8},
    {"XMODEM", "ACORN, LTE, V-41-MSB, ZMODEM", 0x1021, 0x0000, false, 0x0000, 0x31c3},
};

namespace {

constexpr char kPrefix[] = "CRC-16/";

constexpr char to_capital(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A')
                                                : character;
}

// Whether `text` starts with `words`, letters in any case; returns what follows,
// or null.
const char* skip_words(const char* text, const char* words) {
    for (; *words != '\0'; ++words, ++text) {
        if (to_capital(*text) != to_capital(*words)) return nullptr;
    }
    return text;
}

bool same_words(const char* text, const char* words) {
    const char* const rest = skip_words(text, words);
    return rest != nullptr && *rest == '\0';
}

// Whether `name` is one of a list separated by ", ".
bool is_listed(const char* name, const char* list) {
    while (*list != '\0') {
        const char* text = name;
        while (*list != '\0' && *list != ',' && to_capital(*text) == *list) {
            ++text;
            ++list;
        }
        if (*text == '\0' && text != name && (*list == '\0' || *list == ',')) return true;
        while (*list != '\0' && *list != ' ') ++list;
        if (*list == ' ') ++list;
    }
    return false;
}

constexpr u16 reflect(u16 value) {
    u32 result = 0;
    for (u32 bit = 0; bit < 16; ++bit) {
        if ((value >> bit & 1) != 0) result |= 0x8000u >> bit;
    }
    return static_cast<u16>(result);
}

// The register after one byte, one bit at a time.
constexpr u16 shift_byte(u32 byte, const Crc16Variant& variant) {
    u32 crc = variant.reflected ? byte : byte << 8;
    const u32 reflected_poly = reflect(variant.poly);
    for (u32 bit = 0; bit < 8; ++bit) {
        if (variant.reflected) {
            crc = (crc & 1) != 0 ? crc >> 1 ^ reflected_poly : crc >> 1;
        } else {
            crc = (crc & 0x8000) != 0 ? crc << 1 ^ variant.poly : crc << 1;
        }
    }
    return static_cast<u16>(crc);
}

}  // namespace

const Crc16Variant* crc16_find(const char* name) {
    const char* const rest = skip_words(name, kPrefix);
    if (rest != nullptr) name = rest;
    for (const Crc16Variant& variant : kCrc16Variants) {
        if (same_words(name, variant.name) || is_listed(name, variant.aliases)) return &variant;
    }
    return nullptr;
}

// A row is linear: the entries of the eight single bits give all others.
void Crc16::select(const Crc16Variant& variant) {
    variant_ = &variant;
    start_ = variant.reflected ? reflect(variant.init) : variant.init;
    for (size_t row = 0; row < kSlices; ++row) {
        for (u32 bit = 1; bit < 256; bit <<= 1) {
            const u32 crc = row == 0 ? 0 : table_[row - 1][bit];
            const u32 entry = row == 0            ? shift_byte(bit, variant)
                              : variant.reflected ? table_[0][crc & 0xff] ^ crc >> 8
                                                  : table_[0][crc >> 8] ^ crc << 8;
            for (u32 low = 0; low < bit; ++low) {
                table_[row][bit + low] = static_cast<u16>(entry ^ table_[row][low]);
            }
        }
    }
}

// The register is folded into the first two bytes of a block; then every byte of
// the block contributes by its distance from the block's end, each look-up
// independent of the others.
template <bool kReflected, size_t kBlock>
u32 Crc16::fold(u32 crc, const u8* data) const {
    const u32 first = kReflected ? crc & 0xff : crc >> 8;
    const u32 second = kReflected ? crc >> 8 : crc & 0xff;
    u32 next = table_[kBlock - 1][data[0] ^ first] ^ table_[kBlock - 2][data[1] ^ second];
#pragma GCC unroll 14
    for (size_t i = 2; i < kBlock; ++i) next ^= table_[kBlock - 1 - i][data[i]];
    return next;
}

template <bool kReflected>
u32 Crc16::run(const u8* data, size_t length) const {
    u32 crc = start_;
    for (; length >= kSlices; data += kSlices, length -= kSlices) {
        crc = fold<kReflected, kSlices>(crc, data);
    }
    // What a Qolt record checks.
    if (length == 14) return fold<kReflected, 14>(crc, data);
    for (; length >= 4; data += 4, length -= 4) crc = fold<kReflected, 4>(crc, data);
    for (; length != 0; ++data, --length) {
        crc = kReflected ? table_[0][(crc ^ data[0]) & 0xff] ^ crc >> 8
                         : table_[0][crc >> 8 ^ data[0]] ^ (crc << 8 & 0xff00);
    }
    return crc;
}

u16 Crc16::value(const u8* data, size_t length) const {
    const u32 crc = variant_->reflected ? run<true>(data, length) : run<false>(data, length);
    return static_cast<u16>(crc ^ variant_->xorout);
}

}  // namespace platform
