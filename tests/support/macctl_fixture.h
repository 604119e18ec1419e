// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl as its users run it: the program, and the demo board in a scratch folder.
#ifndef TESTS_SUPPORT_MACCTL_FIXTURE_H
#define TESTS_SUPPORT_MACCTL_FIXTURE_H

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <span>

#include "tests/support/encoder.h"
#include "tests/support/folder.h"

namespace test {

// Whether MacctlTest::macctl() rehearses a command: it writes, and is no rehearsal itself.
bool is_rehearsed(const std::string& arguments);

// A shell function: until the command succeeds, for half a minute at most.
inline constexpr char kWaitFor[] =
    "wait_for() { tries=0; until \"$@\"; do tries=$((tries + 1)); [ $tries -lt 300 ] || return 1; "
    "sleep 0.1; done; }; ";

class MacctlTest : public ::testing::Test {
protected:
    MacctlTest();

    static std::string source(const std::string& file);  // a file of the source tree

    // A command that writes runs twice: rehearsed with --dry-run, which has to leave every
    // byte of the folder as it is, and to say and to end with what the real run then does.
    Outcome macctl(const std::string& arguments) const;
    Outcome tool(const std::string& arguments) const;  // without the board
    Outcome sh(const std::string& command) const { return run(folder, command); }

    // The commands of the manual, "get addr" among them; and those of them that none of the
    // lines runs, one a line.
    std::vector<std::string> commands() const;
    std::string not_run_by(std::span<const char* const> lines) const;

    // Ends with 0 and prints exactly that.
    void must(const std::string& arguments, const std::string& expected = "") const;
    // A change that replaces whatever is there.
    void change(const std::string& arguments) const;
    // The object that a command prints with --json, whatever its exit status.
    nlohmann::json json(const std::string& arguments) const;

    // Overwrites bytes of an image.
    void poke(const std::string& image, size_t offset, const std::string& bytes) const;

    // Replaces the first occurrence in the board file.
    void edit(const std::string& from, const std::string& to) const;

    Folder folder;
    // Off where a rehearsal cannot know what happens; each test that does so says why.
    bool rehearsed = true;

private:
    Outcome once(const std::string& arguments) const;
    void rehearse(const std::string& arguments, const Outcome& dry, const Outcome& real) const;
};

}  // namespace test

#endif
