// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The configuration of the listings: both XML layouts and the storage positions.
#include "platform/common/service_status.h"
#include "platform/host/memory_service.h"
#include "tests/support/cfg_fixture.h"

namespace {

using host::Call;
using test::element;
using test::old_entry;
using test::record_of;

constexpr u32 kDefault = 0xffffffff;

using MacCfg = test::CfgTest;

TEST_F(MacCfg, NewLayout_AllValuesGiven_AreRead) {
    load("<mac><entry0>" + element("mac_type", "0x40") + element("drv_name", "drv_mac_eeprom") +
         element("eeprom_partition_type", "2") + element("mac_num", "0x10") +
         element("section_id", "7") + element("offset", "0x100") + element("spare_exist", "0") +
         element("spare_section_id", "8") + element("spare_offset", "0x200") +
         element("main_env_name", "m") + element("spare_env_name", "s") + "</entry0></mac>");
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0u);
    const auto all = records();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].inst_id, kDefault);
    EXPECT_EQ(all[0].mac_type, 0x40u);
    EXPECT_EQ(all[0].mac_num, 16u);
    EXPECT_STREQ(all[0].drv_name, "drv_mac_eeprom");
    EXPECT_EQ(all[0].eeprom_partition_type, 2u);
    EXPECT_EQ(all[0].section_id, 7u);
    EXPECT_EQ(all[0].offset, 0x100u);
    EXPECT_STREQ(all[0].main_env_name, "m");
    EXPECT_EQ(all[0].spare_exist, 0u);
    EXPECT_EQ(all[0].spare_section_id, 8u);
    EXPECT_EQ(all[0].spare_offset, 0x200u);
    EXPECT_STREQ(all[0].spare_env_name, "s");
}

TEST_F(MacCfg, NewLayout_OnlyTypeAndDriver_TakesTheDefaults) {
    load("<mac><entry0>" + element("mac_type", "1") + element("drv_name", "drv_mac_env") +
         "</entry0></mac>");
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0u);
    const auto all = records();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].mac_num, 1u);
    EXPECT_EQ(all[0].spare_exist, 1u);
    EXPECT_EQ(all[0].section_id, 0xffffffffu) << "an environment record needs no position";
    EXPECT_EQ(all[0].spare_section_id, 0xffffffffu);
    EXPECT_EQ(all[0].offset, 0u);
    EXPECT_EQ(all[0].spare_offset, 0u);
    EXPECT_STREQ(all[0].main_env_name, "");
    EXPECT_STREQ(all[0].spare_env_name, "");
    EXPECT_EQ(all[0].eeprom_partition_type, 0xffffffffu);
}

TEST_F(MacCfg, NewLayout_NoPosition_IsRefusedByPartitionType) {
    load("<mac><entry0>" + element("mac_type", "1") + element("drv_name", "drv_mac_eeprom") +
         "</entry0></mac>");
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0x81160009u);
    EXPECT_TRUE(records().empty());
}

TEST_F(MacCfg, NewLayout_NoEntries_AppendsNothing) {
    load("<mac/>");
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0u);
    EXPECT_TRUE(records().empty());
}

TEST_F(MacCfg, NewLayout_NodeMissing_GivesTheServicesCode) {
    load("");
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), u32{SERVICE_XML_NO_NODE});
    EXPECT_EQ(drv_mac_create_new_cfg(5), u32{SERVICE_XML_NO_NODE}) << "an instance without a tree";
}

TEST_F(MacCfg, NewLayout_ThirdEntryFails_KeepsTheFirstTwo) {
    const std::string good =
        element("mac_type", "1") + element("drv_name", "drv_mac_env") + element("mac_num", "2");
    load("<mac><entry0>" + good + "</entry0><entry1>" + good + "</entry1><entry2>" +
         element("mac_type", "1") + "</entry2><entry3>" + good + "</entry3></mac>");
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), u32{SERVICE_XML_NO_NODE}) << "no drv_name";
    EXPECT_EQ(records().size(), 2u);
}

TEST_F(MacCfg, NewLayout_TypeMissing_GivesTheServicesCode) {
    load("<mac><entry0>" + element("drv_name", "drv_mac_env") + "</entry0></mac>");
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), u32{SERVICE_XML_NO_NODE});
}

