// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/support/macctl_fixture.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>

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

bool is_rehearsed(const std::string& arguments) {
    static const std::regex kWriting(
        "(^| )(set (addr|num|block) |import |repair|record encode |board (init|compile|install)|"
        "board map.* --svg |unmount|deinit)");
    return std::regex_search(arguments, kWriting) &&
           arguments.find("--dry-run") == std::string::npos;
}

namespace {

// Every file's bytes, but for the lock's, which is made to look as well, and for what the
// last command said.
std::map<std::string, std::string> bytes_of(const Folder& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path(""))) {
        const std::string name = entry.path().filename();
        if (name == ".out" || name == ".err" || name.ends_with(".lock")) continue;
        if (!entry.is_regular_file()) continue;
        std::ifstream stream(entry.path(), std::ios::binary);
        files[entry.path()] = {std::istreambuf_iterator<char>(stream), {}};
    }
    return files;
}

std::string without(const std::string& text, const char* pattern) {
    return std::regex_replace(text, std::regex(pattern), "");
}

// What the tool itself said: the lines of the module in its process are not a rehearsal's.
std::string own_words(const std::string& err) {
    return without(err, "(^|\n)(warning|note): [^\n]*(?=\n)");
}

}  // namespace

Outcome MacctlTest::once(const std::string& arguments) const {
    return run(folder, std::string(MACCTL_PROGRAM) + " --board demo.xml " + arguments);
}

Outcome MacctlTest::macctl(const std::string& arguments) const {
    if (!rehearsed || !is_rehearsed(arguments)) return once(arguments);
    const auto before = bytes_of(folder);
    const Outcome dry = once(arguments + " --dry-run");
    EXPECT_TRUE(bytes_of(folder) == before) << arguments << " --dry-run wrote something";
    const Outcome real = once(arguments);
    rehearse(arguments, dry, real);
    return real;
}

void MacctlTest::rehearse(const std::string& arguments, const Outcome& dry,
                          const Outcome& real) const {
    EXPECT_EQ(dry.status, real.status) << arguments << "\n" << dry.err << real.err;
    EXPECT_EQ(without(own_words(dry.err), "^\n"), without(own_words(real.err), "^\n")) << arguments;
    if (arguments.find("json") != std::string::npos) return;  // "written" differs
    EXPECT_EQ(without(dry.out, "  \\(not written\\)"), real.out) << arguments;
}

Outcome MacctlTest::tool(const std::string& arguments) const {
    return run(folder, std::string(MACCTL_PROGRAM) + " " + arguments);
}

std::vector<std::string> MacctlTest::commands() const {
    const std::string manual = tool("help --man").out;
    static const std::regex kHeading("\n\\.SS \"([^\"]*)\"");
    std::vector<std::string> names;
    for (std::sregex_iterator found(manual.begin(), manual.end(), kHeading), end; found != end;
         ++found) {
        names.push_back((*found)[1]);
    }
    EXPECT_GT(names.size(), 20u);
    return names;
}

std::string MacctlTest::not_run_by(std::span<const char* const> lines) const {
    std::string missing;
    for (const std::string& command : commands()) {
        // Options that stand first have no values here.
        const std::regex line("(-\\S* )*" + command + "( .*)?");
        const bool run = std::any_of(lines.begin(), lines.end(), [&line](const char* one) {
            return std::regex_match(one, line);
        });
        if (!run) missing += command + "\n";
    }
    return missing;
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
