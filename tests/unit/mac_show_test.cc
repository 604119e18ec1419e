// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The two listings, through the control device.
#include "config/mac_config.h"
#include "tests/support/module_fixture.h"

namespace {

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

TEST_F(MacShow, ListingContent_ThatCannotBeLoaded_IsReported) {
    load(test::board_with("<mac_mng><mac><entry0><mac_type>1</mac_type></entry0></mac></mac_mng>"));
    EXPECT_NE(module_->listing_status(), 0u);
}

}  // namespace
