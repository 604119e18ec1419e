// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl where something is in its way: full disks, outputs that take nothing, missing
// rights, other processes, files that are no files, slips in the board file.
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/macctl_fixture.h"

namespace {

using test::Outcome;

class MacctlTrouble : public test::MacctlTest {
protected:
    static std::string program() { return std::string(MACCTL_PROGRAM) + " -b demo.xml "; }

    // With so many blocks of 512 bytes for each file that it writes, and all that it prints in
    // one text: a limit on the size of files is met as a full disk is.
    // A build that measures coverage writes counts as it ends, and complains where it cannot:
    // neither belongs to a run that may write nothing.
    Outcome on_full_disk(const std::string& arguments, int blocks = 0) const {
        return sh("{ ( ulimit -f " + std::to_string(blocks) + "; GCOV_PREFIX=/dev/null " +
                  program() + arguments + "; echo \"status $?\" ) 2>&1; } | sed '/^profiling:/d'");
    }

    // As a user who may read everything here and write nothing.
    Outcome as_reader(const std::string& arguments) const {
        const char* const other =
            geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
        return sh(
            "chmod -R a+rX,a-w . && touch .out 2>/dev/null; "
            "counts=$(mktemp -d); chmod 777 \"$counts\"; GCOV_PREFIX=\"$counts\" " +
            (other + program()) + arguments +
            "; status=$?; chmod u+w . *; rm -rf \"$counts\"; exit $status");
    }

