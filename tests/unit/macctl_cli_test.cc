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

TEST_F(MacctlCli, Json_FollowedLog_IsAnAnswerALine) {
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
    EXPECT_EQ(macctl("init -i 3").status, 0);
    EXPECT_EQ(macctl("deinit -i 3").status, 0);
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
    EXPECT_EQ(
        complaint(tool("get adr")),
        "macctl: \"get\" has no \"adr\", only addr, num, block, list; did you mean \"addr\"?");
    EXPECT_EQ(complaint(tool("show nosuch")),
              "macctl: \"show\" has no \"nosuch\", only cfg, types");
    EXPECT_EQ(complaint(tool("help set blok")),
              "macctl: \"set\" has no \"blok\", only addr, num, block; did you mean \"block\"?");
    EXPECT_EQ(complaint(tool("get")), "macctl: \"get\" wants a word: addr, num, block, list");
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
    EXPECT_EQ(json("--version")["result"]["version"], "macctl 1.0");
    EXPECT_EQ(tool("help frobnicate").status, 1);
}

// What bash offers for the last of the words.
class MacctlCompletion : public MacctlCli {
protected:
    std::string complete(const std::string& words) const {
        const std::string program = MACCTL_PROGRAM;
        return sh("PATH=" + program.substr(0, program.rfind('/')) +
                  ":$PATH; macctl completion bash "
                  "> c; bash -c '. ./c; COMP_WORDS=(" +
                  words +
                  "); COMP_CWORD=$((${#COMP_WORDS[@]} "
                  "- 1)); _macctl; echo ${COMPREPLY[@]}'")
            .out;
    }
};

TEST_F(MacctlCompletion, WordsAndOptions) {
    EXPECT_EQ(complete("macctl st"), "status\n");
    EXPECT_EQ(complete("macctl -b demo.xml set b"), "block\n");
    EXPECT_EQ(complete("macctl -b demo.xml set \"\""), "addr num block\n");
    EXPECT_EQ(complete("macctl board check --s"), "--strict\n");
    EXPECT_EQ(complete("macctl se ad --ty"), "--type\n") << "behind short words";
    EXPECT_EQ(complete("macctl init --ins"), "--instance\n") << "behind an alias";
    EXPECT_EQ(complete("macctl help bo"), "board\n");
    EXPECT_EQ(complete("macctl help board in"), "init install\n");
}

TEST_F(MacctlCompletion, Files) {
    ASSERT_EQ(sh("rm demo.xml.*").status, 0);
    EXPECT_EQ(complete("macctl -b dem"), "demo.xml\n");
    EXPECT_EQ(complete("macctl import bl"), "blocks.json\n");
    EXPECT_EQ(complete("macctl --board = dem"), "demo.xml\n") << "as bash breaks --board=dem";
    ASSERT_EQ(sh("mkdir drawings").status, 0);
    EXPECT_EQ(complete("macctl board install --firmware d"), "drawings\n") << "no demo.xml";
}

TEST_F(MacctlCompletion, ValuesOfOptions) {
    EXPECT_EQ(complete("macctl list --format \"\""), "plain csv json link\n");
    EXPECT_EQ(complete("macctl status --color a"), "auto always\n");
    EXPECT_EQ(complete("macctl completion z"), "zsh\n");
    EXPECT_EQ(complete("macctl record decode x --crc16 ibm-3"), "ibm-3740\n");
}

TEST_F(MacctlCompletion, InstancesAndTypesOfTheBoard) {
    EXPECT_EQ(complete("macctl -b demo.xml get addr -i \"\""), "0xffffffff 0x3\n");
    EXPECT_EQ(complete("macctl -b demo.xml get addr -t \"\""), "0 1 2 3 4 5 64\n");
    EXPECT_EQ(complete("macctl --board=demo.xml get addr -i 3 -t \"\""), "0\n");
    EXPECT_EQ(complete("macctl -b absent.xml get addr -t \"\""), "\n");
}

TEST_F(MacctlCompletion, AnotherShell_IsRefused) { EXPECT_EQ(tool("completion tcsh").status, 1); }

