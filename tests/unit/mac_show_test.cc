// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The two listings, through the control device.
#include "control/mac_show.h"

#include <cstring>

#include "config/mac_config.h"
#include "tests/support/journal.h"
#include "tests/support/lock_watch.h"
#include "tests/support/module_fixture.h"

namespace {

using test::Journal;
using test::ModuleTest;

class MacShow : public ModuleTest {};

TEST_F(MacShow, Cfg_ShowsEveryLine) {
    load(test::board_with(R"(<mac_mng><mac>
        <entry0><mac_type>0x40</mac_type><drv_name>drv_mac_flash</drv_name>
          <section_id>45</section_id><offset>0x4c0</offset><mac_num>16</mac_num>
          <spare_section_id>46</spare_section_id><spare_offset>0x10</spare_offset></entry0>
        <entry1><mac_type>2</mac_type><drv_name>drv_mac_env</drv_name>
          <main_env_name>m</main_env_name><spare_env_name>s</spare_env_name></entry1>
        <entry2><mac_type>3</mac_type><drv_name>drv_mac_env</drv_name>
          <spare_exist>0</spare_exist></entry2>
        <entry3><mac_type>1</mac_type><drv_name>drv_mac_eeprom</drv_name>
          <section_id>1</section_id><spare_exist>0</spare_exist></entry3>
        </mac></mac_mng>)"));
    EXPECT_EQ(module_->listing_status(), 0u);
    std::vector<char> text(4096);
    mac_ioctl_buffer request{pointer(text.data()), 4096};
    ASSERT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0u);
    EXPECT_STREQ(text.data(),
                 "Instance ID           : 0xffffffff\n"
                 "Mac type              : 0x40\n"
                 "Mac num               : 16\n"
                 "Drv name              : drv_mac_flash\n"
                 "Main section ID       : 0x2d\n"
                 "Main offset           : 0x4c0\n"
                 "Spare exist           : 1\n"
                 "Spare section ID      : 0x2e\n"
                 "Spare offset          : 0x10\n"
                 "\n"
                 "Instance ID           : 0xffffffff\n"
                 "Mac type              : 0x2\n"
                 "Mac num               : 1\n"
                 "Drv name              : drv_mac_env\n"
                 "Main env name         : m\n"
                 "Spare exist           : 1\n"
                 "Spare env name        : s\n"
                 "\n"
                 "Instance ID           : 0xffffffff\n"
                 "Mac type              : 0x3\n"
                 "Mac num               : 1\n"
                 "Drv name              : drv_mac_env\n"
                 "Main env name         : \n"
                 "Spare exist           : 0\n"
                 "\n"
                 "Instance ID           : 0xffffffff\n"
                 "Mac type              : 0x1\n"
                 "Mac num               : 1\n"
                 "Drv name              : drv_mac_eeprom\n"
                 "Main section ID       : 0x1\n"
                 "Main offset           : 0x0\n"
                 "Spare exist           : 0\n"
                 "\n");
    // Every smaller buffer holds the same text, cut, and its terminator.
    const std::string whole = text.data();
    for (const u32 size : {2u, 23u, 24u, 100u, 300u, static_cast<u32>(whole.size()),
                           static_cast<u32>(whole.size()) + 1}) {
        std::fill(text.begin(), text.end(), '\x77');
        request.len = size;
        ASSERT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0u);
        EXPECT_EQ(std::string(text.data()), whole.substr(0, size - 1));
        EXPECT_EQ(text[size], '\x77');
    }
}

TEST_F(MacShow, Cfg_OfManyEntries_IsShownWhole) {
    std::string entries;
    for (int i = 0; i < 400; ++i) {
        const std::string name = "entry" + std::to_string(i);
        entries +=
            "<" + name + "><mac_type>0</mac_type><drv_name>drv_mac_env</drv_name></" + name + ">";
    }
    load(test::board_with("<mac_mng><mac>" + entries + "</mac></mac_mng>"));
    std::vector<char> text(100000);
    mac_ioctl_buffer request{pointer(text.data()), 100000};
    ASSERT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0u);
    const std::string shown = text.data();
    EXPECT_GT(shown.size(), 0x10000u);
    size_t records = 0;
    for (size_t at = shown.find("Instance ID"); at != std::string::npos;
         at = shown.find("Instance ID", at + 1)) {
        ++records;
    }
    EXPECT_EQ(records, 400u);
}