    // What lies in the folder besides what every test brings and leaves.
    std::string others() const {
        return sh("ls -A | grep -vxE '\\.out|\\.err|demo\\.xml(\\.lock|\\.state)?|fw\\.cfg'").out;
    }
};

// --- full disks ---

TEST_F(MacctlTrouble, FullDisk_AtFirstUse_LeavesNoShortImage) {
    const Outcome outcome = on_full_disk("set block -t 0 00:11:22:33:44:00 16", 100);
    EXPECT_EQ(outcome.out,
              "macctl: demo.xml:10: the image manuinfo.bin cannot be written: File too large\n"
              "status 7\n");
    EXPECT_EQ(others(), "");
    EXPECT_EQ(macctl("set block -t 0 00:11:22:33:44:00 16").status, 0) << "once there is room";
}

TEST_F(MacctlTrouble, ImageCutShort_IsMadeAnewByBoardInit) {
    folder.write("manuinfo.bin", std::string(1000, '\xff'));
    folder.write("eeprom-8.bin", "");
    const Outcome refused = macctl("get addr -t 0");
    EXPECT_EQ(refused.status, 9);
    EXPECT_EQ(refused.err,
              "macctl: demo.xml:10: the image manuinfo.bin has 1000 bytes, expected 131072; it was "
              "cut short when it was made: \"board init\" makes it anew\n");
    const auto images = json("board init")["result"]["images"];
    EXPECT_EQ(images[0].dump(), R"({"image":"manuinfo.bin","made":false,"mended":true})");
    EXPECT_EQ(images[1].dump(), R"({"image":"eeprom-264.bin","made":true,"mended":false})");
    EXPECT_EQ(images[3]["mended"], true);
    EXPECT_EQ(folder.read("manuinfo.bin"), std::string(0x20000, '\xff'));
    EXPECT_EQ(folder.read("eeprom-8.bin"), std::string(0x100, '\xff'));
    folder.write("manuinfo.bin", std::string(1000, '\xff'));
    EXPECT_NE(macctl("board init")
                  .out.find("manuinfo.bin: was cut short when it was made; made anew, erased\n"),
              std::string::npos);
}

TEST_F(MacctlTrouble, ShortImageThatHoldsSomething_IsRefusedAndKept) {
    for (const std::string& content :
         {std::string(1000, '\xff') + "x", std::string("QOLT"), std::string(0x20001, '\xff')}) {
        folder.write("manuinfo.bin", content);
        for (const char* const command : {"board init", "get addr -t 0"}) {
            const Outcome outcome = macctl(command);
            EXPECT_EQ(outcome.status, 9) << command;
            EXPECT_EQ(outcome.err, "macctl: demo.xml:10: the image manuinfo.bin has " +
                                       std::to_string(content.size()) +
                                       " bytes, expected 131072\n");
        }
        EXPECT_EQ(folder.read("manuinfo.bin"), content);
        EXPECT_EQ(others(), "manuinfo.bin\n") << "nothing else was made";
    }
}

TEST_F(MacctlTrouble, FullDisk_EveryFileThatIsWritten_StaysAsItWas) {
    change("set block -t 0 00:11:22:33:44:00 16");
    ASSERT_EQ(sh("mkdir links fw fw/mac_mng; echo old | tee b.json m.svg o.dtb new.bin "
                 "links/70-mac_mng-lan0.link fw/mac_mng/board.dtb >/dev/null; chmod 600 b.json")
                  .status,
              0);
    const std::string before = sh("ls -lAR | grep -v '\\.out\\|\\.err\\|state\\|lock'").out;
    const struct {
        const char* arguments;
        const char* file;
    } cases[] = {
        {"export -t 0 -i 0xffffffff b.json", "b.json"},
        {"board map --svg m.svg", "m.svg"},
        {"board compile o.dtb", "o.dtb"},
        {"board install --firmware fw", "fw/mac_mng/board.dtb"},
        {"list -t 0 --format link --interfaces lan0 --directory links",
         "links/70-mac_mng-lan0.link"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(on_full_disk(one.arguments).out.substr(0, 8 + std::string(one.file).size()),
                  std::string("macctl: ") + one.file)
            << one.arguments << on_full_disk(one.arguments).out;
        const std::string said = on_full_disk(one.arguments).out;
        EXPECT_NE(said.find(" cannot be written: File too large\nstatus 7\n"), std::string::npos)
            << said;
        EXPECT_EQ(folder.read(one.file), "old\n") << one.arguments;
    }
    EXPECT_EQ(sh("ls -lAR | grep -v '\\.out\\|\\.err\\|state\\|lock'").out, before);
    for (const auto& one : cases) {
        EXPECT_EQ(macctl(one.arguments).status, 0) << one.arguments;
        EXPECT_NE(folder.read(one.file), "old\n") << one.arguments;
    }
    EXPECT_EQ(sh("stat -c %a b.json").out, "600\n");
}

TEST_F(MacctlTrouble, FullDisk_WhatIsMounted_IsKeptOrItIsSaid) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string state = folder.read("demo.xml.state");
    EXPECT_EQ(on_full_disk("mount -i 3").out,
              "macctl: demo.xml.state cannot be written: File too large\nstatus 7\n");
    EXPECT_EQ(on_full_disk("get addr -t 0").out,
              "macctl: warning: demo.xml.state cannot be written: File too large\n"
              "00:11:22:33:44:00\nstatus 0\n");
    EXPECT_EQ(folder.read("demo.xml.state"), state);
    EXPECT_EQ(macctl("get addr -i 3 -t 0").status, 3) << "it is not mounted";
    EXPECT_EQ(sh("ls -A | grep new").out, "");
}

TEST_F(MacctlTrouble, ExportThroughALink_KeepsTheLink) {
    change("set block -t 0 00:11:22:33:44:00 16");
    ASSERT_EQ(sh("mkdir real; echo old >real/b.json; ln -s real/b.json b.json").status, 0);
    EXPECT_EQ(macctl("export -t 0 -i 0xffffffff b.json").status, 0);
    EXPECT_EQ(sh("readlink b.json; grep -c 00:11:22:33:44:00 real/b.json").out, "real/b.json\n1\n");
}

// --- outputs ---

const char* const kPrinting[] = {
    "status",
    "get addr -t 0",
    "get num -t 0",
    "get block -t 0",
    "get list -t 0",
    "list -t 0",
    "--json mount -i 3",  // it is mounted by the first
    "unmount -i 3",
    "show cfg",
    "show types",
    "log",
    "log --follow",
    "set addr -t 0 00:11:22:33:44:10 --yes",
    "set num -t 0 4 --yes",
    "set block -t 0 00:11:22:33:44:00 16 --yes",
    "check",
    "repair",
    "export",
    "import blocks.json",
    "record decode manuinfo.bin --offset 0x4c0",
    "record verify manuinfo.bin --offset 0x4c0",
    "record encode new.bin --format qolt --base 02:00:00:00:00:01 --count 4 --yes",
    "record identify manuinfo.bin",
    "board check",
    "board init",
    "board map",
    "board map --svg -",
    "board compile o.dtb",
    "board install --firmware fw",
    // Their text is empty.
    "--json diag devlist",
    "--json diag drvlist",
    "--json get addr -t 9",
    "--version",
    "help",
    "help set block",
    "help --man",
    "set --help",
    "completion bash",
};

TEST_F(MacctlTrouble, OutputThatTakesNothing_IsAnErrorOfEveryCommand) {
    change("set block -t 0 00:11:22:33:44:00 16");
    folder.write("blocks.json", R"({"format":"mac_mng-blocks","version":1,"blocks":[]})");
    const struct {
        const char* where;
        const char* reason;
    } outputs[] = {
        {" >/dev/full", "No space left on device"},
        {" >&-", "Bad file descriptor"},
        {" | true", "Broken pipe"},
    };
    for (const char* const command : kPrinting) {
        for (const auto& output : outputs) {
            // The reader is gone before the first byte.
            const bool piped = output.where[1] == '|';
            const std::string line =
                piped ? "{ { sleep 0.1; " + program() + command + "; echo $? >status; } | true; }"
                      : program() + command + output.where + "; echo $? >status";
            const Outcome outcome = sh(line);
            EXPECT_EQ(folder.read("status"), "7\n") << command << output.where << outcome.err;
            const std::string said =
                std::string("macctl: standard output cannot be written: ") + output.reason + "\n";
            EXPECT_TRUE(outcome.err.ends_with(said)) << command << output.where << outcome.err;
        }
    }
}

TEST_F(MacctlTrouble, OutputThatTakesNothing_IsTriedWithEveryCommand) {
    EXPECT_EQ(not_run_by(kPrinting), "");
}

TEST_F(MacctlTrouble, ClosedOutput_DoesNotGoIntoAnImage) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string images = sh("cat *.bin | sha256sum").out;
    sh(program() + "get addr -t 0 >&-");
    sh(program() + "get addr -t 9 >&- 2>&-");
    sh(program() + "status <&- >&- 2>&-");
    EXPECT_EQ(sh("cat *.bin | sha256sum").out, images);
}

