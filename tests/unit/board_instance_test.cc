// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Media that serve one instance alone: which of them the services and the tool reach.
#include "mac_mng/mac_mng.h"
#include "platform/common/service_status.h"
#include "platform/eeprom.h"
#include "platform/flash.h"
#include "storage/media/mac_media.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"
#include "tests/support/macctl_fixture.h"
#include "tools/macctl/board_compile.h"
#include "tools/macctl/layout.h"
#include "tools/macctl/live_board.h"

namespace {

using test::Record;

constexpr u32 kNoChip = SERVICE_NO_CHIP;

// Under chip number 7 instance 3 has a flash and an EEPROM of its own, instance 4 one of each
// too, and all others share one of each. Under 8 nobody but instance 3 has any, under 9 it is
// the default instance.
constexpr char kPlatform[] = R"(<board name="b"><platform>
    <flash  chip="7" image="flash" size="0x100" erase="0x100"/>
    <flash  chip="7" inst="0x3" image="flash-3" size="0x100" erase="0x100"/>
    <flash  chip="7" inst="4" image="flash-4" size="0x100" erase="0x100"/>
    <flash  chip="8" inst="0x3" image="flash-8" size="0x100" erase="0x100"/>
    <flash  chip="9" inst="0xffffffff" image="flash-9" size="0x100" erase="0x100"/>
    <eeprom chip="7" inst="0x3" image="eeprom-3" size="0x100"/>
    <eeprom chip="7" image="eeprom" size="0x100"/>
    <eeprom chip="7" inst="4" image="eeprom-4" size="0x100"/>
    <eeprom chip="8" inst="0x3" image="eeprom-8" size="0x100"/>
    <eeprom chip="9" inst="0xffffffff" image="eeprom-9" size="0x100"/>
  </platform>)";

class BoardInstance : public test::PlatformTest {
protected:
    BoardInstance() { use_board(std::string(kPlatform) + "</board>"); }

    // The images that hold the byte at offset 0x10.
    std::string images_with(u8 byte) {
        std::string names;
        for (const char* kind : {"flash", "eeprom"}) {
            for (const char* end : {"", "-3", "-4", "-8", "-9"}) {
                const std::string name = std::string(kind) + end;
                if (board().memory(name)[0x10] == byte) names += name + " ";
            }
        }
        return names;
    }
};

struct Service {
    const char* image;
    u32 (*write)(u32 inst, u32 chip, u32 offset, const u8* buf, u32 len);
    u32 (*read)(u32 inst, u32 chip, u32 offset, u8* buf, u32 len);
};
const Service kServices[] = {{"flash", drv_flash_write, drv_flash_read},
                             {"eeprom", drv_eeprom_write_data, drv_eeprom_read_data}};

TEST_F(BoardInstance, Services_TakeTheInstancesOwn_ElseTheOneOfAll) {
    const struct {
        u32 inst;
        u32 chip;
        const char* end;
    } cases[] = {{3, 7, "-3"}, {4, 7, "-4"}, {5, 7, ""},           {0xffffffff, 7, ""},
                 {0, 7, ""},   {3, 8, "-8"}, {0xffffffff, 9, "-9"}};
    u8 byte = 0x20;
    for (const auto& c : cases) {
        for (const Service& service : kServices) {
            --byte;
            EXPECT_EQ(service.write(c.inst, c.chip, 0x10, &byte, 1), 0u);
            EXPECT_EQ(images_with(byte), std::string(service.image) + c.end + " ");
            u8 found = 0;
            EXPECT_EQ(service.read(c.inst, c.chip, 0x10, &found, 1), 0u);
            EXPECT_EQ(found, byte);
        }
    }
}

TEST_F(BoardInstance, Services_FindNothing_ThatServesAnotherInstance) {
    u8 byte = 0;
    for (const Service& service : kServices) {
        for (const auto& [inst, chip] : {std::pair{4u, 8u}, std::pair{0xffffffffu, 8u},
                                         std::pair{3u, 9u}, std::pair{3u, 10u}}) {
            EXPECT_EQ(service.read(inst, chip, 0, &byte, 1), kNoChip) << inst << " " << chip;
            EXPECT_EQ(service.write(inst, chip, 0, &byte, 1), kNoChip);
        }
    }
}

