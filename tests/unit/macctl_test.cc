// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl as its users run it: the program, a board file in a scratch folder, and
// the boot tools on the same environment.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_status.h"
#include "tests/support/macctl_fixture.h"
#include "tools/macctl/target.h"
#include "tools/macctl/text.h"

namespace {

using test::Outcome;

class Macctl : public test::MacctlTest {};

TEST_F(Macctl, SetAndGet_EveryDriver) {
    for (const int type : {0, 1, 2, 3, 4, 5, 64}) {
        const std::string t = " -t " + std::to_string(type);
        change("set block" + t + " 00:11:22:33:44:fe 8");
        must("get addr" + t, "00:11:22:33:44:fe\n");
        must("get num --type " + std::to_string(type), "8\n");
        must("get list -n 3" + t, "00:11:22:33:44:fe\n00:11:22:33:44:ff\n00:11:22:33:45:00\n");
        change("set addr" + t + " 02-AA-BB-CC-DD-00");
        must("get addr" + t, "02:aa:bb:cc:dd:00\n");
        if (type == 5 || type == 64) continue;  // a Kolbe record's count is its size
        change("set num" + t + " 2");
        must("get list" + t, "02:aa:bb:cc:dd:00\n02:aa:bb:cc:dd:01\n");
    }
}

TEST_F(Macctl, EveryBoardThatShips_KeepsABlock) {
    unsigned boards = 0;
    for (const auto& entry : std::filesystem::directory_iterator(MAC_SOURCE_DIR "/boards")) {
        if (entry.path().extension() != ".xml") continue;
        const test::Folder own;
        std::filesystem::copy_file(entry.path(), own.path("b.xml"));
        const std::string tool = std::string(MACCTL_PROGRAM) + " -b b.xml ";
        EXPECT_EQ(test::run(own, tool + "set block -t 0 00:11:22:33:44:55 16").err, "");
        EXPECT_EQ(test::run(own, tool + "get addr -t 0").out, "00:11:22:33:44:55\n");
        EXPECT_EQ(test::run(own, tool + "get num -t 0").err, "") << entry.path();
        ++boards;
    }
    EXPECT_EQ(boards, 8u) << "the demo board and one for each driver";
}

TEST_F(Macctl, OptionsMayStandAnywhere) {
    change("set block 00.11.22.33.44.55 4 -t 0");
    must("-i 0xffffffff get addr -t 0", "00:11:22:33:44:55\n");
    must("get addr --instance 4294967295 --type 0x0", "00:11:22:33:44:55\n");
}

TEST_F(Macctl, Instances_StayMountedFromOneCommandToTheNext) {
    EXPECT_EQ(macctl("get addr -i 3 -t 0").status, 3);
    must("-q init -i 3");
    change("set block -i 3 -t 0 aabb.cc00.0001 4");
    must("get addr -i 3 -t 0", "aa:bb:cc:00:00:01\n");
    const Outcome again = macctl("init -i 3");
    EXPECT_EQ(again.status, 2);
    EXPECT_NE(again.err.find("macctl: mount, instance 0x3: MAC_FAULT (0xfffffff2): "),
              std::string::npos);
    must("-q deinit -i 3");
    EXPECT_EQ(macctl("get addr -i 3 -t 0").status, 3);
    must("-q deinit");
    EXPECT_EQ(macctl("get addr -t 0").status, 3) << "the default instance, too";
    must("-q init");
}

TEST_F(Macctl, Refusal_IsNameNumberAndSentence_OnStandardError) {
    const Outcome outcome = macctl("get addr -t 9");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "warning: mac inst 0xffffffff type 9 find mng no exist.\n"
              "warning: mac inst 0xffffffff type 9 find mng no exist.\n"
              "warning: mac inst 0xffffffff get type[9] addr failed 0x811601a4.\n"
              "macctl: get addr, type 9, instance 0xffffffff: MAC_NOT_SUPPORTED (0x811601a4): the "
              "board configures no type 9 for instance 0xffffffff\n");
}