// Each row of the table in macctl(8), in its order.
TEST_F(MacctlCli, ExitStatuses_AreThoseOfTheManual) {
    EXPECT_EQ(macctl("get addr -t 0").status, 0);
    EXPECT_EQ(macctl("frobnicate").status, 1);
    EXPECT_EQ(macctl("set num -t 0 65535").status, 2);
    EXPECT_EQ(macctl("get addr -t 9").status, 3);
    poke("manuinfo.bin", 0x4ca, "XX");
    EXPECT_EQ(macctl("check -i 0xffffffff -t 0").status, 4);
    EXPECT_EQ(macctl("repair -i 0xffffffff -t 0").status, 6);
    poke("manuinfo.bin", 0x4ca, "XX");
    poke("manuinfo.bin", 0x104ca, "XX");
    EXPECT_EQ(macctl("get addr -t 0").status, 5);
    change("set block -t 0 00:11:22:33:44:00 16");
    EXPECT_EQ(macctl("set num -t 0 8").status, 7);
    EXPECT_EQ(tool("-b absent.xml status").status, 9);
    EXPECT_EQ(tool("-d ./absent status").status, 9);
    EXPECT_EQ(tool("record decode absent.bin").status, 10);
    EXPECT_EQ(macctl("export -t 0 absent/out.json").status, 7);
    EXPECT_EQ(macctl("check -t 64").status, 8);
    const std::string manual = tool("help --man").out;
    const std::string table = manual.substr(manual.find(".SH \"EXIT STATUS\""));
    for (const int status : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}) {
        EXPECT_NE(table.find("\n.B " + std::to_string(status) + "\n"), std::string::npos) << status;
    }
}

TEST_F(MacctlCli, Quiet_LeavesOutLogLinesAndWhatWasDone) {
    poke("manuinfo.bin", 0x4ca, "XX");
    must("-q get addr -t 0", "00:11:22:33:44:00\n");
    EXPECT_EQ(macctl("-q get addr -t 0").err, "");
    must("-q set num -t 0 8 --yes", "");
    must("-q mount -i 3", "");
    EXPECT_NE(macctl("get addr -t 9").err.find("warning: mac inst"), std::string::npos);
    EXPECT_EQ(macctl("-q get addr -t 9").err.rfind("macctl: get addr", 0), 0u);
}

TEST_F(MacctlCli, Status_ColumnsAndHeader_AreChosen) {
    must("status -t 0 -i 0xffffffff --no-header -o type,Base,COUNT", "0  00:11:22:33:44:00  16\n");
    must("status -t 0 -i 0xffffffff -o main,spare", "MAIN  SPARE\ngood  good\n");
    const Outcome wrong = macctl("status -o base,nosuch");
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(
        wrong.err,
        "macctl: there is no column \"nosuch\", only INSTANCE, TYPE, BASE, LAST, COUNT, DRIVER, "
        "MAIN, SPARE\n");
}

TEST_F(MacctlCli, JsonLine_IsTheSameInOneLine) {
    const Outcome line = macctl("-J get num -t 0");
    EXPECT_EQ(line.out, R"({"schema":2,"command":"get num","exit":0,"result":{"count":16}})"
                        "\n");
    const Outcome error = macctl("--json-line get");
    EXPECT_EQ(std::count(error.out.begin(), error.out.end(), '\n'), 1) << error.out;
}

TEST_F(MacctlCli, EmptyNames_AreNotTakenForNone) {
    const Outcome outcome = tool("-b '' get addr -t 0");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "macctl: --board: the name is empty\nRun with --help for more information.\n");
}

TEST_F(MacctlCli, NumbersThatAreNone_AreToldWithTheirRange) {
    EXPECT_EQ(complaint(tool("set block -t 0 02:00:00:00:00:01 1.5")),
              "macctl: count: \"1.5\" is no number from 0 to 65534");
    EXPECT_EQ(complaint(tool("get addr -t many")),
              "macctl: -t,--type: \"many\" is no number from 0 to 0xffffffff");
}

TEST_F(MacctlCli, ADeviceThatIsNotOurs_IsNamedByEveryCommand) {
    const Outcome outcome = tool("-d /dev/null status");
    EXPECT_EQ(outcome.status, 9);
    EXPECT_EQ(
        outcome.err.rfind("macctl: /dev/null is not the control device of mac_mng, which is ", 0),
        0u)
        << outcome.err;
}

TEST_F(MacctlCli, Color_AlwaysAndNever) {
    const std::string green = "\033[32mgood\033[0m";
    EXPECT_NE(macctl("--color always status").out.find(green), std::string::npos);
    EXPECT_EQ(macctl("--color never status").out.find('\033'), std::string::npos);
    EXPECT_EQ(macctl("status").out.find('\033'), std::string::npos) << "no terminal";
    EXPECT_EQ(macctl("--color sometimes status").status, 1);
}

