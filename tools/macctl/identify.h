// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Finds records in the dump of a medium that nobody described.
#ifndef TOOLS_MACCTL_IDENTIFY_H
#define TOOLS_MACCTL_IDENTIFY_H

#include "tools/macctl/record.h"

namespace macctl {

struct Found {
    u64 offset = 0;
    const Format* format = nullptr;
    bool good = false;
    MacAddress base{};
    u32 num = 0;
    std::vector<const platform::Crc16Variant*> variants{};  // that the check values fit
    std::string detail{};                                   // when it is not good
};

// Every place that has a record's tag, in the order of their offsets.
std::vector<Found> identify(ConstBytes bytes);

// Whether a record of this format, which has a tag, begins here.
bool has_tag(const Format& format, ConstBytes bytes);

// How many addresses a Kolbe record with CRC holds under the chosen CRC-16: those
// that count up from the first and fit their check values.
u32 kolbe_count(ConstBytes bytes);

}  // namespace macctl

#endif
