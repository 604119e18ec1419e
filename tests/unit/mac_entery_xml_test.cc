// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "config/mac_entery_xml.h"

#include <cstring>

#include "platform/xml.h"
#include "tests/support/fixture.h"
#include "tests/support/journal.h"

namespace {

using host::Call;
using test::Log;

constexpr u32 kDefault = 0xffffffff;

class MacEnteryXml : public test::PlatformTest {
protected:
    void load(const std::string& main, const std::string& spare) {
        use_board(test::board_with(test::tree_xml(main, spare)));
        EXPECT_EQ(mac_config_init(22, "mac_mng"), 0);
        take_log();
        EXPECT_EQ(mac_config_xml_init(kDefault, "mac_mng_0xffffffff"), 0);
    }
    static const mac_entry* find(u32 id, u32 code) {
        return mac_entery_find_by_device(kDefault, id, code);
    }
};

TEST_F(MacEnteryXml, Init_LoadsBothNodes) {
    load(test::entry_xml(0, 0, "drv_mac_flash", 45, 0x4c0, 16) +
             test::entry_xml(1, 2, "drv_mac_env", 0, 0, 8, "ethaddr"),
         test::entry_xml(0, 0, "drv_mac_eeprom", 264, 0x10, 16));
    const mac_entry* entry = find(0, 0x4d08);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->inst_id, kDefault);
    EXPECT_STREQ(entry->drv_name, "drv_mac_flash");
    EXPECT_EQ(entry->chip_id, 45u);
    EXPECT_EQ(entry->channel, 0x4c0u);
    EXPECT_EQ(entry->mac_num, 16u);
    EXPECT_EQ(entry->driver, nullptr);
    entry = find(2, 0x4d08);
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->storage_name, "ethaddr");
    entry = find(0, 0x4d09);
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->drv_name, "drv_mac_eeprom");
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacEnteryXml, Init_ReadsMainThenSpare_AttributesInOrder) {
    const std::string entry = test::entry_xml(0, 0, "d", 1, 1, 1, "s");
    use_board(test::board_with(test::tree_xml(entry + entry, entry)));
    ASSERT_EQ(mac_config_init(22, "mac_mng"), 0);
    test::Journal journal({"xml_"});
    EXPECT_EQ(mac_config_xml_init(kDefault, "n"), 0);
    const test::Journal::Calls attributes = {
        "xml_get_attr_value_u32 id",      "xml_get_attr_string drv_name 40",
        "xml_get_attr_value_u32 chip_id", "xml_get_attr_value_u32 channel",
        "xml_get_attr_value_u32 mac_num", "xml_get_attr_string storage_name 40"};
    test::Journal::Calls expected = {"xml_get_entry_list 0xffffffff mac_mng mac_storage_main"};
    expected.insert(expected.end(), attributes.begin(), attributes.end());
    expected.insert(expected.end(), attributes.begin(), attributes.end());
    expected.push_back("xml_get_entry_list 0xffffffff mac_mng mac_storage_spare");
    expected.insert(expected.end(), attributes.begin(), attributes.end());
    EXPECT_EQ(journal.take(), expected);
    std::vector<u32> codes;
    mac_config_find_by_instid(kDefault)->entry_list.for_each(
        [&codes](const mac_entry* one) { codes.push_back(one->storage_code); });
    EXPECT_EQ(codes, (std::vector<u32>{0x4d08, 0x4d08, 0x4d09}));
}

TEST_F(MacEnteryXml, TwelveEntries_AreAllLoaded) {
    std::string main;
    for (u32 id = 64; id < 76; ++id) main += test::entry_xml(id, id, "d", id, 2 * id, 3 * id);
    load(main, "");
    EXPECT_EQ(mac_config_find_by_instid(kDefault)->entry_num, 12u);
    for (u32 id = 64; id < 76; ++id) {
        const mac_entry* const entry = find(id, 0x4d08);
        ASSERT_NE(entry, nullptr) << id;
        EXPECT_EQ(entry->chip_id, id);
        EXPECT_EQ(entry->channel, 2 * id);
        EXPECT_EQ(entry->mac_num, 3 * id);
    }
}

