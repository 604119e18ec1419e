// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The keys of both XML layouts: their order, which are required, what stands for one that
// is missing or cannot be used, and what a failure leaves.
#include <map>

#include "platform/common/service_status.h"
#include "tests/support/cfg_fixture.h"
#include "tests/support/journal.h"
#include "tests/support/lock_watch.h"

namespace {

using host::Call;
using test::element;
using test::Journal;
using test::old_entry;
using test::record_of;

constexpr u32 kDefault = 0xffffffff;
constexpr u32 kNoNode = SERVICE_XML_NO_NODE;
constexpr u32 kNoNumber = SERVICE_XML_NOT_A_NUMBER;
constexpr u32 kTooLong = SERVICE_XML_TOO_LONG;

using CfgKey = test::CfgTest;

// An entry of the current layout with every key given; `but` replaces or adds keys.
std::string new_entry(const std::map<std::string, std::string>& but = {}) {
    std::map<std::string, std::string> keys = {{"mac_type", "2"},
                                               {"eeprom_partition_type", "3"},
                                               {"mac_num", "4"},
                                               {"section_id", "5"},
                                               {"offset", "6"},
                                               {"spare_exist", "7"},
                                               {"spare_section_id", "8"},
                                               {"spare_offset", "9"},
                                               {"drv_name", "drv_mac_eeprom"},
                                               {"main_env_name", "m"},
                                               {"spare_env_name", "s"}};
    for (const auto& [key, value] : but) keys[key] = value;
    std::string text;
    for (const auto& [key, value] : keys) text += element(key, value);
    return text;
}

std::string new_node(const std::vector<std::string>& entries) {
    std::string text;
    for (size_t i = 0; i < entries.size(); ++i) {
        text += element("entry" + std::to_string(i), entries[i]);
    }
    return element("mac", text);
}

TEST_F(CfgKey, NewLayout_AsksInOrder_NumbersThenTexts) {
    load(new_node({new_entry()}));
    Journal journal({"xml_"});
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0u);
    const std::string path = " 0xffffffff mac_mng mac entry0 ";
    Journal::Calls expected = {"xml_get_entry_num 0xffffffff mac_mng mac"};
    for (const char* key : {"mac_type", "eeprom_partition_type", "mac_num", "section_id", "offset",
                            "spare_exist", "spare_section_id", "spare_offset"}) {
        expected.push_back("xml_get_element_value_u32" + path + key);
    }
    for (const char* key : {"drv_name 40", "main_env_name 40", "spare_env_name 40"}) {
        expected.push_back("xml_get_element_string" + path + key);
    }
    EXPECT_EQ(journal.take(), expected);
}

TEST_F(CfgKey, NewLayout_OptionalKeyThatCannotBeUsed_CountsAsMissing) {
    const struct {
        const char* key;
        u32 mac_cfg_entry::*field;
        u32 given;
        u32 otherwise;
    } numbers[] = {
        {"eeprom_partition_type", &mac_cfg_entry::eeprom_partition_type, 3, 0xffffffff},
        {"mac_num", &mac_cfg_entry::mac_num, 4, 1},
        {"offset", &mac_cfg_entry::offset, 6, 0},
        {"spare_exist", &mac_cfg_entry::spare_exist, 7, 1},
        {"spare_section_id", &mac_cfg_entry::spare_section_id, 8, 0xffffffff},
        {"spare_offset", &mac_cfg_entry::spare_offset, 9, 0},
    };
    for (const auto& number : numbers) {
        for (const char* value : {"", "four", "-1", "0x100000000", "5 "}) {
            load(new_node({new_entry(), new_entry({{number.key, value}})}));
            EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0u);
            ASSERT_EQ(records().size(), 2u);
            EXPECT_EQ(records()[0].*number.field, number.given) << number.key;
            EXPECT_EQ(records()[1].*number.field, number.otherwise) << number.key << value;
            mac_cfg_entry rest = records()[1];
            rest.*number.field = number.given;
            rest.list = records()[0].list;
            EXPECT_TRUE(test::same(rest, records()[0])) << "only " << number.key;
        }
    }
    load(new_node({new_entry({{"section_id", "none"}, {"eeprom_partition_type", "0"}})}));
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0u);
    EXPECT_EQ(records()[0].section_id, 264u) << "a section that is not given is looked up";
}

