// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The work that is measured, by name: the same for counted instructions (counts.cc) and
// for times (times.cc).
#ifndef BENCH_WORKLOAD_H
#define BENCH_WORKLOAD_H

#include <functional>
#include <string>
#include <vector>

#include "platform/types.h"

namespace bench {

struct Workload {
    std::string name;
    u64 bytes;       // moved or checked by one run, 0 where that means nothing
    u32 iterations;  // for counting
    // Makes ready, and returns what is measured: one run a call.
    std::function<std::function<void()>()> prepare;
};

const std::vector<Workload>& workloads();

// Keeps the compiler from dropping a result.
inline void keep(const void* result) { asm volatile("" : : "g"(result) : "memory"); }

}  // namespace bench

#endif