TEST_F(BoardInstance, MediaAdapters_HandTheirInstanceToTheService) {
    using MediumOp = u32 (*)(u32, const char*, u32, u32, u8*, u32);
    const struct {
        const char* image;
        MediumOp write;
        MediumOp read;
    } media[] = {{"flash", mac_flash_write, mac_flash_read},
                 {"eeprom", mac_eeprom_write, mac_eeprom_read}};
    for (const auto& medium : media) {
        for (const auto& [inst, end] :
             {std::pair{3u, "-3"}, std::pair{4u, "-4"}, std::pair{6u, ""}}) {
            Record out = test::qolt({2, 0, 0, 0, 0, static_cast<u8>(inst)}, inst);
            EXPECT_EQ(medium.write(inst, nullptr, 7, 0x20, out.data(), 16), 0u);
            EXPECT_EQ(test::hex(board().memory(std::string(medium.image) + end), 0x20, 16),
                      test::hex(out));
        }
        for (const u32 inst : {3u, 4u, 6u}) {
            Record in(16);
            EXPECT_EQ(medium.read(inst, nullptr, 7, 0x20, in.data(), 16), 0u);
            EXPECT_EQ(in, test::qolt({2, 0, 0, 0, 0, static_cast<u8>(inst)}, inst));
        }
    }
}

class BoardInstanceService : public test::ServiceTest {};

TEST_F(BoardInstanceService, Blocks_LieOnTheMediaOfTheirInstance) {
    // The same entries for three instances: type 0 on flash, with a spare on an EEPROM.
    const std::string tree = test::tree_xml(test::entry_xml(0, 0, "drv_mac_flash", 7, 0x20, 16),
                                            test::entry_xml(0, 0, "drv_mac_eeprom", 7, 0x20, 16));
    use_board(std::string(kPlatform) + tree + "<instance id=\"3\">" + tree +
              "</instance><instance id=\"4\">" + tree + "</instance></board>");
    const std::pair<u32, const char*> instances[] = {
        {MAC_DEFAULT_INSTANCE, ""}, {3, "-3"}, {4, "-4"}};
    for (const auto& [inst, end] : instances) {
        ASSERT_EQ(drv_mac_init(inst), 0u);
        const u8 base[6] = {2, 0, 0, 0, 0, static_cast<u8>(inst)};
        EXPECT_EQ(drv_mac_set_addr_num(inst, 0, 8, base), 0u);
    }
    for (const auto& [inst, end] : instances) {
        const test::Mac base = {2, 0, 0, 0, 0, static_cast<u8>(inst)};
        const std::string record = test::hex(test::qolt(base, 8));
        for (const char* kind : {"flash", "eeprom"}) {
            EXPECT_EQ(test::hex(board().memory(std::string(kind) + end), 0x20, 16), record)
                << kind << end;
        }
        u8 found[6] = {};
        EXPECT_EQ(drv_mac_get_addr(inst, 0, found, 6), 0u);
        EXPECT_EQ(found[5], static_cast<u8>(inst));
    }
}

