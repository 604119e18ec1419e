// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What goes wrong with MAC addresses in the field, each as a case of its own.
#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "platform/host/board_file.h"
#include "tests/support/macctl_fixture.h"
#include "tools/macctl/record.h"

namespace {

using test::Outcome;

class FieldCase : public test::MacctlTest {};

TEST_F(FieldCase, AddressBytesThatEqualTagsAndFillers) {
    const macctl::CrcChoice choice(*platform::crc16_find("ibm-3740"));
    for (const macctl::Format& format : macctl::formats()) {
        for (size_t at = 0; at < 6; ++at) {
            for (const u8 byte : test::bytes("00 fe ff 51 4d 47 4e a5 5a")) {
                macctl::MacAddress base = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
                base[at] = byte;
                u32 status = 0;
                const std::vector<u8> bytes = macctl::encode_record(format, base, 3, &status);
                ASSERT_EQ(status, 0u);
                const macctl::Record record = macctl::decode_record(format, bytes, 3);
                EXPECT_EQ(record.status, 0u) << format.name << at << byte;
                EXPECT_EQ(record.base, base);
                EXPECT_EQ(record.num, 3u);
            }
        }
    }
}

TEST_F(FieldCase, BlocksThatCarryThroughEveryByte) {
    for (const char* base : {"02:11:22:33:44:ff", "02:11:22:33:ff:ff", "02:11:22:ff:ff:ff"}) {
        for (const u32 count : {1u, 2u, 256u, 65534u}) {
            change(std::string("set block -t 0 ") + base + " " + std::to_string(count));
            const Outcome list = macctl("list -t 0");
            std::vector<std::string> lines;
            std::istringstream stream(list.out);
            for (std::string line; std::getline(stream, line);) lines.push_back(line);
            ASSERT_EQ(lines.size(), count);
            std::string digits = base;
            digits.erase(std::remove(digits.begin(), digits.end(), ':'), digits.end());
            const test::Record bytes = test::bytes(digits);
            test::Mac first{};
            std::copy_n(bytes.begin(), 6, first.begin());
            const test::Mac last = test::nth(first, count - 1);
            EXPECT_EQ(lines[0], base);
            EXPECT_EQ(lines.back(), macctl::format_address(last.data()));
        }
    }
}

TEST_F(FieldCase, CountsAtTheirLimits) {
    for (const char* count : {"0", "1", "1000", "65534"}) {
        change(std::string("set block -t 0 02:00:00:00:00:00 ") + count);
        must("get num -t 0", std::string(count) + "\n");
    }
    EXPECT_EQ(macctl("set block -t 0 02:00:00:00:00:00 65535 --yes").status, 2);
    must("get num -t 0", "65534\n");
    change("set num -t 0 3");
    EXPECT_EQ(macctl("list -t 0 -n 3").status, 0) << "as many as there are";
    EXPECT_EQ(macctl("list -t 0 -n 4").status, 2) << "one more is refused";
}

TEST_F(FieldCase, SpecialAddresses) {
    for (const char* refused : {"00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff"}) {
        EXPECT_EQ(macctl(std::string("set block -t 0 ") + refused + " 1").status, 2) << refused;
    }
    for (const char* taken : {"01:00:5e:00:00:01", "02:00:00:00:00:00", "ff:ff:ff:ff:ff:fe"}) {
        change(std::string("set block -t 0 ") + taken + " 1");
        must("get addr -t 0", std::string(taken) + "\n");
    }
}

TEST_F(FieldCase, ReadersWhileAWriterWrites_NeverSeeHalf) {
    change("set block -t 0 02:00:00:00:00:00 1");
    const std::string tool = std::string(MACCTL_PROGRAM) + " -b demo.xml ";
    const Outcome outcome =
        sh("( i=0; while [ $i -lt 60 ]; do " + tool +
           "set block -t 0 02:00:00:00:00:0$((i % 10)) $((i % 10 + 1)) --yes >/dev/null || exit 9; "
           "i=$((i + 1)); done ) & writer=$!; i=0; while [ $i -lt 60 ]; do " +
           tool + "-j check -t 0 -i 0xffffffff > c$i || exit 8; i=$((i + 1)); done; wait $writer");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    for (int i = 0; i < 60; ++i) {
        const auto seen = nlohmann::json::parse(folder.read(fmt::format("c{}", i)));
        const auto& pool = seen["result"]["blocks"][0];
        const std::string base = pool["main"]["block"]["base"];
        EXPECT_EQ(pool["main"]["block"], pool["spare"]["block"]) << i;
        EXPECT_EQ(pool["main"]["block"]["count"], base.back() - '0' + 1)
            << "base and count together";
    }
}

TEST_F(FieldCase, FiftyReadersAtOnce) {
    change("set block -t 0 02:00:00:00:00:07 1");
    const Outcome outcome = sh("i=0; while [ $i -lt 50 ]; do " + std::string(MACCTL_PROGRAM) +
                               " -b demo.xml get addr -t 0 >> out & i=$((i + 1)); done; wait; "
                               "sort out | uniq -c");
    EXPECT_NE(outcome.out.find("50 02:00:00:00:00:07\n"), std::string::npos) << outcome.out;
}

TEST_F(FieldCase, SameValueTwice_LeavesAnIdenticalImage) {
    for (const int type : {0, 1, 2, 3, 5, 64}) {
        const std::string set = "set block -t " + std::to_string(type) + " 02:00:00:00:0" +
                                std::to_string(type % 10) + ":00 8";
        change(set);
        const std::string before = sh("cat *.bin | sha256sum").out;
        change(set);
        EXPECT_EQ(sh("cat *.bin | sha256sum").out, before) << type;
    }
}

TEST_F(FieldCase, ForeignDataInTheSameEraseBlock_Stays) {
    ASSERT_EQ(macctl("board init").status, 0);
    poke("manuinfo.bin", 0x400, "serial=4711");
    poke("manuinfo.bin", 0x10600, std::string(64, 'f'));
    for (int i = 0; i < 5; ++i) {
        change("set block -t 0 02:00:00:00:00:0" + std::to_string(i) + " " + std::to_string(i + 1));
    }
    EXPECT_EQ(folder.read("manuinfo.bin").substr(0x400, 11), "serial=4711");
    EXPECT_EQ(folder.read("manuinfo.bin").substr(0x10600, 64), std::string(64, 'f'));
}

// Type 2's spare shares an erase block with type 0's: a cut there takes both. Type 0 is
// then replaced in whole, and a cut in its main copy must find a good spare.
TEST_F(FieldCase, BlockReplacedWhileItsSpareIsBad_MendsTheSpareFirst) {
    change("set block -t 0 02:00:00:00:00:00 4");
    const std::string store = "mac inst 0xffffffff type 0 copy[0->1] write OK.";
    const auto stores = [&] {
        return sh(MACCTL_PROGRAM " -b demo.xml log | grep -cF '" + store + "'").out;
    };
    EXPECT_EQ(stores(), "1\n");
    poke("manuinfo.bin", 0x104c0, std::string(16, '\xff'));
    change("set block -t 0 02:00:00:00:00:10 5");
    EXPECT_EQ(stores(), "3\n");
    poke("manuinfo.bin", 0x104c0, std::string(16, '\xff'));
    folder.write("blocks.json",
                 R"({"format": "mac_mng-blocks", "version": 1, "blocks": [{"instance": )"
                 R"("0xffffffff", "type": 0, "base": "02:00:00:00:00:20", "count": 6}]})");
    change("import blocks.json");
    EXPECT_EQ(stores(), "5\n");
    change("set block -t 0 02:00:00:00:00:30 7");
    EXPECT_EQ(stores(), "6\n");
    must("get num -t 0", "7\n");
}

TEST_F(FieldCase, SecondChipAbsentAtStart_PresentLater) {
    change("set block -t 1 02:00:00:00:00:01 4");
    ASSERT_EQ(sh("mv eeprom-265.bin away").status, 0);
    EXPECT_EQ(macctl("check -t 1").status, 4);
    must("get addr -t 1", "02:00:00:00:00:01\n");
    EXPECT_EQ(macctl("check -t 1").status, 0) << "a new, erased chip was given its copy";
}

TEST_F(FieldCase, EnvironmentsThatDoNotFitTheirPartition) {
    edit("size=\"0x4000\" redundant=\"1\" redundant_offset=\"0x10000\"",
         "size=\"0x4000\" redundant=\"1\" redundant_offset=\"0x2000\"");
    EXPECT_EQ(macctl("get addr -t 2").err,
              "macctl: demo.xml:15: the two copies of <env> overlap\n");
    edit("redundant_offset=\"0x2000\"", "redundant_offset=\"0x10000\"");
    folder.write("uboot-env.bin", std::string(0x8000, '\xff'));
    EXPECT_EQ(
        macctl("get addr -t 2").err,
        "macctl: demo.xml:15: the image uboot-env.bin has 32768 bytes, expected 81920; it was "
        "cut short when it was made: \"board init\" makes it anew\n");
    EXPECT_EQ(folder.read("uboot-env.bin"), std::string(0x8000, '\xff'));
}

TEST_F(FieldCase, NumbersInDecimalAndHex) {
    edit("channel=\"0x4c0\"", "channel=\"1216\"");
    edit("chip_id=\"45\" ", "chip_id=\"0x2d\" ");
    change("set block -t 0 02:00:00:00:00:01 0x10");
    must("get num --type 0x0 -i 4294967295", "16\n");
    EXPECT_EQ(folder.read("manuinfo.bin").substr(0x4c0, 4), "QOLT");
}

TEST_F(FieldCase, InterruptedWrites_AreWholeOrMended) {
    change("set block -t 0 02:00:00:00:00:00 1");
    const std::string tool = std::string(MACCTL_PROGRAM) + " -b demo.xml ";
    const Outcome outcome =
        sh("i=0; while [ $i -lt 40 ]; do " + tool +
           "set block -t 0 02:00:00:00:00:0$((i % 10)) 1 --yes "
           ">/dev/null & p=$!; sleep 0.00$((i % 10)); kill -INT $p 2>/dev/null; wait $p "
           "2>/dev/null; " +
           tool + "get addr -t 0 >/dev/null 2>&1 || exit 7; i=$((i + 1)); done; " + tool +
           "check -t 0 "
           "-i 0xffffffff");
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
}

}  // namespace
