// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The seeds of the fuzzers, inputs that once were a crash among them, through the same
// targets.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "mac_mng/mac_status.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/encoder.h"

namespace {

struct Seed {
    std::string name;  // the comment above it
    test::Record bytes;
};

std::vector<Seed> seeds_of(const std::string& target) {
    std::ifstream file(MAC_SOURCE_DIR "/tests/fuzz/seeds/" + target + ".hex");
    std::vector<Seed> seeds;
    std::string name;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("# ")) {
            name = line.substr(2);
        } else {
            seeds.push_back({name, test::bytes(line)});
        }
    }
    return seeds;
}

class FuzzSeeds : public ::testing::TestWithParam<fuzz::Target> {};

TEST_P(FuzzSeeds, AreTaken) {
    const std::vector<Seed> seeds = seeds_of(GetParam().name);
    for (const Seed& seed : seeds) GetParam().run(seed.bytes);
    EXPECT_GE(seeds.size(), 3u);
}

INSTANTIATE_TEST_SUITE_P(All, FuzzSeeds, ::testing::ValuesIn(fuzz::kTargets),
                         [](const auto& tested) { return tested.param.name; });

// What a decoder makes of each seed, in their order: all five formats, and every refusal.
TEST(FuzzSeeds, Formats_ReachWhatTheirNamesSay) {
    constexpr u32 kLeft = 0x2222;  // a counted format's count where nothing was decoded
    const char* const nothing = "090909090909";
    const char* const base = "0011223344fe";
    const char* const carry = "02ffffffffff";
    const struct {
        const char* name;
        size_t format, length;
        u32 status;
        const char* mac;
        u32 num;
    } reached[] = {
        {"qolt, 8 addresses", 0, 16, MAC_OK, base, 8},
        {"router-crc, 8 addresses", 1, 64, MAC_OK, base, 8},
        {"router, 8 addresses", 2, 64, MAC_OK, base, 8},
        {"kolbe-crc, 8 addresses", 3, 96, MAC_OK, base, 8},
        {"kolbe, 8 addresses", 4, 96, MAC_OK, base, 8},
        {"qolt, 2 addresses", 0, 16, MAC_OK, carry, 2},
        {"router-crc, 2 addresses", 1, 28, MAC_OK, carry, 2},
        {"router, 2 addresses", 2, 28, MAC_OK, carry, 2},
        {"kolbe-crc, 2 addresses", 3, 60, MAC_OK, carry, 2},
        {"kolbe, 2 addresses", 4, 60, MAC_OK, carry, 2},
        {"a length word of nearly 4 GiB", 1, 32, MAC_RECORD_SHORT, nothing, kLeft},
        {"no record", 0, 0, MAC_INVALID_ARGUMENT, nothing, kLeft},
        {"qolt, the check value differs", 0, 16, MAC_CHECK_MISMATCH, base, 8},
        {"qolt, another address, the check value made right", 0, 16, MAC_OK, "0011223344ff", 8},
        {"qolt, the tag differs", 0, 16, MAC_WRONG_TAG, nothing, kLeft},
        {"qolt, a byte short", 0, 15, MAC_INVALID_ARGUMENT, nothing, kLeft},
        {"router-crc, the last address differs", 1, 64, MAC_CHECK_MISMATCH, base, kLeft},
        {"router-crc, the tag differs", 1, 28, MAC_WRONG_TAG, nothing, kLeft},
        {"router, a length word one too small", 2, 28, MAC_LENGTH_FIELD_SMALL, nothing, kLeft},
        {"router, a byte short", 2, 27, MAC_RECORD_SHORT, nothing, kLeft},
        {"kolbe-crc, the check value of the last address differs", 3, 96, MAC_CHECK_MISMATCH, base,
         8},
        {"kolbe-crc, the tag differs", 3, 96, MAC_WRONG_TAG, nothing, 8},
        {"kolbe-crc, one address fewer than the count", 3, 96, MAC_INVALID_ARGUMENT, nothing, 9},
        {"kolbe, no address", 4, 54, MAC_OK, base, 0},
    };
    const std::vector<Seed> seeds = seeds_of("formats");
    ASSERT_EQ(seeds.size(), std::size(reached));
    for (size_t i = 0; i < seeds.size(); ++i) {
        SCOPED_TRACE(seeds[i].name);
        const fuzz::FormatsReach found = fuzz::formats_reach(seeds[i].bytes);
        EXPECT_EQ(seeds[i].name, reached[i].name);
        EXPECT_EQ(found.format, reached[i].format);
        EXPECT_EQ(found.length, reached[i].length);
        EXPECT_EQ(found.status, reached[i].status);
        EXPECT_EQ(test::hex({found.mac.begin(), found.mac.end()}), reached[i].mac);
        EXPECT_EQ(found.num, reached[i].num);
    }
}

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
