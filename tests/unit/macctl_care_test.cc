// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl status, check and repair: what they say of each kind of damage, what they
// write (nothing, and what the next access would), and how they end.
#include <random>

#include "mac_mng/mac_status.h"
#include "tests/support/macctl_fixture.h"
#include "tools/macctl/inspect.h"

namespace {

using macctl::CopyReport;
using macctl::Health;
using macctl::Next;
using macctl::PoolReport;

class MacctlCare : public test::MacctlTest {
protected:
    // All blocks of the board, so that nothing is lost to begin with.
    void program_all() const {
        for (const int type : {0, 1, 2, 3, 4}) {
            change("set block -t " + std::to_string(type) + " 00:11:22:33:0" +
                   std::to_string(type) + ":00 4");
        }
        change("set block -t 5 00:11:22:33:05:00 8");
        change("set block -t 64 00:11:22:33:64:00 8");
        must("-q mount -i 3");
        change("set block -i 3 -t 0 02:00:00:00:00:01 4");
    }
};

TEST_F(MacctlCare, Status_IsATableAndWritesNothing) {
    const auto before = macctl("status");
    EXPECT_EQ(before.status, 0);
    EXPECT_EQ(sh("ls *.bin 2>/dev/null").out, "") << "looking makes no image";
    change("set block -t 0 00:11:22:33:44:fe 4");
    const auto outcome = macctl("status -t 0 -i 0xffffffff");
    EXPECT_EQ(outcome.out,
              "INSTANCE    TYPE  BASE               LAST               COUNT  DRIVER         MAIN  "
              "SPARE\n"
              "0xffffffff  0     00:11:22:33:44:fe  00:11:22:33:45:01  4      drv_mac_flash  good  "
              "good\n");
    EXPECT_EQ(outcome.out.find('\033'), std::string::npos) << "colours are for terminals";
}

TEST_F(MacctlCare, Check_EachStateIsNamed) {
    program_all();
    EXPECT_EQ(macctl("check").status, 0);
    test::Record record = test::qolt({0x00, 0x11, 0x22, 0x33, 0x00, 0x00}, 4);
    const std::string found = test::hex(record, 14);
    record[10] = record[11] = 'X';
    record.resize(14);
    const u16 expected = test::crc16(record);
    poke("manuinfo.bin", 0x4ca, "XX");
    EXPECT_EQ(macctl("check -i 0xffffffff -t 0").out,
              "instance 0xffffffff type 0: degraded\n"
              "  main   flash 45 at 0x4c0: check mismatch (check value: expected 0x" +
                  test::hex({static_cast<u8>(expected >> 8), static_cast<u8>(expected)}) +
                  ", found 0x" + found +
                  ")\n"
                  "  spare  flash 45 at 0x104c0: good, 00:11:22:33:00:00 count 4\n"
                  "  the next access rewrites the main copy from the spare\n"
                  "1 block: 0 good, 1 degraded, 0 lost\n");
    EXPECT_EQ(macctl("check -t 0").status, 4);
    poke("eeprom-265.bin", 0, "QULT");
    EXPECT_NE(
        macctl("check -t 1")
            .out.find(
                "  spare  eeprom 265 at 0x0: wrong tag (tag: expected \"QOLT\", found 51 55 4c "
                "54)\n  the next access rewrites the spare from the main copy\n"),
        std::string::npos);
    poke("eeprom-264.bin", 0x400, std::string("\0\0\1\0", 4));
    EXPECT_NE(macctl("check -t 3")
                  .out.find("  main   eeprom 264 at 0x400: wrong length (length: "
                            "the record says 256 bytes, expected at least 14 and "
                            "at most 200)\n"),
              std::string::npos);
    poke("eeprom-264.bin", 0xc04, "??");
    EXPECT_NE(macctl("check -t 5").out.find("check mismatch (check value of address 0: expected "),
              std::string::npos);
    poke("eeprom-264.bin", 0x800, std::string(208, '\xff'));
    EXPECT_NE(macctl("check -t 4").out.find("erased (all bytes are 0xff)"), std::string::npos);
    ASSERT_EQ(sh("fw_setenv -c fw.cfg ethaddr_pool").status, 0);
    EXPECT_NE(macctl("check -t 2")
                  .out.find("  main   variable ethaddr_pool: erased (the variable is not set)\n"),
              std::string::npos);
}

TEST_F(MacctlCare, Check_NeverWrites) {
    program_all();
    poke("manuinfo.bin", 0x4ca, "XX");
    poke("eeprom-265.bin", 0, "QULT");
    const std::string images = sh("cat *.bin | sha256sum").out;
    EXPECT_EQ(macctl("check").status, 4);
    EXPECT_EQ(macctl("status").status, 0);
    EXPECT_EQ(macctl("export").status, 0);
    EXPECT_EQ(macctl("repair --dry-run").status, 6) << "as the repair itself";
    EXPECT_EQ(sh("cat *.bin | sha256sum").out, images);
}

TEST_F(MacctlCare, Repair_DoesWhatCheckSays) {
    program_all();
    const std::string good = sh("cat manuinfo.bin eeprom*.bin | sha256sum").out;
    EXPECT_EQ(macctl("repair").out, "nothing to repair\n");
    poke("manuinfo.bin", 0x4ca, "XX");
    poke("eeprom-265.bin", 0, "QULT");
    const auto outcome = macctl("repair");
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(
        outcome.out,
        "instance 0xffffffff type 0: main copy, flash 45 at 0x4c0, check mismatch: rewritten "
        "with 00:11:22:33:00:00 count 4\n"
        "instance 0xffffffff type 1: spare copy, eeprom 265 at 0x0, wrong tag: rewritten with "
        "00:11:22:33:01:00 count 4\n");
    EXPECT_EQ(sh("cat manuinfo.bin eeprom*.bin | sha256sum").out, good);
    EXPECT_EQ(macctl("check").status, 0);
    EXPECT_EQ(macctl("repair").status, 0);
}

TEST_F(MacctlCare, Repair_OfAnUnmountedInstance_LeavesItUnmounted) {
    program_all();
    must("-q unmount -i 3");
    poke("eeprom-9.bin", 0x1a, "XX");
    EXPECT_EQ(macctl("repair").status, 6);
    EXPECT_EQ(macctl("check -i 3").status, 0);
    EXPECT_EQ(macctl("get addr -i 3 -t 0").status, 3) << "not mounted, as before";
}

TEST_F(MacctlCare, BothCopiesBad_AreReportedAndKept) {
    program_all();
    poke("manuinfo.bin", 0x4ca, "XX");
    poke("manuinfo.bin", 0x104ca, "XX");
    const std::string damaged = folder.read("manuinfo.bin");
    const auto check = macctl("check -i 0xffffffff -t 0");
    EXPECT_EQ(check.status, 5);
    EXPECT_NE(check.out.find("the next access is refused with MAC_CHECK_MISMATCH; the copies stay "
                             "as they are until the block is set\n"),
              std::string::npos);
    const auto repair = macctl("repair -t 0");
    EXPECT_EQ(repair.status, 5);
    EXPECT_EQ(repair.out,
              "instance 0xffffffff type 0: lost, and no access repairs that: set it again\n");
    EXPECT_EQ(folder.read("manuinfo.bin"), damaged);
}

TEST_F(MacctlCare, GoodButDifferent_TheMainCopyWins) {
    program_all();
    const std::string main = folder.read("eeprom-264.bin");
    change("set block -t 1 00:11:22:33:99:00 4");
    poke("eeprom-264.bin", 0, main.substr(0, 16));
    const auto check = macctl("check -t 1");
    EXPECT_EQ(check.status, 4);
    EXPECT_NE(check.out.find("  spare  eeprom 265 at 0x0: good but different, 00:11:22:33:99:00 "
                             "count 4\n  the next access rewrites the spare"),
              std::string::npos);
    EXPECT_EQ(macctl("repair -t 1").status, 6);
    must("get addr -t 1", "00:11:22:33:01:00\n");
}

// Where the format has no check the system takes erased bytes for a record, and would write
// them over the other copy.
TEST_F(MacctlCare, Repair_DoesNotSpreadErasedBytes) {
    ASSERT_EQ(macctl("board init").status, 0);
    edit("channel=\"0x1000\" mac_num=\"8\"", "channel=\"0x1fb0\" mac_num=\"8\"");
    const auto lost = macctl("repair -t 64");
    EXPECT_EQ(lost.status, 5);
    EXPECT_EQ(lost.out,
              "instance 0xffffffff type 64: main copy, eeprom 264 at 0x1fb0, unreadable: not "
              "repaired: an access would write the erased bytes of the spare copy there; \"set "
              "block\" writes both\n");
    change("set block -t 1 00:11:22:33:01:00 4");
    edit("drv_name=\"drv_mac_eeprom\"        chip_id=\"264\" channel=\"0x0\" ",
         "drv_name=\"drv_mac_kolbe_no_crc\"  chip_id=\"264\" channel=\"0x1800\" ");
    const std::string spare = folder.read("eeprom-265.bin");
    const auto kept = macctl("repair -t 1");
    EXPECT_EQ(kept.status, 7);
    EXPECT_NE(kept.out.find("spare copy, eeprom 265 at 0x0, good but different: not repaired: an "
                            "access would write the erased bytes of the main copy there"),
              std::string::npos)
        << kept.out;
    EXPECT_EQ(folder.read("eeprom-265.bin"), spare);
}

TEST_F(MacctlCare, UnseenDifference_IsTold) {
    program_all();
    const std::string main = folder.read("eeprom-264.bin");
    change("set block -t 64 00:11:22:33:99:00 8");
    poke("eeprom-264.bin", 0x1000, main.substr(0x1000, 96));
    const auto check = macctl("check -t 64");
    EXPECT_EQ(check.status, 4);
    EXPECT_NE(check.out.find("note: the check values of this format do not tell the copies apart"),
              std::string::npos);
}

TEST_F(MacctlCare, NotOnTheBoard_IsNotFound_AsForGet) {
    const std::string reason =
        ": MAC_NOT_SUPPORTED (0x811601a4): the board configures no such block\n";
    for (const std::string verb : {"status", "check", "repair", "repair --dry-run", "export"}) {
        const std::string name = verb.substr(0, verb.find(' '));
        const struct {
            const char* which;
            const char* words;
        } cases[] = {{" -t 70", ", type 70"},
                     {" -i 99", ", instance 0x63"},
                     {" -i 3 -t 1", ", type 1, instance 0x3"}};
        for (const auto& one : cases) {
            const auto outcome = macctl(verb + one.which);
            EXPECT_EQ(outcome.status, 3) << verb << one.which;
            EXPECT_EQ(outcome.out, "") << verb << one.which;
            EXPECT_EQ(outcome.err, "macctl: " + name + one.words + reason);
            const auto error = json(verb + one.which)["error"];
            EXPECT_EQ(error["status"], "0x811601a4") << verb;
            EXPECT_EQ(error["name"], "MAC_NOT_SUPPORTED") << verb;
        }
    }
    EXPECT_EQ(macctl("export -t 70 blocks.json").status, 3);
    EXPECT_EQ(sh("ls blocks.json 2>/dev/null").out, "") << "no empty backup";
}

TEST_F(MacctlCare, BoardWithoutBlocks_AnEmptyTable_AndNothingToCheck) {
    folder.write("demo.xml", "<board><platform/></board>");
    EXPECT_EQ(macctl("status").status, 0);
    EXPECT_EQ(json("status")["result"]["blocks"].dump(), "[]");
    for (const std::string verb : {"check", "repair", "export"}) {
        const auto outcome = macctl(verb);
        EXPECT_EQ(outcome.status, 3) << verb;
        EXPECT_EQ(outcome.err, "macctl: " + verb + ": the board has no blocks\n");
    }
}

TEST_F(MacctlCare, NeverWritten_IsBlank_WithAStatusOfItsOwn) {
    const auto unused = macctl("check -t 1");
    EXPECT_EQ(unused.status, 8);
    EXPECT_EQ(unused.out,
              "instance 0xffffffff type 1: blank\n"
              "  main   eeprom 264 at 0x0: not made yet (the image eeprom-264.bin is not there)\n"
              "  spare  eeprom 265 at 0x0: not made yet (the image eeprom-265.bin is not there)\n"
              "  the next access is refused with MAC_FAIL; the copies stay as they are until the "
              "block is set\n"
              "1 block: 0 good, 0 degraded, 0 lost, 1 blank\n");
    change("set block -t 0 00:11:22:33:44:00 16");
    EXPECT_EQ(macctl("check -t 1").status, 8);
    EXPECT_NE(macctl("check -t 1")
                  .out.find("  main   eeprom 264 at 0x0: erased (all bytes are "
                            "0xff)\n"),
              std::string::npos);
    EXPECT_EQ(macctl("check -t 1 --allow-blank").status, 0);
    EXPECT_EQ(macctl("check").status, 8);
    const auto allowed = macctl("check --allow-blank");
    EXPECT_EQ(allowed.status, 0);
    EXPECT_TRUE(allowed.out.ends_with("8 blocks: 1 good, 0 degraded, 0 lost, 7 blank\n"));
    const auto result = json("check")["result"];
    EXPECT_EQ(result["blocks"][1]["health"], "blank");
    EXPECT_EQ(result["summary"].dump(), R"({"blank":7,"degraded":0,"good":1,"lost":0})");
    const auto rows = json("status")["result"]["blocks"];
    EXPECT_EQ(rows[0]["health"], "good");
    EXPECT_EQ(rows[1]["health"], "blank");
    EXPECT_EQ(rows[1]["main"]["state"], "erased");
    const auto repair = macctl("repair -t 1");
    EXPECT_EQ(repair.status, 8);
    EXPECT_EQ(repair.out, "instance 0xffffffff type 1: blank, nothing was ever written: set it\n");
}

TEST_F(MacctlCare, BlankAndWorse_TheWorstCounts) {
    change("set block -t 0 00:11:22:33:44:00 16");
    poke("manuinfo.bin", 0x4ca, "XX");
    EXPECT_EQ(macctl("check").status, 8) << "a copy is bad, and a block is not there";
    EXPECT_EQ(macctl("check --allow-blank").status, 4);
    poke("manuinfo.bin", 0x104ca, "XX");
    EXPECT_EQ(macctl("check").status, 5);
    EXPECT_EQ(macctl("check --allow-blank").status, 5);
    EXPECT_EQ(macctl("repair").status, 5);
}

TEST_F(MacctlCare, OneCopyBlankAndTheOtherDamaged_IsLost) {
    ASSERT_EQ(macctl("board init").status, 0);
    poke("eeprom-264.bin", 0, "QOLT");
    EXPECT_EQ(macctl("check -t 1 --allow-blank").status, 5);
    EXPECT_EQ(json("check -t 1")["result"]["blocks"][0]["health"], "lost");
    program_all();
    poke("eeprom-264.bin", 0, std::string(16, '\xff'));
    EXPECT_EQ(macctl("check -t 1").status, 4) << "the other one is good";
    EXPECT_EQ(macctl("repair -t 1").status, 6);
}

// Type 64 has no check and no tag, and type 4 no check: erased bytes decode.
TEST_F(MacctlCare, ErasedRecordWithoutACheck_IsBlank_AndNoBlock) {
    ASSERT_EQ(macctl("board init").status, 0);
    for (const std::string type : {"64", "4"}) {
        const auto row = json("status -t " + type)["result"]["blocks"][0];
        EXPECT_EQ(row["health"], "blank") << type;
        EXPECT_TRUE(row["base"].is_null() && row["last"].is_null() && row["count"].is_null());
        EXPECT_EQ(macctl("check -t " + type).status, 8);
        const auto table = macctl("status -t " + type).out;
        EXPECT_EQ(table.find("ff:ff"), std::string::npos) << table;
        EXPECT_NE(table.find("  blank  -     -      drv_mac_"), std::string::npos) << table;
        EXPECT_EQ(macctl("export -t " + type).status, 8);
    }
    change("set block -t 64 00:11:22:33:64:00 8");
    poke("eeprom-265.bin", 0x1000, std::string(96, '\xff'));
    const auto check = json("check -t 64")["result"]["blocks"][0];
    EXPECT_EQ(check["health"], "degraded");
    EXPECT_EQ(check["spare"]["state"], "erased") << "and not another block";
    poke("eeprom-265.bin", 0x1000, folder.read("eeprom-264.bin").substr(0x1000, 96));
    poke("eeprom-264.bin", 0x1000, std::string(96, '\xff'));
    EXPECT_TRUE(json("status -t 64")["result"]["blocks"][0]["base"].is_null());
    for (const std::string format : {"kolbe", "qolt"}) {
        const auto decoded = macctl(
            "record decode eeprom-264.bin --offset 0x1400 --count 8 "
            "--format " +
            format);
        EXPECT_EQ(decoded.status, 8) << format;
        EXPECT_EQ(decoded.out.find("base"), std::string::npos) << decoded.out;
    }
}

// Of an environment's two variables the count alone is what is left of a block.
TEST_F(MacctlCare, VariableOfTheCountAlone_IsNotBlank) {
    ASSERT_EQ(macctl("board init").status, 0);
    EXPECT_EQ(macctl("check -t 2").status, 8);
    program_all();
    ASSERT_EQ(sh("fw_setenv -c fw.cfg ethaddr_pool").status, 0);
    poke("manuinfo.bin", 0x104d0, std::string(16, '\xff'));
    EXPECT_EQ(macctl("check -t 2").status, 5);
}

TEST_F(MacctlCare, MissingImage_IsUnreadable_AndBackLater) {
    program_all();
    ASSERT_EQ(sh("mv eeprom-265.bin away").status, 0);
    const auto check = macctl("check -t 1");
    EXPECT_EQ(check.status, 4);
    EXPECT_NE(check.out.find("eeprom 265 at 0x0: unreadable (the image eeprom-265.bin is not "
                             "there)\n"),
              std::string::npos);
    EXPECT_EQ(sh("ls eeprom-265.bin 2>/dev/null").out, "") << "looking does not make it";
    ASSERT_EQ(sh("mv away eeprom-265.bin").status, 0);
    EXPECT_EQ(macctl("check -t 1").status, 0);
}

// What "check" says of the next access is what the system then does.
TEST_F(MacctlCare, Check_ForetellsTheNextAccess) {
    struct Place {
        const char* type;
        const char* image[2];
        size_t offset[2];
        size_t bytes;
    };
    const Place places[] = {
        {"0", {"manuinfo.bin", "manuinfo.bin"}, {0x4c0, 0x104c0}, 16},
        {"1", {"eeprom-264.bin", "eeprom-265.bin"}, {0, 0}, 16},
        {"3", {"eeprom-264.bin", "eeprom-265.bin"}, {0x400, 0x400}, 40},
        {"4", {"eeprom-264.bin", "eeprom-265.bin"}, {0x800, 0x800}, 40},
        {"5", {"eeprom-264.bin", "eeprom-265.bin"}, {0xc00, 0xc00}, 96},
        {"64", {"eeprom-264.bin", "eeprom-265.bin"}, {0x1000, 0x1000}, 96},
    };
    program_all();
    std::mt19937 random(4711);
    const auto pick = [&random](size_t below) { return random() % below; };
    for (int round = 0; round < 60; ++round) {
        const Place& place = places[pick(std::size(places))];
        for (int area = 0; area < 2; ++area) {
            const std::string image = folder.read(place.image[area]);
            std::string record = image.substr(place.offset[area], place.bytes);
            const size_t kind = pick(4);
            if (kind == 1) record.assign(place.bytes, '\xff');
            if (kind == 2) record[pick(place.bytes)] ^= static_cast<char>(1 << pick(8));
            if (kind == 3) record.replace(0, 4, "ABCD");
            poke(place.image[area], place.offset[area], record);
        }
        const std::string which = std::string(" -i 0xffffffff -t ") + place.type;
        const std::string said =
            json("check" + which)["result"]["blocks"][0]["next"].get<std::string>();
        const auto copy = [&](int area) {
            return folder.read(place.image[area]).substr(place.offset[area], place.bytes);
        };
        const std::string before[2] = {copy(0), copy(1)};
        const auto get = json("get addr" + which);
        const bool refused = said.rfind("is refused with ", 0) == 0;
        EXPECT_EQ(get.contains("error"), refused) << said;
        if (refused) {
            const std::string name = said.substr(16, said.find_first_of(";:", 16) - 16);
            EXPECT_EQ(get["error"]["name"], name) << said;
        }
        if (said != "rewrites the main copy from the spare") {
            EXPECT_EQ(copy(0), before[0]) << said << " type " << place.type;
        }
        if (said == "nothing to repair" || said.find("stay as they are") != std::string::npos) {
            EXPECT_EQ(copy(1), before[1]) << said << " type " << place.type;
        }
        if (said.rfind("rewrites", 0) == 0) {
            EXPECT_EQ(macctl("check" + which).status, 0) << said << " type " << place.type;
        }
        change(std::string("set block -t ") + place.type + " 00:11:22:33:0" + place.type[0] +
               ":00 " + (place.bytes == 96 ? "8" : "4"));
    }
}

// --- the verdict, over all pairs of outcomes ---

CopyReport copy_with(u32 status, u32 check, u8 last = 1) {
    CopyReport copy;
    copy.record.status = status;
    copy.record.state =
        status == MAC_OK ? macctl::CopyState::kGood : macctl::CopyState::kCheckMismatch;
    copy.record.check = check;
    copy.record.base = {2, 0, 0, 0, 0, last};
    copy.record.num = 4;
    return copy;
}

PoolReport judged(std::optional<CopyReport> main, std::optional<CopyReport> spare) {
    PoolReport report;
    report.copies[0] = std::move(main);
    report.copies[1] = std::move(spare);
    judge(&report);
    return report;
}

TEST(Judge, EveryPair_AsTheSystemDecides) {
    const u32 bad = MAC_CHECK_MISMATCH;
    const u32 other = MAC_WRONG_TAG;
    const CopyReport good = copy_with(0, 7);
    EXPECT_EQ(judged(good, good).next, Next::kNothing);
    EXPECT_EQ(judged(good, good).health, Health::kGood);
    EXPECT_EQ(judged(good, copy_with(0, 8, 2)).next, Next::kRewriteSpare);
    EXPECT_EQ(judged(good, copy_with(bad, 0)).next, Next::kRewriteSpare);
    EXPECT_EQ(judged(copy_with(bad, 0), good).next, Next::kRewriteMain);
    EXPECT_EQ(judged(copy_with(bad, 0), good).health, Health::kDegraded);
    EXPECT_EQ(judged(copy_with(bad, 0), copy_with(bad, 0)).status,
              static_cast<u32>(MAC_CHECK_MISMATCH));
    EXPECT_EQ(judged(copy_with(bad, 0), copy_with(other, 0)).status, static_cast<u32>(MAC_FAIL));
    EXPECT_EQ(judged(copy_with(other, 0), copy_with(bad, 0)).health, Health::kLost);
    EXPECT_EQ(judged(good, std::nullopt).next, Next::kNothing);
    EXPECT_EQ(judged(copy_with(bad, 0), std::nullopt).status, static_cast<u32>(MAC_CHECK_MISMATCH));
    EXPECT_EQ(judged(copy_with(other, 0), std::nullopt).status, static_cast<u32>(MAC_FAIL));
    EXPECT_EQ(judged(std::nullopt, good).status, static_cast<u32>(MAC_FAULT));
    EXPECT_EQ(judged(std::nullopt, good).winner(), nullptr);
}

TEST(Judge, BlankAndLost) {
    CopyReport blank = copy_with(MAC_WRONG_TAG, 0);
    blank.record.state = macctl::CopyState::kErased;
    blank.record.blank = true;
    const CopyReport good = copy_with(0, 7);
    const CopyReport bad = copy_with(MAC_CHECK_MISMATCH, 0);
    EXPECT_EQ(judged(blank, blank).health, Health::kBlank);
    EXPECT_EQ(judged(blank, std::nullopt).health, Health::kBlank);
    EXPECT_EQ(judged(blank, bad).health, Health::kLost);
    EXPECT_EQ(judged(bad, blank).health, Health::kLost);
    EXPECT_EQ(judged(blank, good).health, Health::kDegraded);
    EXPECT_EQ(judged(good, blank).health, Health::kDegraded);
    EXPECT_EQ(judged(std::nullopt, blank).health, Health::kLost) << "nothing can be written";
    EXPECT_EQ(judged(blank, blank).winner(), nullptr);
}

TEST(Judge, ValuesThatAreNotHandedOut) {
    CopyReport zero = copy_with(0, 7);
    zero.record.base = {};
    const PoolReport report = judged(zero, zero);
    EXPECT_EQ(report.status, static_cast<u32>(MAC_INVALID_VALUE));
    EXPECT_EQ(report.health, Health::kLost);
    EXPECT_EQ(report.note, "the address is all zeros");
    CopyReport many = copy_with(0, 7);
    many.record.num = 65535;
    EXPECT_EQ(judged(many, many).note, "the count 65535 is above 65534");
}

}  // namespace
