// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The unit tests over sources with planted faults. Without an argument of its own it is
// the test program that it is made from: MAC_FAULT=N chooses a fault. With --serve FOLDER
// it takes jobs (server.cc).
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "tests/mutants/planted.h"
#include "tests/mutants/server.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (argc == 3 && std::strcmp(argv[1], "--serve") == 0) return planted::serve(argv[2]);
    if (const char* const number = std::getenv("MAC_FAULT")) {
        planted::fault = static_cast<unsigned>(std::strtoul(number, nullptr, 10));
    }
    return RUN_ALL_TESTS();
}
