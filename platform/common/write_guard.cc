// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/common/write_guard.h"

namespace {

bool overlaps(const write_guard_range& range, u32 medium, u32 offset, u32 length) {
    return range.failures != 0 && range.medium == medium &&
           u64{range.offset} < u64{offset} + length &&
           u64{offset} < u64{range.offset} + range.length;
}

bool is_same(const write_guard_range& range, u32 medium, u32 offset, u32 length) {
    return range.failures != 0 && range.medium == medium && range.offset == offset &&
           range.length == length;
}

// The row of a range; a free one, or the one that failed least, when it has none.
write_guard_range& row_of(write_guard& guard, u32 medium, u32 offset, u32 length) {
    write_guard_range* least = &guard.ranges[0];
    for (write_guard_range& range : guard.ranges) {
        if (is_same(range, medium, offset, length)) return range;
        if (range.failures < least->failures) least = &range;
    }
    *least = {medium, offset, length, 0};
    return *least;
}

}  // namespace

int write_guard_refuses(const write_guard* guard, u32 medium, u32 offset, u32 length) {
    for (const write_guard_range& range : guard->ranges) {
        if (range.failures >= WRITE_GUARD_LIMIT && overlaps(range, medium, offset, length)) {
            return 1;
        }
    }
    return 0;
}

int write_guard_note(write_guard* guard, u32 medium, u32 offset, u32 length, int read_back) {
    if (length == 0) return 0;
    if (read_back != 0) {
        for (write_guard_range& range : guard->ranges) {
            if (is_same(range, medium, offset, length)) range.failures = 0;
        }
        return 0;
    }
    write_guard_range& range = row_of(*guard, medium, offset, length);
    ++range.failures;
    return range.failures == WRITE_GUARD_LIMIT ? 1 : 0;
}
