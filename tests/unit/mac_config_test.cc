// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "config/mac_config.h"

#include "platform/bounded.h"
#include "platform/host/memory_service.h"
#include "platform/memory.h"
#include "tests/support/fixture.h"
#include "tests/support/journal.h"

namespace {

using host::Call;
using test::Log;

class MacConfig : public test::PlatformTest {
protected:
    MacConfig() {
        EXPECT_EQ(mac_config_init(22, "mac_mng"), 0);
        take_log();
    }
};

mac_entry make_template(u32 inst, u32 id, u32 code) {
    mac_entry entry{};
    entry.inst_id = inst;
    entry.id = id;
    entry.storage_code = code;
    entry.chip_id = 45;
    entry.channel = 0x4c0;
    entry.mac_num = 16;
    strncpy_s(entry.drv_name, sizeof(entry.drv_name), "drv_mac_flash", 13);
    strncpy_s(entry.storage_name, sizeof(entry.storage_name), "pool", 4);
    return entry;
}

TEST_F(MacConfig, Init_SetsUpEveryField) {
    // What an earlier life left is cleared.
    g_mac_config.max_num = 99;
    EXPECT_EQ(mac_config_init(22, "mac_mng"), 0);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize config."}}));
    EXPECT_STREQ(g_mac_config.name, "mac_mng");
    EXPECT_EQ(g_mac_config.module_id, 22u);
    EXPECT_EQ(g_mac_config.max_num, 16u);
    EXPECT_TRUE(g_mac_config.config_list.empty());
    EXPECT_TRUE(g_mac_config.cfg_list.empty());
    EXPECT_TRUE(g_mac_config.type_list.empty());
    mac_mutex_lock();
    drv_mac_lock();
    drv_mac_unlock();
    mac_mutex_unlock();
}

TEST_F(MacConfig, Init_ClearRefused_Fails) {
    host::faults().fail(Call::kMemset, 1, 34);
    EXPECT_EQ(mac_config_init(22, "mac_mng"), -14);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize config."},
                               {1, "mac config init memory set fail err_no = 34"}}));
}

TEST_F(MacConfig, Init_NameTooLong_Fails) {
    EXPECT_EQ(mac_config_init(22, std::string(40, 'n').c_str()), -14);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize config."},
                               {1, "mac config init memory copy fail err_no = 34"}}));
    EXPECT_EQ(mac_config_init(22, std::string(39, 'n').c_str()), 0);
}

TEST_F(MacConfig, Names_AreCopiedInto_FortyCharacters) {
    test::Journal journal({"strncpy_s", "memset_s"});
    EXPECT_EQ(mac_config_init(22, "mac_mng"), 0);
    const size_t bytes = sizeof(g_mac_config);
    EXPECT_EQ(journal.take(), (test::Journal::Calls{test::text("memset_s %zu %zu", bytes, bytes),
                                                    "strncpy_s 40 7"}));
    EXPECT_EQ(mac_create_config(3, "name"), 0);
    EXPECT_EQ(journal.take(), (test::Journal::Calls{"strncpy_s 40 4"}));
    const mac_entry entry = make_template(3, 2, 0x4d08);
    (void)journal.take();
    EXPECT_EQ(mac_create_entry(&entry), 0);
    EXPECT_EQ(journal.take(), (test::Journal::Calls{"strncpy_s 40 13", "strncpy_s 40 4"}))
        << "the driver's name, then the storage's";
}