TEST_F(CfgKey, NewLayout_Texts_HaveThirtyNineCharactersAtMost) {
    const std::string most(39, 'x');
    const std::string more(40, 'y');
    load(new_node({new_entry({{"drv_name", most}, {"main_env_name", most}}),
                   new_entry({{"spare_env_name", most}, {"main_env_name", more}}),
                   new_entry({{"spare_env_name", more}}), new_entry({{"drv_name", more}})}));
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), kTooLong) << "a required one";
    const auto all = records();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].drv_name, most);
    EXPECT_EQ(all[0].main_env_name, most);
    EXPECT_EQ(all[1].spare_env_name, most);
    EXPECT_STREQ(all[1].main_env_name, "") << "not cut, and not the entry's before";
    EXPECT_STREQ(all[2].spare_env_name, "");
}

TEST_F(CfgKey, NewLayout_RequiredKeyThatCannotBeUsed_IsTheServicesCode) {
    load(new_node({new_entry({{"mac_type", "two"}})}));
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), kNoNumber);
    mac_cfg_entry record;
    std::memset(&record, 0x5a, sizeof(record));
    const mac_cfg_entry before = record;
    EXPECT_EQ(drv_mac_get_new_cfg_entry(kDefault, "entry0", &record), kNoNumber);
    EXPECT_TRUE(test::same(record, before)) << "the first key ends it";
    load(new_node({new_entry({{"drv_name", std::string(40, 'd')}})}));
    EXPECT_EQ(drv_mac_get_new_cfg_entry(kDefault, "entry0", &record), kTooLong);
    EXPECT_EQ(record.mac_type, 2u) << "read before it";
    EXPECT_EQ(record.spare_offset, 9u) << "read before it";
    EXPECT_EQ(record.inst_id, 0x5a5a5a5au) << "set behind the keys";
    EXPECT_EQ(record.main_env_name[0], 0x5a) << "read behind it";
}

TEST_F(CfgKey, NewLayout_EntryAfterAFullOne_TakesItsOwnDefaults) {
    load(new_node({new_entry(), element("mac_type", "1") + element("drv_name", "drv_mac_env")}));
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0u);
    mac_cfg_entry expected = record_of("drv_mac_env", kDefault, 1, 0xffffffff);
    expected.mac_num = 1;
    expected.spare_exist = 1;
    mac_cfg_entry found = records().at(1);
    found.list = {};
    // Behind the shorter name stands what the longer one left.
    std::memset(found.drv_name + 12, 0, sizeof(found.drv_name) - 12);
    EXPECT_TRUE(test::same(found, expected));
}

TEST_F(CfgKey, BothLayouts_TwelveEntries_AreCountedInDecimal) {
    std::vector<std::string> entries;
    std::string main;
    for (unsigned i = 0; i < 12; ++i) {
        const std::string number = std::to_string(100 + i);
        entries.push_back(new_entry({{"mac_type", number}}));
        main += element("entry" + std::to_string(i), old_entry(number, "1", "2", "d"));
    }
    load(new_node(entries) + element("mac_storage_main", main));
    test::LockWatch watch;
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0u);
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
    EXPECT_EQ(watch.take_trace(), std::vector<std::string>{}) << "no lock is taken";
    const auto all = records();
    ASSERT_EQ(all.size(), 24u);
    for (size_t i = 0; i < 24; ++i) EXPECT_EQ(all[i].mac_type, 100 + i % 12) << i;
}