TEST_F(MacShow, Types_ShowsBothAreas) {
    load();
    mac_type_status both{{}, 3, 64, {{0, 0x11, 0x22, 0x33, 0x44, 0x55}, 16, 1}, {{}, 0, 0}};
    mac_type_status spare{{}, 3, 5, {{}, 0, 0}, {{2, 0, 0, 0, 0, 1}, 4, 2}};
    g_mac_config.type_list.push_back(&both);
    g_mac_config.type_list.push_back(&spare);
    std::vector<char> text(4096);
    mac_ioctl_buffer request{pointer(text.data()), 4096};
    ASSERT_EQ(ioctl(MAC_IOCTL_SHOW_TYPES, &request), 0u);
    EXPECT_STREQ(text.data(),
                 "Instance ID           : 0x3\n"
                 "Mac type              : 64\n"
                 "Main valid            : 1\n"
                 "Main area mac num     : 16\n"
                 "Main area mac addr    : 00-11-22-33-44-55\n"
                 "Spare valid           : 0\n"
                 "\n"
                 "Instance ID           : 0x3\n"
                 "Mac type              : 5\n"
                 "Main valid            : 0\n"
                 "Spare valid           : 2\n"
                 "Spare area mac num    : 4\n"
                 "Spare area mac addr   : 02-00-00-00-00-01\n"
                 "\n");
    g_mac_config.type_list.remove(&both);
    g_mac_config.type_list.remove(&spare);
}

TEST_F(MacShow, Listing_HoldsItsMutexInsideTheCommandMutex) {
    load();
    char text[64];
    mac_ioctl_buffer request{pointer(text), sizeof(text)};
    drv_mac_lock();
    EXPECT_DEATH(ioctl(MAC_IOCTL_SHOW_CFG, &request), "&g_mac_config.show_mutex taken twice");
    drv_mac_unlock();
}

// One record as text, from a buffer that has room for it.
std::string shown(const mac_cfg_entry& record) {
    char text[1024];
    const u32 length = drv_mac_show_inst_cfg(&record, text, sizeof(text));
    return {text, length};
}

mac_cfg_entry env_record(const char* driver) {
    mac_cfg_entry record{{}, 3, 64, 16, "", 0, 45, 0x4c0, "m", 1, 46, 0x10, "s"};
    std::strcpy(record.drv_name, driver);
    return record;
}

TEST_F(MacShow, DriverNames_AreComparedExactly) {
    for (const char* name : {"drv_mac_en", "drv_mac_env2", "drv_mac_envelope", "Drv_mac_env", ""}) {
        const std::string text = shown(env_record(name));
        EXPECT_EQ(text.find("env name"), std::string::npos) << name;
        EXPECT_NE(text.find("Main section ID       : 0x2d\nMain offset           : 0x4c0\n"),
                  std::string::npos)
            << name;
        EXPECT_NE(text.find("Spare section ID      : 0x2e\nSpare offset          : 0x10\n"),
                  std::string::npos)
            << name;
    }
    const std::string text = shown(env_record("drv_mac_env"));
    EXPECT_EQ(text.find("section"), std::string::npos);
    EXPECT_EQ(text.find("offset"), std::string::npos);
}

TEST_F(MacShow, Numbers_AreUnsigned) {
    mac_cfg_entry record = env_record("d");
    record.inst_id = record.mac_type = record.mac_num = record.spare_exist = 0x80000000;
    EXPECT_EQ(shown(record).substr(0, 105),
              "Instance ID           : 0x80000000\n"
              "Mac type              : 0x80000000\n"
              "Mac num               : 2147483648\n");
    EXPECT_NE(shown(record).find("Spare exist           : 2147483648\n"), std::string::npos);
    const mac_type_status status{
        {}, 0x80000000, 0x80000001, {{}, 0x80000002, 0x80000003}, {{}, 0x80000004, 0x80000005}};
    char text[512];
    const u32 length = drv_mac_show_one_mac_type(&status, text, sizeof(text));
    EXPECT_EQ(length, std::strlen(text));
    EXPECT_STREQ(text,
                 "Instance ID           : 0x80000000\n"
                 "Mac type              : 2147483649\n"
                 "Main valid            : 2147483651\n"
                 "Main area mac num     : 2147483650\n"
                 "Main area mac addr    : 00-00-00-00-00-00\n"
                 "Spare valid           : 2147483653\n"
                 "Spare area mac num    : 2147483652\n"
                 "Spare area mac addr   : 00-00-00-00-00-00\n"
                 "\n");
}

