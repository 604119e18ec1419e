// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl set, list, export and import: what replaces what, and in which forms
// addresses go out and in.
#include "tests/support/macctl_fixture.h"

namespace {

using test::Outcome;

class MacctlTransfer : public test::MacctlTest {};

TEST_F(MacctlTransfer, Set_ShowsBeforeAndAfter) {
    must("set block -t 0 00:11:22:33:44:00 16",
         "before  no good block\nafter   00:11:22:33:44:00 count 16\n");
    must("set block -t 0 00:11:22:33:44:00 16",
         "before  00:11:22:33:44:00 count 16\nafter   00:11:22:33:44:00 count 16\n");
    must("set addr -t 0 02-00-00-00-00-01 --yes",
         "before  00:11:22:33:44:00 count 16\nafter   02:00:00:00:00:01 count 16\n");
    must("set num -t 0 4 -y",
         "before  02:00:00:00:00:01 count 16\nafter   02:00:00:00:00:01 count 4\n");
}

TEST_F(MacctlTransfer, Set_AGoodBlock_IsReplacedOnlyWhenTold) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const std::string image = folder.read("manuinfo.bin");
    for (const char* arguments : {"set block -t 0 02:00:00:00:00:01 16", "set num -t 0 8",
                                  "set addr -t 0 02:00:00:00:00:01"}) {
        const Outcome outcome = macctl(arguments);
        EXPECT_EQ(outcome.status, 7) << arguments;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
                  "macctl: instance 0xffffffff type 0 holds the good block 00:11:22:33:44:00 count "
                  "16; replacing it needs --yes\n");
    }
    EXPECT_EQ(folder.read("manuinfo.bin"), image);
    poke("manuinfo.bin", 0x4ca, "XX");
    poke("manuinfo.bin", 0x104ca, "XX");
    must("set block -t 0 02:00:00:00:00:01 16",
         "before  no good block\nafter   02:00:00:00:00:01 count 16\n");
}

TEST_F(MacctlTransfer, Set_DryRun_WritesNothing) {
    change("set block -t 0 00:11:22:33:44:00 16");
    poke("manuinfo.bin", 0x4ca, "XX");
    const std::string image = folder.read("manuinfo.bin");
    EXPECT_EQ(macctl("set block -t 0 02:00:00:00:00:01 8 --dry-run").status, 7)
        << "it would be asked for --yes";
    must("set block -t 0 02:00:00:00:00:01 8 --dry-run --yes",
         "before  00:11:22:33:44:00 count 16\nafter   02:00:00:00:00:01 count 8  (not written)\n");
    EXPECT_EQ(macctl("set block -t 0 ff:ff:ff:ff:ff:ff 8 --dry-run").status, 2);
    EXPECT_EQ(macctl("set num -t 0 65535 --dry-run").status, 2);
    EXPECT_EQ(macctl("set block -t 9 02:00:00:00:00:01 8 --dry-run").status, 3);
    EXPECT_EQ(folder.read("manuinfo.bin"), image) << "not even the repair";
}

TEST_F(MacctlTransfer, Set_WarnsOfABlockThatLeavesItsOui) {
    const Outcome outcome = macctl("set block -t 0 00:11:22:ff:ff:ff 2");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err,
              "macctl: warning: the block ends at 00:11:23:00:00:00, outside the addresses of its "
              "first three bytes\n");
    EXPECT_EQ(macctl("set block -t 1 00:12:22:ff:ff:ff 1").err, "");
}

TEST_F(MacctlTransfer, List_EveryForm) {
    change("set block -t 0 00:11:22:33:44:ff 3");
    must("list -t 0", "00:11:22:33:44:ff\n00:11:22:33:45:00\n00:11:22:33:45:01\n");
    must("list -t 0 -n 1", "00:11:22:33:44:ff\n");
    must("list -t 0 --format csv",
         "index,address\n0,00:11:22:33:44:ff\n1,00:11:22:33:45:00\n2,00:11:22:33:45:01\n");
    must("list -t 0 -n 2 --format json",
         "[\n  \"00:11:22:33:44:ff\",\n  \"00:11:22:33:45:00\"\n]\n");
    must("list -t 0 -n 0 --format json", "[]\n");
    EXPECT_EQ(macctl("list -t 0 -n 4").status, 2) << "the block has three";
    EXPECT_EQ(macctl("list -t 0 --format xml").status, 1);
}

