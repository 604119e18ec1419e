// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl board: what it finds in board files, and the picture that it draws.
#include <fstream>

#include "tests/support/macctl_fixture.h"
#include "tools/macctl/board_compile.h"
#include "tools/macctl/layout.h"
#include "tools/macctl/live_board.h"

namespace {

class MacctlBoard : public test::MacctlTest {
protected:
    // The finding of that code in the board file as it is now; null without it.
    nlohmann::json finding(const std::string& code) const {
        const nlohmann::json result = json("board check");
        for (const auto& one : result["result"]["findings"]) {
            if (one["code"] == code) return one;
        }
        return {};
    }

    void expect(const std::string& code, const std::string& severity, unsigned line,
                const std::string& text) const {
        const nlohmann::json found = finding(code);
        ASSERT_FALSE(found.is_null()) << code << "\n" << macctl("board check").out;
        EXPECT_EQ(found["severity"], severity);
        EXPECT_EQ(found["line"], line);
        EXPECT_EQ(found["file"], "demo.xml");
        EXPECT_NE(found["text"].get<std::string>().find(text), std::string::npos) << found.dump();
        EXPECT_NE(found["advice"], "");
        EXPECT_EQ(macctl("board check").status, severity == "error" ? 2 : 0);
        if (severity == "warning") {
            EXPECT_EQ(macctl("board check --strict").status, 2);
        }
    }
};

TEST_F(MacctlBoard, Check_TheDemoBoard_HasWarningsOnly) {
    const auto outcome = macctl("board check");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("demo.xml:24: warning: instance 0xffffffff type 4 main: router "
                               "records carry no check: a cut or torn write goes unnoticed "
                               "[no-check]\n    use the variant with CRC where the format is not "
                               "given\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(sh("ls *.bin 2>/dev/null").out, "");
}

TEST_F(MacctlBoard, Check_EveryBoardThatShips_HasNoErrors) {
    for (const auto& entry : std::filesystem::directory_iterator(MAC_SOURCE_DIR "/boards")) {
        if (entry.path().extension() != ".xml") continue;
        const auto outcome = tool("-b " + entry.path().string() + " board check");
        EXPECT_EQ(outcome.status, 0) << outcome.out;
    }
}

TEST_F(MacctlBoard, Check_RecordsThatOverlap) {
    edit("channel=\"0x104d0\"", "channel=\"0x104c8\"");
    expect("overlap", "error", 31, "overlap instance 0xffffffff type 0 spare (line 29)");
}

TEST_F(MacctlBoard, Check_PastTheEndOfAMedium) {
    edit("channel=\"0x1000\" mac_num=\"8\"", "channel=\"0x1fb0\" mac_num=\"8\"");
    expect("past-end", "error", 26, "the record takes bytes 0x1fb0 to 0x200f, and eeprom 264 has");
}

TEST_F(MacctlBoard, Check_BothCopiesInOneEraseBlock) {
    edit("channel=\"0x104c0\"", "channel=\"0x5c0\"");
    expect("same-block", "error", 29, "main (line 20) and spare lie in one erase block");
}

TEST_F(MacctlBoard, Check_BothCopiesOnOneChip) {
    edit("chip_id=\"265\" channel=\"0x0\" ", "chip_id=\"264\" channel=\"0x1800\" ");
    const auto outcome = macctl("board check");
    EXPECT_NE(outcome.out.find("demo.xml:30: warning: instance 0xffffffff type 1: main (line 21) "
                               "and spare are on one medium [same-chip]"),
              std::string::npos)
        << outcome.out;
}

TEST_F(MacctlBoard, Check_KolbeWithTooManyAddresses) {
    edit("channel=\"0xc00\"  mac_num=\"8\"", "channel=\"0xc00\"  mac_num=\"23\"");
    expect("kolbe-count", "error", 25, "23 addresses in a Kolbe record with CRC");
}

TEST_F(MacctlBoard, Check_DriversWhoseCheckValuesNeverAgree) {
    edit("drv_name=\"drv_mac_eeprom\"        chip_id=\"265\"",
         "drv_name=\"drv_mac_router_in_crc\" chip_id=\"265\"");
    expect("rewrite", "warning", 30, "the check values of qolt and router-crc records");
}

TEST_F(MacctlBoard, Check_UnknownDriverTypeAndMedium) {
    edit("drv_mac_eeprom\"        chip_id=\"264\"", "drv_mac_eprom\"         chip_id=\"264\"");
    expect("unknown-driver", "error", 21, "there is no driver \"drv_mac_eprom\"");
    edit("drv_mac_eprom\" ", "drv_mac_eeprom\"");
    edit("id=\"64\"", "id=\"63\"");
    edit("id=\"64\"", "id=\"63\"");
    expect("unknown-type", "warning", 26, "this type is never mounted");
    edit("chip_id=\"8\"", "chip_id=\"7\"");
    expect("no-medium", "error", 57, "the board has no <eeprom> of chip number 7");
}

TEST_F(MacctlBoard, Check_MissingDuplicateAndBadAttributes) {
    edit("chip_id=\"45\"  channel=\"0x4c0\"", "chip_id=\"45\"");
    expect("bad-entry", "error", 20, "lacks the attribute \"channel\"");
    edit("chip_id=\"45\"", "chip_id=\"45\" channel=\"04c0x\"");
    expect("bad-entry", "error", 20, "channel=\"04c0x\" is no number");
    edit("04c0x", "1216");
    edit("<entry1 id=\"1\" ", "<entry1 id=\"0\" ");
    expect("duplicate", "error", 21, "is configured in line 20 already");
}

TEST_F(MacctlBoard, Check_Names) {
    edit("storage_name=\"ethaddr_pool\"", "storage_name=\"" + std::string(32, 'n') + "\"");
    expect("long-name", "error", 22, "has 32 characters");
    edit(std::string(32, 'n'), "");
    expect("variable-name", "error", 22, "names no variable");
}

TEST_F(MacctlBoard, Check_TheEnvironment) {
    edit("redundant_offset=\"0x10000\"", "redundant_offset=\"0x4000\" erase=\"0x10000\"");
    expect("same-block", "error", 15, "both copies of the environment lie in one erase block");
    edit("redundant_offset=\"0x4000\"", "redundant_offset=\"0x14000\"");
    expect("env-alignment", "error", 15, "does not begin at an erase block");
    edit("redundant=\"1\" redundant_offset=\"0x14000\"", "");
    expect("env-single", "warning", 15, "has one copy");
}

TEST_F(MacctlBoard, Check_NoMainAndNoSpare) {
    edit(
        "<mac_storage_spare>\n        <entry0 id=\"0\" drv_name=\"drv_mac_eeprom\" chip_id=\"9\" "
        "channel=\"0x10\" mac_num=\"4\"/>\n      </mac_storage_spare>",
        "");
    expect("no-spare", "warning", 57, "has no spare");
    edit(
        "<entry1 id=\"1\"  drv_name=\"drv_mac_eeprom\"        chip_id=\"264\" channel=\"0x0\"    "
        "mac_num=\"16\"/>",
        "");
    expect("no-main", "error", 30, "has no main copy");
}

TEST_F(MacctlBoard, Check_BlocksOnTheMedia) {
    change("set block -t 0 00:11:22:ff:ff:f8 16");
    expect("carry", "warning", 20, "carries out of its first three bytes");
    change("set block -t 1 00:11:23:00:00:00 4");
    expect("address-overlap", "error", 21, "have addresses in common");
}

TEST_F(MacctlBoard, Check_FileThatCannotBeRead) {
    folder.write("demo.xml", "<board>\n  <platform>\n</board>");
    const nlohmann::json found = finding("unusable");
    EXPECT_EQ(found["line"], 3);
    EXPECT_NE(found["text"].get<std::string>().find("not well-formed XML"), std::string::npos);
    EXPECT_EQ(macctl("board check").status, 2);
}

// What a device's tool reads back is what the kernel was given.
TEST_F(MacctlBoard, Compiled_AndBack_IsTheSameBoard) {
    for (const auto& entry : std::filesystem::directory_iterator(MAC_SOURCE_DIR "/boards")) {
        if (entry.path().extension() != ".xml") continue;
        const auto blob = ::macctl::compile_board(host::BoardFile::read(entry.path()));
        const std::string text = ::macctl::decompile_board(blob);
        folder.write("again.xml", text);
        const auto again = host::BoardFile::read(folder.path("again.xml"));
        EXPECT_EQ(::macctl::compile_board(again), blob) << entry.path();
        EXPECT_EQ(::macctl::read_layout(again).pools.size(),
                  ::macctl::read_layout(host::BoardFile::read(entry.path())).pools.size());
    }
    EXPECT_EQ(::macctl::decompile_board({'n', 'o'}), "");
}

// /sys/bus of a system with the chip 0-0050, which has the nvmem device 0-00500 in its
// folder; a file of 0 bytes is what kernels show that do not say its size.
class LiveChips : public ::testing::Test {
protected:
    LiveChips() {
        for (const char* const made : {"bus/nvmem/devices", "bus/i2c/devices", "chip/0-00500"}) {
            std::filesystem::create_directories(folder.path(made));
        }
        std::filesystem::create_symlink("../../../chip", folder.path("bus/i2c/devices/0-0050"));
        folder.write("chip/eeprom", std::string(256, 'e'));
    }
    void show_nvmem(const std::string& content) const {
        std::filesystem::create_symlink("../../../chip/0-00500",
                                        folder.path("bus/nvmem/devices/0-00500"));
        folder.write("chip/0-00500/nvmem", content);
    }
    // What the file that stands for the chip holds; what it is called when it is not there.
    std::string content(const std::string& name) const {
        const std::string file = ::macctl::chip_file(name, folder.path("bus"));
        std::ifstream stream(file);
        return stream ? std::string(std::istreambuf_iterator<char>(stream), {}) : file;
    }
    test::Folder folder;
};

TEST_F(LiveChips, NvmemFile_IsTakenUnderEitherName) {
    show_nvmem(std::string(256, 'n'));
    EXPECT_EQ(content("0-0050"), std::string(256, 'n'));
    EXPECT_EQ(content("0-00500"), std::string(256, 'n'));
}

TEST_F(LiveChips, NvmemFileWithoutASize_ItsChipsOwnFileIsTaken) {
    show_nvmem("");
    EXPECT_EQ(content("0-0050"), std::string(256, 'e'));
    EXPECT_EQ(content("0-00500"), std::string(256, 'e'));
}

TEST_F(LiveChips, NoNvmemDevice_TheChipsOwnFileIsTaken) {
    EXPECT_EQ(content("0-0050"), std::string(256, 'e'));
}

TEST_F(LiveChips, NoSuchChip_IsAFileThatIsNotThere) {
    show_nvmem(std::string(256, 'n'));
    EXPECT_EQ(content("0-0051"), "/dev/mac_mng-absent/0-0051");
    EXPECT_EQ(content(""), "/dev/mac_mng-absent/");
    EXPECT_EQ(content("0-00500x"), "/dev/mac_mng-absent/0-00500x");
}

TEST_F(LiveChips, Path_IsTakenAsItIs) {
    EXPECT_EQ(content("/no/such/file"), "/no/such/file");
    EXPECT_EQ(content(folder.path("chip/eeprom").string()), std::string(256, 'e'));
}

TEST_F(MacctlBoard, Init_MakesWhatIsMissing) {
    folder.write("eeprom-8.bin", std::string(256, 'k'));
    const auto outcome = macctl("board init");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("manuinfo.bin: made, erased\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("eeprom-8.bin: kept as it is\n"), std::string::npos);
    EXPECT_EQ(folder.read("manuinfo.bin"), std::string(0x20000, '\xff'));
    EXPECT_EQ(folder.read("eeprom-8.bin"), std::string(256, 'k'));
}

TEST_F(MacctlBoard, Map_Text_IsToScale) {
    const auto outcome = macctl("board map");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("flash 45 (manuinfo.bin): 131072 bytes, erase block 65536 bytes\n"
                               "  [M" +
                               std::string(31, '.') + "S" + std::string(31, '.') +
                               "]\n"
                               "  M 0x0004c0-0x0004cf      16 B  type 0 main              "
                               "drv_mac_flash\n"),
              std::string::npos)
        << outcome.out;
    edit("channel=\"0x104d0\"", "channel=\"0x104c8\"");
    EXPECT_NE(macctl("board map")
                  .out.find("type 2 spare             drv_mac_flash  OVERLAP OR PAST "
                            "THE END\n"),
              std::string::npos);
}

TEST_F(MacctlBoard, Map_Svg_IsAPictureOfEveryPlace) {
    EXPECT_EQ(macctl("board map --svg map.svg").status, 0);
    const std::string svg = folder.read("map.svg");
    EXPECT_EQ(svg.find("#d62828\" fill-opacity"), std::string::npos) << "nothing overlaps";
    for (const char* label : {"type 0 main 0x4c0", "type 0 spare 0x104c0", "type 64 main 0x1000",
                              "instance 0x3 type 0 spare 0x10", "environment copy 2 0x10000",
                              "ethaddr_pool and ethaddr_pool_num: type 2 main"}) {
        EXPECT_NE(svg.find(label), std::string::npos) << label;
    }
    // Type 0's spare: 0x104c0 of 0x20000 on a bar 960 wide that begins at 20.
    EXPECT_NE(svg.find("<rect x=\"508.9\""), std::string::npos) << svg;
    edit("channel=\"0x104d0\"", "channel=\"0x104c8\"");
    EXPECT_NE(macctl("board map --svg -").out.find("#d62828\" fill-opacity"), std::string::npos);
}

}  // namespace
