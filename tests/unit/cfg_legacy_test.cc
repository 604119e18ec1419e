// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The legacy layout: which keys it asks for, which it cannot do without, and a spare entry
// that is there in part.
#include "platform/common/service_status.h"
#include "platform/host/memory_service.h"
#include "tests/support/cfg_fixture.h"
#include "tests/support/journal.h"

namespace {

using host::Call;
using test::element;
using test::Journal;
using test::old_entry;

constexpr u32 kDefault = 0xffffffff;
constexpr u32 kNoNode = SERVICE_XML_NO_NODE;
constexpr u32 kNoNumber = SERVICE_XML_NOT_A_NUMBER;
constexpr u32 kTooLong = SERVICE_XML_TOO_LONG;

using CfgLegacy = test::CfgTest;

std::string main_node(const std::string& entries) { return element("mac_storage_main", entries); }
std::string spare_node(const std::string& entries) { return element("mac_storage_spare", entries); }

// An entry without one of its keys, or with another value for it.
std::string entry_but(const std::string& key, const std::string& value = "") {
    std::string text;
    for (const auto& [name, usual] : {std::pair<std::string, std::string>{"id", "1"},
                                      {"chip_id", "2"},
                                      {"channel", "3"},
                                      {"mac_num", "4"},
                                      {"drv_name", "d"},
                                      {"storage_name", "s"}}) {
        if (name != key) text += element(name, usual);
        if (name == key && !value.empty()) text += element(name, value);
    }
    return text;
}

// What a reader is handed, so that what it leaves can be told.
mac_old_cfg_entry filled() {
    mac_old_cfg_entry entry;
    std::memset(&entry, 0x5a, sizeof(entry));
    return entry;
}

TEST_F(CfgLegacy, AsksInOrder_NodeThenNumbersThenTexts) {
    load(main_node(element("entry0", entry_but(""))) +
         spare_node(element("entry0", entry_but(""))));
    Journal journal({"xml_"});
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
    Journal::Calls expected = {"xml_get_entry_num 0xffffffff mac_mng mac_storage_main"};
    for (const std::string node : {"mac_storage_main", "mac_storage_spare"}) {
        expected.push_back("xml_is_node_exist 0xffffffff mac_mng " + node);
        for (const char* key : {"id", "chip_id", "channel", "mac_num"}) {
            expected.push_back("xml_get_element_value_u32 0xffffffff mac_mng " + node + " entry0 " +
                               key);
        }
        for (const char* key : {"drv_name 40", "storage_name 40"}) {
            expected.push_back("xml_get_element_string 0xffffffff mac_mng " + node + " entry0 " +
                               key);
        }
    }
    EXPECT_EQ(journal.take(), expected);
}

TEST_F(CfgLegacy, MainEntry_EachRequiredKey_IsRequired) {
    const struct {
        const char* key;
        const char* unusable;
        u32 code;
    } keys[] = {{"id", "one", kNoNumber},
                {"chip_id", "-1", kNoNumber},
                {"channel", "0x100000000", kNoNumber},
                {"drv_name", "0123456789012345678901234567890123456789", kTooLong}};
    for (const auto& key : keys) {
        load(main_node(element("entry0", entry_but(key.key))));
        EXPECT_EQ(drv_mac_create_old_cfg(kDefault), kNoNode) << key.key;
        EXPECT_TRUE(records().empty());
        load(main_node(element("entry0", entry_but(key.key, key.unusable))));
        EXPECT_EQ(drv_mac_create_old_cfg(kDefault), key.code) << key.key;
        EXPECT_TRUE(records().empty());
    }
}

TEST_F(CfgLegacy, SpareEntry_EachRequiredKey_IsRequired) {
    for (const char* key : {"id", "chip_id", "channel", "drv_name"}) {
        load(main_node(element("entry0", entry_but(""))) +
             spare_node(element("entry0", entry_but(key))));
        EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
        ASSERT_EQ(records().size(), 1u);
        EXPECT_EQ(records()[0].spare_exist, 0u) << key;
        EXPECT_EQ(records()[0].spare_section_id, 0u) << key;
        EXPECT_EQ(records()[0].spare_offset, 0u) << key;
        EXPECT_STREQ(records()[0].spare_env_name, "") << key;
    }
}

TEST_F(CfgLegacy, OptionalKeyThatCannotBeUsed_CountsAsMissing) {
    for (const char* value : {"four", "0x1ffffffff", ""}) {
        load(main_node(element("entry0", entry_but("mac_num", value))));
        EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
        EXPECT_EQ(records().at(0).mac_num, 1u) << value;
    }
    const std::string most(39, 'x');
    load(main_node(element("entry0", entry_but("storage_name", most)) +
                   element("entry1", entry_but("storage_name", most + "y")) +
                   element("entry2", entry_but("drv_name", most))));
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
    EXPECT_EQ(records().at(0).main_env_name, most);
    EXPECT_STREQ(records().at(1).main_env_name, "") << "not cut, and not the entry's before";
    EXPECT_EQ(records().at(2).drv_name, most);
}

TEST_F(CfgLegacy, EntryReadHalfWay_KeepsWhatWasRead) {
    load(main_node(element("entry0", element("id", "1") + element("chip_id", "2"))) +
         spare_node(element("entry0", entry_but("drv_name"))));
    mac_old_cfg_entry entry = filled();
    EXPECT_EQ(drv_mac_get_old_cfg_entry(kDefault, 0, "entry0", &entry), kNoNode);
    EXPECT_EQ(entry.id, 1u);
    EXPECT_EQ(entry.chip_id, 2u);
    EXPECT_EQ(entry.channel, 0x5a5a5a5au);
    EXPECT_EQ(entry.mac_num, 0x5a5a5a5au);
    EXPECT_EQ(entry.drv_name[0], 0x5a);
    for (const u32 area : {1u, 2u, 0xffffffffu}) {
        entry = filled();
        EXPECT_EQ(drv_mac_get_old_cfg_entry(kDefault, area, "entry0", &entry), kNoNode);
        EXPECT_EQ(entry.channel, 3u) << "the spare node for every area but 0";
        EXPECT_EQ(entry.mac_num, 4u);
        EXPECT_EQ(entry.drv_name[0], 0x5a);
        EXPECT_EQ(entry.storage_name[0], 0x5a) << "behind the one that is missing";
        EXPECT_EQ(entry.found, 0x5a5a5a5au) << "the caller's";
    }
}

TEST_F(CfgLegacy, NodeMissing_LeavesTheEntry) {
    load(main_node(element("entry0", entry_but(""))));
    mac_old_cfg_entry entry = filled();
    const mac_old_cfg_entry before = entry;
    EXPECT_EQ(drv_mac_get_old_cfg_entry(kDefault, 1, "entry0", &entry), 0x81160005u);
    EXPECT_EQ(drv_mac_get_old_cfg_entry(7, 0, "entry0", &entry), 0x81160005u);
    EXPECT_EQ(std::memcmp(&entry, &before, sizeof(entry)), 0);
}

TEST_F(CfgLegacy, SpareReadHalfWay_IsNone_AndTheNextOneIsItself) {
    const std::string whole = old_entry("1", "21", "31", "d", element("storage_name", "first"));
    const std::string half = element("id", "1") + element("chip_id", "22");
    const std::string last = old_entry("1", "23", "33", "d");
    load(main_node(element("entry0", entry_but("")) + element("entry1", entry_but("")) +
                   element("entry2", entry_but(""))) +
         spare_node(element("entry0", whole) + element("entry1", half) + element("entry2", last)));
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
    const auto all = records();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].spare_exist, 1u);
    EXPECT_EQ(all[0].spare_section_id, 21u);
    EXPECT_EQ(all[0].spare_offset, 31u);
    EXPECT_STREQ(all[0].spare_env_name, "first");
    EXPECT_EQ(all[1].spare_exist, 0u);
    EXPECT_EQ(all[1].spare_section_id, 0u) << "neither its own 22 nor the 21 before it";
    EXPECT_EQ(all[1].spare_offset, 0u);
    EXPECT_STREQ(all[1].spare_env_name, "");
    EXPECT_EQ(all[2].spare_exist, 1u);
    EXPECT_EQ(all[2].spare_section_id, 23u);
    EXPECT_EQ(all[2].spare_offset, 33u);
    EXPECT_STREQ(all[2].spare_env_name, "") << "no name of an entry before";
}