TEST_F(MacctlTrouble, ErrorOutputThatTakesNothing_ChangesNothingElse) {
    change("set block -t 0 00:11:22:33:44:00 16");
    EXPECT_EQ(macctl("get addr -t 9 2>/dev/full").status, 3);
    EXPECT_EQ(macctl("frobnicate 2>/dev/full").status, 1);
    poke("manuinfo.bin", 0x4ca, "XX");
    const Outcome mended = macctl("get addr -t 0 2>/dev/full");
    EXPECT_EQ(mended.status, 0);
    EXPECT_EQ(mended.out, "00:11:22:33:44:00\n");
}

TEST_F(MacctlTrouble, FollowedLog_EndsWhenItsReaderDoes) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const Outcome outcome =
        sh("{ timeout 20 " + program() + "log --follow; echo $? >status; } | head -n 1");
    EXPECT_EQ(folder.read("status"), "7\n");
    EXPECT_EQ(outcome.err, "macctl: standard output cannot be written: Broken pipe\n");
}

// --- other processes ---

TEST_F(MacctlTrouble, BoardInUse_IsSaidAfterASecond) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string busy =
        "macctl: another process works on the board (demo.xml.lock); waiting for it\n";
    for (const std::string command : {"get addr -t 0", "status", "log", "board init"}) {
        const Outcome outcome = sh("flock demo.xml.lock sleep 2 & sleep 0.3; " + program() +
                                   command + " >/dev/null; status=$?; wait; exit $status");
        EXPECT_EQ(outcome.status, 0) << command;
        EXPECT_EQ(outcome.err, busy) << command;
    }
    const Outcome quick =
        sh("flock demo.xml.lock sleep 0.5 & sleep 0.2; " + program() + "get addr -t 0; wait");
    EXPECT_EQ(quick.err, "") << "less than a second";
    EXPECT_EQ(quick.out, "00:11:22:33:44:00\n");
}

TEST_F(MacctlTrouble, BoardInUse_IsWaitedForAsLongAsAskedFor) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string busy =
        "macctl: another process works on the board (demo.xml.lock); it was "
        "waited for ";
    const Outcome outcome = sh("flock -o demo.xml.lock sleep 4 & sleep 0.3; " + program() +
                               "--wait 0 get addr -t 0; echo "
                               "$?; " +
                               program() + "status --wait 1; echo $?; " + program() +
                               "-j --wait 0 check; echo $?; kill $!; wait 2>/dev/null");
    EXPECT_EQ(outcome.err, busy + "0 s\n" + busy + "1 s\n" + busy + "0 s\n");
    EXPECT_EQ(outcome.out.substr(0, 6), "9\n9\n{\n");
    EXPECT_NE(outcome.out.find("\"message\": \"another process works on the board"),
              std::string::npos);
    must("--wait 0 get addr -t 0", "00:11:22:33:44:00\n");
    EXPECT_EQ(macctl("--wait soon get addr -t 0").status, 1);
}

