// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

void must(bool condition, const char* text) {
    if (condition) return;
    std::fprintf(stderr, "fuzz: %s\n", text);
    std::abort();
}

u8 Reader::byte() {
    const Input one = bytes(1);
    return one.empty() ? 0 : one[0];
}

u32 Reader::word() {
    u32 value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | byte();
    return value;
}

Input Reader::bytes(size_t count) {
    const Input front = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(front.size());
    return front;
}

}  // namespace fuzz