TEST_F(Macctl, UsageErrors_ExitWithOne) {
    for (const char* const arguments :
         {"", "get", "get addr", "set addr -t 0", "set addr -t 0 00:11", "set num -t 0 many",
          "get addr -t 0x100000000", "frobnicate", "get addr -t 0 extra", "-i -1 get addr -t 0"}) {
        const Outcome outcome = macctl(arguments);
        EXPECT_EQ(outcome.status, 1) << arguments;
        EXPECT_EQ(outcome.out, "") << arguments;
        EXPECT_NE(outcome.err, "") << arguments;
    }
    EXPECT_EQ(macctl("--device /dev/null get addr -t 0").status, 1) << "one or the other";
    EXPECT_EQ(sh(std::string(MACCTL_PROGRAM) + " --help").status, 0);
}

TEST_F(Macctl, Device_ThatCannotBeUsed_IsExplained) {
    const std::string tool = MACCTL_PROGRAM;
    const Outcome absent = sh(tool + " --device ./none get addr -t 0");
    EXPECT_EQ(absent.status, 9);
    EXPECT_EQ(absent.err,
              "macctl: ./none cannot be opened: No such file or directory; is mac_mng loaded?\n");
    const Outcome other = sh(tool + " -d /dev/null get addr -t 0");
    EXPECT_EQ(other.status, 9);
    EXPECT_EQ(other.err,
              "macctl: /dev/null is not the control device of mac_mng: Inappropriate ioctl for "
              "device\n");
    if (std::filesystem::exists("/dev/mac_mng")) GTEST_SKIP() << "this machine has the device";
    const Outcome neither = sh(tool + " get addr -t 0");
    EXPECT_EQ(neither.status, 9);
    EXPECT_EQ(neither.err,
              "macctl: there is no /dev/mac_mng: load mac_mng, or name a board file with "
              "--board\n");
    EXPECT_EQ(sh(tool + " board compile out").err, "macctl: name the board file with --board\n");
}

TEST(Device, StatusIsToldApartFromErrno) {
    EXPECT_EQ(macctl::ioctl_status(-1, EPERM), static_cast<u32>(MAC_FAIL));
    EXPECT_EQ(macctl::ioctl_status(-1, EFAULT), static_cast<u32>(MAC_FAULT));
    EXPECT_EQ(macctl::ioctl_status(static_cast<int>(0x811601a4), EPERM), 0x811601a4u);
    EXPECT_EQ(macctl::ioctl_status(0, EPERM), 0u);
}

TEST_F(Macctl, BoardThatCannotBeUsed_ExitsWithNine) {
    folder.write("demo.xml", "<board>\n<platform crc16=\"none\"/></board>");
    const Outcome outcome = macctl("get addr -t 0");
    EXPECT_EQ(outcome.status, 9);
    EXPECT_EQ(outcome.err,
              "macctl: demo.xml:2: crc16=\"none\" is none of the 31 known CRC-16 variants\n");
}

TEST_F(Macctl, SystemsOwnJudgement_ReachesTheUserAsWarnings) {
    folder.write("demo.xml",
                 "<board><platform/><mac_mng><mac_storage_main><e id=\"0\"/></mac_storage_main>"
                 "<mac><entry0/></mac></mac_mng></board>");
    const Outcome outcome = macctl("show cfg");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "no cfg\n");
    EXPECT_EQ(outcome.err,
              "macctl: warning: demo.xml:1: drv_name=\"\": expected a driver's name of at most 39 "
              "characters; \"macctl -b demo.xml board check\" says what to do\n"
              "warning: mac inst 0xffffffff read xml node<mac_storage_main> entry fail\n"
              "macctl: demo.xml: <mac> is loaded in part only: SERVICE_XML_NO_NODE (0x82000021): "
              "the XML tree has no such node, entry or key\n");
}

TEST_F(Macctl, FullWidthColon_IsReadable) {
    folder.write("demo.xml",
                 "<board><platform/><mac_mng><mac_storage_main><e id=\"0\" drv_name=\"none\" "
                 "chip_id=\"0\" channel=\"0\"/></mac_storage_main></mac_mng></board>");
    EXPECT_NE(
        macctl("show types").err.find("warning: mac area config\xef\xbc\x9amac get flag fail"),
        std::string::npos);
}

