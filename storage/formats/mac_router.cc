// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "storage/formats/mac_router.h"

#include "base/status.h"
#include "base/vocabulary.h"
#include "platform/algorithm.h"
#include "storage/formats/mac_mesg.h"

namespace {

constexpr u8 kTag[] = {'M', 'A', 'C', 'R', 'E', 'A', 'D', 'Y'};
constexpr u32 kTagAt = 4;
constexpr u32 kListAt = 12;
constexpr u32 kOverhead = 16;     // length, tag and trailer
constexpr u32 kReadableMin = 22;  // one address
constexpr u32 kLengthMin = 14;    // tag and one address
constexpr u32 kFixedTrailer = 0xA5A5E7E7;

// The record size for num addresses; true arithmetic, so that an absurd count is
// refused and never walked.
constexpr u64 record_size(u32 num) { return u64{mac::kMacLength} * num + kOverhead; }

// The two trailers. written() is the trailer of a record of which the first
// `bytes` bytes are built; accepts() says whether a stored one is right.
struct CrcTrailer {
    static u32 written(const u8* buf, u32 bytes) {
        u16 crc = 0;
        drv_crc16_checksum(buf, bytes, &crc);
        return crc;
    }
    static bool accepts(const u8* buf, u32 bytes, u32 trailer) {
        return trailer == written(buf, bytes);
    }
};

struct FixedTrailer {
    static u32 written(const u8*, u32) { return kFixedTrailer; }
    static bool accepts(const u8*, u32, u32) { return true; }
};

template <typename Trailer>
u32 set_format(const u8* mac, u32 num, u8* buf, u32 buf_len, u64* flag, u32* crc) {
    if (mac == nullptr || flag == nullptr || crc == nullptr) return MAC_NULL_POINTER;
    if (buf == nullptr || buf_len < record_size(num)) return MAC_INVALID_ARGUMENT;
    const u32 trailer_at = mac::kMacLength * num + kListAt;
    mac_mesg_set_u32(buf, trailer_at - kTagAt);
    mac_router_incrc_get_flag(flag);
    mac_mesg_set_u64(buf + kTagAt, *flag);
    mac_data_fill(mac, num, buf + kListAt);
    *crc = Trailer::written(buf, trailer_at);
    mac_mesg_set_u32(buf + trailer_at, *crc);
    return MAC_OK;
}

template <typename Trailer>
u32 get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac, u32* num, u32* crc) {
    if (flag == nullptr || mac == nullptr || num == nullptr || crc == nullptr) {
        return MAC_NULL_POINTER;
    }
    if (buf == nullptr || buf_len < kReadableMin) return MAC_INVALID_ARGUMENT;
    u32 length = 0;
    mac_mesg_get_u32(buf, &length);
    if (length < kLengthMin) return MAC_LENGTH_FIELD_SMALL;
    const u32 count = (length - static_cast<u32>(sizeof(kTag))) / mac::kMacLength;
    if (buf_len < record_size(count)) return MAC_RECORD_SHORT;
    u64 expected_tag = 0;
    mac_mesg_get_u64(buf + kTagAt, flag);
    mac_router_incrc_get_flag(&expected_tag);
    if (*flag != expected_tag) return MAC_WRONG_TAG;
    mac_mesg_copy(mac, buf + kListAt, mac::kMacLength);
    const u32 trailer_at = mac::kMacLength * count + kListAt;
    u32 trailer = 0;
    mac_mesg_get_u32(buf + trailer_at, &trailer);
    if (!Trailer::accepts(buf, trailer_at, trailer)) return MAC_CHECK_MISMATCH;
    *num = count;
    *crc = trailer;
    return MAC_OK;
}

}  // namespace

void mac_router_incrc_get_flag(u64* flag) {
    if (flag == nullptr) return;
    mac_mesg_load_u64(kTag, flag);
}

void mac_router_nocrc_get_flag(u64* flag) { mac_router_incrc_get_flag(flag); }

u32 mac_router_incrc_get_size(u32 num) { return static_cast<u32>(record_size(num)); }
u32 mac_router_nocrc_get_size(u32 num) { return static_cast<u32>(record_size(num)); }

u32 mac_router_incrc_set_format(const u8* mac, u32 num, u8* buf, u32 buf_len, u64* flag, u32* crc) {
    return set_format<CrcTrailer>(mac, num, buf, buf_len, flag, crc);
}

u32 mac_router_nocrc_set_format(const u8* mac, u32 num, u8* buf, u32 buf_len, u64* flag, u32* crc) {
    return set_format<FixedTrailer>(mac, num, buf, buf_len, flag, crc);
}

u32 mac_router_incrc_get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac, u32* num,
                                u32* crc) {
    return get_format<CrcTrailer>(buf, buf_len, flag, mac, num, crc);
}

u32 mac_router_nocrc_get_format(const u8* buf, u32 buf_len, u64* flag, u8* mac, u32* num,
                                u32* crc) {
    return get_format<FixedTrailer>(buf, buf_len, flag, mac, num, crc);
}
