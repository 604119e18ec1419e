// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl --json: every command and error in the documented form.
#include <algorithm>

#include "tests/support/macctl_fixture.h"

namespace {

using test::Outcome;

constexpr char kSchema[] = "python3 " MAC_SOURCE_DIR "/tests/support/check_json.py " MAC_SOURCE_DIR
                           "/docs/macctl.schema.json";

// Every command that prints a result, with and without success.
const char* const kCommands[] = {
    "status",
    "get addr -t 0",
    "get num -t 0",
    "get block -t 0",
    "get list -t 0",
    "--version",
    "list -t 0",
    "list -t 0 -n 0",
    "set addr -t 0 02:00:00:00:00:01 --yes",
    "set num -t 0 4 --yes",
    "set block -t 1 02:00:00:00:01:00 4 --dry-run",
    "mount -i 3",
    "unmount -i 3",
    "show cfg",
    "show types",
    "diag devlist",
    "diag drvlist",
    "log",
    "check",
    "check -t 0",
    "check --allow-blank",
    "repair --dry-run",
    "repair",
    "export",
    "import blocks.json --yes",
    "record decode manuinfo.bin --offset 0x4c0",
    "record verify manuinfo.bin --offset 0x4c0",
    "record encode new.bin --format qolt --base 02:00:00:00:00:01 --count 4",
    "record identify manuinfo.bin",
    "board check",
    "board init",
    "board map",
    "board compile out.dtb",
    "board install --firmware fw",
};

const char* const kErrors[] = {
    "",
    "frobnicate",
    "get",
    "get addr",
    "get addr -t 9",
    "get addr -t x",
    "get addr -i 3 -t 0",
    "set addr -t 0 00:11",
    "set num -t 0 9",
    "set block -t 0 ff:ff:ff:ff:ff:ff 1 --yes",
    "list -t 0 --format link",
    "diag nothing",
    "check -t 70",
    "status -t 70",
    "export -t 1",
    "import absent.json",
    "record decode absent.bin",
    "record verify manuinfo.bin --offset 0x4c1",
    "-d /dev/null status",
};

class MacctlJson : public test::MacctlTest {
protected:
    MacctlJson() {
        change("set block -t 0 00:11:22:33:44:00 16");
        folder.write("blocks.json", R"({"format":"mac_mng-blocks","version":1,"blocks":[]})");
    }
};

TEST_F(MacctlJson, EveryCommand_FollowsTheSchema) {
    std::string all;
    for (const char* const command : kCommands) {
        const Outcome outcome = macctl(std::string("--json ") + command);
        EXPECT_NE(outcome.out.find("\"result\""), std::string::npos) << command << outcome.err;
        all += outcome.out;
    }
    folder.write("all.json", all);
    const Outcome checked = sh(std::string(kSchema) + " < all.json");
    EXPECT_EQ(checked.status, 0) << checked.err;
    EXPECT_EQ(checked.out, std::to_string(std::size(kCommands)) + "\n");
    EXPECT_EQ(not_run_by(kCommands), "completion\nhelp\n") << "those stay text";
}

// A command whose result no part of the schema speaks of would follow it whatever it printed.
TEST_F(MacctlJson, TheSchemaSpeaksOfEveryCommand) {
    const auto schema = nlohmann::json::parse(source("docs/macctl.schema.json"));
    for (const std::string& command : commands()) {
        if (command == "completion" || command == "help") continue;
        size_t parts = 0;
        for (const auto& part : schema["allOf"]) {
            const std::string name = part["$ref"].get<std::string>().substr(8);
            const auto& words = schema["$defs"][name]["if"]["properties"]["command"];
            if (words.contains("const")) parts += words["const"] == command ? 1 : 0;
            for (const auto& word : words.value("enum", nlohmann::json::array())) {
                parts += word == command ? 1 : 0;
            }
        }
        EXPECT_EQ(parts, 1u) << command;
    }
}

TEST_F(MacctlJson, EveryError_IsAnObjectToo) {
    std::string all;
    for (const char* const command : kErrors) {
        const Outcome outcome = macctl(std::string("-j ") + command);
        EXPECT_NE(outcome.status, 0) << command;
        const auto parsed = nlohmann::json::parse(outcome.out, nullptr, false);
        ASSERT_FALSE(parsed.is_discarded()) << command << "\n" << outcome.out;
        EXPECT_EQ(parsed["exit"], outcome.status) << command;
        all += outcome.out;
    }
    folder.write("all.json", all);
    const Outcome checked = sh(std::string(kSchema) + " < all.json");
    EXPECT_EQ(checked.status, 0) << checked.err;
    const auto refused = json("get addr -t 9");
    EXPECT_EQ(refused["command"], "get addr");
    EXPECT_EQ(refused["error"]["status"], "0x811601a4");
    EXPECT_EQ(refused["error"]["name"], "MAC_NOT_SUPPORTED");
}

TEST_F(MacctlJson, EmptyResults_AreEmptyLists) {
    EXPECT_EQ(json("list -t 0 -n 0")["result"]["addresses"].dump(), "[]");
    EXPECT_EQ(json("show types")["result"]["entries"].dump(), "[]");
    EXPECT_EQ(json("repair -t 0 -i 0xffffffff")["result"]["repairs"].dump(), "[]");
}

TEST_F(MacctlJson, FollowedLog_IsAnAnswerALine) {
    const std::string tool = std::string(MACCTL_PROGRAM) + " -b demo.xml ";
    const Outcome outcome = sh(tool +
                               "-j log --follow > lines & follower=$!; sleep 1; kill -INT "
                               "$follower; wait $follower");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::string lines = folder.read("lines");
    const auto first = nlohmann::json::parse(lines.substr(0, lines.find('\n')));
    EXPECT_EQ(first["command"], "log");
    EXPECT_EQ(first["result"]["lines"].size(), 1u);
    const Outcome checked = sh(std::string(kSchema) + " < lines");
    EXPECT_EQ(checked.status, 0) << checked.err;
    EXPECT_EQ(checked.out, std::to_string(std::count(lines.begin(), lines.end(), '\n')) + "\n");
}

TEST_F(MacctlJson, ExportFile_FollowsTheSchema) {
    const Outcome checked =
        sh(std::string(MACCTL_PROGRAM) + " -b demo.xml -j export 2>/dev/null | " + kSchema);
    EXPECT_EQ(checked.status, 0) << checked.err;
}

TEST_F(MacctlJson, JsonLine_IsTheSameInOneLine) {
    const Outcome line = macctl("-J get num -t 0");
    EXPECT_EQ(line.out, R"({"schema":2,"command":"get num","exit":0,"result":{"count":16}})"
                        "\n");
    const Outcome error = macctl("--json-line get");
    EXPECT_EQ(std::count(error.out.begin(), error.out.end(), '\n'), 1) << error.out;
}

}  // namespace
