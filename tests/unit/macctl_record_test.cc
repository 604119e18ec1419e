// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl record: against golden records from an encoder of their own, and in dumps.
#include <sstream>

#include "tests/support/macctl_fixture.h"

namespace {

struct Golden {
    std::string format;
    std::string base;
    std::string count;
    std::string crc16;
    test::Record bytes;
};

std::string text_of(const test::Record& bytes) { return {bytes.begin(), bytes.end()}; }

class MacctlRecord : public test::MacctlTest {
protected:
    static std::vector<Golden> golden() {
        std::istringstream lines(source("tests/data/golden.hex"));
        std::vector<Golden> records;
        for (std::string line; std::getline(lines, line);) {
            if (line[0] == '#') continue;
            std::istringstream words(line);
            Golden record;
            std::string digits;
            words >> record.format >> record.base >> record.count >> record.crc16 >> digits;
            record.bytes = test::bytes(digits);
            records.push_back(record);
        }
        return records;
    }
};

TEST_F(MacctlRecord, Golden_IsWhatItsEncoderMakes) {
    EXPECT_EQ(sh("python3 " MAC_SOURCE_DIR "/tests/data/golden.py --check").status, 0);
    EXPECT_EQ(golden().size(), 20u);
}

TEST_F(MacctlRecord, Golden_IsDecoded) {
    for (const Golden& record : golden()) {
        folder.write("r.bin", text_of(record.bytes));
        const auto outcome =
            tool("record decode r.bin --format " + record.format + " --crc16 " + record.crc16 +
                 (record.format == "kolbe" ? " --count " + record.count : ""));
        EXPECT_EQ(outcome.status, 0) << record.format << outcome.err << outcome.out;
        EXPECT_NE(outcome.out.find("state   good\nbase    " + record.base + "\ncount   " +
                                   record.count + "\n"),
                  std::string::npos)
            << record.format << "\n"
            << outcome.out;
    }
}

TEST_F(MacctlRecord, Golden_IsEncoded) {
    for (const Golden& record : golden()) {
        folder.write("dump.bin", std::string(700, 'a'));
        const auto outcome =
            tool("record encode dump.bin --offset 0x21 --format " + record.format + " --crc16 " +
                 record.crc16 + " --base " + record.base + " --count " + record.count + " --yes");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        std::string expected(700, 'a');
        expected.replace(0x21, record.bytes.size(), text_of(record.bytes));
        EXPECT_EQ(folder.read("dump.bin"), expected) << record.format << ", other bytes stay";
        ASSERT_EQ(sh("rm dump.bin").status, 0);
    }
}

TEST_F(MacctlRecord, Verify_OneFlippedBit_IsSeenWhereTheFormatCan) {
    for (const Golden& record : golden()) {
        test::Record bytes = record.bytes;
        // The last bit of the base address: before the list of router records, after
        // the table of Kolbe records.
        const size_t at = record.format == "qolt" ? 13 : record.format[0] == 'r' ? 17 : 53;
        bytes[at] ^= 1;
        folder.write("r.bin", text_of(bytes));
        const bool checked =
            record.format == "qolt" || record.format.find("crc") != std::string::npos;
        const auto outcome = tool("record verify r.bin --format " + record.format + " --crc16 " +
                                  record.crc16 + " --count " + record.count);
        EXPECT_EQ(outcome.status, checked ? 5 : 0) << record.format << outcome.out;
        EXPECT_EQ(outcome.out.rfind(checked ? "check mismatch: check value" : "good", 0), 0u)
            << outcome.out;
    }
}

TEST_F(MacctlRecord, Identify_NamesFormatVariantAndBlock) {
    std::string dump(0x2000, '\xff');
    std::vector<Golden> placed;
    size_t at = 0x35;  // at no round place
    for (const Golden& record : golden()) {
        if (record.format == "kolbe") continue;  // nothing tells it from other bytes
        dump.replace(at, record.bytes.size(), text_of(record.bytes));
        placed.push_back(record);
        at += record.bytes.size() + 7;
    }
    folder.write("dump.bin", dump);
    const auto found = nlohmann::json::parse(tool("-j record identify dump.bin").out);
    std::vector<nlohmann::json> good;
    for (const auto& record : found["result"]["records"]) {
        if (record["good"]) good.push_back(record);
    }
    ASSERT_EQ(good.size(), placed.size());
    for (size_t i = 0; i < good.size(); ++i) {
        EXPECT_EQ(good[i]["format"], placed[i].format);
        EXPECT_EQ(good[i]["block"]["base"], placed[i].base);
        EXPECT_EQ(good[i]["block"]["count"], std::stoi(placed[i].count));
        if (placed[i].format == "router") continue;
        const auto variants = good[i]["crc16"].get<std::vector<std::string>>();
        EXPECT_NE(std::find(variants.begin(), variants.end(), placed[i].crc16), variants.end())
            << good[i].dump();
    }
}

TEST_F(MacctlRecord, Identify_TagsThatAreNoRecords) {
    folder.write("dump.bin", "xxQOLTyy" + std::string(40, 'z') + "MACREADY" + "QOL");
    const auto outcome = tool("record identify dump.bin");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(
        outcome.out,
        "0x000002  qolt        tag only: the check value fits none of the 31 CRC-16 variants\n"
        "0x00002c  router-crc  tag only: the length word says 2054847098 bytes, which cannot "
        "be\n");
    folder.write("dump.bin", std::string(100, 'x'));
    EXPECT_EQ(tool("record identify dump.bin").status, 3);
}

TEST_F(MacctlRecord, Refusals) {
    folder.write("r.bin", "short");
    EXPECT_EQ(tool("record decode absent.bin").status, 10);
    EXPECT_EQ(tool("record decode r.bin --offset 5").status, 10);
    EXPECT_EQ(tool("record decode r.bin").status, 3) << "no tag, no format";
    const auto few = tool("record decode r.bin --format qolt");
    EXPECT_EQ(few.status, 5);
    EXPECT_NE(few.out.find("wrong length: length: 5 bytes are too few"), std::string::npos);
    EXPECT_EQ(tool("record decode r.bin --format none").status, 1);
    EXPECT_EQ(tool("record verify r.bin --format qolt --crc16 none").status, 1);
    EXPECT_EQ(tool("record encode r.bin --format qolt --base 00:11:22:33:44:55").status, 1);
    EXPECT_EQ(tool("record encode r.bin --format qolt --base 00:11:22:33:44:55 -n 65535").status,
              2);
    EXPECT_EQ(folder.read("r.bin"), "short");
}

TEST_F(MacctlRecord, BoardsVariant_IsTheDefault) {
    edit("ibm-3740", "modbus");
    for (const Golden& record : golden()) {
        if (record.format != "qolt" || record.crc16 != "modbus") continue;
        folder.write("r.bin", text_of(record.bytes));
        EXPECT_EQ(macctl("record verify r.bin").out, "good\n");
        EXPECT_EQ(tool("record verify r.bin").status, 5);
    }
}

}  // namespace