// --- missing rights ---

TEST_F(MacctlTrouble, Reader_GetsABlock_AndNothingIsWritten) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string all = sh("cat *.bin demo.xml.state | sha256sum").out;
    const Outcome outcome = as_reader("get addr -t 0");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "00:11:22:33:44:00\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(as_reader("get num -t 0").out, "16\n");
    EXPECT_EQ(as_reader("status -t 0 -i 0xffffffff").status, 0);
    EXPECT_EQ(as_reader("check -t 0 -i 0xffffffff").status, 0);
    EXPECT_EQ(sh("cat *.bin demo.xml.state | sha256sum").out, all);
}

TEST_F(MacctlTrouble, Reader_IsToldWhyNothingCanBeWritten) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string all = sh("cat *.bin demo.xml.state | sha256sum").out;
    const std::string reason = "the image manuinfo.bin is not writable: Permission denied";
    const Outcome set = as_reader("set block -t 0 02:00:00:00:00:01 4 --yes");
    EXPECT_NE(set.status, 0);
    EXPECT_NE(set.err.find("; " + reason + "\n"), std::string::npos) << set.err;
    const Outcome mount = as_reader("mount -i 3");
    EXPECT_EQ(mount.status, 7);
    EXPECT_NE(mount.err.find("macctl: demo.xml.state cannot be written: "), std::string::npos);
    EXPECT_EQ(sh("cat *.bin demo.xml.state | sha256sum").out, all);
    poke("manuinfo.bin", 0x4ca, "XX");
    const Outcome get = as_reader("get addr -t 0");
    EXPECT_NE(get.err.find(reason + "\n"), std::string::npos) << get.err;
}

TEST_F(MacctlTrouble, Reader_IsToldWhichFileCannotBeWritten) {
    change("set block -t 0 00:11:22:33:44:00 16");
    ASSERT_EQ(sh("mkdir fw").status, 0);
    folder.write("b.json", "old");
    const std::string none = " cannot be written: no file can be made in its folder: ";
    const std::string d_bin = "--format qolt --base 02:00:00:00:00:01 --count 4";
    const struct {
        std::string arguments;
        std::string said;
    } cases[] = {
        {"export -t 0 -i 0xffffffff b.json", "b.json cannot be written: "},
        {"export -t 0 -i 0xffffffff new.json", "new.json" + none},
        {"board map --svg m.svg", "m.svg" + none},
        {"board compile o.dtb", "o.dtb" + none},
        {"board install --firmware fw",
         "fw/mac_mng/board.dtb cannot be written: its folder cannot be made: "},
        {"record encode d.bin " + d_bin, "d.bin" + none},
        {"list -t 0 --format link --interfaces lan0 --directory .",
         "./70-mac_mng-lan0.link" + none},
    };
    const std::string before = sh("ls -AR | grep -v '^\\.out$\\|^\\.err$'").out;
    for (const auto& one : cases) {
        std::vector<std::string> runs = {one.arguments};
        if (test::is_rehearsed(one.arguments)) runs.push_back(one.arguments + " --dry-run");
        for (const std::string& run : runs) {
            const Outcome outcome = as_reader(run);
            EXPECT_EQ(outcome.status, 7) << run;
            EXPECT_EQ(outcome.out, "") << run;
            EXPECT_EQ(outcome.err, "macctl: " + one.said + "Permission denied\n") << run;
        }
    }
    EXPECT_EQ(sh("ls -AR | grep -v '^\\.out$\\|^\\.err$'").out, before);
    EXPECT_EQ(folder.read("b.json"), "old");
}

TEST_F(MacctlTrouble, Reader_OfABoardThatNobodyUsed_IsToldWhatIsMissing) {
    const Outcome get = as_reader("get addr -t 0");
    EXPECT_NE(get.status, 0);
    EXPECT_NE(get.err.find("; the lock file demo.xml.lock cannot be made: Permission denied\n"),
              std::string::npos)
        << get.err;
    EXPECT_EQ(as_reader("check").status, 8);
    EXPECT_EQ(
        as_reader("board init").err,
        "macctl: demo.xml:1: the lock file demo.xml.lock cannot be made: Permission denied\n");
}

