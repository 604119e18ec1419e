// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Completion of macctl in bash: what is offered, and what comes of the Tab key.
#include <regex>

#include "tests/support/macctl_fixture.h"

namespace {

using test::Outcome;

// What bash offers for the last of the words.
class MacctlCompletion : public test::MacctlTest {
protected:
    MacctlCompletion() {
        change("set block -t 0 00:11:22:33:44:00 16");
        folder.write("blocks.json", "{}");
    }

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

// A shell that a person sits at, and its Tab key: the line that comes of it does what it says.
TEST_F(MacctlCompletion, TabKey_InABash) {
    ASSERT_EQ(sh("rm demo.xml.*").status, 0);
    const std::string program = MACCTL_PROGRAM;
    const Outcome outcome =
        sh(std::string(test::kWaitFor) + "PATH=" + program.substr(0, program.rfind('/')) +
           ":$PATH; export TERM=xterm LC_ALL=C.UTF-8 SHELL=/bin/sh; macctl completion bash > c; "
           "t='tmux -L '$$; $t -f /dev/null new-session -d -x 120 -y 40 bash --norc --noprofile; "
           "shows() { $t capture-pane -p | grep -qF -- \"$1\"; }; "
           "keys() { $t send-keys -l -- \"$1\"; $t send-keys Tab; wait_for shows \"$2\"; }; "
           "$t send-keys '. ./c; echo rea\"\"dy' Enter; wait_for shows ready; "
           "keys 'macctl --bo' '--board'; keys 'de' 'demo.xml'; keys 'get ad' 'addr'; "
           "keys '--ins' '--instance'; keys '0xf' '0xffffffff'; "
           "$t send-keys -l -- '-t '; $t send-keys Tab Tab; wait_for shows '64'; $t capture-pane "
           "-p > offered; "
           "$t send-keys '0 > typed' Enter; wait_for [ -s typed ]; cat typed; "
           "$t kill-server");
    EXPECT_EQ(outcome.out, "00:11:22:33:44:00\n") << folder.read("offered");
    EXPECT_TRUE(std::regex_search(folder.read("offered"), std::regex("\n0 +1 +2 +3 +4 +5 +64")))
        << folder.read("offered");
}

TEST_F(MacctlCompletion, AnotherShell_IsRefused) { EXPECT_EQ(tool("completion tcsh").status, 1); }

}  // namespace
