// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The command line itself: short words, help, completions, the manual, JSON for every
// command and error, a session at a terminal.
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
    "get list -t 0",
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

class MacctlCli : public test::MacctlTest {
protected:
    MacctlCli() {
        change("set block -t 0 00:11:22:33:44:00 16");
        folder.write("blocks.json", R"({"format":"mac_mng-blocks","version":1,"blocks":[]})");
    }
};

TEST_F(MacctlCli, Json_EveryCommand_FollowsTheSchema) {
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
}

TEST_F(MacctlCli, Json_EveryError_IsAnObjectToo) {
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

TEST_F(MacctlCli, Json_EmptyResults_AreEmptyLists) {
    EXPECT_EQ(json("list -t 0 -n 0")["result"]["addresses"].dump(), "[]");
    EXPECT_EQ(json("show types")["result"]["entries"].dump(), "[]");
    EXPECT_EQ(json("repair -t 0 -i 0xffffffff")["result"]["repairs"].dump(), "[]");
}

TEST_F(MacctlCli, ExportFile_FollowsTheSchema) {
    const Outcome checked =
        sh(std::string(MACCTL_PROGRAM) + " -b demo.xml -j export 2>/dev/null | " + kSchema);
    EXPECT_EQ(checked.status, 0) << checked.err;
}

TEST_F(MacctlCli, ShortWords_StandForTheOnlyOne) {
    must("g a -t 0", "00:11:22:33:44:00\n");
    must("get n -t 0", "16\n");
    must("-i 0xffffffff li -t 0 -n 1", "00:11:22:33:44:00\n");
    EXPECT_EQ(macctl("b ch").status, 0) << "board check";
    const Outcome ambiguous = macctl("s -t 0");
    EXPECT_EQ(ambiguous.status, 1);
    EXPECT_NE(ambiguous.err.find("\"s\" is ambiguous, it could be: status, show, set"),
              std::string::npos)
        << ambiguous.err;
    must("init -i 3");
    must("deinit -i 3");
}

// What macctl says on standard error before the hint at --help.
std::string complaint(const Outcome& outcome) {
    const std::string tail = "\nRun with --help for more information.\n";
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(outcome.err.ends_with(tail)) << outcome.err;
    return outcome.err.substr(0, outcome.err.size() - std::min(tail.size(), outcome.err.size()));
}

TEST_F(MacctlCli, WrongWords_AreNamedWithASuggestion) {
    EXPECT_EQ(complaint(tool("stauts")),
              "macctl: there is no command \"stauts\"; did you mean \"status\"?");
    EXPECT_EQ(complaint(tool("frobnicate")), "macctl: there is no command \"frobnicate\"");
    EXPECT_EQ(complaint(tool("get adr")),
              "macctl: \"get\" has no \"adr\", only addr, num, list; did you mean \"addr\"?");
    EXPECT_EQ(complaint(tool("show nosuch")),
              "macctl: \"show\" has no \"nosuch\", only cfg, types");
    EXPECT_EQ(complaint(tool("help set blok")),
              "macctl: \"set\" has no \"blok\", only addr, num, block; did you mean \"block\"?");
    EXPECT_EQ(complaint(tool("get")), "macctl: \"get\" wants a word: addr, num, list");
    EXPECT_EQ(complaint(tool("''")), "macctl: there is no command \"\"");
}

TEST_F(MacctlCli, WrongOptions_AreNamedWithASuggestion) {
    EXPECT_EQ(complaint(tool("get addr --tpye 0")),
              "macctl: \"--tpye\" is no option of \"get addr\"; did you mean \"--type\"?");
    EXPECT_EQ(complaint(tool("--borad=x status")),
              "macctl: \"--borad\" is no option of macctl; did you mean \"--board\"?");
    EXPECT_EQ(complaint(tool("get addr -x 0")), "macctl: \"-x\" is no option of \"get addr\"");
    EXPECT_EQ(complaint(tool("-t 0 get addr")),
              "macctl: \"-t\" is no option of macctl; options of a command stand behind its words");
}

TEST_F(MacctlCli, NoWords_TheHelp) {
    const Outcome outcome = tool("");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, tool("help").out);
}

TEST_F(MacctlCli, Help_OnEveryLevel_HasAnExample) {
    for (const char* const command :
         {"status", "get", "get addr", "list", "set", "set block", "mount", "show cfg", "log",
          "check", "repair", "export", "import", "record identify", "board", "board map"}) {
        const Outcome help = tool(std::string("help ") + command);
        EXPECT_EQ(help.status, 0) << command;
        EXPECT_NE(help.out.find("Example:\n  macctl "), std::string::npos) << command;
        EXPECT_EQ(tool(std::string(command) + " --help").out, help.out) << command;
    }
    EXPECT_NE(tool("help").out.find("Exit status: 0 done, 1 usage"), std::string::npos);
    EXPECT_EQ(tool("--version").out, "macctl 1.0\n");
    EXPECT_EQ(tool("help frobnicate").status, 1);
}