TEST_F(MacctlTrouble, LockFileThatCannotBeOpened_IsCalledThat) {
    rehearsed = false;  // who only looks goes without a lock that cannot be had
    ASSERT_EQ(sh("ln -s demo.xml.lock demo.xml.lock").status, 0);
    EXPECT_EQ(
        macctl("board init").err,
        "macctl: demo.xml:1: the lock file demo.xml.lock cannot be opened: Too many levels of "
        "symbolic links\n");
    const Outcome set = macctl("set block -t 0 02:00:00:00:00:01 4");
    EXPECT_NE(set.status, 0);
    EXPECT_NE(
        set.err.find(
            "the lock file demo.xml.lock cannot be opened: Too many levels of symbolic links"),
        std::string::npos)
        << set.err;
    EXPECT_EQ(others(), "") << "nothing is written without the lock";
}

TEST_F(MacctlTrouble, ImageThatIsGone_IsToldWhenItIsMadeAnew) {
    change("set block -t 1 02:00:00:00:00:01 4");
    ASSERT_EQ(sh("rm eeprom-265.bin").status, 0);
    EXPECT_NE(macctl("get addr -t 1")
                  .err.find("macctl: warning: the image eeprom-265.bin was not there and was made, "
                            "erased\n"),
              std::string::npos);
    EXPECT_EQ(macctl("get addr -t 1").err, "");
}

// --- what is read ---

TEST_F(MacctlTrouble, WhatIsNoFile_IsNamed) {
    ASSERT_EQ(sh("mkdir folder; mkfifo fifo").status, 0);
    const struct {
        const char* command;
        int status;
        const char* end;
    } cases[] = {
        {"-b demo.xml import ", 7, "; nothing was written\n"},
        {"record decode ", 10, "\n"},
        {"record verify ", 10, "\n"},
        {"record identify ", 10, "\n"},
    };
    for (const auto& one : cases) {
        for (const std::string what :
             {"folder cannot be read: it is a directory", "fifo cannot be read: it is a FIFO",
              "none cannot be read: No such file or directory"}) {
            const Outcome outcome = tool(one.command + what.substr(0, what.find(' ')));
            EXPECT_EQ(outcome.status, one.status) << one.command << what;
            EXPECT_EQ(outcome.err, "macctl: " + what + one.end) << one.command;
        }
    }
    for (const std::string command : {"status", "get addr -t 0", "board map"}) {
        EXPECT_EQ(tool("-b folder " + command).err,
                  "macctl: folder:1: cannot be read: it is a directory\n");
        EXPECT_EQ(tool("-b fifo " + command).err, "macctl: fifo:1: cannot be read: it is a FIFO\n");
        EXPECT_EQ(tool("-b /dev/zero " + command).err,
                  "macctl: /dev/zero:1: cannot be read: it is no regular file\n");
    }
    EXPECT_EQ(macctl("import - </dev/null").err, "macctl: -: is no JSON; nothing was written\n");
}

TEST_F(MacctlTrouble, WhatIsNoBoardFile_IsNamed) {
    folder.write("empty", "");
    folder.write("binary", std::string("\x7f"
                                       "ELF\0\1\2",
                                       7));
    folder.write("other.xml", "<plank/>");
    const struct {
        const char* file;
        const char* said;
    } cases[] = {
        {"none", "none:1: cannot be read: No such file or directory"},
        {"empty", "empty:1: not well-formed XML: No document element found"},
        {"binary", "binary:1: not well-formed XML: "},
        {"other.xml", "other.xml:1: the root element is <plank>, expected <board>"},
    };
    for (const auto& one : cases) {
        for (const char* const command :
             {" status", " get addr -t 0", " board init", " board compile o.dtb", " log"}) {
            const Outcome outcome = tool(std::string("-b ") + one.file + command);
            EXPECT_EQ(outcome.status, 9) << one.file << command;
            EXPECT_EQ(outcome.err.rfind(std::string("macctl: ") + one.said, 0), 0u) << outcome.err;
        }
    }
}

TEST_F(MacctlTrouble, FileWithoutEnd_IsRefused) {
    const Outcome outcome = tool("record identify /dev/zero");
    EXPECT_EQ(outcome.status, 10);
    EXPECT_EQ(outcome.err, "macctl: /dev/zero cannot be read: it has more than 268435456 bytes\n");
}

