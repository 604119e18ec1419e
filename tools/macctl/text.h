// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What people read and type: addresses, status codes, log lines.
#ifndef TOOLS_MACCTL_TEXT_H
#define TOOLS_MACCTL_TEXT_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"

namespace macctl {

using MacAddress = std::array<u8, 6>;

// Six bytes in lower case, joined by ':'.
using AddressText = std::array<char, 18>;  // terminated
AddressText address_text(const u8* address);
std::string format_address(const u8* address);

// An address of six two-digit groups joined by ':', '-' or '.', or three
// four-digit groups joined by '.', in any case. None with a reason in *error.
std::optional<MacAddress> parse_address(const std::string& text, std::string* error);

// "NAME (0x........): sentence" for a code of the module or of a platform service.
std::string describe_status(u32 status);

// Its name alone, "UNKNOWN" for a code that this tool does not know.
std::string status_name(u32 status);

// "1 block", "2 blocks".
std::string counted(size_t number, const std::string& noun);

// The parts between commas, empty ones as well.
std::vector<std::string> split(const std::string& names);

// A log line for a UTF-8 terminal: the two-byte colon becomes its character.
std::string printable_log(const std::string& text);

}  // namespace macctl

#endif