TEST_F(CfgKey, Capacities_AreForty) {
    load(new_node({element("mac_type", "1") + element("drv_name", "drv_mac_env")}) +
         element("mac_storage_main", element("entry0", old_entry("1", "2", "3", "d"))) +
         element("mac_storage_spare", element("entry0", old_entry("1", "2", "3", "d"))));
    Journal journal({"sprintf_s", "memcpy_s"});
    EXPECT_EQ(drv_mac_create_new_cfg(kDefault), 0u);
    EXPECT_EQ(journal.take(),
              (Journal::Calls{"sprintf_s 40", "sprintf_s 40", "sprintf_s 40", "memcpy_s 176 176"}))
        << "the entry's name and two texts that are missing";
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
    EXPECT_EQ(journal.take(), Journal::Calls(6, "sprintf_s 40"))
        << "the entry's name, two texts that are missing, three that are converted";
}

TEST_F(CfgKey, NewLayout_InstanceIsSet_BeforeItsPositionsAreChosen) {
    const std::string tree = new_node({element("mac_type", "0") + element("drv_name", "any") +
                                       element("eeprom_partition_type", "2")});
    load(tree, "<instance id=\"3\">" + element("mac_mng", tree) + "</instance>");
    mac_cfg_entry record{};
    record.inst_id = 3;
    EXPECT_EQ(drv_mac_get_new_cfg_entry(kDefault, "entry0", &record), 0u);
    EXPECT_EQ(record.inst_id, kDefault);
    EXPECT_EQ(record.section_id, 264u);
    EXPECT_EQ(record.spare_section_id, 265u);
    EXPECT_EQ(drv_mac_get_new_cfg_entry(3, "entry0", &record), 0u);
    EXPECT_EQ(record.inst_id, 3u);
    EXPECT_EQ(record.section_id, 8u);
    EXPECT_EQ(record.spare_section_id, 9u);
    EXPECT_EQ(record.offset, 0x10u);
    EXPECT_EQ(record.spare_offset, 0x10u);
    EXPECT_EQ(drv_mac_create_new_cfg(3), 0u);
    EXPECT_EQ(records().at(0).section_id, 8u);
}

TEST_F(CfgKey, MapReader_FirstRequiredKeyMissing_LeavesTheRowsBehind) {
    load(element("mac", element("entry0", element("a", "1") + element("c", "3"))));
    const mac_xml_path path = {"mac_mng", "mac", "entry0"};
    u32 fields[4] = {90, 91, 92, 93};
    const mac_u32_map numbers[] = {{true, "a", &fields[0], nullptr},
                                   {false, "x", &fields[1], "0x123456789"},
                                   {true, "b", &fields[2], "7"},
                                   {true, "c", &fields[3], nullptr}};
    EXPECT_EQ(drv_mac_get_u32_cfg_by_map(kDefault, path, 4, numbers), kNoNode);
    EXPECT_EQ(fields[0], 1u);
    EXPECT_EQ(fields[1], 0x23456789u) << "the low 32 bits of a default";
    EXPECT_EQ(fields[2], 92u) << "a required key takes no default";
    EXPECT_EQ(fields[3], 93u);
    EXPECT_EQ(drv_mac_get_u32_cfg_by_map(kDefault, path, 2, numbers), 0u) << "two rows only";
    EXPECT_EQ(drv_mac_get_u32_cfg_by_map(kDefault, path, 0, numbers), 0u);
    char texts[3][8] = {"p", "q", "r"};
    const mac_str_map rows[] = {{false, "x", texts[0], 8, "other"},
                                {true, "b", texts[1], 8, "never"},
                                {true, "c", texts[2], 8, nullptr}};
    EXPECT_EQ(drv_mac_get_str_cfg_by_map(kDefault, path, 3, rows), kNoNode);
    EXPECT_STREQ(texts[0], "other");
    EXPECT_STREQ(texts[1], "q");
    EXPECT_STREQ(texts[2], "r");
}

TEST_F(CfgKey, MapReader_DefaultText_IsNoFormat) {
    load(element("mac", element("entry0", "")));
    char text[8] = "p";
    const mac_str_map rows[] = {{false, "x", text, sizeof(text), "5%%d"}};
    EXPECT_EQ(drv_mac_get_str_cfg_by_map(kDefault, {"mac_mng", "mac", "entry0"}, 1, rows), 0u);
    EXPECT_STREQ(text, "5%%d");
}

