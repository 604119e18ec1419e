// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Which macctl this is.
#ifndef TOOLS_MACCTL_VERSION_H
#define TOOLS_MACCTL_VERSION_H

#include <string>

namespace macctl {

inline constexpr char kVersion[] = "macctl 1.0";

// The id that the linker gave this program, in hex: two builds have one only when they are
// the same to the byte. Empty where the linker gave none.
std::string build_id();

// The line that "--version" prints.
std::string version_text();

}  // namespace macctl

#endif