TEST_F(MacCfg, NewLayout_Failures_HaveTheirCodes) {
    load("<mac><entry0>" + element("mac_type", "1") + element("drv_name", "drv_mac_env") +
         "</entry0></mac>");
    host::faults().fail(Call::kSprintf, 1);
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0x81160003u) << "the entry's name";
    host::faults().fail(Call::kSprintf, 2);
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0x81160003u) << "a default text";
    const auto before = host::heap_use().blocks;
    host::faults().fail(Call::kZalloc);
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0x811604aau);
    host::faults().fail(Call::kMemcpy);
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0x811604a2u);
    EXPECT_EQ(host::heap_use().blocks, before) << "the record is freed";
    EXPECT_TRUE(records().empty());
}

TEST_F(MacCfg, Release_EmptiesTheList) {
    load("<mac><entry0>" + element("mac_type", "1") + element("drv_name", "drv_mac_env") +
         "</entry0></mac>");
    const auto before = host::heap_use().blocks;
    ASSERT_EQ(drv_mac_create_new_cfg(kDefault), 0u);
    mac_cfg_release();
    EXPECT_TRUE(records().empty());
    EXPECT_EQ(host::heap_use().blocks, before);
}

TEST_F(MacCfg, MapReaders_RowsWithoutDefault_LeaveTheField) {
    load("<mac><entry0/></mac>");
    u32 number = 77;
    char words[8] = "before";
    const mac_u32_map numbers[] = {{false, "n", &number, nullptr}};
    const mac_str_map texts[] = {{false, "t", words, sizeof(words), nullptr}};
    const mac_xml_path path = {"mac_mng", "mac", "entry0"};
    EXPECT_EQ(drv_mac_get_u32_cfg_by_map(kDefault, path, 1, numbers), 0u);
    EXPECT_EQ(drv_mac_get_str_cfg_by_map(kDefault, path, 1, texts), 0u);
    EXPECT_EQ(number, 77u);
    EXPECT_STREQ(words, "before");
}

TEST_F(MacCfg, MapReaders_DefaultTooLong_IsAFormattingFailure) {
    load("<mac><entry0/></mac>");
    char words[4] = "";
    const mac_str_map texts[] = {{false, "t", words, sizeof(words), "four"}};
    EXPECT_EQ(drv_mac_get_str_cfg_by_map(kDefault, {"mac_mng", "mac", "entry0"}, 1, texts),
              0x81160003u);
}

TEST_F(MacCfg, MapReaders_DefaultTexts_AreCLiterals) {
    load("<mac><entry0/></mac>");
    u32 hex = 0;
    u32 octal = 0;
    u32 upper = 0;
    u32 prefix_only = 9;
    const mac_u32_map numbers[] = {{false, "a", &hex, "0xffffffff"},
                                   {false, "b", &octal, "010"},
                                   {false, "c", &upper, "0XAb"},
                                   {false, "d", &prefix_only, "0x"}};
    EXPECT_EQ(drv_mac_get_u32_cfg_by_map(kDefault, {"mac_mng", "mac", "entry0"}, 4, numbers), 0u);
    EXPECT_EQ(hex, 4294967295u);
    EXPECT_EQ(octal, 8u);
    EXPECT_EQ(upper, 0xabu);
    EXPECT_EQ(prefix_only, 0u);
}

TEST_F(MacCfg, NodeExist_NeedsACallAndAFlag) {
    load("<mac/>");
    EXPECT_EQ(drv_mac_node_exist(kDefault, "mac"), 1u);
    EXPECT_EQ(drv_mac_node_exist(kDefault, "mac_storage_main"), 0u);
    host::faults().fail(Call::kXml);
    EXPECT_EQ(drv_mac_node_exist(kDefault, "mac"), 0u);
}

TEST_F(MacCfg, OldLayout_MainAndSpare_AreJoined) {
    load("<mac_storage_main><entry0>" +
         old_entry("3", "264", "0x10", "drv_mac_env",
                   element("mac_num", "4") + element("storage_name", "main_name")) +
         "</entry0></mac_storage_main><mac_storage_spare><entry0>" +
         old_entry("3", "265", "0x20", "other", element("storage_name", "spare_name")) +
         "</entry0></mac_storage_spare>");
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
    const auto all = records();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].inst_id, kDefault);
    EXPECT_EQ(all[0].mac_type, 3u);
    EXPECT_EQ(all[0].mac_num, 4u);
    EXPECT_STREQ(all[0].drv_name, "drv_mac_env");
    EXPECT_EQ(all[0].section_id, 264u);
    EXPECT_EQ(all[0].offset, 0x10u);
    EXPECT_STREQ(all[0].main_env_name, "main_name");
    EXPECT_EQ(all[0].spare_exist, 1u);
    EXPECT_EQ(all[0].spare_section_id, 265u);
    EXPECT_EQ(all[0].spare_offset, 0x20u);
    EXPECT_STREQ(all[0].spare_env_name, "spare_name");
    EXPECT_EQ(all[0].eeprom_partition_type, 0u);
}

