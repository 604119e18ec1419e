// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Board files that can be used and that cannot: file, line and reason, before any
// medium is touched.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/host/board.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"
#include "tests/support/folder.h"

namespace {

namespace fs = std::filesystem;

class BoardFileTest : public test::PlatformTest {
protected:
    std::string error_of(const std::string& xml) {
        folder.write("b.xml", xml);
        try {
            host::Board::open(host::BoardFile::read(folder.path("b.xml")));
        } catch (const host::BoardError& error) {
            const std::string text = error.what();
            const std::string prefix = folder.path("b.xml").string() + ":";
            EXPECT_EQ(text.substr(0, prefix.size()), prefix);
            return text.substr(prefix.size());
        }
        return "accepted";
    }

    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder.path(""))) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    test::Folder folder;
};

TEST_F(BoardFileTest, Unusable_IsRefusedWithLineAndReason) {
    const struct {
        const char* xml;
        const char* expected;
    } cases[] = {
        {"", "1: not well-formed XML: No document element found"},
        {"\xff\xfe<", "1: is UTF-16 text, expected UTF-8"},
        {"<board>\n<platform>\n</board>", "3: not well-formed XML: Start-end tags mismatch"},
        {"<plank/>", "1: the root element is <plank>, expected <board>"},
        {"<board/>", "1: <board> has no <platform>"},
        {"<board><platform/><x/></board>",
         "1: <board> knows no <x>; expected <platform>, <mac_mng> or <instance>"},
        {"<board><platform/>\n<platform/></board>", "2: <board> has two <platform>"},
        {"<board>\n<platform crc16=\"crc-99\"/></board>",
         "2: crc16=\"crc-99\" is none of the 31 known CRC-16 variants"},
        {"<board><platform log_level=\"4\"/></board>",
         "1: <platform> log_level=\"4\": expected a number from 0 to 0x3"},
        {"<board><platform colour=\"red\"/></board>",
         "1: <platform> knows no attribute \"colour\""},
        {"<board><platform>\n<tape/></platform></board>",
         "2: <platform> knows no <tape>; expected <flash>, <eeprom> or <env>"},
        {"<board><platform>\n\n<flash chip=\"1\" size=\"16\" erase=\"16\"/></platform></board>",
         "3: <flash> lacks the attribute \"image\""},
        {"<board><platform><flash image=\"f\" size=\"16\" erase=\"16\"/></platform></board>",
         "1: <flash> lacks the attribute \"chip\""},
        {"<board><platform><flash chip=\"1\" image=\"f\" erase=\"16\"/></platform></board>",
         "1: <flash> lacks the attribute \"size\""},
        {"<board><platform><flash chip=\"1\" image=\"f\" size=\"16\"/></platform></board>",
         "1: <flash> lacks the attribute \"erase\""},
        {"<board><platform><flash chip=\"1\" image=\"f\" size=\"17\" erase=\"16\"/></platform>"
         "</board>",
         "1: <flash> size is no multiple of its erase block"},
        {"<board><platform><flash chip=\"0x100000000\" image=\"f\" size=\"16\" erase=\"16\"/>"
         "</platform></board>",
         "1: <flash> chip=\"0x100000000\": expected a number from 0 to 0xffffffff"},
        {"<board><platform><eeprom chip=\"1\" image=\"f\" size=\"lots\"/></platform></board>",
         "1: <eeprom> size=\"lots\": expected a number from 1 to 0x40000000"},
        {"<board><platform><eeprom chip=\"1\" image=\"f\" size=\"0\"/></platform></board>",
         "1: <eeprom> size=\"0\": expected a number from 1 to 0x40000000"},
        {"<board><platform><eeprom chip=\"1\" image=\"f\" size=\"8\" page=\"0\"/></platform>"
         "</board>",
         "1: <eeprom> page=\"0\": expected a number from 1 to 0x10000"},
        {"<board><platform><eeprom chip=\"-1\" image=\"f\" size=\"8\"/></platform></board>",
         "1: <eeprom> chip=\"-1\": expected a number from 0 to 0xffffffff"},
        {"<board><platform><eeprom chip=\"8\" image=\"a\" size=\"8\"/>\n"
         "<eeprom chip=\"0x8\" image=\"b\" size=\"8\"/></platform></board>",
         "2: two <eeprom> media have the chip number 8 (the other in line 1)"},
        {"<board><platform><flash chip=\"8\" image=\"a\" size=\"8\" erase=\"8\"/>\n"
         "<flash chip=\"8\" image=\"b\" size=\"8\" erase=\"8\"/></platform></board>",
         "2: two <flash> media have the chip number 8 (the other in line 1)"},
        {"<board><platform><eeprom chip=\"8\" image=\"a\" size=\"8\"/>\n"
         "<eeprom chip=\"9\" image=\"a\" size=\"8\"/></platform></board>",
         "2: the image a serves two media"},
        {"<board><platform><eeprom chip=\"8\" chip=\"9\" image=\"a\" size=\"8\"/></platform>"
         "</board>",
         "1: <eeprom> has the attribute \"chip\" twice"},
        {"<board><platform><env image=\"e\" size=\"4\"/></platform></board>",
         "1: <env> size=\"4\": expected a number from 8 to 0x40000000"},
        {"<board><platform><env image=\"e\" size=\"64\" redundant=\"2\"/></platform></board>",
         "1: <env> redundant=\"2\": expected a number from 0 to 0x1"},
        {"<board><platform><env image=\"e\" size=\"64\" redundant=\"1\" redundant_offset=\"32\"/>"
         "</platform></board>",
         "1: the two copies of <env> overlap"},
        {"<board><platform><env image=\"e\" size=\"64\" flags=\"maybe\"/></platform></board>",
         "1: <env> flags=\"maybe\": expected \"counter\" or \"boolean\""},
        {"<board><platform><env image=\"e\" size=\"64\"/>\n<env image=\"f\" size=\"64\"/>"
         "</platform></board>",
         "2: a board has one <env>; the other is in line 1"},
        {"<board><platform/><instance/></board>", "1: <instance> lacks the attribute \"id\""},
        {"<board><platform/><instance id=\"1\"/>\n<instance id=\"0x1\"/></board>",
         "2: two <instance> have the same id"},
        {"<board><platform/><instance id=\"0xffffffff\"/></board>",
         "1: the default instance 0xffffffff stands directly under <board>"},
        {"<board><platform><eeprom chip=\"8\" image=\"no/such/folder\" size=\"8\"/></platform>"
         "</board>",
         "1: the image no/such/folder cannot be made: No such file or directory"},
        {"<board><platform><eeprom chip=\"8\" image=\"folder\" size=\"8\"/></platform></board>",
         "1: the image folder is neither a regular file nor an MTD character device"},
        {"<board><platform><eeprom chip=\"8\" image=\"/dev/null\" size=\"8\"/></platform></board>",
         "1: the image /dev/null is neither a regular file nor an MTD character device"},
        {"<board><platform><eeprom chip=\"8\" image=\"four\" size=\"8\"/></platform></board>",
         "1: the image four has 4 bytes, expected 8"},
        {"<board><platform><env image=\"four\" size=\"8\"/></platform></board>",
         "1: the image four has 4 bytes, expected 8"},
    };
    fs::create_directory(folder.path("folder"));
    folder.write("four", "1234");
    for (const auto& c : cases) {
        EXPECT_EQ(error_of(c.xml), c.expected) << c.xml;
    }
    EXPECT_EQ(files(), (std::vector<std::string>{"b.xml", "folder", "four"})) << "nothing was made";
}