std::string error_of(const std::string& media) {
    try {
        host::BoardFile::parse("<board><platform>" + media + "</platform></board>", "b.xml");
    } catch (const host::BoardError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(BoardInstanceFile, Refusals_NameTheInstance) {
    const std::string flash = "<flash chip='8' image='a' size='8' erase='8' ";
    const std::string eeprom = "<eeprom chip='8' image='a' size='8' ";
    EXPECT_EQ(error_of(flash + "inst='3'/>\n" + flash + "inst='0x3'/>"),
              "b.xml:2: two <flash> media have the chip number 8 for instance 0x3 (the other in "
              "line 1)");
    EXPECT_EQ(error_of(eeprom + "/>" + eeprom + "inst='10'/>\n" + eeprom + "inst='10'/>"),
              "b.xml:2: two <eeprom> media have the chip number 8 for instance 0xa (the other in "
              "line 1)");
    EXPECT_EQ(error_of(eeprom + "/>\n" + eeprom + "/>"),
              "b.xml:2: two <eeprom> media have the chip number 8 (the other in line 1)");
    EXPECT_EQ(error_of(eeprom + "inst='three'/>"),
              "b.xml:1: <eeprom> inst=\"three\": expected a number from 0 to 0xffffffff");
    EXPECT_EQ(error_of(flash + "inst='0x100000000'/>"),
              "b.xml:1: <flash> inst=\"0x100000000\": expected a number from 0 to 0xffffffff");
    EXPECT_EQ(error_of(flash + "inst='0'/>" + flash + "/>" + eeprom + "inst='0'/>"), "accepted");
}

class MacctlInstance : public test::MacctlTest {
protected:
    MacctlInstance() {
        const auto entry = [](const char* driver, unsigned channel) {
            return test::text("<e id='0' drv_name='%s' chip_id='7' channel='%u' mac_num='4'/>\n",
                              driver, channel);
        };
        const std::string tree = "<mac_mng><mac_storage_main>" + entry("drv_mac_flash", 0x20) +
                                 "</mac_storage_main><mac_storage_spare>" +
                                 entry("drv_mac_eeprom", 0x20) + "</mac_storage_spare></mac_mng>";
        folder.write("demo.xml", std::string(kPlatform) + "\n" + tree + "<instance id='3'>" + tree +
                                     "</instance><instance id='4'>" + tree + "</instance></board>");
    }
};

TEST_F(MacctlInstance, Check_SameNumberAndPlaceOnTwoChips_IsNoOverlap) {
    const auto outcome = macctl("board check");
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_EQ(outcome.out.find("overlap"), std::string::npos) << outcome.out;
    for (const char* unused : {"flash 8 of instance 0x3", "flash 9 of instance 0xffffffff",
                               "eeprom 8 of instance 0x3", "eeprom 9 of instance 0xffffffff"}) {
        EXPECT_NE(outcome.out.find(std::string("no entry uses ") + unused + " [unused]"),
                  std::string::npos)
            << outcome.out;
    }
    EXPECT_EQ(outcome.out.find("no entry uses flash 7"), std::string::npos) << outcome.out;
    edit("<flash  chip=\"7\" inst=\"4\"", "<flash  chip=\"6\" inst=\"4\"");
    EXPECT_NE(macctl("board check")
                  .out.find("error: instance 0x4 type 0 main, flash 7 at 0x20, "
                            "takes bytes 0x20 to 0x2f, which overlap instance "
                            "0xffffffff type 0 main"),
              std::string::npos)
        << "both on the one of all";
}

TEST_F(MacctlInstance, Check_ChipOfAnotherInstance_IsNotThere) {
    edit("chip_id='7' channel='32'", "chip_id='8' channel='32'");
    const auto outcome = macctl("board check");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.out.find("instance 0xffffffff type 0 main: the board has no <flash> of chip "
                               "number 8 that serves this instance [no-medium]\n    mend inst "
                               "under <platform>, or chip_id\n"),
              std::string::npos)
        << outcome.out;
}

TEST_F(MacctlInstance, Check_PastTheEnd_IsOfTheInstancesOwn) {
    edit("<flash  chip=\"7\" inst=\"4\" image=\"flash-4\" size=\"0x100\" erase=\"0x100\"/>",
         "<flash  chip=\"7\" inst=\"4\" image=\"flash-4\" size=\"0x20\" erase=\"0x20\"/>");
    const auto outcome = macctl("board check");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.out.find("instance 0x4 type 0 main: the record takes bytes 0x20 to 0x2f, and "
                               "flash 7 of instance 0x4 has 0x20 [past-end]"),
              std::string::npos)
        << outcome.out;
}

TEST_F(MacctlInstance, Map_DrawsEachChipByItself) {
    const std::string map = macctl("board map").out;
    EXPECT_NE(map.find("flash 7 (flash): 256 bytes, erase block 256 bytes\n"), std::string::npos);
    EXPECT_NE(map.find("flash 7 of instance 0x3 (flash-3): 256 bytes"), std::string::npos) << map;
    EXPECT_NE(map.find("eeprom 7 of instance 0x4 (eeprom-4): 256 bytes"), std::string::npos);
    EXPECT_EQ(map.find("OVERLAP"), std::string::npos) << map;
}

TEST_F(MacctlInstance, BlocksOfTwoInstances_LieOnTheirOwnImages) {
    must("-q mount -i 3");
    must("-q mount -i 4");
    change("set block -t 0 02:00:00:00:00:00 4");
    change("set block -i 3 -t 0 02:00:00:00:03:00 4");
    change("set block -i 4 -t 0 02:00:00:00:04:00 4");
    for (const char* kind : {"flash", "eeprom"}) {
        EXPECT_EQ(folder.read(kind)[0x20 + 12], '\0');
        EXPECT_EQ(folder.read(std::string(kind) + "-3")[0x20 + 12], '\3');
        EXPECT_EQ(folder.read(std::string(kind) + "-4")[0x20 + 12], '\4');
        EXPECT_EQ(folder.read(std::string(kind) + "-8"), std::string(0x100, '\xff'));
    }
    std::filesystem::remove(folder.path("flash-4"));
    EXPECT_NE(macctl("check -i 4").out.find("the image flash-4 is not there"), std::string::npos);
}

TEST_F(MacctlInstance, Compiled_AndBack_KeepsTheInstances) {
    const auto file = host::BoardFile::read(folder.path("demo.xml"));
    const auto blob = ::macctl::compile_board(file);
    folder.write("again.xml", ::macctl::decompile_board(blob));
    const auto again = host::BoardFile::read(folder.path("again.xml"));
    EXPECT_EQ(::macctl::compile_board(again), blob);
    ASSERT_EQ(again.flashes().size(), 5u);
    EXPECT_EQ(again.flashes()[0].inst, std::nullopt);
    EXPECT_EQ(again.flashes()[1].inst, 3u);
    EXPECT_EQ(again.eeproms()[4].inst, 0xffffffffu);
    EXPECT_EQ(::macctl::read_layout(again).entries.size(), 6u);
}

}  // namespace
