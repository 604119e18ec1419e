// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What goes wrong in the field, found in a board file before it does.
#ifndef TOOLS_MACCTL_BOARD_CHECK_H
#define TOOLS_MACCTL_BOARD_CHECK_H

#include <algorithm>
#include <filesystem>

#include "tools/macctl/inspect.h"

namespace macctl {

enum class Severity { kError, kWarning, kNote };
const char* severity_name(Severity severity);

struct Finding {
    Severity severity;
    std::string code;  // stable, for programs: "overlap", "same-block", ...
    unsigned line;
    std::string text;
    std::string advice;
};

// A range of bytes that something takes up.
struct Range {
    u64 start;
    u64 end;  // behind the last byte

    bool overlaps(const Range& other) const { return start < other.end && other.start < end; }
};

// Whether two entries lie on one medium.
bool same_medium(const Copy& left, const Copy& right);
Range range_of(const Copy& copy);

// Sorts items by where their ranges begin, and reports each that overlaps one before it, with
// the one of those that reaches furthest: who overlaps is told at least once, and a crowd of
// n is told n - 1 times.
template <typename Item, typename RangeOf, typename Report>
void report_overlaps(std::vector<Item>* items, RangeOf range, Report report) {
    std::stable_sort(items->begin(), items->end(), [&](const Item& left, const Item& right) {
        return range(left).start < range(right).start;
    });
    const Item* furthest = nullptr;
    for (const Item& item : *items) {
        if (furthest != nullptr && range(*furthest).overlaps(range(item))) report(*furthest, item);
        if (furthest == nullptr || range(item).end > range(*furthest).end) furthest = &item;
    }
}

// The findings of the file itself, in the order of its lines.
std::vector<Finding> check_layout(const host::BoardFile& file);
// Those of them that somebody who wrote what was meant would not have.
std::vector<Finding> mistakes_of(const host::BoardFile& file);
// And of the blocks that its media hold.
std::vector<Finding> check_blocks(const std::vector<PoolReport>& reports);

}  // namespace macctl

#endif