TEST_F(BoardFileTest, OneBadMedium_KeepsAllOthersUntouched) {
    folder.write("four", "1234");
    EXPECT_EQ(error_of("<board><platform><eeprom chip=\"1\" image=\"fresh\" size=\"8\"/>\n"
                       "<eeprom chip=\"2\" image=\"four\" size=\"8\"/></platform></board>"),
              "2: the image four has 4 bytes, expected 8");
    EXPECT_FALSE(fs::exists(folder.path("fresh")));
}

TEST_F(BoardFileTest, UnreadableFile_IsRefused) {
    try {
        host::BoardFile::read(folder.path("none.xml"));
        FAIL();
    } catch (const host::BoardError& error) {
        EXPECT_EQ(error.what(), folder.path("none.xml").string() +
                                    ":1: cannot be read: No such file or directory");
        EXPECT_EQ(error.line(), 1u);
    }
}

TEST_F(BoardFileTest, ImageThatCannotBeOpenedForWriting_IsRefused) {
    // A running program is writable by nobody, whoever asks.
    const fs::path self = fs::read_symlink("/proc/self/exe");
    EXPECT_EQ(
        error_of("<board><platform><eeprom chip=\"8\" image=\"" + self.string() + "\" size=\"" +
                 std::to_string(fs::file_size(self)) + "\"/></platform></board>"),
        "1: the image " + self.string() + " is not writable: Text file busy");
}

TEST_F(BoardFileTest, MissingImages_AreMadeErased) {
    EXPECT_EQ(error_of("<board><platform><eeprom chip=\"8\" image=\"e\" size=\"8\"/>"
                       "<env image=\"v\" size=\"0x10\" redundant=\"1\"/></platform></board>"),
              "accepted");
    EXPECT_EQ(folder.read("e"), std::string(8, '\xff'));
    EXPECT_EQ(folder.read("v"), std::string(32, '\xff'));
}

TEST_F(BoardFileTest, ExistingImages_AreKept) {
    folder.write("e", "12345678");
    EXPECT_EQ(error_of("<board><platform><eeprom chip=\"8\" image=\"e\" size=\"8\"/></platform>"
                       "</board>"),
              "accepted");
    EXPECT_EQ(folder.read("e"), "12345678");
}

TEST_F(BoardFileTest, Defaults) {
    const auto file = host::BoardFile::parse("<board><platform/></board>", "b.xml");
    EXPECT_STREQ(file.crc16().name, "IBM-3740");
    EXPECT_EQ(file.log_level(), 1u);
    EXPECT_EQ(file.name(), "board");
    EXPECT_FALSE(file.env());
}

TEST_F(BoardFileTest, EverySystemTree_IsTheSystemsToJudge) {
    EXPECT_EQ(error_of("<board><platform/><mac_mng><anything at=\"all\"/></mac_mng></board>"),
              "accepted");
}

TEST_F(BoardFileTest, BoardsCrc16_IsTheRecords) {
    // The same block on a board of another variant carries that variant's value.
    use_board("<board><platform crc16=\"xmodem\"/></board>");
    const u8 text[] = "123456789";
    EXPECT_EQ(host::attached_board()->crc16().value(text, 9), 0x31c3);
}

}  // namespace