TEST_F(MacEnteryXml, EntryAfterAFullOne_TakesItsOwnDefaults) {
    load(test::entry_xml(0, 0, "d", 5, 6, 7, "first") +
             R"(<e id="1" drv_name="d" chip_id="2" channel="3"/>)",
         "");
    const mac_entry* const entry = find(1, 0x4d08);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->mac_num, 1u);
    EXPECT_STREQ(entry->storage_name, "") << "not the name of the entry before";
}

TEST_F(MacEnteryXml, CountThatIsNoNumber_IsOne) {
    for (const char* const num : {"", "four", "-1", "0x100000000", "4 "}) {
        load(test::text(R"(<e id="1" drv_name="d" chip_id="2" channel="3" mac_num="%s"/>)", num),
             "");
        ASSERT_NE(find(1, 0x4d08), nullptr) << num;
        EXPECT_EQ(find(1, 0x4d08)->mac_num, 1u) << num;
        mac_config_exit();
    }
}

TEST_F(MacEnteryXml, Names_OfThirtyNineCharacters_AreTheLongest) {
    const std::string driver(39, 'd');
    const std::string storage(39, 's');
    load(test::entry_xml(0, 0, driver, 1, 1, 1, storage), "");
    ASSERT_NE(find(0, 0x4d08), nullptr);
    EXPECT_EQ(find(0, 0x4d08)->drv_name, driver);
    EXPECT_EQ(find(0, 0x4d08)->storage_name, storage);
}

TEST_F(MacEnteryXml, Status_FirstFailure_LeavesTheAttributesBehindIt) {
    const char* const attributes[] = {"id=\"1\" ", "drv_name=\"d\" ", "chip_id=\"2\" ",
                                      "channel=\"3\" "};
    for (size_t missing = 0; missing < 4; ++missing) {
        std::string element = "<e ";
        for (size_t i = 0; i < 4; ++i) element += i == missing ? "" : attributes[i];
        use_board(
            test::board_with(test::tree_xml("", element + "mac_num=\"4\" storage_name=\"s\"/>")));
        xml_entry* list = nullptr;
        u32 count = 0;
        ASSERT_EQ(xml_get_entry_list(kDefault, "mac_mng", "mac_storage_spare", &list, &count), 0u);
        mac_entry entry;
        std::memset(&entry, 0x5a, sizeof(entry));
        EXPECT_EQ(mac_entery_xml_status(9, "mac_storage_spare", list->element, &entry), -1);
        EXPECT_EQ(entry.inst_id, 9u);
        EXPECT_EQ(entry.storage_code, 0x4d09u);
        EXPECT_EQ(entry.id, missing > 0 ? 1u : 0x5a5a5a5au);
        EXPECT_EQ(entry.drv_name[0], missing > 1 ? 'd' : 0x5a);
        EXPECT_EQ(entry.chip_id, missing > 2 ? 2u : 0x5a5a5a5au);
        EXPECT_EQ(entry.channel, 0x5a5a5a5au);
        EXPECT_EQ(entry.mac_num, 0x5a5a5a5au);
        EXPECT_EQ(entry.storage_name[0], 0x5a);
    }
}

TEST_F(MacEnteryXml, Status_UnknownNode_HasTheCodeZero) {
    use_board(test::board_with(test::tree_xml(test::entry_xml(0, 1, "d", 2, 3, 4), "")));
    xml_entry* list = nullptr;
    u32 count = 0;
    ASSERT_EQ(xml_get_entry_list(kDefault, "mac_mng", "mac_storage_main", &list, &count), 0u);
    mac_entry entry{};
    entry.storage_code = 7;
    EXPECT_EQ(mac_entery_xml_status(9, "other", list->element, &entry), 0);
    EXPECT_EQ(entry.storage_code, 0u);
    EXPECT_EQ(entry.id, 1u);
    EXPECT_EQ(take_log(), (Log{{1, "mac entery other find xml ioctl fail."}}));
}

TEST_F(MacEnteryXml, ListThatFails_OrIsEmpty_IsPassedInSilence) {
    use_board(test::board_with(test::tree_xml("", test::entry_xml(0, 3, "d", 1, 1, 1))));
    ASSERT_EQ(mac_config_init(22, "mac_mng"), 0);
    take_log();
    host::faults().fail(Call::kMemset, 1, 22);
    EXPECT_EQ(mac_config_xml_init(kDefault, "n"), 0);
    EXPECT_EQ(take_log(), (Log{{1, "mac entery xml init memory set fail err_no = 22"}}))
        << "the spare's entry: the empty main node has none";
    mac_config_xml_exit(kDefault);
    host::faults().fail(Call::kXml, 1, 7);
    EXPECT_EQ(mac_config_xml_init(kDefault, "n"), 0);
    EXPECT_EQ(take_log(), Log{});
    EXPECT_NE(find(3, 0x4d09), nullptr) << "the other node is loaded all the same";
}

