// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The same workloads, timed.
#include <benchmark/benchmark.h>

#include "bench/workload.h"

int main(int argc, char** argv) {
    for (const bench::Workload& workload : bench::workloads()) {
        benchmark::RegisterBenchmark(workload.name.c_str(), [&workload](benchmark::State& state) {
            const std::function<void()> run = workload.prepare();
            for (auto _ : state) run();
            state.SetBytesProcessed(static_cast<int64_t>(workload.bytes) *
                                    static_cast<int64_t>(state.iterations()));
        });
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
