// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Fixtures: the user-space platform reset for each test, its log captured.
#ifndef TESTS_SUPPORT_FIXTURE_H
#define TESTS_SUPPORT_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "platform/host/board.h"
#include "platform/host/checker.h"
#include "platform/types.h"

namespace test {

struct Line {
    u32 level;
    std::string text;

    bool operator==(const Line&) const = default;
};
using Log = std::vector<Line>;

inline void PrintTo(const Line& line, std::ostream* out) {
    *out << line.level << " \"" << line.text << "\"";
}

// printf into a string.
std::string text(const char* format, ...) __attribute__((format(printf, 1, 2)));

// A clean platform: no faults planned, no board, an empty log, empty heaps.
class PlatformTest : public ::testing::Test {
protected:
    PlatformTest();
    ~PlatformTest() override;

    // Attaches a board whose images are in memory.
    host::Board& use_board(const std::string& xml);
    host::Board& board() { return *board_; }

    // The module's lines up to a level since the last call.
    Log take_log(u32 level = 2);

    // The lines of another module number since the last call of take_log().
    Log lines_of(u32 module) const;

private:
    struct Recorded {
        u32 module;
        Line line;
    };
    std::unique_ptr<host::Board> board_;
    std::vector<Recorded> recorded_;
};

// The registries set up, no driver of the module's own, a default board.
class RegistryTest : public PlatformTest {
protected:
    RegistryTest();
};

// The whole set-up but the control device and diagnostics: what an instance needs
// to be mounted.
class ServiceTest : public RegistryTest {
protected:
    ServiceTest();
};

// A board with one flash (chip 45, 0x20000 bytes, blocks of 0x10000), two EEPROMs
// (264 and 265, 0x1000 bytes, pages of 32) and a redundant environment of two
// copies of 0x400 bytes; `trees` is what stands beside its platform part.
std::string board_with(const std::string& trees);

// One storage entry element.
std::string entry_xml(u32 index, u32 id, const std::string& driver, u32 chip, u32 channel, u32 num,
                      const std::string& name = "");

// The tree of an instance from its main and spare entries.
std::string tree_xml(const std::string& main, const std::string& spare);

}  // namespace test

#endif