TEST_F(Macctl, Show_Diag_Log) {
    const Outcome cfg = macctl("show cfg");
    EXPECT_EQ(cfg.status, 0);
    EXPECT_EQ(cfg.out.substr(0, 35), "Instance ID           : 0xffffffff\n");
    EXPECT_NE(cfg.out.find("Spare offset          : 0x104c0\n"), std::string::npos);
    must("show types", "no mac type\n");
    must("diag devlist");
    must("diag drvlist");
    change("set block -t 0 00:11:22:33:44:55 4");
    const Outcome log = macctl("log");
    EXPECT_EQ(log.status, 0);
    EXPECT_NE(log.out.find("2 mac inst 0xffffffff type 0 sync[0->1] store OK.\n"),
              std::string::npos)
        << "of the command before";
}

TEST_F(Macctl, DamagedCopy_IsRepairedByARead) {
    change("set block -t 0 00:11:22:33:44:55 16");
    const std::string good = folder.read("manuinfo.bin");
    ASSERT_EQ(sh("printf XXXX | dd of=manuinfo.bin bs=1 seek=1216 conv=notrunc").status, 0);
    ASSERT_NE(folder.read("manuinfo.bin"), good);
    must("get addr -t 0", "00:11:22:33:44:55\n");
    EXPECT_EQ(folder.read("manuinfo.bin"), good) << "foreign bytes included";
}

TEST_F(Macctl, BothCopiesDamaged_AreReportedAndKept) {
    change("set block -t 0 00:11:22:33:44:55 16");
    ASSERT_EQ(sh("printf X | dd of=manuinfo.bin bs=1 seek=1224 conv=notrunc;"
                 "printf X | dd of=manuinfo.bin bs=1 seek=66760 conv=notrunc")
                  .status,
              0);
    const std::string damaged = folder.read("manuinfo.bin");
    const Outcome outcome = macctl("get addr -t 0");
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("MAC_CHECK_MISMATCH (0x811601a7)"), std::string::npos);
    EXPECT_EQ(folder.read("manuinfo.bin"), damaged);
    change("set block -t 0 00:11:22:33:44:55 16");
    must("get addr -t 0", "00:11:22:33:44:55\n");
}

TEST_F(Macctl, BootTools_ReadWhatItWrites) {
    change("set block -t 2 00:11:22:33:44:55 16");
    EXPECT_EQ(sh("fw_printenv -c fw.cfg -n ethaddr_pool").out, "00:11:22:33:44:55\n");
    EXPECT_EQ(sh("fw_printenv -c fw.cfg -n ethaddr_pool_num").out, "00000010\n");
    for (int round = 0; round < 5; ++round) {
        const std::string address = "02:00:00:00:00:0" + std::to_string(round);
        change("set addr -t 2 " + address);
        EXPECT_EQ(sh("fw_printenv -c fw.cfg -n ethaddr_pool").out, address + "\n");
    }
}

TEST_F(Macctl, BootTools_WriteWhatItReads_AndForeignVariablesStay) {
    change("set block -t 2 00:11:22:33:44:55 16");
    ASSERT_EQ(sh("fw_setenv -c fw.cfg bootcmd 'run a; run b'").status, 0);
    ASSERT_EQ(sh("fw_setenv -c fw.cfg ethaddr_pool 02:00:00:00:00:77").status, 0);
    must("get addr -t 2", "02:00:00:00:00:77\n");
    change("set num -t 2 3");
    EXPECT_EQ(sh("fw_printenv -c fw.cfg").out,
              "bootcmd=run a; run b\nethaddr_pool=02:00:00:00:00:77\nethaddr_pool_num=00000003\n");
}

TEST_F(Macctl, BootTools_SingleCopy) {
    std::string board = source("boards/demo.xml");
    board.replace(board.find(" redundant=\"1\""), 14, "");
    folder.write("demo.xml", board);
    folder.write("fw.cfg", folder.path("uboot-env.bin").string() + " 0x0 0x4000\n");
    change("set block -t 2 00:11:22:33:44:55 16");
    EXPECT_EQ(sh("fw_printenv -c fw.cfg -n ethaddr_pool").out, "00:11:22:33:44:55\n");
    ASSERT_EQ(sh("fw_setenv -c fw.cfg ethaddr_pool_num 00000002").status, 0);
    must("get num -t 2", "2\n");
}