TEST_F(MacctlTransfer, List_LinkFiles_ForSystemd) {
    change("set block -t 0 00:11:22:33:44:ff 2");
    const std::string first =
        "[Match]\nOriginalName=lan0\n\n[Link]\nMACAddressPolicy=none\nMACAddress="
        "00:11:22:33:44:ff\n";
    const std::string second =
        "[Match]\nOriginalName=lan1\n\n[Link]\nMACAddressPolicy=none\nMACAddress="
        "00:11:22:33:45:00\n";
    must("list -t 0 --format link --interfaces lan0,lan1",
         "# 70-mac_mng-lan0.link\n" + first + "\n# 70-mac_mng-lan1.link\n" + second);
    ASSERT_EQ(sh("mkdir links").status, 0);
    must("list -t 0 --format link --interfaces lan0,lan1 --directory links",
         "links/70-mac_mng-lan0.link\nlinks/70-mac_mng-lan1.link\n");
    EXPECT_EQ(folder.read("links/70-mac_mng-lan1.link"), second);
    EXPECT_EQ(macctl("list -t 0 --format link").status, 1) << "no names";
    EXPECT_EQ(macctl("list -t 0 --format link --interfaces a,b,c").status, 2) << "two addresses";
    EXPECT_EQ(macctl("list -t 0 --format link --interfaces a/b").status, 1);
}

TEST_F(MacctlTransfer, ExportAndImport_MoveAllBlocks) {
    for (const char* set :
         {"0 00:11:22:33:00:00 16", "1 00:11:22:33:01:00 4", "2 00:11:22:33:02:00 4",
          "3 00:11:22:33:03:00 32", "5 00:11:22:33:05:00 8"}) {
        change(std::string("set block -t ") + set);
    }
    must("-q mount -i 3");
    change("set block -i 3 -t 0 02:00:00:00:00:01 4");
    const Outcome exported = macctl("export");
    EXPECT_EQ(exported.status, 8) << "types 4 and 64 are blank";
    EXPECT_NE(exported.err.find("warning: instance 0xffffffff type 4 is blank and is left out\n"),
              std::string::npos);
    folder.write("blocks.json", exported.out);
    must("import blocks.json", "6 blocks in the file, 0 changed\n");

    ASSERT_EQ(sh("mkdir other && cp demo.xml other && cd other && " + std::string(MACCTL_PROGRAM) +
                 " -b demo.xml import ../blocks.json")
                  .status,
              0);
    ASSERT_EQ(
        sh("cd other && " + std::string(MACCTL_PROGRAM) + " -b demo.xml export > ../again.json")
            .status,
        8);
    EXPECT_EQ(folder.read("again.json"), folder.read("blocks.json"));
}

TEST_F(MacctlTransfer, Output_ToADeviceOrPipe_DoesNotReplaceIt) {
    change("set block -t 0 00:11:22:33:44:00 16");
    const Outcome outcome = sh("mkfifo pipe; cat pipe > copy & " + std::string(MACCTL_PROGRAM) +
                               " -b demo.xml export -t 0 -i 0xffffffff pipe; wait; test -p pipe");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(folder.read("copy").find("00:11:22:33:44:00"), std::string::npos);
}

TEST_F(MacctlTransfer, Export_WithoutAGoodBlock_KeepsTheBackupThatIsThere) {
    change("set block -t 0 00:11:22:33:44:00 16");
    ASSERT_EQ(macctl("export -t 0 -i 0xffffffff blocks.json").status, 0);
    const std::string backup = folder.read("blocks.json");
    poke("manuinfo.bin", 0x4ca, "XX");
    poke("manuinfo.bin", 0x104ca, "XX");
    const Outcome lost = macctl("export -t 0 -i 0xffffffff blocks.json");
    EXPECT_EQ(lost.status, 5);
    EXPECT_EQ(lost.err,
              "macctl: warning: instance 0xffffffff type 0 has no good block and is left out\n"
              "macctl: there is no good block to export; blocks.json was not written\n");
    EXPECT_EQ(folder.read("blocks.json"), backup);
    const Outcome blank = macctl("export -t 1");
    EXPECT_EQ(blank.status, 8);
    EXPECT_EQ(blank.out, "");
    EXPECT_EQ(macctl("export").status, 5) << "some are lost, others blank";
    change("set block -t 1 00:11:22:33:45:00 16");
    const Outcome some = macctl("export");
    EXPECT_EQ(some.status, 5);
    EXPECT_NE(some.out.find("00:11:22:33:45:00"), std::string::npos);
}