TEST_F(MacConfig, CreateEntry_NameWithoutAnEnd_IsRefused) {
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    const auto before = host::heap_use().blocks;
    mac_entry entry{};
    entry.inst_id = 3;
    std::fill(std::begin(entry.storage_name), std::end(entry.storage_name), 's');
    EXPECT_EQ(mac_create_entry(&entry), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac create entry string copy fail err_no = 34"}}));
    entry.storage_name[39] = '\0';
    std::fill(std::begin(entry.drv_name), std::end(entry.drv_name), 'd');
    EXPECT_EQ(mac_create_entry(&entry), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac create entry string set fail err_no = 34"}}));
    EXPECT_EQ(host::heap_use().blocks, before);
    EXPECT_EQ(mac_config_find_by_instid(3)->entry_num, 0u);
    entry.drv_name[39] = '\0';
    EXPECT_EQ(mac_create_entry(&entry), 0);
    const mac_entry* const found = mac_entery_find_by_device(3, 0, 0);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->drv_name, std::string(39, 'd'));
    EXPECT_EQ(found->storage_name, std::string(39, 's'));
}

TEST_F(MacConfig, FailedCreation_LeavesTheRegistry) {
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    const mac_inst_config* const only = mac_config_find_by_instid(3);
    host::faults().fail(Call::kZalloc);
    EXPECT_EQ(mac_create_config(4, "n"), -1);
    EXPECT_EQ(mac_create_config(4, std::string(40, 'n').c_str()), -1);
    EXPECT_EQ(mac_create_config(3, "n"), -1);
    EXPECT_EQ(g_mac_config.config_list.first(), only);
    EXPECT_EQ(g_mac_config.config_list.after(only), nullptr);
    EXPECT_EQ(mac_config_find_by_instid(4), nullptr);
    host::faults().fail(Call::kZalloc);
    const mac_entry entry = make_template(3, 2, 0x4d08);
    EXPECT_EQ(mac_create_entry(&entry), -1);
    EXPECT_EQ(only->entry_num, 0u);
    EXPECT_TRUE(only->entry_list.empty());
}

TEST_F(MacConfig, Records_StandInTheOrderOfInsertion) {
    // More than the table has chains.
    for (u32 inst = 0; inst < 100; ++inst) ASSERT_EQ(mac_create_config(inst, "n"), 0);
    u32 inst = 0;
    g_mac_config.config_list.for_each([&inst](const mac_inst_config* config) {
        EXPECT_EQ(config->inst_id, inst++);
        EXPECT_EQ(mac_config_find_by_instid(config->inst_id), config);
    });
    for (inst = 0; inst < 100; inst += 2) mac_remove_config(mac_config_find_by_instid(inst));
    for (inst = 0; inst < 100; ++inst) {
        EXPECT_EQ(mac_config_find_by_instid(inst) != nullptr, inst % 2 == 1) << inst;
    }
    mac_delete_config();
    for (inst = 0; inst < 100; ++inst) EXPECT_EQ(mac_config_find_by_instid(inst), nullptr);
}

TEST_F(MacConfig, CreateConfig_MakesARecord) {
    EXPECT_EQ(mac_create_config(3, "mac_mng_0x00000003"), 0);
    const mac_inst_config* const config = mac_config_find_by_instid(3);
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->inst_id, 3u);
    EXPECT_STREQ(config->name, "mac_mng_0x00000003");
    EXPECT_EQ(config->entry_num, 0u);
    EXPECT_TRUE(config->entry_list.empty());
    EXPECT_EQ(mac_config_find_by_instid(4), nullptr);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacConfig, CreateConfig_Twice_FailsAndLeavesTheFirst) {
    ASSERT_EQ(mac_create_config(0x1a, "first"), 0);
    const mac_inst_config* const first = mac_config_find_by_instid(0x1a);
    EXPECT_EQ(mac_create_config(0x1a, "second"), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1a search config exist."}}));
    EXPECT_EQ(mac_config_find_by_instid(0x1a), first);
    EXPECT_STREQ(first->name, "first");
}

TEST_F(MacConfig, CreateConfig_NoMemory_Fails) {
    host::faults().fail(Call::kZalloc);
    EXPECT_EQ(mac_create_config(0x1a, "n"), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1a malloc config fail."}}));
    EXPECT_EQ(mac_config_find_by_instid(0x1a), nullptr);
}

TEST_F(MacConfig, CreateConfig_FortyCharacters_FailAndFreeTheRecord) {
    const auto before = host::heap_use().blocks;
    EXPECT_EQ(mac_create_config(1, std::string(40, 'n').c_str()), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac create config string copy fail err_no = 34"}}));
    EXPECT_EQ(host::heap_use().blocks, before);
    EXPECT_EQ(mac_create_config(1, std::string(39, 'n').c_str()), 0);
}

TEST_F(MacConfig, CreateEntry_CopiesTheTemplate_Unbound) {
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    mac_entry entry = make_template(3, 2, 0x4d08);
    MacDriverOps ops{};
    entry.driver = &ops;
    EXPECT_EQ(mac_create_entry(&entry), 0);
    const mac_entry* const found = mac_entery_find_by_device(3, 2, 0x4d08);
    ASSERT_NE(found, nullptr);
    EXPECT_NE(found, &entry);
    EXPECT_EQ(found->inst_id, 3u);
    EXPECT_EQ(found->id, 2u);
    EXPECT_EQ(found->storage_code, 0x4d08u);
    EXPECT_EQ(found->chip_id, 45u);
    EXPECT_EQ(found->channel, 0x4c0u);
    EXPECT_EQ(found->mac_num, 16u);
    EXPECT_STREQ(found->drv_name, "drv_mac_flash");
    EXPECT_STREQ(found->storage_name, "pool");
    EXPECT_EQ(found->driver, nullptr);
    EXPECT_EQ(mac_config_find_by_instid(3)->entry_num, 1u);
}

TEST_F(MacConfig, CreateEntry_NullTemplate_FailsInSilence) {
    EXPECT_EQ(mac_create_entry(nullptr), -1);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacConfig, CreateEntry_NoMemory_NamesTheEntry) {
    ASSERT_EQ(mac_create_config(0x1b, "n"), 0);
    const mac_entry entry = make_template(0x1b, 0x40, 0x4d09);
    host::faults().fail(Call::kZalloc);
    EXPECT_EQ(mac_create_entry(&entry), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac inst 0x1b malloc entry[0x40-0x4d09] fail."}}));
}

TEST_F(MacConfig, CreateEntry_NameCopyRefused_FreesTheEntry) {
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    const mac_entry entry = make_template(3, 2, 0x4d08);
    const auto before = host::heap_use().blocks;
    host::faults().fail(Call::kStrncpy, 1, 34);
    EXPECT_EQ(mac_create_entry(&entry), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac create entry string set fail err_no = 34"}}));
    host::faults().fail(Call::kStrncpy, 2, 35);
    EXPECT_EQ(mac_create_entry(&entry), -1);
    EXPECT_EQ(take_log(), (Log{{1, "mac create entry string copy fail err_no = 35"}}));
    EXPECT_EQ(host::heap_use().blocks, before);
    EXPECT_EQ(mac_entery_find_by_device(3, 2, 0x4d08), nullptr);
}

TEST_F(MacConfig, ErrorsOfRoutines_ReadSigned) {
    const auto refuse = [](Call call, unsigned nth, int code) {
        host::faults().fail(call, nth, static_cast<u32>(code));
    };
    const auto told = [this] {
        const Log lines = take_log(1);
        return lines.size() == 1 ? lines[0].text : test::text("%zu lines", lines.size());
    };
    refuse(Call::kMemset, 1, -11);
    EXPECT_EQ(mac_config_init(22, "mac_mng"), -14);
    EXPECT_EQ(told(), "mac config init memory set fail err_no = -11");
    refuse(Call::kStrncpy, 1, -12);
    EXPECT_EQ(mac_config_init(22, "mac_mng"), -14);
    EXPECT_EQ(told(), "mac config init memory copy fail err_no = -12");
    ASSERT_EQ(mac_config_init(22, "mac_mng"), 0);
    refuse(Call::kStrncpy, 1, -13);
    EXPECT_EQ(mac_create_config(3, "n"), -1);
    EXPECT_EQ(told(), "mac create config string copy fail err_no = -13");
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    const mac_entry entry = make_template(3, 2, 0x4d08);
    refuse(Call::kStrncpy, 1, -14);
    EXPECT_EQ(mac_create_entry(&entry), -1);
    EXPECT_EQ(told(), "mac create entry string set fail err_no = -14");
    refuse(Call::kStrncpy, 2, -15);
    EXPECT_EQ(mac_create_entry(&entry), -1);
    EXPECT_EQ(told(), "mac create entry string copy fail err_no = -15");
}

TEST_F(MacConfig, CreateEntry_WithoutInstance_SucceedsUnreachable) {
    const mac_entry entry = make_template(9, 2, 0x4d08);
    const auto before = host::heap_use().blocks;
    EXPECT_EQ(mac_create_entry(&entry), 0);
    EXPECT_EQ(host::heap_use().blocks, before + 1) << "made, not inserted and not freed";
    EXPECT_EQ(mac_entery_find_by_device(9, 2, 0x4d08), nullptr);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacConfig, FindByDevice_EqualEntries_GivesTheFirst) {
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    mac_entry entry = make_template(3, 2, 0x4d08);
    entry.chip_id = 1;
    ASSERT_EQ(mac_create_entry(&entry), 0);
    entry.chip_id = 2;
    ASSERT_EQ(mac_create_entry(&entry), 0);
    EXPECT_EQ(mac_entery_find_by_device(3, 2, 0x4d08)->chip_id, 1u);
    EXPECT_EQ(mac_config_find_by_instid(3)->entry_num, 2u);
}

TEST_F(MacConfig, FindByDevice_MatchesTypeAndCode) {
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    const mac_entry entry = make_template(3, 2, 0x4d08);
    ASSERT_EQ(mac_create_entry(&entry), 0);
    EXPECT_EQ(mac_entery_find_by_device(3, 2, 0x4d09), nullptr);
    EXPECT_EQ(mac_entery_find_by_device(3, 1, 0x4d08), nullptr);
    EXPECT_EQ(mac_entery_find_by_device(4, 2, 0x4d08), nullptr) << "unknown instance";
}

TEST_F(MacConfig, RemoveEntry_FreesOne) {
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    const auto before = host::heap_use().blocks;
    const mac_entry entry = make_template(3, 2, 0x4d08);
    ASSERT_EQ(mac_create_entry(&entry), 0);
    mac_remove_entry(mac_entery_find_by_device(3, 2, 0x4d08));
    EXPECT_EQ(mac_entery_find_by_device(3, 2, 0x4d08), nullptr);
    EXPECT_EQ(mac_config_find_by_instid(3)->entry_num, 0u);
    EXPECT_EQ(host::heap_use().blocks, before);
}

TEST_F(MacConfig, RemoveEntry_WithoutInstance_IsIgnored) {
    auto* const entry = static_cast<mac_entry*>(platform_zalloc(sizeof(mac_entry)));
    entry->inst_id = 77;
    const auto before = host::heap_use().blocks;
    mac_remove_entry(entry);
    EXPECT_EQ(host::heap_use().blocks, before) << "not freed";
    platform_free(entry);
}

TEST_F(MacConfig, RefusedLink_StillCounts) {
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    mac_inst_config* const config = mac_config_find_by_instid(3);
    auto* const stray = static_cast<mac_entry*>(platform_zalloc(sizeof(mac_entry)));
    stray->inst_id = 3;
    mac_insert_entry(stray);
    EXPECT_EQ(config->entry_num, 1u);
    // The same node again: the tail is the node itself, so the check refuses it.
    mac_insert_entry(stray);
    EXPECT_EQ(config->entry_num, 2u);
    EXPECT_EQ(config->entry_list.first(), stray);
    EXPECT_EQ(config->entry_list.after(stray), nullptr);
}

TEST_F(MacConfig, NodesThatWereNeverLinked_AreFreedAllTheSame) {
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    const mac_entry entry = make_template(3, 2, 0x4d08);
    ASSERT_EQ(mac_create_entry(&entry), 0);
    mac_inst_config* const config = mac_config_find_by_instid(3);
    const auto before = host::heap_use().blocks;
    auto* const stray = static_cast<mac_entry*>(platform_zalloc(sizeof(mac_entry)));
    stray->inst_id = 3;
    mac_remove_entry(stray);
    EXPECT_EQ(config->entry_num, 0u) << "counted down without a look";
    EXPECT_NE(mac_entery_find_by_device(3, 2, 0x4d08), nullptr) << "the list is as it was";
    auto* const other = static_cast<mac_inst_config*>(platform_zalloc(sizeof(mac_inst_config)));
    other->inst_id = 9;
    mac_remove_config(other);
    EXPECT_EQ(mac_config_find_by_instid(3), config);
    EXPECT_EQ(host::heap_use().blocks, before);
}

TEST_F(MacConfig, InsertConfig_ThatTheListRefuses_IsNotFound) {
    auto* const config = static_cast<mac_inst_config*>(platform_zalloc(sizeof(mac_inst_config)));
    config->inst_id = 3;
    g_mac_config.config_list = {};
    mac_insert_config(config);
    EXPECT_EQ(mac_config_find_by_instid(3), nullptr);
    platform_free(config);
}

TEST_F(MacConfig, NullArguments_AreIgnored) {
    mac_insert_config(nullptr);
    mac_remove_config(nullptr);
    mac_insert_entry(nullptr);
    mac_remove_entry(nullptr);
    mac_delete_entry(nullptr);
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacConfig, RemoveConfig_LeavesItsEntries) {
    ASSERT_EQ(mac_create_config(3, "n"), 0);
    const mac_entry entry = make_template(3, 2, 0x4d08);
    ASSERT_EQ(mac_create_entry(&entry), 0);
    const auto before = host::heap_use().blocks;
    mac_remove_config(mac_config_find_by_instid(3));
    EXPECT_EQ(host::heap_use().blocks, before - 1);
    EXPECT_EQ(mac_config_find_by_instid(3), nullptr);
}

TEST_F(MacConfig, Exit_FreesEverything) {
    const auto before = host::heap_use().blocks;
    for (const u32 inst : {1u, 2u, 0xffffffffu}) {
        ASSERT_EQ(mac_create_config(inst, "n"), 0);
        for (u32 id = 0; id < 3; ++id) {
            const mac_entry entry = make_template(inst, id, 0x4d08);
            ASSERT_EQ(mac_create_entry(&entry), 0);
        }
    }
    EXPECT_EQ(host::heap_use().blocks, before + 12);
    mac_config_exit();
    EXPECT_EQ(host::heap_use().blocks, before);
    EXPECT_TRUE(g_mac_config.config_list.empty());
}

}  // namespace