TEST_F(Macctl, TwoProcesses_WaitForEachOther) {
    change("set block -t 0 00:11:22:33:44:55 16");
    const std::string tool = std::string(MACCTL_PROGRAM) + " --board demo.xml ";
    const Outcome outcome = sh("( for i in 1 2 3 4 5 6 7 8; do " + tool +
                               "set addr -t 0 02:00:00:00:00:0$i --yes || exit 9;"
                               " done ) & ( for i in 1 2 3 4 5 6 7 8; do " +
                               tool +
                               "get addr -t 0 || exit 8; done ) "
                               "|| exit 1; wait $!");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "") << "no repair, no half-written pair";
}

TEST_F(Macctl, BoardCompileAndInstall_WriteTheSameBlob) {
    must("-q board compile out.dtb");
    must("-q board install --firmware fw");
    EXPECT_EQ(folder.read("out.dtb").substr(0, 4), "\xd0\x0d\xfe\xed");
    EXPECT_EQ(folder.read("fw/mac_mng/board.dtb"), folder.read("out.dtb"));
    EXPECT_EQ(sh("ls *.bin").out, "") << "no medium is touched";
    folder.write("demo.xml", "<board><platform crc16=\"no\"/></board>");
    EXPECT_EQ(macctl("board compile bad.dtb").status, 9);
    EXPECT_EQ(sh("ls bad.dtb").out, "");
    EXPECT_EQ(macctl("board compile").status, 1) << "no output named";
}

// --- texts ---

TEST(MacctlText, Addresses_OfEverySpelling) {
    std::string error;
    for (const char* const text :
         {"00:1a:2B:3c:4D:5e", "00-1A-2B-3C-4D-5E", "00.1a.2b.3c.4d.5e", "001a.2b3c.4d5e"}) {
        const auto address = macctl::parse_address(text, &error);
        ASSERT_TRUE(address) << text << error;
        EXPECT_EQ(macctl::format_address(address->data()), "00:1a:2b:3c:4d:5e");
    }
    for (const char* const text :
         {"", "001a2b3c4d5e", "00:1a:2b:3c:4d", "00:1a:2b:3c:4d:5e:6f", "00:1a:2b:3c:4d:100",
          "00:1a-2b:3c:4d:5e", "00:1a:2b:3c:4d:5g", "\"00:1a:2b:3c:4d:5e\"", "00:1a:2b:3c:4d:5e:",
          "0:1a:2b:3c:4d:5e", "001a.2b3c.4d5e.", "001a-2b3c-4d5e", " 00:1a:2b:3c:4d:5e"}) {
        EXPECT_FALSE(macctl::parse_address(text, &error)) << text;
        EXPECT_EQ(error.substr(0, std::string(text).size() + 3), fmt::format("\"{}\" ", text));
    }
}

TEST(MacctlText, Status_IsNameNumberSentence) {
    EXPECT_EQ(macctl::describe_status(MAC_CHECK_MISMATCH),
              "MAC_CHECK_MISMATCH (0x811601a7): the record's check value does not match its "
              "contents");
    EXPECT_EQ(macctl::describe_status(0x82000001).substr(0, 29), "SERVICE_NO_CHIP (0x82000001):");
    EXPECT_EQ(macctl::describe_status(0x12345678),
              "UNKNOWN (0x12345678): a code that this tool does not know");
}

TEST(MacctlClient, Listing_ThatFillsItsBuffer_IsAskedForAgain) {
    const std::string whole(100000, 'x');
    std::vector<u32> sizes;
    const macctl::Client client([&](u32 command, void* record) -> u32 {
        EXPECT_EQ(command, MAC_IOCTL_SHOW_CFG);
        const auto& request = *static_cast<mac_ioctl_buffer*>(record);
        sizes.push_back(request.len);
        const size_t length = std::min<size_t>(whole.size(), request.len - 1);
        char* const text = reinterpret_cast<char*>(request.buf);
        std::copy_n(whole.begin(), length, text);
        text[length] = '\0';
        return 0;
    });
    std::string text;
    EXPECT_EQ(client.show_cfg(&text), 0u);
    EXPECT_EQ(text, whole);
    EXPECT_EQ(sizes.size(), 2u);
}

}  // namespace