TEST_F(MacctlTransfer, Import_ReplacesOnlyWhenTold) {
    change("set block -t 0 00:11:22:33:00:00 16");
    folder.write("b.json",
                 R"({"format":"mac_mng-blocks","version":1,"blocks":[)"
                 R"({"instance":"0xffffffff","type":0,"base":"02:00:00:00:00:01","count":"0x10"},)"
                 R"({"instance":4294967295,"type":1,"base":"02-00-00-00-01-01","count":4}]})");
    const Outcome refused = macctl("import b.json");
    EXPECT_EQ(refused.status, 7);
    EXPECT_EQ(refused.err,
              "macctl: 1 good block would be replaced; that needs --yes. Nothing was written\n");
    EXPECT_EQ(macctl("get addr -t 1").status, 2) << "nothing was written";
    EXPECT_EQ(macctl("import b.json --dry-run").err, refused.err);
    must("import b.json --dry-run --yes",
         "instance 0xffffffff type 0: 00:11:22:33:00:00 count 16 -> 02:00:00:00:00:01 count 16  "
         "(not written)\n"
         "instance 0xffffffff type 1: no good block -> 02:00:00:00:01:01 count 4  (not written)\n"
         "2 blocks in the file, 2 changed  (not written)\n");
    must("import b.json --yes",
         "instance 0xffffffff type 0: 00:11:22:33:00:00 count 16 -> 02:00:00:00:00:01 count 16\n"
         "instance 0xffffffff type 1: no good block -> 02:00:00:00:01:01 count 4\n"
         "2 blocks in the file, 2 changed\n");
}

TEST_F(MacctlTransfer, Import_ValidatesAllBeforeItWritesAny) {
    const std::string head = R"({"format":"mac_mng-blocks","version":1,"blocks":[)";
    const std::string good =
        R"({"instance":"0xffffffff","type":0,"base":"02:00:00:00:00:01","count":16},)";
    const auto block = [](const char* type, const char* base, const char* count) {
        return std::string(R"({"instance":"0xffffffff","type":)") + type + R"(,"base":")" + base +
               R"(","count":)" + count + "}";
    };
    const struct {
        std::string content;
        const char* reason;
    } cases[] = {
        {"nothing", "is no JSON"},
        {"[]", "has no \"format\""},
        {R"({"format":"mac_mng-blocks","version":2,"blocks":[]})", "has version 2, expected 1"},
        {R"({"format":"mac_mng-blocks","version":1})", "has no array \"blocks\""},
        {head + good + "7]}", "block 1 is no object"},
        {head + good + R"({"type":1}]})", "block 1 lacks \"instance\""},
        {head + good + block("9", "02:00:00:00:00:01", "1") + "]}", "is not configured"},
        {head + good + block("0", "02:00:00:00:00:02", "1") + "]}", "is in it twice"},
        {head + good + block("1", "02:00:00:00:00", "1") + "]}", "is no MAC address"},
        {head + good + block("1", "ff:ff:ff:ff:ff:ff", "1") + "]}", "all zeros or all ones"},
        {head + good + block("1", "02:00:00:00:00:01", "65535") + "]}", "above 65534"},
        {head + good + block("1", "02:00:00:00:00:01", "-1") + "]}", "is no number"},
        {head + good + block("3", "02:00:00:00:00:01", "33") + "]}", "has room for 32 addresses"},
        {head + good + block("5", "02:00:00:00:00:01", "7") + "]}", "carries no count"},
    };
    for (const auto& one : cases) {
        folder.write("b.json", one.content);
        const Outcome outcome = macctl("import b.json --yes");
        EXPECT_EQ(outcome.status, 7) << one.reason;
        EXPECT_NE(outcome.err.find(one.reason), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("nothing was written"), std::string::npos) << outcome.err;
        EXPECT_EQ(macctl("check -i 0xffffffff -t 0").status, 8) << "still blank: " << one.reason;
    }
    EXPECT_EQ(macctl("import absent.json").status, 7);
}

TEST_F(MacctlTransfer, Import_NestedWithoutEnd_IsRefused) {
    folder.write("deep.json", std::string(1000000, '[') + std::string(1000000, ']'));
    const Outcome outcome = macctl("import deep.json");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.err,
              "macctl: deep.json: has no \"format\": \"mac_mng-blocks\"; nothing was written\n");
}

}  // namespace
