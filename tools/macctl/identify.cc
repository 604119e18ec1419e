// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/identify.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>

#include "platform/algorithm.h"
#include "storage/formats/mac_mesg.h"

namespace macctl {

namespace {

constexpr u32 kKolbeTable = 22;  // addresses that its table has room for
constexpr u32 kNoCrcTrailer = 0xa5a5e7e7;

// All variants, their tables built once.
class Engines {
public:
    Engines() {
        for (u32 i = 0; i < platform::kCrc16VariantCount; ++i) {
            engines_[i].select(platform::kCrc16Variants[i]);
        }
    }

    template <typename Fits>
    std::vector<const platform::Crc16Variant*> fitting(Fits fits) const {
        std::vector<const platform::Crc16Variant*> variants;
        for (const platform::Crc16& engine : engines_) {
            if (fits(engine)) variants.push_back(engine.variant());
        }
        return variants;
    }

private:
    std::array<platform::Crc16, platform::kCrc16VariantCount> engines_;
};

u32 word(ConstBytes bytes, size_t at) {
    u32 value = 0;
    mac_mesg_get_u32(bytes.data() + at, &value);
    return value;
}

u16 half(ConstBytes bytes, size_t at) {
    u32 value = 0;
    mac_mesg_get_u16(bytes.data() + at, &value);
    return static_cast<u16>(value);
}

MacAddress address_at(ConstBytes bytes, size_t at) {
    MacAddress address{};
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), 6, address.begin());
    return address;
}

MacAddress kolbe_address(ConstBytes bytes, u32 index) {
    MacAddress address{};
    mac_mesg_endian(address.data(), bytes.data() + 48 + size_t{6} * index, 6);
    return address;
}

// How many addresses fit, `crc` computing the check value of one.
template <typename Crc>
u32 count_kolbe(ConstBytes bytes, Crc crc) {
    u32 num = 0;
    while (num < kKolbeTable && 48 + size_t{6} * (num + 1) <= bytes.size()) {
        const MacAddress address = kolbe_address(bytes, num);
        if (address != nth_address(kolbe_address(bytes, 0), num)) break;
        if (crc(address) != half(bytes, 4 + size_t{2} * num)) break;
        ++num;
    }
    return num;
}

void judge_qolt(ConstBytes bytes, const Engines& engines, Found* found) {
    if (bytes.size() < 16) {
        found->detail = "the file ends inside the record";
        return;
    }
    found->variants = engines.fitting(
        [&](const platform::Crc16& crc) { return crc.value(bytes.data(), 14) == half(bytes, 14); });
    found->good = !found->variants.empty();
    found->num = word(bytes, 4);
    found->base = address_at(bytes, 8);
    found->detail = "the check value fits none of the 31 CRC-16 variants";
}

void judge_router(ConstBytes bytes, const Engines& engines, Found* found) {
    const u32 length = word(bytes, 0);
    const size_t covered = 12 + size_t{6} * (length < 14 ? 0 : (length - 8) / 6);
    if (length < 14 || covered + 4 > bytes.size()) {
        found->detail = fmt::format("the length word says {} bytes, which cannot be", length);
        return;
    }
    found->num = (length - 8) / 6;
    found->base = address_at(bytes, 12);
    const u32 trailer = word(bytes, covered);
    if (trailer == kNoCrcTrailer) {
        found->format = find_format("router");
        found->good = true;
        return;
    }
    found->variants = engines.fitting(
        [&](const platform::Crc16& crc) { return crc.value(bytes.data(), covered) == trailer; });
    found->good = !found->variants.empty();
    found->detail =
        fmt::format("the trailer 0x{:08x} fits none of the 31 CRC-16 variants, and is not 0x{:08x}",
                    trailer, kNoCrcTrailer);
}

void judge_kolbe(ConstBytes bytes, const Engines& engines, Found* found) {
    const auto count = [&](const platform::Crc16& crc) {
        return count_kolbe(bytes, [&crc](const MacAddress& address) {
            return crc.value(address.data(), address.size());
        });
    };
    // The variants that explain most addresses.
    (void)engines.fitting([&](const platform::Crc16& crc) {
        found->num = std::max(found->num, count(crc));
        return false;
    });
    found->good = found->num > 0;
    if (!found->good) {
        found->detail =
            "the first address fits its check value under none of the 31 CRC-16 variants";
        return;
    }
    found->base = kolbe_address(bytes, 0);
    found->variants =
        engines.fitting([&](const platform::Crc16& crc) { return count(crc) == found->num; });
}

}  // namespace

bool has_tag(const Format& format, ConstBytes bytes) {
    if (format.tag_bytes == 0 || bytes.size() < size_t{format.tag_at} + format.tag_bytes)
        return false;
    for (u32 i = 0; i < format.tag_bytes; ++i) {
        const u8 wanted = static_cast<u8>(format.flag >> (8 * (format.tag_bytes - 1 - i)));
        if (bytes[format.tag_at + i] != wanted) return false;
    }
    return true;
}

u32 kolbe_count(ConstBytes bytes) {
    return count_kolbe(bytes, [](const MacAddress& address) {
        u16 crc = 0;
        drv_crc16_checksum(address.data(), 6, &crc);
        return crc;
    });
}

std::vector<Found> identify(ConstBytes bytes) {
    const auto engines = std::make_unique<Engines>();
    std::vector<Found> records;
    for (size_t offset = 0; offset < bytes.size(); ++offset) {
        const ConstBytes here = bytes.subspan(offset);
        for (const char* name : {"qolt", "router-crc", "kolbe-crc"}) {
            const Format* const format = find_format(name);
            if (!has_tag(*format, here)) continue;
            Found found{.offset = offset, .format = format};
            if (format->list_at == 8) judge_qolt(here, *engines, &found);
            if (format->list_at == 12) judge_router(here, *engines, &found);
            if (format->list_at == 48) judge_kolbe(here, *engines, &found);
            if (found.good) found.detail.clear();
            records.push_back(std::move(found));
        }
    }
    return records;
}

}  // namespace macctl