// What a refusal says behind its status.
TEST_F(MacctlCli, Refusals_NameTheVeryReason) {
    const auto reason = [this](const std::string& arguments) {
        const std::string err = macctl("-q " + arguments).err;
        return err.substr(std::min(err.size(), err.find("): ") + 3));
    };
    EXPECT_EQ(reason("get addr -t 9"), "the board configures no type 9 for instance 0xffffffff\n");
    EXPECT_EQ(reason("get addr -i 77 -t 0"), "instance 0x4d is not on the board\n");
    EXPECT_EQ(reason("get num -i 3 -t 0"),
              "the block is on the board, and its instance is not mounted\n");
    EXPECT_EQ(reason("set block -i 77 -t 0 02:00:00:00:00:01 1"),
              "instance 0x4d is not on the board\n");
    EXPECT_EQ(reason("list -t 0 -n 99"), "the block has 16 addresses, and 99 were asked for\n");
    must("mount -i 3", "instance 0x3: mounted\n");
    EXPECT_EQ(reason("mount -i 3"), "it is mounted already\n");
    must("mount -i 77", "instance 0x4d: mounted, and the board configures no block for it\n");
    must("unmount -i 3", "instance 0x3: unmounted; its blocks are not handed out any more\n");
    must("unmount -i 3", "instance 0x3: it was not mounted\n");
}

TEST_F(MacctlCli, Unmount_DryRun_LeavesItMounted) {
    must("mount -i 3", "instance 0x3: mounted\n");
    must("unmount -i 3 --dry-run",
         "instance 0x3: unmounted; its blocks are not handed out any more  (not written)\n");
    must("unmount -i 3", "instance 0x3: unmounted; its blocks are not handed out any more\n");
}

TEST_F(MacctlCli, GetBlock_IsBaseAndCount) {
    must("get block -t 0", "00:11:22:33:44:00 count 16\n");
    EXPECT_EQ(json("get block -t 0")["result"]["count"], 16);
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

TEST_F(MacctlCli, Readme_ShowsWhatTheDemoPrints) {
    const Outcome outcome =
        sh(std::string("python3 " MAC_SOURCE_DIR "/tests/readme.py ") + MACCTL_PROGRAM);
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
}

// A shell function: until the command succeeds, for half a minute at most.
constexpr char kWaitFor[] =
    "wait_for() { tries=0; until \"$@\"; do tries=$((tries + 1)); [ $tries -lt 300 ] || return 1; "
    "sleep 0.1; done; }; ";

TEST_F(MacctlCli, Log_Follow_PrintsLinesAsTheyCome) {
    const std::string tool = std::string(MACCTL_PROGRAM) + " -b demo.xml ";
    const Outcome outcome = sh(
        std::string(kWaitFor) +
        "told() { [ $(grep -c 'type 9 find mng no exist' lines) = 2 ]; }; " + tool +
        "log --follow > lines & follower=$!; wait_for [ -s lines ]; " + tool +
        "get addr -t 9 2>/dev/null; wait_for told; kill -INT $follower; wait $follower; echo $?; "
        "told && echo told");
    EXPECT_EQ(outcome.out, "0\ntold\n");
}

TEST_F(MacctlCli, Terminal_AsksBeforeItReplaces_AndHasColours) {
    const std::string tool = std::string(MACCTL_PROGRAM) + " -b demo.xml ";
    poke("eeprom-8.bin", 0x10, "QULT");
    const Outcome outcome =
        sh(std::string(kWaitFor) +
           "export TERM=xterm LC_ALL=C.UTF-8 SHELL=/bin/sh; t='tmux -L '$$; $t -f /dev/null "
           "new-session -d -x 120 -y 40; "
           "asked() { [ $($t capture-pane -p | grep -c 'y/N') = $1 ]; }; "
           "shows() { $t capture-pane -p | grep -q \"$1\"; }; "
           "$t send-keys '" +
           tool +
           "set num -t 0 8' Enter; wait_for asked 1; $t send-keys n Enter; "
           "$t send-keys '" +
           tool +
           "get num -t 0 > n1' Enter; wait_for [ -s n1 ]; "
           "$t send-keys '" +
           tool +
           "set num -t 0 8' Enter; wait_for asked 2; $t send-keys y Enter; "
           "$t send-keys '" +
           tool +
           "get num -t 0 > n2' Enter; wait_for [ -s n2 ]; "
           "$t send-keys 'clear; " +
           tool +
           "status; echo shown' Enter; wait_for shows '^shown'; $t capture-pane -p -e > pane; "
           "$t send-keys exit Enter; $t kill-server 2>/dev/null; cat n1 n2");
    EXPECT_EQ(outcome.out, "16\n8\n");
    const std::string pane = folder.read("pane");
    EXPECT_NE(pane.find("\033[32mgood"), std::string::npos) << pane;
    EXPECT_NE(pane.find("\033[36mblank"), std::string::npos) << pane;
    EXPECT_NE(pane.find("\033[36merased"), std::string::npos) << pane;
    EXPECT_NE(pane.find("\033[1m\033[31mwrong tag"), std::string::npos) << pane;
}

}  // namespace