TEST_F(MacCfg, OldLayout_WithoutSpare_SaysSo) {
    load("<mac_storage_main><entry0>" + old_entry("1", "2", "3", "d") +
         "</entry0></mac_storage_main>");
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
    ASSERT_EQ(records().size(), 1u);
    EXPECT_EQ(records()[0].spare_exist, 0u);
    EXPECT_EQ(records()[0].mac_num, 1u);
    EXPECT_EQ(records()[0].spare_section_id, 0u);
    EXPECT_STREQ(records()[0].main_env_name, "");
}

TEST_F(MacCfg, OldLayout_AppliesNoPositions) {
    load("<mac_storage_main><entry0>" + old_entry("3", "0xffffffff", "3", "drv_mac_flash") +
         "</entry0></mac_storage_main>");
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
    EXPECT_EQ(records()[0].section_id, 0xffffffffu);
}

TEST_F(MacCfg, OldLayout_Failures_HaveTheirCodes) {
    load("");
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), u32{SERVICE_XML_NO_NODE});
    mac_old_cfg_entry entry{};
    EXPECT_EQ(drv_mac_get_old_cfg_entry(kDefault, 0, "entry0", &entry), 0x81160005u);
    EXPECT_EQ(drv_mac_get_old_cfg_entry(kDefault, 1, "entry0", &entry), 0x81160005u);
    load("<mac_storage_main><entry0>" + old_entry("1", "2", "3", "d") +
         "</entry0><entry1/></mac_storage_main><mac_storage_spare/>");
    host::faults().fail(Call::kSprintf);
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0x81160003u) << "the entry's name";
    host::faults().fail(Call::kZalloc);
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0x811604aau);
    EXPECT_TRUE(records().empty());
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), u32{SERVICE_XML_NO_NODE}) << "entry1 has no id";
    EXPECT_EQ(records().size(), 1u);
}

TEST_F(MacCfg, OldLayout_ConversionFails_FreesTheRecord) {
    load("<mac_storage_main><entry0>" + old_entry("1", "2", "3", "%n") +
         "</entry0></mac_storage_main>");
    const auto before = host::heap_use().blocks;
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0x81160003u);
    EXPECT_EQ(host::heap_use().blocks, before);
}

mac_old_cfg_entry named(const char* driver, const char* storage) {
    mac_old_cfg_entry entry{};
    std::strcpy(entry.drv_name, driver);
    std::strcpy(entry.storage_name, storage);
    return entry;
}

TEST_F(MacCfg, OldToNew_TextsAreFormats_ThatReadNoForeignArgument) {
    const struct {
        const char* stored;
        const char* expected;  // null: refused
    } cases[] = {
        {"eth%%0", "eth%0"},
        {"eth%d", "eth0"},
        {"%5u|", "    0|"},
        {"%lx%hhX%zu", "000"},
        {"%*d%*d%*d%*d%*d%*d%*d%*d%*d%*d%*d%*d%*d", "0000000000000"},
        {"%d%*d%*d%*d%*d%*d%*d%*d%*d%*d%*d%*d%*d", "0000000000000"},
        {"%1d%9i", "0        0"},
        {"eth%s0", "eth(null)0"},
        {"eth%c0", "eth"},
        {"%", nullptr},
        {"%n", nullptr},
        {"%f", nullptr},
        {"%p", nullptr},
        {"%Lf", nullptr},
        {"%k", nullptr},
        {"%:d", nullptr},
        {"%40d", nullptr},
    };
    for (const auto& c : cases) {
        mac_cfg_entry record{};
        const mac_old_cfg_entry main = named(c.stored, "");
        const u32 result = drv_mac_old_cfg_to_new(1, &main, &main, &record);
        EXPECT_EQ(result, c.expected == nullptr ? 0x81160003u : 0u) << c.stored;
        if (c.expected != nullptr) {
            EXPECT_STREQ(record.drv_name, c.expected) << c.stored;
        }
    }
}

