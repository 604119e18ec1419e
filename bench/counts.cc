// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Under callgrind: one dump of counters a workload, named "NAME|ITERATIONS|BYTES"; with
// an argument only of those whose name has it.
#include <fmt/format.h>
#include <valgrind/callgrind.h>

#include "bench/workload.h"

int main(int argc, char** argv) {
    for (const bench::Workload& workload : bench::workloads()) {
        if (argc > 1 && workload.name.find(argv[1]) == std::string::npos) continue;
        const std::function<void()> run = workload.prepare();
        run();
        const std::string label =
            fmt::format("{}|{}|{}", workload.name, workload.iterations, workload.bytes);
        CALLGRIND_ZERO_STATS;
        for (u32 i = 0; i < workload.iterations; ++i) run();
        CALLGRIND_DUMP_STATS_AT(label.c_str());
    }
    return 0;
}
