// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/support/macctl_fixture.h"

#include <fstream>

namespace test {

MacctlTest::MacctlTest() {
    folder.write("demo.xml", source("boards/demo.xml"));
    const std::string env = folder.path("uboot-env.bin").string();
    folder.write("fw.cfg", env + " 0x0 0x4000\n" + env + " 0x10000 0x4000\n");
}

std::string MacctlTest::source(const std::string& file) {
    std::ifstream stream(std::string(MAC_SOURCE_DIR "/") + file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

Outcome MacctlTest::macctl(const std::string& arguments) const {
    return run(folder, std::string(MACCTL_PROGRAM) + " --board demo.xml " + arguments);
}

Outcome MacctlTest::tool(const std::string& arguments) const {
    return run(folder, std::string(MACCTL_PROGRAM) + " " + arguments);
}

void MacctlTest::must(const std::string& arguments, const std::string& expected) const {
    const Outcome outcome = macctl(arguments);
    EXPECT_EQ(outcome.status, 0) << arguments << "\n" << outcome.err;
    EXPECT_EQ(outcome.out, expected) << arguments;
}

void MacctlTest::change(const std::string& arguments) const {
    const Outcome outcome = macctl(arguments + " --yes");
    EXPECT_EQ(outcome.status, 0) << arguments << "\n" << outcome.err;
}

nlohmann::json MacctlTest::json(const std::string& arguments) const {
    const Outcome outcome = macctl("--json " + arguments);
    const auto parsed = nlohmann::json::parse(outcome.out, nullptr, false);
    EXPECT_FALSE(parsed.is_discarded()) << arguments << "\n" << outcome.out;
    if (!parsed.is_discarded()) {
        EXPECT_EQ(parsed["exit"], outcome.status) << arguments;
    }
    return parsed;
}

void MacctlTest::poke(const std::string& image, size_t offset, const std::string& bytes) const {
    std::string content = folder.read(image);
    ASSERT_LE(offset + bytes.size(), content.size()) << image;
    content.replace(offset, bytes.size(), bytes);
    folder.write(image, content);
}

void MacctlTest::edit(const std::string& from, const std::string& to) const {
    std::string board = folder.read("demo.xml");
    const size_t at = board.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    folder.write("demo.xml", board.replace(at, from.size(), to));
}

}  // namespace test
