// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl as its users run it: the program, and the demo board in a scratch folder.
#ifndef TESTS_SUPPORT_MACCTL_FIXTURE_H
#define TESTS_SUPPORT_MACCTL_FIXTURE_H

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/support/encoder.h"
#include "tests/support/folder.h"

namespace test {

class MacctlTest : public ::testing::Test {
protected:
    MacctlTest();

    static std::string source(const std::string& file);  // a file of the source tree

    // A command that writes runs twice: rehearsed with --dry-run, which has to leave every
    // byte of the folder as it is, and to say and to end with what the real run then does.
    Outcome macctl(const std::string& arguments) const;
    Outcome tool(const std::string& arguments) const;  // without the board
    Outcome sh(const std::string& command) const { return run(folder, command); }

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
