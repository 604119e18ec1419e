// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The entry point that libFuzzer wants; MAC_FUZZ_TARGET says which target.
#include <cstdint>

#include "tests/fuzz/fuzz.h"

// NOLINTNEXTLINE(readability-identifier-naming) the fuzzer's name
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::MAC_FUZZ_TARGET({data, size});
    return 0;
}