TEST_F(MacShow, Address_IsFormattedInTwentyFour) {
    const mac_type_status status{{}, 1, 2, {{0, 1, 2, 0xab, 0xcd, 0xef}, 3, 1}, {{}, 0, 0}};
    char text[512];
    Journal journal({"sprintf_s"});
    (void)drv_mac_show_one_mac_type(&status, text, sizeof(text));
    EXPECT_EQ(journal.take(), (Journal::Calls{"sprintf_s 24"}));
    EXPECT_NE(std::string(text).find("Main area mac addr    : 00-01-02-ab-cd-ef\n"),
              std::string::npos);
    EXPECT_EQ(drv_mac_addr_to_str(status.main.mac, text, 24), 17);
    EXPECT_STREQ(text, "00-01-02-ab-cd-ef");
    EXPECT_EQ(drv_mac_addr_to_str(status.main.mac, text, 18), 17);
    EXPECT_EQ(drv_mac_addr_to_str(status.main.mac, text, 17), -1);
}

TEST_F(MacShow, EachLine_HasTheRoomThatIsLeft) {
    load(test::board_with(""));
    mac_cfg_entry record = env_record("drv_mac_env");
    record.spare_exist = 0;
    g_mac_config.cfg_list.push_back(&record);
    char text[256];
    Journal journal({"snprintf_truncated_s"});
    const u32 length = drv_mac_show_cfg(text, 200);
    Journal::Calls expected;
    size_t room = 200;
    const std::string all(text, length);
    for (size_t at = 0; at < all.size();) {
        expected.push_back(test::text("snprintf_truncated_s %zu", room - at));
        at = all.find('\n', at) + 1;
    }
    EXPECT_EQ(expected.size(), 7u);
    EXPECT_EQ(journal.take(), expected);
    g_mac_config.cfg_list.remove(&record);
    EXPECT_EQ(drv_mac_show_cfg(text, 200), 7u);
    EXPECT_EQ(journal.take(), (Journal::Calls{"snprintf_truncated_s 200"}));
    EXPECT_EQ(drv_mac_show_mac_type(text, 200), 12u);
}

TEST_F(MacShow, NextRecord_IsKnownBeforeThisOneIsShown) {
    load(test::board_with(""));
    mac_cfg_entry first = env_record("first");
    mac_cfg_entry second = env_record("second");
    g_mac_config.cfg_list.push_back(&first);
    g_mac_config.cfg_list.push_back(&second);
    char text[1024];
    host::faults().at_use(host::Call::kSnprintfTruncated, 1,
                          [&first] { g_mac_config.cfg_list.remove(&first); });
    (void)drv_mac_show_cfg(text, sizeof(text));
    EXPECT_EQ(std::string(text), shown(first) + shown(second));
    g_mac_config.cfg_list.remove(&second);
}

TEST_F(MacShow, Records_AreFormattedUnderTheListingMutex_TheEmptyTextIsNot) {
    load(test::board_with(""));
    mac_cfg_entry record = env_record("d");
    mac_type_status status{{}, 1, 2, {{}, 0, 1}, {{}, 0, 1}};
    test::LockWatch watch;
    bool empty = false;
    Journal journal;
    journal.at("snprintf_truncated_s",
               [&] { EXPECT_EQ(watch.holds(test::kListingMutex), !empty); });
    journal.at("sprintf_s", [&] { EXPECT_TRUE(watch.holds(test::kListingMutex)); });
    char text[1024];
    g_mac_config.cfg_list.push_back(&record);
    g_mac_config.type_list.push_back(&status);
    (void)drv_mac_show_cfg(text, sizeof(text));
    (void)drv_mac_show_mac_type(text, sizeof(text));
    g_mac_config.cfg_list.remove(&record);
    g_mac_config.type_list.remove(&status);
    empty = true;
    (void)drv_mac_show_cfg(text, sizeof(text));
    (void)drv_mac_show_mac_type(text, sizeof(text));
    EXPECT_EQ(watch.taken(test::kListingMutex), 4u);
}

TEST_F(MacShow, ListingContent_ThatCannotBeLoaded_IsReported) {
    load(test::board_with("<mac_mng><mac><entry0><mac_type>1</mac_type></entry0></mac></mac_mng>"));
    EXPECT_NE(module_->listing_status(), 0u);
}

}  // namespace