TEST_F(CfgLegacy, OnlyMainEntries_AreCounted) {
    const std::string entry = element("entry0", entry_but(""));
    load(main_node(entry) + spare_node(entry + element("entry1", entry_but(""))));
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
    EXPECT_EQ(records().size(), 1u);
    load(main_node("") + spare_node(entry));
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
    EXPECT_TRUE(records().empty());
}

TEST_F(CfgLegacy, FailureOfALaterEntry_KeepsTheRecordsBefore) {
    load(main_node(element("entry0", entry_but("")) + element("entry1", entry_but("id", "9")) +
                   element("entry2", entry_but("chip_id")) + element("entry3", entry_but(""))));
    const auto before = host::heap_use().blocks;
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), kNoNode);
    ASSERT_EQ(records().size(), 2u);
    EXPECT_EQ(records()[1].mac_type, 9u) << "appended at the tail";
    EXPECT_EQ(host::heap_use().blocks, before + 2);
}

TEST_F(CfgLegacy, EveryConvertedText_CanFail_AndFreesTheRecord) {
    load(main_node(element("entry0", entry_but(""))) +
         spare_node(element("entry0", entry_but(""))));
    const auto before = host::heap_use().blocks;
    for (const unsigned use : {1u, 2u, 3u, 4u}) {
        host::faults().fail(Call::kSprintf, use);
        EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0x81160003u) << use;
        EXPECT_EQ(host::heap_use().blocks, before) << use;
    }
    EXPECT_TRUE(records().empty());
    EXPECT_EQ(drv_mac_create_old_cfg(kDefault), 0u);
}

TEST_F(CfgLegacy, Conversion_TakesEachFieldFromItsOwn) {
    mac_old_cfg_entry main{0, 11, 12, 13, 14, "main_driver", "main_name"};
    mac_old_cfg_entry spare{1, 21, 22, 23, 24, "spare_driver", "spare_name"};
    mac_cfg_entry record{};
    EXPECT_EQ(drv_mac_old_cfg_to_new(3, &main, &spare, &record), 0u);
    mac_cfg_entry expected{{},          3, 11, 14, "main_driver", 0, 12, 13,
                           "main_name", 1, 22, 23, "spare_name"};
    EXPECT_TRUE(test::same(record, expected));
    spare.found = 0;
    record = {};
    EXPECT_EQ(drv_mac_old_cfg_to_new(3, &main, &spare, &record), 0u);
    expected = {{}, 3, 11, 14, "main_driver", 0, 12, 13, "main_name", 0, 0, 0, ""};
    EXPECT_TRUE(test::same(record, expected));
}

}  // namespace
