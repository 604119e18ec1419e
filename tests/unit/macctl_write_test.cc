// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What macctl does not write, or not without a word: bytes of other blocks, halves of
// blocks that nobody knows, addresses that no interface may have, records over records.
#include "tests/support/macctl_fixture.h"

namespace {

using test::Outcome;

class MacctlWrite : public test::MacctlTest {
protected:
    // The spare copy of type 2 half over that of type 0, which is good.
    void overlap_flash() {
        change("set block -t 0 00:11:22:33:44:00 16");
        edit(R"(channel="0x104d0")", R"(channel="0x104c8")");
    }

    // Refused with exactly these words, and every image as it was.
    void refuse(const std::string& arguments, int status, const std::string& words) {
        const std::string flash = folder.read("manuinfo.bin");
        for (const char* const yes : {"", " --yes"}) {
            const Outcome outcome = macctl(arguments + yes);
            EXPECT_EQ(outcome.status, status) << arguments;
            EXPECT_EQ(outcome.out, "") << arguments;
            EXPECT_EQ(outcome.err, "macctl: " + words + "\n") << arguments;
        }
        EXPECT_EQ(folder.read("manuinfo.bin"), flash) << arguments;
    }

    // Wants --yes with exactly these words, and then does it.
    void ask(const std::string& arguments, const std::string& words) {
        const Outcome asked = macctl(arguments);
        EXPECT_EQ(asked.status, 7) << arguments;
        EXPECT_EQ(asked.err, "macctl: " + words + "\n") << arguments;
        EXPECT_EQ(macctl(arguments + " --yes").status, 0) << arguments;
    }
};

TEST_F(MacctlWrite, SetBlock_OverAnotherBlocksRecord_IsRefused) {
    overlap_flash();
    const Outcome outcome = macctl("set block -t 2 00:11:22:33:55:00 4 --yes");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(
        outcome.err.substr(outcome.err.find('\n') + 1),
        "macctl: set block, type 2, instance 0xffffffff: its spare copy, flash 45 at 0x104c8, "
        "bytes 0x104c8 to 0x104d7, would be written over instance 0xffffffff type 0 spare "
        "(line 29) at 0x104c0 to 0x104cf; nothing was written\n");
    must("get addr -t 0", "00:11:22:33:44:00\n");
    EXPECT_EQ(macctl("check -i 0xffffffff -t 0").status, 0) << "and its spare is there as well";
}

// A half is written as a record, too, and nothing overrides the refusal.
TEST_F(MacctlWrite, SetAddrAndNum_OverAnotherBlocksRecord_AreRefused) {
    change("set block -t 2 00:11:22:33:55:00 4");
    overlap_flash();
    const std::string flash = folder.read("manuinfo.bin");
    for (const std::string verb : {"set addr -t 2 00:11:22:33:55:80", "set num -t 2 3"}) {
        for (const char* const yes : {"", " --yes"}) {
            const Outcome outcome = macctl(verb + yes);
            EXPECT_EQ(outcome.status, 7) << verb << yes;
            EXPECT_EQ(outcome.out, "");
            EXPECT_NE(outcome.err.find("macctl: " + verb.substr(0, verb.find(" -t")) +
                                       ", type 2, instance 0xffffffff: its spare copy, flash 45 at "
                                       "0x104c8, bytes 0x104c8 to 0x104d7, would be written over "
                                       "instance 0xffffffff type 0 spare (line 29)"),
                      std::string::npos)
                << outcome.err;
        }
    }
    EXPECT_EQ(folder.read("manuinfo.bin"), flash);
}

TEST_F(MacctlWrite, Import_OverAnotherBlocksRecord_IsRefused) {
    overlap_flash();
    folder.write("b.json",
                 R"({"format":"mac_mng-blocks","version":1,"blocks":[)"
                 R"({"instance":"0xffffffff","type":2,"base":"00:11:22:33:55:00","count":4}]})");
    const Outcome outcome = macctl("import b.json --yes");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_NE(outcome.err.find("b.json: instance 0xffffffff type 2: its spare copy, flash 45 at"),
              std::string::npos)
        << outcome.err;
    must("get addr -t 0", "00:11:22:33:44:00\n");
}

TEST_F(MacctlWrite, Repair_OverAnotherBlocksRecord_IsRefused) {
    change("set block -t 2 00:11:22:33:55:00 4");
    overlap_flash();
    const std::string flash = folder.read("manuinfo.bin");
    const Outcome outcome = macctl("repair -i 0xffffffff -t 2");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_NE(outcome.out.find("not repaired: its spare copy, flash 45 at 0x104c8, bytes "
                               "0x104c8 to 0x104d7, would be written over"),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(folder.read("manuinfo.bin"), flash);
}

TEST_F(MacctlWrite, Set_AVariableOfAnotherBlock_IsRefused) {
    change("set block -t 2 00:11:22:33:66:00 4");
    edit(R"(id="4"  drv_name="drv_mac_router_no_crc" chip_id="264")",
         R"(id="4" storage_name="ethaddr_pool" drv_name="drv_mac_env" chip_id="0")");
    const std::string env = folder.read("uboot-env.bin");
    const Outcome outcome = macctl("set block -t 4 00:11:22:33:77:00 4 --yes");
    EXPECT_EQ(outcome.status, 7) << outcome.err;
    EXPECT_NE(outcome.err.find("in the variable ethaddr_pool"), std::string::npos) << outcome.err;
    EXPECT_EQ(folder.read("uboot-env.bin"), env);
}

TEST_F(MacctlWrite, SetAddrAndNum_WithoutAGoodCopy_PointToSetBlock) {
    (void)macctl("board init");
    refuse("set addr -t 0 00:11:22:33:44:00", 5,
           "set addr, type 0, instance 0xffffffff: no copy of the block is good, so its other half "
           "is not known; \"set block\" writes both");
    refuse("set num -t 0 4", 5,
           "set num, type 0, instance 0xffffffff: no copy of the block is good, so its other half "
           "is not known; \"set block\" writes both");
}

TEST_F(MacctlWrite, ValuesThatTheSystemRefuses_AreNamedBeforeAnythingIsAsked) {
    change("set block -t 0 00:11:22:33:44:00 16");
    refuse("set block -t 0 ff:ff:ff:ff:ff:ff 1", 2,
           "set block, type 0, instance 0xffffffff: the address is all zeros or all ones");
    refuse("set num -t 0 65535", 2,
           "set num, type 0, instance 0xffffffff: the count 65535 is above 65534");
    refuse("set block -t 5 00:11:22:33:55:00 99", 2,
           "set block, type 5, instance 0xffffffff: count 99: a kolbe-crc record carries no count, "
           "the board is configured for 8");
    EXPECT_EQ(json("set num -t 0 65535")["error"]["name"], "MAC_INVALID_VALUE");
}

TEST_F(MacctlWrite, DoubtfulBlocks_WantYes) {
    ask("set block -t 0 01:00:5e:00:00:01 16",
        "01:00:5e:00:00:01 is a multicast address, which no interface may have; that needs --yes");
    ask("set block -t 1 00:11:22:33:44:00 0",
        "a count of 0 leaves it without any address; that needs --yes");
    change("set block -t 1 00:11:22:33:44:00 4");
    ask("set block -t 3 00:11:22:33:43:ff 2",
        "instance 0xffffffff type 1 has addresses of it too, in its block 00:11:22:33:44:00 count "
        "4; that needs --yes");
    ask("set num -t 1 5",
        "instance 0xffffffff type 1 holds the good block 00:11:22:33:44:00 count 4; instance "
        "0xffffffff type 3 has addresses of it too, in its block 00:11:22:33:43:ff count 2; that "
        "needs --yes");
}

TEST_F(MacctlWrite, AddressesNextToAnotherBlock_AreNotInDoubt) {
    change("set block -t 1 00:11:22:33:44:00 4");
    EXPECT_EQ(macctl("set block -t 3 00:11:22:33:44:04 4").status, 0);
    EXPECT_EQ(macctl("set block -t 0 00:11:22:33:43:fc 4").status, 0);
}

TEST_F(MacctlWrite, Import_ListsDoubtfulBlocksAndAsksOnce) {
    folder.write("b.json",
                 R"({"format":"mac_mng-blocks","version":1,"blocks":[)"
                 R"({"instance":"0xffffffff","type":0,"base":"01:00:00:00:00:01","count":2},)"
                 R"({"instance":"0xffffffff","type":1,"base":"02:00:00:00:00:01","count":4},)"
                 R"({"instance":"0xffffffff","type":3,"base":"02:00:00:00:00:04","count":1}]})");
    const Outcome outcome = macctl("import b.json");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(
        outcome.err,
        "macctl: warning: instance 0xffffffff type 0, 01:00:00:00:00:01 count 2: 01:00:00:00:00:01 "
        "is a multicast address, which no interface may have\n"
        "macctl: warning: instance 0xffffffff type 1, 02:00:00:00:00:01 count 4: instance "
        "0xffffffff type 3 has addresses of it too, in its block 02:00:00:00:00:04 count 1\n"
        "macctl: warning: instance 0xffffffff type 3, 02:00:00:00:00:04 count 1: instance "
        "0xffffffff type 1 has addresses of it too, in its block 02:00:00:00:00:01 count 4\n"
        "macctl: 3 blocks would be written that warnings are about; that needs --yes. Nothing was "
        "written\n");
    EXPECT_EQ(macctl("import b.json --yes").status, 0);
}

constexpr char kEncode[] =
    "record encode d.bin --format qolt --base 02:00:00:00:00:01 --count 4 --offset ";

TEST_F(MacctlWrite, RecordEncode_StaysInsideTheFile) {
    folder.write("d.bin", std::string(64, '\xff'));
    refuse(kEncode + std::string("49"), 7,
           "d.bin: it has 64 bytes: a record of 16 bytes at offset 0x31 does not lie inside; "
           "nothing was written");
    must(kEncode + std::string("48"), "16 bytes at offset 0x30 of d.bin\n");
    EXPECT_EQ(folder.read("d.bin").size(), 64u);
    EXPECT_EQ(folder.read("d.bin").substr(0, 48), std::string(48, '\xff'));
    EXPECT_EQ(macctl("record encode . --format qolt --base 02:00:00:00:00:01 --count 4").err,
              "macctl: .: is no regular file; nothing was written\n");
}

TEST_F(MacctlWrite, RecordEncode_ANewFile_HasALimit) {
    const Outcome outcome = macctl(kEncode + std::string("0xfffffff0"));
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.err,
              "macctl: d.bin: a new file would have 4294967296 bytes, and more than 67108864 are "
              "not made; nothing was written\n");
    EXPECT_FALSE(std::filesystem::exists(folder.path("d.bin")));
}

TEST_F(MacctlWrite, RecordEncode_OverARecord_WantsYes) {
    must(kEncode + std::string("0"), "16 bytes at offset 0x0 of d.bin\n");
    ask("record encode d.bin --format qolt --base 02:00:00:00:00:02 --count 4",
        "d.bin has a qolt record of the block 02:00:00:00:00:01 count 4 at offset 0x0; writing "
        "over them needs --yes");
    folder.write("d.bin", std::string(16, '\0'));
    ask(kEncode + std::string("0"),
        "d.bin has bytes that are not erased at offset 0x0; writing over them needs --yes");
}

TEST_F(MacctlWrite, RecordEncode_InAnImage_KnowsTheBoard) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string flash = folder.read("manuinfo.bin");
    const std::string encode =
        "record encode manuinfo.bin --format qolt --base 02:00:00:00:00:01 --count 4 --yes "
        "--offset ";
    const Outcome outcome = macctl(encode + "0x4c8");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_NE(outcome.err.find("a record of 16 bytes at offset 0x4c8 would be written over "
                               "instance 0xffffffff type 0 main (line "),
              std::string::npos)
        << outcome.err;
    EXPECT_EQ(folder.read("manuinfo.bin"), flash);
    must(encode + "0x4c0", "16 bytes at offset 0x4c0 of manuinfo.bin\n");
}

