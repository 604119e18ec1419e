// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl --dry-run: every test of a command that writes runs it twice (macctl_fixture.h); here
// is what that leaves open.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "tests/support/confined.h"
#include "tests/support/macctl_fixture.h"

namespace {

using test::Outcome;

// Whatever opens a file for writing, or makes one, is told that this is not possible here: an
// error that nothing takes for missing rights. A lock may be taken on a file that can only be
// read.
const std::vector<sock_filter>& read_only() {
    static const std::vector<sock_filter> kFilter = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, test::argument_at(2)),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_WRONLY | O_RDWR | O_CREAT | O_TRUNC, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    return kFilter;
}

class MacctlRehearsal : public test::MacctlTest {
protected:
    MacctlRehearsal() {
        folder.write("b.json",
                     R"({"format":"mac_mng-blocks","version":1,"blocks":[{"instance":"0xffffffff",)"
                     R"("type":1,"base":"02:00:00:00:01:00","count":4}]})");
    }

    Outcome where_nothing_is_written(const std::string& arguments) const {
        return run_confined(folder, std::string(MACCTL_PROGRAM) + " --board demo.xml " + arguments,
                            read_only());
    }

    std::string all_bytes() const {
        return sh("find . -type f ! -name '.out' ! -name '.err' ! -name '*.lock' | sort | xargs "
                  "sha256sum")
            .out;
    }
};

// A line of each command that has the option.
const char* const kRehearsed[] = {
    "set addr -t 0 02:00:00:00:00:01 --yes",
    "set num -t 0 4 --yes",
    "set block -t 0 02:00:00:00:00:01 4 --yes",
    "unmount",
    "repair",
    "import b.json",
    "record encode d.bin --format qolt --base 02:00:00:00:00:01 --count 4",
    "board init",
    "board map --svg m.svg",
    "board compile o.dtb",
    "board install --firmware fw",
};

TEST_F(MacctlRehearsal, EveryCommandThatHasOne_IsRehearsedByTheFixture) {
    std::string with_option;
    for (const std::string& command : commands()) {
        const std::string help = tool("help " + command).out;
        if (help.find("--dry-run") != std::string::npos) with_option += command + "\n";
    }
    std::string in_list;
    for (const std::string& command : commands()) {
        for (const std::string line : kRehearsed) {
            if (line != command && line.rfind(command + " ", 0) != 0) continue;
            in_list += command + "\n";
            EXPECT_TRUE(test::is_rehearsed(line)) << line;
        }
    }
    EXPECT_EQ(in_list, with_option);
}

// A block to change, one copy to repair, and an image that is not there.
TEST_F(MacctlRehearsal, OpensNothingForWriting_AndEndsTheSame) {
    change("set block -t 0 00:11:22:33:44:00 16");
    poke("manuinfo.bin", 0x4ca, "XX");
    ASSERT_EQ(sh("rm eeprom-8.bin").status, 0);
    const std::string before = all_bytes();
    for (const std::string line : kRehearsed) {
        const Outcome free =
            sh(std::string(MACCTL_PROGRAM) + " -b demo.xml " + line + " --dry-run");
        const Outcome confined = where_nothing_is_written(line + " --dry-run");
        EXPECT_EQ(confined.status, free.status) << line << "\n" << confined.err;
        EXPECT_EQ(confined.out, free.out) << line;
        EXPECT_NE(free.out, "") << line << free.err;
    }
    EXPECT_EQ(all_bytes(), before);
    for (const std::string line : kRehearsed) {
        EXPECT_NE(where_nothing_is_written(line).out,
                  sh(std::string(MACCTL_PROGRAM) + " -b demo.xml " + line + " --dry-run").out)
            << "the filter keeps from " << line;
    }
    EXPECT_EQ(all_bytes(), before);
}

TEST_F(MacctlRehearsal, OfABoardThatNobodyUsed_MakesNoFile) {
    for (const std::string line : {"set block -t 0 02:00:00:00:00:01 4", "import b.json", "repair",
                                   "unmount -i 3", "board init", "board compile o.dtb",
                                   "board install --firmware fw", "board map --svg m.svg"}) {
        const Outcome outcome = where_nothing_is_written(line + " --dry-run");
        EXPECT_EQ(outcome.err.find("Operation not supported"), std::string::npos) << line << "\n"
                                                                                  << outcome.err;
    }
    EXPECT_EQ(sh("ls -A | grep -vxE '\\.out|\\.err|b\\.json|fw\\.cfg|demo\\.xml'").out, "");
}

// What stands in the way of a file is seen without making it.
TEST_F(MacctlRehearsal, FileThatCannotBeWritten_IsRefusedAsByTheRealRun) {
    ASSERT_EQ(sh("mkdir folder; echo text > file").status, 0);
    const struct {
        const char* arguments;
        const char* said;
    } cases[] = {
        {"board compile none/o.dtb",
         "none/o.dtb cannot be written: no file can be made in its folder: No such file or "
         "directory"},
        {"board compile folder", "folder cannot be written: it is a directory"},
        {"board compile file/o.dtb", "file/o.dtb cannot be written: Not a directory"},
        {"board map --svg none/m.svg",
         "none/m.svg cannot be written: no file can be made in its folder: No such file or "
         "directory"},
        {"board install --firmware file",
         "file/mac_mng/board.dtb cannot be written: its folder cannot be made: Not a directory"},
        {"record encode none/d.bin --format qolt --base 02:00:00:00:00:01 --count 4",
         "none/d.bin cannot be written: no file can be made in its folder: No such file or "
         "directory"},
    };
    for (const auto& one : cases) {
        const Outcome outcome = macctl(one.arguments);
        EXPECT_EQ(outcome.status, 7) << one.arguments;
        EXPECT_EQ(outcome.err, std::string("macctl: ") + one.said + "\n") << one.arguments;
    }
}

// An image that is longer can be looked at, and one in a folder that is not there is only
// missed when it is written.
TEST_F(MacctlRehearsal, ImageThatCannotBeUsed_IsRefusedAsByTheRealRun) {
    folder.write("manuinfo.bin", std::string(0x20001, '\xff'));
    for (const char* const line :
         {"set block -t 0 02:00:00:00:00:01 4", "import b.json", "unmount -i 3", "board init"}) {
        const Outcome outcome = macctl(line);
        EXPECT_EQ(outcome.status, 9) << line;
        EXPECT_EQ(outcome.err,
                  "macctl: demo.xml:10: the image manuinfo.bin has 131073 bytes, expected 131072\n")
            << line;
    }
    ASSERT_EQ(sh("rm manuinfo.bin").status, 0);
    edit("image=\"manuinfo.bin\"", "image=\"none/manuinfo.bin\"");
    for (const char* const line :
         {"set block -t 1 02:00:00:00:00:01 4", "import b.json", "unmount -i 3", "board init"}) {
        const Outcome outcome = macctl(line);
        EXPECT_EQ(outcome.status, 9) << line;
        EXPECT_EQ(outcome.err,
                  "macctl: demo.xml:10: the image none/manuinfo.bin cannot be made: No such file "
                  "or directory\n")
            << line;
    }
}

}  // namespace