TEST_F(MacctlTrouble, OtherEncodings_AreNamed) {
    folder.write("b.json", "\xff\xfe{");
    EXPECT_EQ(macctl("import b.json").err,
              "macctl: b.json: is UTF-16 text, expected UTF-8; nothing was written\n");
    folder.write("demo.xml", std::string("\xff\xfe\0\0<", 5));
    EXPECT_EQ(macctl("status").err, "macctl: demo.xml:1: is UTF-32 text, expected UTF-8\n");
}

TEST_F(MacctlTrouble, PipeOfAShell_CanBeRead) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const Outcome outcome = sh("bash -c '" MACCTL_PROGRAM
                               " record identify <(dd if=manuinfo.bin bs=1216 skip=1 count=1 "
                               "status=none)'");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "0x000000  qolt        00:11:22:33:44:00 count 16  crc16 ibm-3740\n");
}

TEST_F(MacctlTrouble, WhatIsNoControlDevice_SaysSo) {
    for (const char* const command : {"status", "check"}) {
        EXPECT_EQ(tool(std::string("-d /dev/null ") + command).err,
                  "macctl: /dev/null is not the control device of mac_mng, which is not loaded\n");
    }
    for (const char* const command : {"get addr -t 0"}) {
        EXPECT_EQ(tool(std::string("-d /dev/null ") + command).err,
                  "macctl: /dev/null is not the control device of mac_mng: Inappropriate ioctl for "
                  "device\n");
    }
}

// --- slips in the board file ---

TEST_F(MacctlTrouble, Slip_IsToldByEveryCommandThatUsesTheBoard) {
    const struct {
        const char* right;
        const char* wrong;
        const char* said;
    } slips[] = {
        {"channel=\"0x4c0\"", "channel=\"4c0\"", "20: channel=\"4c0\" is no number"},
        {"channel=\"0x4c0\"", "chanel=\"0x4c0\"", "20: <entry0> lacks the attribute \"channel\""},
        {"id=\"0\" ", "", "20: <entry0> lacks the attribute \"id\""},
        {"chip_id=\"45\" ", "chip_id=\"54\" ",
         "20: instance 0xffffffff type 0 main: the board has no <flash> of chip number 54"},
        {"drv_mac_flash\" ", "drv_mac_flahs\" ",
         "20: instance 0xffffffff type 0 main: there is no driver \"drv_mac_flahs\""},
        {"drv_name=\"drv_mac_flash\"", "drv_name=\"\"", "20: drv_name=\"\": expected a driver's"},
        {"mac_num=\"16\"", "mac_num=\"l6\"", "20: mac_num=\"l6\" is no number; the system takes 1"},
        {"mac_num=\"16\"", "mac_nun=\"16\"",
         "20: mac_nun=\"16\" is an attribute that the system does not look at"},
        {"id=\"64\"", "id=\"46\"",
         "26: instance 0xffffffff type 46 main: this type is never mounted"},
        {"storage_name=\"ethaddr_pool\"", "storage=\"ethaddr_pool\"",
         "22: storage=\"ethaddr_pool\" is an attribute that the system does not look at"},
        {"channel=\"0x104d0\"", "channel=\"0x104c8\"", "31: instance 0xffffffff type 2 spare"},
        {"<entry1 id=\"1\" ", "<entry1 id=\"0\" ",
         "21: instance 0xffffffff type 0 main is configured in line 20 already"},
        {"channel=\"0x1000\" mac_num=\"8\"", "channel=\"0x1fb0\" mac_num=\"8\"",
         "26: instance 0xffffffff type 64 main: the record takes bytes 0x1fb0 to 0x200f"},
        {"<mac_storage_spare>", "<mac_storage_spair/><mac_storage_spare>",
         "28: <mac_storage_spair> is a node that the system does not look at"},
    };
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string board = folder.read("demo.xml");
    const std::string start = "macctl: warning: demo.xml:";
    const std::string end = "; \"macctl -b demo.xml board check\" says what to do\n";
    for (const auto& slip : slips) {
        folder.write("demo.xml", board);
        edit(slip.right, slip.wrong);
        for (const char* const command :
             {"status", "get addr -t 1", "check -t 1", "export", "board map", "board init", "log",
              "show cfg", "record identify manuinfo.bin", "-j list -t 1"}) {
            const Outcome outcome = macctl(command);
            const size_t at = outcome.err.find(start + slip.said);
            const bool reads_none = std::string(command).starts_with("record");
            EXPECT_EQ(at == std::string::npos, reads_none) << command << "\n" << outcome.err;
            if (at == std::string::npos) continue;
            EXPECT_EQ(outcome.err.find(start, at + 1), std::string::npos)
                << "one line: " << command;
            const std::string line = outcome.err.substr(at, outcome.err.find('\n', at) + 1 - at);
            EXPECT_TRUE(line.ends_with(end)) << line;
        }
        EXPECT_EQ(macctl("board check").err, "") << "what it prints says it";
        const std::string text = std::string(slip.said).substr(4);
        EXPECT_NE(macctl("board check").out.find(text), std::string::npos) << text;
    }
}