TEST_F(MacctlWrite, ABoardWithErrors_IsNotCompiledOrInstalled) {
    overlap_flash();
    for (const char* const command :
         {"board compile out.dtb", "board install --firmware firmware"}) {
        const Outcome outcome = macctl(command);
        EXPECT_EQ(outcome.status, 2) << command;
        EXPECT_NE(outcome.err.find("macctl: demo.xml has 1 error and is not "), std::string::npos);
        EXPECT_NE(outcome.err.find("--force overrides that\ndemo.xml:"), std::string::npos);
        EXPECT_NE(outcome.err.find("[overlap]"), std::string::npos) << outcome.err;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.path("out.dtb")));
    EXPECT_FALSE(std::filesystem::exists(folder.path("firmware")));
    const Outcome forced = macctl("board compile out.dtb --force");
    EXPECT_EQ(forced.status, 0);
    EXPECT_EQ(forced.out.rfind("overridden by --force:\ndemo.xml:", 0), 0u) << forced.out;
    EXPECT_NE(forced.out.find("[overlap]"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(folder.path("out.dtb")));
    EXPECT_EQ(json("board compile out.dtb --force")["result"]["overridden"][0]["code"], "overlap");
}

TEST_F(MacctlWrite, ABoardWithErrors_IsInstalledByForce_WhichListsThem) {
    overlap_flash();
    const Outcome forced = macctl("board install --firmware firmware --force");
    EXPECT_EQ(forced.status, 0);
    EXPECT_EQ(forced.out.rfind("overridden by --force:\ndemo.xml:31: error: ", 0), 0u)
        << forced.out;
    EXPECT_NE(forced.out.find("\nfirmware/mac_mng/board.dtb: "), std::string::npos) << forced.out;
    EXPECT_EQ(json("board install --firmware firmware --force")["result"]["overridden"].size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(folder.path("firmware/mac_mng/board.dtb")));
}

