// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The services of the user-space platform over an attached board.
#include <cstring>

#include "platform/algorithm.h"
#include "platform/common/service_status.h"
#include "platform/driver_manager.h"
#include "platform/env.h"
#include "platform/flash.h"
#include "platform/xml.h"
#include "tests/support/fixture.h"

namespace {

using HostServices = test::PlatformTest;

TEST_F(HostServices, WithoutABoard_EverythingIsRefused) {
    u8 byte = 0;
    u32 number = 0;
    char text[8];
    xml_entry* list = nullptr;
    EXPECT_EQ(drv_flash_read(0, 45, 0, &byte, 1), u32{SERVICE_NO_CHIP});
    EXPECT_NE(drv_env_get("a", text, 8), 0u);
    EXPECT_NE(xml_get_entry_list(0, "mac_mng", "mac", &list, &number), 0u);
    EXPECT_DEATH(
        {
            u16 crc;
            drv_crc16_checksum(&byte, 1, &crc);
        },
        "without a board");
}

TEST_F(HostServices, NullArguments_AreRefused) {
    use_board(test::board_with(""));
    EXPECT_EQ(drv_flash_read(0, 45, 0, nullptr, 1), u32{SERVICE_NULL_ARGUMENT});
    EXPECT_EQ(drv_flash_write(0, 45, 0, nullptr, 1), u32{SERVICE_NULL_ARGUMENT});
    EXPECT_EQ(drv_env_get(nullptr, nullptr, 0), u32{SERVICE_NULL_ARGUMENT});
    EXPECT_EQ(drv_env_set("a", nullptr), u32{SERVICE_NULL_ARGUMENT});
    EXPECT_NE(module_driver_register(nullptr), 0);
    EXPECT_EQ(module_driver_find_by_name(nullptr), nullptr);
}

TEST_F(HostServices, BoardWithoutEnv_SaysSo) {
    use_board("<board><platform/></board>");
    EXPECT_EQ(drv_env_set("a", "1"), u32{SERVICE_NO_ENV});
}

TEST_F(HostServices, DriverNames_AreTakenOnce) {
    MacDriver one{{}, "one", nullptr};
    MacDriver twin{{}, "one", nullptr};
    EXPECT_EQ(module_driver_register(&one), 0);
    EXPECT_NE(module_driver_register(&twin), 0);
    EXPECT_EQ(module_driver_find_by_name("one"), &one);
    EXPECT_EQ(module_driver_func_find_by_name("one"), nullptr) << "it has no operations";
    module_driver_unregister("two");
    module_driver_unregister("one");
    EXPECT_EQ(module_driver_find_by_name("one"), nullptr);
}

TEST_F(HostServices, HexDigits_OtherCharactersLeaveTheValue) {
    for (int c = 0; c < 256; ++c) {
        u8 value = 0x77;
        str_2uchar(static_cast<char>(c), &value);
        const char* const digits = "0123456789abcdef";
        const char* const at = c == 0 ? nullptr : strchr(digits, tolower(c));
        EXPECT_EQ(value, at == nullptr ? 0x77 : at - digits) << c;
    }
}

TEST_F(HostServices, InstanceTrees_AreNeverShared) {
    use_board(
        test::board_with("<mac_mng><mac/></mac_mng>"
                         "<instance id=\"0x3\"><mac_mng><mac><e/></mac></mac_mng></instance>"
                         "<instance id=\"4\"/>"));
    u32 count = 9;
    EXPECT_EQ(xml_get_entry_num(0xffffffff, "mac_mng", "mac", &count), 0u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(xml_get_entry_num(3, "mac_mng", "mac", &count), 0u);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(xml_get_entry_num(4, "mac_mng", "mac", &count), u32{SERVICE_XML_NO_NODE});
    EXPECT_EQ(xml_get_entry_num(5, "mac_mng", "mac", &count), u32{SERVICE_XML_NO_NODE});
}

TEST_F(HostServices, XmlTextsAndNumbers) {
    use_board(test::board_with(
        "<mac_mng><mac><e a=\"0x10\" b=\"12x\" c=\"4294967296\" d=\"-1\" t=\"12345\">"
        "<k>010</k><t>text</t></e></mac></mac_mng>"));
    xml_entry* list = nullptr;
    u32 count = 0;
    ASSERT_EQ(xml_get_entry_list(0xffffffff, "mac_mng", "mac", &list, &count), 0u);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(list->next, nullptr);
    u32 value = 7;
    EXPECT_EQ(xml_get_attr_value_u32(list->element, "a", &value), 0u);
    EXPECT_EQ(value, 16u);
    for (const char* const bad : {"b", "c", "d"}) {
        EXPECT_EQ(xml_get_attr_value_u32(list->element, bad, &value),
                  u32{SERVICE_XML_NOT_A_NUMBER});
    }
    EXPECT_EQ(xml_get_attr_value_u32(list->element, "z", &value), u32{SERVICE_XML_NO_NODE});
    EXPECT_EQ(value, 16u) << "unchanged";
    char text[6] = "old";
    EXPECT_EQ(xml_get_attr_string(list->element, "t", text, 5), u32{SERVICE_XML_TOO_LONG});
    EXPECT_STREQ(text, "old");
    EXPECT_EQ(xml_get_attr_string(list->element, "t", text, 6), 0u);
    EXPECT_STREQ(text, "12345");
    EXPECT_EQ(xml_get_element_value_u32(0xffffffff, "mac_mng", "mac", "e", "k", &value), 0u);
    EXPECT_EQ(value, 8u) << "octal";
    EXPECT_EQ(xml_get_element_string(0xffffffff, "mac_mng", "mac", "e", "t", text, 6), 0u);
    EXPECT_STREQ(text, "text");
    EXPECT_EQ(xml_get_element_string(0xffffffff, "mac_mng", "mac", "e", "t", text, 4),
              u32{SERVICE_XML_TOO_LONG});
}

}  // namespace