TEST_F(MacEnteryXml, OptionalAttributes_HaveDefaults) {
    load(R"(<entry0 id="1" drv_name="d" chip_id="2" channel="3"/>)", "");
    const mac_entry* const entry = find(1, 0x4d08);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->mac_num, 1u);
    EXPECT_STREQ(entry->storage_name, "");
}

TEST_F(MacEnteryXml, RequiredAttributeMissing_EndsThatNodeOnly) {
    const char* const broken[] = {
        R"(<e drv_name="d" chip_id="2" channel="3"/>)",
        R"(<e id="1" chip_id="2" channel="3"/>)",
        R"(<e id="1" drv_name="d" channel="3"/>)",
        R"(<e id="1" drv_name="d" chip_id="2"/>)",
        R"(<e id="one" drv_name="d" chip_id="2" channel="3"/>)",
    };
    for (const char* const element : broken) {
        load(test::entry_xml(0, 0, "d", 1, 1, 1) + element + test::entry_xml(2, 2, "d", 1, 1, 1),
             test::entry_xml(0, 3, "d", 1, 1, 1));
        EXPECT_NE(find(0, 0x4d08), nullptr) << element;
        EXPECT_EQ(find(1, 0x4d08), nullptr) << element;
        EXPECT_EQ(find(2, 0x4d08), nullptr) << element;
        EXPECT_NE(find(3, 0x4d09), nullptr) << element;
        EXPECT_EQ(take_log(),
                  (Log{{1, "mac inst 0xffffffff read xml node<mac_storage_main> entry fail"}}));
        mac_config_exit();
    }
}

TEST_F(MacEnteryXml, DriverNameOfFortyCharacters_IsRefusedNotCut) {
    load(test::entry_xml(0, 0, std::string(40, 'd'), 1, 1, 1), "");
    EXPECT_EQ(find(0, 0x4d08), nullptr);
    EXPECT_EQ(take_log(),
              (Log{{1, "mac inst 0xffffffff read xml node<mac_storage_main> entry fail"}}));
}

TEST_F(MacEnteryXml, StorageNameOfFortyCharacters_StaysEmpty) {
    load(test::entry_xml(0, 0, "d", 1, 1, 1, std::string(40, 's')), "");
    ASSERT_NE(find(0, 0x4d08), nullptr);
    EXPECT_STREQ(find(0, 0x4d08)->storage_name, "");
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacEnteryXml, NodesMissing_GiveNoEntriesInSilence) {
    use_board(test::board_with("<mac_mng/>"));
    ASSERT_EQ(mac_config_init(22, "mac_mng"), 0);
    take_log();
    EXPECT_EQ(mac_config_xml_init(kDefault, "n"), 0);
    EXPECT_EQ(mac_config_find_by_instid(kDefault)->entry_num, 0u);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacEnteryXml, Template_IsClearedInFull) {
    use_board(test::board_with(test::tree_xml(test::entry_xml(0, 0, "d", 1, 1, 1), "")));
    ASSERT_EQ(mac_config_init(22, "mac_mng"), 0);
    test::Journal journal({"memset_s"});
    EXPECT_EQ(mac_config_xml_init(kDefault, "n"), 0);
    const size_t bytes = sizeof(mac_entry);
    EXPECT_EQ(journal.take(), (test::Journal::Calls{test::text("memset_s %zu %zu", bytes, bytes)}));
}

TEST_F(MacEnteryXml, TemplateClearRefused_EndsTheNode) {
    use_board(test::board_with(test::tree_xml(
        test::entry_xml(0, 0, "d", 1, 1, 1) + test::entry_xml(1, 1, "d", 1, 1, 1), "")));
    ASSERT_EQ(mac_config_init(22, "mac_mng"), 0);
    take_log();
    host::faults().fail(Call::kMemset, 2, 22);
    EXPECT_EQ(mac_config_xml_init(kDefault, "n"), 0);
    EXPECT_EQ(take_log(), (Log{{1, "mac entery xml init memory set fail err_no = 22"}}));
    EXPECT_NE(find(0, 0x4d08), nullptr);
    EXPECT_EQ(find(1, 0x4d08), nullptr);
}

