// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The command line itself: short words, help, exit statuses, the manual, a session at a
// terminal.
#include <map>
#include <regex>
#include <set>

#include "tests/support/macctl_fixture.h"

namespace {

using test::Outcome;

class MacctlCli : public test::MacctlTest {
protected:
    MacctlCli() { change("set block -t 0 00:11:22:33:44:00 16"); }
};

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
    EXPECT_EQ(tool("help frobnicate").status, 1);
}

TEST_F(MacctlCli, Version_TellsBuildsApart) {
    const std::string id =
        sh("readelf -n " MACCTL_PROGRAM " | sed -n 's/^ *Build ID: //p' | tr -d '\\n'").out;
    EXPECT_EQ(id.size(), 40u) << id;
    EXPECT_EQ(tool("--version").out, "macctl 1.0 (build " + id + ")\n");
    EXPECT_EQ(tool("--version --quiet").out, "macctl 1.0 (build " + id + ")\n");
    EXPECT_EQ(json("--version")["result"]["version"], "macctl 1.0");
    EXPECT_EQ(json("--version")["result"]["build"], id);
}

// The lines of the manual behind the heading of a command or a section.
std::string part_of(const std::string& manual, const std::string& heading) {
    const size_t from = manual.find("\n" + heading + "\n");
    EXPECT_NE(from, std::string::npos) << heading;
    const size_t to = manual.find("\n.S", from + 1);
    return manual.substr(from, to - from);
}

TEST_F(MacctlCli, Examples_AreOfTheirCommands) {
    const std::string manual = tool("help --man").out;
    for (const std::string& command : commands()) {
        const std::string part = part_of(manual, ".SS \"" + command + "\"");
        const bool on_board =
            part.find("    macctl \\-b board.xml " + command) != std::string::npos;
        const bool alone = part.find("    macctl " + command) != std::string::npos;
        EXPECT_TRUE(on_board || alone) << part;
    }
}

TEST_F(MacctlCli, ShortOptions_MeanOneThingEverywhere) {
    const std::string manual = tool("help --man").out;
    std::map<std::string, std::set<std::string>> long_names;
    const std::regex both("\\\\fB\\\\-(\\w)\\\\fR, \\\\fB\\\\-\\\\-([a-z\\\\-]*)\\\\fR");
    for (std::sregex_iterator found(manual.begin(), manual.end(), both), end; found != end;
         ++found) {
        long_names[(*found)[1]].insert((*found)[2]);
    }
    EXPECT_EQ(long_names["n"], std::set<std::string>{"count"});
    EXPECT_EQ(long_names["t"], std::set<std::string>{"type"});
    for (const auto& [letter, names] : long_names) EXPECT_EQ(names.size(), 1u) << letter;
    EXPECT_NE(macctl("set num -t 0 8 -n").err.find("\"-n\" is no option of \"set num\""),
              std::string::npos)
        << "and not a dry run";
}

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
    const std::regex row("\n\\.B \\d+\n");
    EXPECT_EQ(std::distance(std::sregex_iterator(table.begin(), table.end(), row), {}), 11);
    const auto schema = nlohmann::json::parse(source("docs/macctl.schema.json"));
    EXPECT_EQ(schema["properties"]["exit"]["maximum"], 10);
}

// A command line that cannot be understood is nothing else: not a full disk, not an image of
// another size, not a file that cannot be read, not a missing --yes.
TEST_F(MacctlCli, ExitStatusOne_IsTheCommandLinesAlone) {
    EXPECT_EQ(macctl("export -t 0 -i 0xffffffff /dev/full").status, 7);
    EXPECT_EQ(macctl("import absent.json").status, 7);
    EXPECT_EQ(macctl("import .").status, 7);
    EXPECT_EQ(macctl("record decode .").status, 10);
    EXPECT_EQ(tool("-b . status").status, 9);
    folder.write("manuinfo.bin", "x");
    EXPECT_EQ(macctl("get addr -t 0").status, 9);
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

TEST_F(MacctlCli, EmptyNames_AreNotTakenForNone) {
    const Outcome outcome = tool("-b '' get addr -t 0");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "macctl: --board: the name is empty\nRun with --help for more information.\n");
}

TEST_F(MacctlCli, NumbersThatAreNone_AreToldWithTheirRange) {
    for (const std::string count : {"1.5", "-1", "1e20", "many", "0x", "99999999999"}) {
        for (const char* const set : {"set block -t 0 02:00:00:00:00:01 ", "set num -t 0 "}) {
            EXPECT_EQ(complaint(tool(set + count)),
                      "macctl: count: \"" + count + "\" is no number from 0 to 65534");
        }
    }
    EXPECT_EQ(complaint(tool("list -t 0 -n -1")),
              "macctl: -n,--count,--num: \"-1\" is no number from 0 to 65534");
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
    const std::string device = source("packaging/man/mac_mng.4");
    for (const char* const part : {".SH \"RETURN VALUE\"", ".SH ERRORS", ".SH EXAMPLES"}) {
        EXPECT_NE(device.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(device.find("EXIT STATUS"), std::string::npos) << "that is for programs";
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

TEST_F(MacctlCli, Log_Follow_PrintsLinesAsTheyCome) {
    const std::string tool = std::string(MACCTL_PROGRAM) + " -b demo.xml ";
    const Outcome outcome = sh(
        std::string(test::kWaitFor) +
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
        sh(std::string(test::kWaitFor) +
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
