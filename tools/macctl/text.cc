// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/text.h"

#include <fmt/format.h>

#include <sstream>

#include "base/text.h"
#include "mac_mng/mac_status.h"
#include "platform/common/service_status.h"

namespace macctl {

namespace {

struct StatusRow {
    u32 value;
    const char* name;
    const char* sentence;
};

#define STATUS_ROW(name, value, sentence) {value, #name, sentence},
constexpr StatusRow kStatusRows[] = {MAC_STATUS_LIST(STATUS_ROW) SERVICE_STATUS_LIST(STATUS_ROW)};
#undef STATUS_ROW

const StatusRow* find_status(u32 status) {
    for (const StatusRow& row : kStatusRows) {
        if (row.value == status) return &row;
    }
    return nullptr;
}

constexpr char kGbkColon[] = "\xa3\xba";
constexpr char kUtf8Colon[] = "\xef\xbc\x9a";

}  // namespace

AddressText address_text(const u8* address) {
    AddressText text;
    char* at = text.data();
    for (size_t i = 0; i < 6; ++i) {
        at = mac::put_hex(at, address[i]);
        *at++ = i < 5 ? ':' : '\0';
    }
    return text;
}

std::string format_address(const u8* address) { return address_text(address).data(); }

namespace {

// What a character stands for as the digit in front and as the one behind it.
constexpr u32 kNoDigit = 0x100;

struct DigitRow {
    u16 high;
    u16 low;
};

constexpr std::array<DigitRow, 256> kDigits = [] {
    std::array<DigitRow, 256> rows{};
    for (u32 i = 0; i < 256; ++i) {
        const u32 value = mac::digit_value(static_cast<char>(i));
        rows[i].high = static_cast<u16>(value > 15 ? kNoDigit : value << 4);
        rows[i].low = static_cast<u16>(value > 15 ? kNoDigit : value);
    }
    return rows;
}();

// The usual spelling, which most texts have; whatever else it is takes a closer look.
bool parse_usual(const std::string& text, MacAddress* address) {
    if (text.size() != 17) return false;
    const auto* at = reinterpret_cast<const u8*>(text.data());
    u32 wrong = 0;
#pragma GCC unroll 6
    for (size_t i = 0; i < 6; ++i, at += 3) {
        const u32 byte = kDigits[at[0]].high | kDigits[at[1]].low;
        // Behind the last group stands the text's terminator.
        wrong |= (byte & kNoDigit) | (at[2] ^ (i < 5 ? u32{':'} : 0));
        (*address)[i] = static_cast<u8>(byte);
    }
    return wrong == 0;
}

// Any spelling, and what is wrong with others.
[[gnu::noinline]] std::optional<MacAddress> parse_spelling(const std::string& text,
                                                           std::string* error) {
    MacAddress address{};
    const auto refuse = [&](const std::string& reason) {
        *error = fmt::format(
            "\"{}\" is no MAC address: {}; expected six two-digit groups joined by ':', '-' or "
            "'.', or three four-digit groups joined by '.'",
            text, reason);
        return std::nullopt;
    };
    const size_t separator_at = text.find_first_of(":-.");
    if (separator_at == std::string::npos) return refuse("it has no separators");
    const char separator = text[separator_at];
    const size_t group = separator == '.' && separator_at == 4 ? 4 : 2;
    size_t digits = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i % (group + 1) == group) {
            if (text[i] != separator) {
                return refuse(fmt::format("character {} is '{}' where '{}' belongs", i + 1, text[i],
                                          separator));
            }
            continue;
        }
        const u32 value = mac::digit_value(text[i]);
        if (value > 15) {
            return refuse(fmt::format("character {} is '{}' where a hexadecimal digit belongs",
                                      i + 1, text[i]));
        }
        if (digits == 12) return refuse("it is longer than six bytes");
        address[digits / 2] = static_cast<u8>(address[digits / 2] * 16 + value);
        ++digits;
    }
    if (digits != 12) return refuse(fmt::format("it has {} digits instead of 12", digits));
    if (text.back() == separator) return refuse("it ends with a separator");
    return address;
}

}  // namespace

std::optional<MacAddress> parse_address(const std::string& text, std::string* error) {
    MacAddress address;
    if (parse_usual(text, &address)) return address;
    return parse_spelling(text, error);
}

std::string status_name(u32 status) {
    const StatusRow* const row = find_status(status);
    return row == nullptr ? "UNKNOWN" : row->name;
}

std::string describe_status(u32 status) {
    const StatusRow* const row = find_status(status);
    return fmt::format("{} (0x{:08x}): {}", status_name(status), status,
                       row == nullptr ? "a code that this tool does not know" : row->sentence);
}

std::string counted(size_t number, const std::string& noun) {
    return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
}

std::vector<std::string> split(const std::string& names) {
    std::vector<std::string> result;
    std::istringstream stream(names);
    for (std::string name; std::getline(stream, name, ',');) result.push_back(name);
    if (names.ends_with(',')) result.emplace_back();
    return result;
}

std::string printable_log(const std::string& text) {
    std::string result = text;
    for (size_t at = 0; (at = result.find(kGbkColon, at)) != std::string::npos;) {
        result.replace(at, sizeof(kGbkColon) - 1, kUtf8Colon);
        at += sizeof(kUtf8Colon) - 1;
    }
    return result;
}

}  // namespace macctl