TEST_F(CfgKey, EntryName_IsTheUnsignedNumber) {
    char name[mac::kNameUsr];
    EXPECT_EQ(mac_cfg_entry_name(0x80000000, name), 0u);
    EXPECT_STREQ(name, "entry2147483648");
}

TEST_F(CfgKey, MapReader_ServiceFails_IsItsCode) {
    load(new_node({new_entry()}));
    mac_cfg_entry record{};
    for (const unsigned use : {1u, 9u}) {
        host::faults().fail(Call::kXml, use, 0x1234);
        EXPECT_EQ(drv_mac_get_new_cfg_entry(kDefault, "entry0", &record), 0x1234u) << use;
    }
    for (const unsigned use : {2u, 3u, 4u, 5u, 6u, 7u, 8u, 10u, 11u}) {
        host::faults().fail(Call::kXml, use, 0x1234);
        record.eeprom_partition_type = 0;
        EXPECT_NE(drv_mac_get_new_cfg_entry(kDefault, "entry0", &record), 0x1234u) << use;
    }
}

TEST_F(CfgKey, MtdSize_IsTheLowThirtyTwoBits) {
    load("");
    host::faults().give(Call::kMtdSize, 0x300020000);
    u32 size = 0;
    EXPECT_EQ(drv_mac_get_mtd_size("manuinfo", &size), 0u);
    EXPECT_EQ(size, 0x20000u);
    mac_cfg_entry record = record_of("drv_mac_flash", 1, 3, 0);
    EXPECT_EQ(drv_mac_set_flash_default(&record), 0u);
    EXPECT_EQ(record.offset, 0x570u);
    EXPECT_EQ(record.spare_offset, 0x10570u) << "half of what is left of it";
    host::faults().give(Call::kMtdSize, 0x300020003);
    EXPECT_EQ(drv_mac_get_mtd_size("manuinfo", &size), 0u);
    EXPECT_EQ(size, 0x20003u);
    EXPECT_EQ(drv_mac_set_flash_default(&record), 0u);
    EXPECT_EQ(record.spare_offset, 0x10571u) << "halved as an integer";
}

TEST_F(CfgKey, PositionsThatFail_ChangeNothing) {
    load("");
    mac_cfg_entry record = record_of("drv_mac_flash", 3, 5, 0);
    mac_cfg_entry before = record;
    EXPECT_EQ(drv_mac_set_default_cfg(&record), 0x81160008u);
    EXPECT_TRUE(test::same(record, before));
    record.mac_type = before.mac_type = 3;
    host::faults().fail(Call::kMtdSize);
    EXPECT_EQ(drv_mac_set_default_cfg(&record), 0x8116000bu);
    EXPECT_TRUE(test::same(record, before));
    for (const u32 partition : {4u, 0xffffffffu}) {
        record = before = record_of("any", 3, 0, partition);
        EXPECT_EQ(drv_mac_set_eeprom_default(&record), 0x81160009u);
        EXPECT_TRUE(test::same(record, before)) << partition;
    }
    record = before = record_of("any", 3, 99, 0);
    record.offset = before.offset = 0x77;
    record.spare_offset = before.spare_offset = 0x78;
    EXPECT_EQ(drv_mac_set_eeprom_default(&record), 0x8116000au);
    before.section_id = 8;
    before.spare_section_id = 9;
    EXPECT_TRUE(test::same(record, before)) << "the sections alone";
}

TEST_F(CfgKey, DriverNames_AreComparedExactly) {
    load("");
    for (const char* name : {"drv_mac_en", "drv_mac_env2", "drv_mac_flas", "drv_mac_flash2", ""}) {
        mac_cfg_entry record = record_of(name, 3, 0, 0);
        EXPECT_EQ(drv_mac_set_default_cfg(&record), 0u) << name;
        EXPECT_EQ(record.section_id, 8u) << name << " is none of the two";
    }
}

}  // namespace