TEST_F(MacEnteryXml, TemplateClearRefused_TheErrorReadsSigned) {
    use_board(test::board_with(test::tree_xml(test::entry_xml(0, 0, "d", 1, 1, 1), "")));
    ASSERT_EQ(mac_config_init(22, "mac_mng"), 0);
    take_log();
    host::faults().fail(Call::kMemset, 1, static_cast<u32>(-22));
    EXPECT_EQ(mac_config_xml_init(kDefault, "n"), 0);
    EXPECT_EQ(take_log(), (Log{{1, "mac entery xml init memory set fail err_no = -22"}}));
}

TEST_F(MacEnteryXml, EntryCannotBeCreated_NextOneIs) {
    use_board(test::board_with(test::tree_xml(
        test::entry_xml(0, 0, "d", 1, 1, 1) + test::entry_xml(1, 1, "d", 1, 1, 1), "")));
    ASSERT_EQ(mac_config_init(22, "mac_mng"), 0);
    take_log();
    host::faults().fail(Call::kZalloc, 2);
    EXPECT_EQ(mac_config_xml_init(kDefault, "n"), 0);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff malloc entry[0x0-0x4d08] fail."},
                               {1,
                                "mac entery xml init\xa3\xba"
                                "mac create entry fail ret = 4294967295"}}));
    EXPECT_EQ(find(0, 0x4d08), nullptr);
    EXPECT_NE(find(1, 0x4d08), nullptr);
}

TEST_F(MacEnteryXml, Init_MountedInstance_LoadsNothing) {
    load(test::entry_xml(0, 0, "d", 1, 1, 1), "");
    EXPECT_EQ(mac_config_xml_init(kDefault, "n"), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0xffffffff search config exist."}}));
    EXPECT_EQ(mac_config_find_by_instid(kDefault)->entry_num, 1u);
}

TEST_F(MacEnteryXml, Exit_RemovesRecordAndEntries) {
    load(test::entry_xml(0, 0, "d", 1, 1, 1), "");
    mac_config_xml_exit(kDefault);
    EXPECT_EQ(mac_config_find_by_instid(kDefault), nullptr);
    EXPECT_EQ(find(0, 0x4d08), nullptr);
    mac_config_xml_exit(kDefault);
    EXPECT_EQ(take_log(), Log{}) << "an instance that is not there is ignored";
}

TEST_F(MacEnteryXml, NodeNames_MatchExactly) {
    EXPECT_EQ(mac_entery_xml_func("mac_storage_main"), mac_entery_xml_status);
    EXPECT_EQ(mac_entery_xml_func("mac_storage_spare"), mac_entery_xml_status);
    EXPECT_EQ(mac_entery_xml_ioctl("mac_storage_main"), 0x4d08u);
    EXPECT_EQ(mac_entery_xml_ioctl("mac_storage_spare"), 0x4d09u);
    EXPECT_EQ(take_log(), Log{});
    for (const char* const name : {"mac_storage_mai", "mac_storage_main2", ""}) {
        EXPECT_EQ(mac_entery_xml_func(name), nullptr);
        EXPECT_EQ(mac_entery_xml_ioctl(name), 0u);
        EXPECT_EQ(take_log(), (Log{{1, test::text("mac entery %s find xml func fail.", name)},
                                   {1, test::text("mac entery %s find xml ioctl fail.", name)}}));
    }
}

TEST_F(MacEnteryXml, Read_UnknownNode_Fails) {
    mac_entry entry{};
    EXPECT_EQ(mac_entery_xml_read(1, "other", &entry, &entry), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac entery other find xml func fail."}}));
}

TEST_F(MacEnteryXml, Status_NullPointers_Fail) {
    mac_entry entry{};
    EXPECT_EQ(mac_entery_xml_status(1, "mac_storage_main", nullptr, &entry), -1);
    EXPECT_EQ(entry.inst_id, 0u) << "nothing is set";
    EXPECT_EQ(mac_entery_xml_status(1, "mac_storage_main", &entry, nullptr), -1);
    EXPECT_EQ(take_log(), Log{});
}

}  // namespace