TEST_F(MacCfg, OldToNew_EveryTextCanFail) {
    mac_cfg_entry record{};
    const mac_old_cfg_entry good = named("d", "s");
    mac_old_cfg_entry bad = named("d", "%n");
    EXPECT_EQ(drv_mac_old_cfg_to_new(1, &bad, &good, &record), 0x81160003u);
    bad.found = 1;
    EXPECT_EQ(drv_mac_old_cfg_to_new(1, &good, &bad, &record), 0x81160003u);
}

TEST_F(MacCfg, FlashDefault_EveryRow) {
    load("");
    const std::pair<u32, u32> rows[] = {{1, 0x4b0}, {4, 0x4b0}, {0, 0x4c0}, {2, 0x4d0}, {3, 0x570}};
    for (const auto& [type, offset] : rows) {
        mac_cfg_entry record = record_of("drv_mac_flash", 1, type, 0);
        EXPECT_EQ(drv_mac_set_default_cfg(&record), 0u);
        EXPECT_EQ(record.section_id, 45u);
        EXPECT_EQ(record.spare_section_id, 45u);
        EXPECT_EQ(record.offset, offset);
        EXPECT_EQ(record.spare_offset, offset + 0x10000);
    }
    mac_cfg_entry record = record_of("drv_mac_flash", 1, 5, 0);
    EXPECT_EQ(drv_mac_set_default_cfg(&record), 0x81160008u);
    EXPECT_EQ(record.section_id, 0xffffffffu);
}

TEST_F(MacCfg, FlashDefault_PartitionMissing_ComesFirst) {
    load("");
    host::faults().fail(Call::kMtdSize);
    mac_cfg_entry record = record_of("drv_mac_flash", 1, 5, 0);
    EXPECT_EQ(drv_mac_set_flash_default(&record), 0x8116000bu);
}

TEST_F(MacCfg, MtdSize_OtherPartition_IsMissing) {
    load("");
    u32 size = 7;
    EXPECT_EQ(drv_mac_get_mtd_size("other", &size), 0x8116000bu);
    EXPECT_EQ(size, 7u);
    EXPECT_EQ(drv_mac_get_mtd_size("manuinfo", &size), 0u);
    EXPECT_EQ(size, 0x20000u);
}

TEST_F(MacCfg, EepromDefault_EveryRow) {
    const struct {
        u32 partition;
        u32 type;
        u32 offset;
    } rows[] = {{0, 1, 0x0},  {0, 0, 0x10}, {0, 2, 0x20}, {1, 2, 0x0}, {2, 1, 0x0},
                {2, 0, 0x10}, {2, 2, 0x20}, {3, 1, 0x0},  {3, 0, 0x10}};
    for (const auto& row : rows) {
        for (const u32 inst : {0xffffffffu, 0u}) {
            mac_cfg_entry record = record_of("drv_mac_eeprom", inst, row.type, row.partition);
            EXPECT_EQ(drv_mac_set_default_cfg(&record), 0u);
            EXPECT_EQ(record.section_id, inst == 0 ? 8u : 264u);
            EXPECT_EQ(record.spare_section_id, inst == 0 ? 9u : 265u);
            EXPECT_EQ(record.offset, row.offset);
            EXPECT_EQ(record.spare_offset, row.offset);
        }
    }
}

TEST_F(MacCfg, EepromDefault_NoRow_HasSetTheSections) {
    for (const u32 inst : {0xffffffffu, 0u}) {
        mac_cfg_entry record = record_of("any", inst, 0, 1);
        EXPECT_EQ(drv_mac_set_default_cfg(&record), 0x8116000au);
        EXPECT_EQ(record.section_id, inst == 0 ? 8u : 264u);
        EXPECT_EQ(record.spare_section_id, inst == 0 ? 9u : 265u);
    }
}

TEST_F(MacCfg, EepromDefault_PartitionAboveThree_ChangesNothing) {
    mac_cfg_entry record = record_of("any", 0, 0, 4);
    EXPECT_EQ(drv_mac_set_default_cfg(&record), 0x81160009u);
    EXPECT_EQ(record.section_id, 0xffffffffu);
}

TEST_F(MacCfg, SetDefault_EnvOrGivenSection_ChangesNothing) {
    mac_cfg_entry record = record_of("drv_mac_env", 0, 0, 0);
    EXPECT_EQ(drv_mac_set_default_cfg(&record), 0u);
    EXPECT_EQ(record.section_id, 0xffffffffu);
    record = record_of("drv_mac_flash", 0, 99, 9);
    record.section_id = 5;
    EXPECT_EQ(drv_mac_set_default_cfg(&record), 0u);
    EXPECT_EQ(record.section_id, 5u);
}

}  // namespace