// One that is an error of the board and one that is not.
TEST_F(MacctlTrouble, Slip_IsToldByWhicheverCommandMeetsIt) {
    const struct {
        const char* right;
        const char* wrong;
        const char* said;
    } slips[] = {
        {"id=\"64\"", "id=\"46\"",
         "demo.xml:26: instance 0xffffffff type 46 main: this type is never mounted"},
        {"channel=\"0x1000\" mac_num=\"8\"", "channel=\"0x1fb0\" mac_num=\"8\"",
         "demo.xml:26: instance 0xffffffff type 64 main: the record takes bytes 0x1fb0 to"},
    };
    folder.write("blocks.json", R"({"format":"mac_mng-blocks","version":1,"blocks":[]})");
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string board = folder.read("demo.xml");
    for (const auto& slip : slips) {
        folder.write("demo.xml", board);
        edit(slip.right, slip.wrong);
        const bool is_error = macctl("board check").status != 0;
        for (const std::string command : kPrinting) {
            const bool uses_none = command.find("help") != std::string::npos ||
                                   command == "--version" || command == "completion bash" ||
                                   command == "record identify manuinfo.bin";
            const bool lists_them =
                command == "board check" || (is_error && (command.rfind("board compile", 0) == 0 ||
                                                          command.rfind("board install", 0) == 0));
            if (uses_none || lists_them || command == "log --follow") continue;
            const std::string said = std::string("macctl: warning: ") + slip.said;
            const Outcome outcome = macctl(command);
            EXPECT_NE(outcome.err.find(said), std::string::npos) << command << "\n" << outcome.err;
        }
    }
}

TEST_F(MacctlTrouble, Slips_AreCounted_AndWarningsAreNoSlips) {
    EXPECT_EQ(macctl("status").err, "") << "the demo board has warnings";
    edit("channel=\"0x104d0\"", "channel=\"0x104c8\"");
    edit("mac_num=\"16\"", "mac_num=\"l6\"");
    EXPECT_EQ(
        macctl("status").err,
        "macctl: warning: demo.xml:20: mac_num=\"l6\" is no number; the system takes 1, and 1 "
        "more; \"macctl -b demo.xml board check\" says what to do\n");
}

// --- large boards ---

// Seconds of processor time; comparing all pairs takes minutes.
TEST_F(MacctlTrouble, LargeBoard_IsReadInNoTime) {
    std::string entries;
    for (int i = 0; i < 20000; ++i) {
        entries += "<e id=\"" + std::to_string(i % 6) +
                   "\" drv_name=\"drv_mac_flash\" chip_id=\"0\" "
                   "channel=\"" +
                   std::to_string(i % 64 * 8) + "\" mac_num=\"16\"/>\n";
    }
    folder.write("demo.xml",
                 "<board><platform><flash chip=\"0\" image=\"f.bin\" mtd=\"f\" size=\"0x1000\" "
                 "erase=\"0x1000\"/></platform><mac_mng><mac_storage_main>" +
                     entries + "</mac_storage_main></mac_mng></board>");
    for (const std::string command : {"status", "board map", "board map --svg m.svg"}) {
        EXPECT_EQ(sh("ulimit -t 20; " + program() + command).status, 0) << command;
    }
    const Outcome check = sh("ulimit -t 20; " + program() + "board check");
    EXPECT_EQ(check.status, 2);
    EXPECT_TRUE(check.out.ends_with("demo.xml: 19999 errors, 6 warnings, 0 notes\n"))
        << check.out.substr(check.out.size() - 200);
}

}  // namespace
