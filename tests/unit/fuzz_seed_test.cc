// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The seeds of the fuzzers, inputs that once were a crash among them, through the same
// targets.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/fuzz/fuzz.h"
#include "tests/support/encoder.h"

namespace {

class FuzzSeeds : public ::testing::TestWithParam<fuzz::Target> {};

TEST_P(FuzzSeeds, AreTaken) {
    std::ifstream file(std::string(MAC_SOURCE_DIR "/tests/fuzz/seeds/") + GetParam().name + ".hex");
    size_t seeds = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('#')) continue;
        GetParam().run(test::bytes(line));
        ++seeds;
    }
    EXPECT_GE(seeds, 3u);
}

INSTANTIATE_TEST_SUITE_P(All, FuzzSeeds, ::testing::ValuesIn(fuzz::kTargets),
                         [](const auto& tested) { return tested.param.name; });

TEST(FuzzSeeds, BoardsOfTheTree_AreTaken) {
    for (const char* const folder : {"/boards", "/tests/kernel"}) {
        for (const auto& entry :
             std::filesystem::directory_iterator(std::string(MAC_SOURCE_DIR) + folder)) {
            if (entry.path().extension() != ".xml") continue;
            std::stringstream text;
            text << std::ifstream(entry.path()).rdbuf();
            const std::string xml = text.str();
            fuzz::board_file({reinterpret_cast<const u8*>(xml.data()), xml.size()});
        }
    }
}

}  // namespace