// What is no error, and still not what was meant, is told and is in the way of nothing.
TEST_F(MacctlWrite, ABoardWithASlip_IsCompiled_AndTheSlipIsTold) {
    edit("mac_num=\"16\"", "mac_num=\"l6\"");
    const std::string told =
        "macctl: warning: demo.xml:20: mac_num=\"l6\" is no number; the system takes 1; \"macctl "
        "-b demo.xml board check\" says what to do\n";
    for (const char* const command :
         {"board compile out.dtb", "board install --firmware firmware"}) {
        const Outcome outcome = macctl(command);
        EXPECT_EQ(outcome.status, 0) << command;
        EXPECT_EQ(outcome.err, told) << command;
    }
    edit("channel=\"0x104d0\"", "channel=\"0x104c8\"");
    const Outcome refused = macctl("board compile out.dtb");
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("\ndemo.xml:20: warning: mac_num=\"l6\""), std::string::npos)
        << refused.err;
}

TEST_F(MacctlWrite, BoardCompileInstallAndMap_SayWhatTheyWrote) {
    const Outcome compiled = macctl("board compile out.dtb");
    EXPECT_EQ(compiled.out,
              "out.dtb: " + std::to_string(folder.read("out.dtb").size()) + " bytes\n");
    EXPECT_EQ(macctl("board install --firmware fw").out.rfind("fw/mac_mng/board.dtb: ", 0), 0u);
    const Outcome drawn = macctl("board map --svg m.svg");
    EXPECT_EQ(drawn.out, "m.svg: " + std::to_string(folder.read("m.svg").size()) + " bytes\n");
}

TEST_F(MacctlWrite, ListInterfaces_AreNamesAndEachOnce) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string link = "list -t 0 --format link --directory . --interfaces ";
    EXPECT_EQ(macctl(link + "lan0,lan0").err, "macctl: the interface \"lan0\" is named twice\n");
    for (const char* const name :
         {"'lan0,'", "'la*'", "'lan0 x'", "lan/0", "lan:0", "..", "abcdefghijklmnop", "'l[a]'"}) {
        const Outcome outcome = macctl(link + name);
        EXPECT_EQ(outcome.status, 1) << name;
        EXPECT_NE(outcome.err.find("is no interface name: 1 to 15 characters"), std::string::npos)
            << outcome.err;
    }
    EXPECT_EQ(sh("ls | grep -c link").out, "0\n");
    EXPECT_EQ(macctl("list -t 0 --interfaces lan0").err,
              "macctl: --interfaces goes with --format link\n");
    must(link + "abcdefghijklmno", "./70-mac_mng-abcdefghijklmno.link\n");
}

}  // namespace