TEST_F(MacctlCli, Completion_KnowsTheTree) {
    const std::string script =
        std::string(MACCTL_PROGRAM) + " completion bash > c; . ./c; COMP_WORDS=(";
    const auto complete = [&](const std::string& words, int at) {
        return sh("bash -c '" + script + words + "); COMP_CWORD=" + std::to_string(at) +
                  "; _macctl; echo ${COMPREPLY[@]}'")
            .out;
    };
    EXPECT_EQ(complete("macctl st", 1), "status\n");
    EXPECT_EQ(complete("macctl -b demo.xml set b", 4), "block\n");
    EXPECT_EQ(complete("macctl board check --s", 3), "--strict\n");
    EXPECT_EQ(complete("macctl import bl", 2), "blocks.json\n");
    EXPECT_EQ(tool("completion tcsh").status, 1);
}

TEST_F(MacctlCli, Manual_NamesEveryCommandAndIsClean) {
    const Outcome manual = tool("help --man");
    EXPECT_EQ(manual.status, 0);
    for (const char* const part : {".SH \"EXIT STATUS\"", ".SH EXAMPLES", ".SH FILES",
                                   ".SS \"board check\"", ".SS \"set block\"", ".SS \"import\""}) {
        EXPECT_NE(manual.out.find(part), std::string::npos) << part;
    }
    folder.write("macctl.8", manual.out);
    for (const std::string page : {"macctl.8", MAC_SOURCE_DIR "/packaging/man/mac_mng.4",
                                   MAC_SOURCE_DIR "/packaging/man/mac_mng.board.5"}) {
        const Outcome shown = sh("LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l " + page);
        EXPECT_EQ(shown.status, 0) << page;
        EXPECT_EQ(shown.err, "") << page;
        EXPECT_GT(shown.out.size(), 1000u);
    }
}

TEST_F(MacctlCli, Tutorial_IsWhatHappens) {
    const Outcome outcome =
        sh(std::string("python3 " MAC_SOURCE_DIR "/tests/tutorial.py ") + MACCTL_PROGRAM);
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
}

TEST_F(MacctlCli, Log_Follow_PrintsLinesAsTheyCome) {
    const std::string tool = std::string(MACCTL_PROGRAM) + " -b demo.xml ";
    const Outcome outcome =
        sh(tool + "log --follow > lines & follower=$!; sleep 1; " + tool +
           "get addr -t 9 2>/dev/null; sleep 1; kill -INT $follower; wait $follower; echo $?; "
           "grep -c 'type 9 find mng no exist' lines");
    EXPECT_EQ(outcome.out, "0\n2\n");
}

TEST_F(MacctlCli, Terminal_AsksBeforeItReplaces_AndHasColours) {
    const std::string tool = std::string(MACCTL_PROGRAM) + " -b demo.xml ";
    poke("eeprom-8.bin", 0x10, "QULT");
    const Outcome outcome =
        sh("export TERM=xterm LC_ALL=C.UTF-8 SHELL=/bin/sh; t='tmux -L '$$; $t -f /dev/null "
           "new-session -d -x 120 -y 40; "
           "$t send-keys '" +
           tool +
           "set num -t 0 8' Enter; sleep 1; $t send-keys n Enter; sleep 1; "
           "$t send-keys '" +
           tool +
           "get num -t 0 > n1' Enter; "
           "$t send-keys '" +
           tool +
           "set num -t 0 8' Enter; sleep 1; $t send-keys y Enter; sleep 1; "
           "$t send-keys '" +
           tool +
           "get num -t 0 > n2' Enter; "
           "$t send-keys 'clear; " +
           tool +
           "status' Enter; sleep 1; $t capture-pane -p -e > pane; "
           "$t send-keys exit Enter; $t kill-server 2>/dev/null; cat n1 n2");
    EXPECT_EQ(outcome.out, "16\n8\n");
    const std::string pane = folder.read("pane");
    EXPECT_NE(pane.find("\033[32mgood"), std::string::npos) << pane;
    EXPECT_NE(pane.find("\033[36mblank"), std::string::npos) << pane;
    EXPECT_NE(pane.find("\033[36merased"), std::string::npos) << pane;
    EXPECT_NE(pane.find("\033[1m\033[31mwrong tag"), std::string::npos) << pane;
}

}  // namespace
