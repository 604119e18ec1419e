// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The diagnostic attributes.
#include "control/mac_diag.h"

#include <cstring>

#include "platform/host/device_service.h"
#include "platform/host/memory_service.h"
#include "tests/support/fixture.h"
#include "tests/support/journal.h"

namespace {

using host::Call;
using test::Journal;
using test::Log;

class MacDiag : public test::PlatformTest {
protected:
    static const host::DiagObject& object() { return *host::diag_objects().at(0); }
};

TEST_F(MacDiag, Init_PublishesTwoAttributes) {
    EXPECT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize diag."}}));
    EXPECT_EQ(g_mac_diag.module_id, 22u);
    EXPECT_EQ(g_mac_diag.max_attr, 10u);
    EXPECT_EQ(g_mac_diag.attr_count, 2u);
    EXPECT_EQ(object().name, "mac_mng");
    ASSERT_NE(object().group, nullptr);
    EXPECT_EQ(object().group->name, nullptr);
    platform_attribute** const attributes = object().group->attributes;
    for (const auto& [index, name] : {std::pair{0, "devlist"}, std::pair{1, "drvlist"}}) {
        EXPECT_STREQ(attributes[index]->name, name);
        EXPECT_EQ(attributes[index]->mode, 0400u);
        char page[8] = "before";
        EXPECT_EQ(attributes[index]->show(nullptr, attributes[index], page), 0);
        EXPECT_EQ(attributes[index]->store(nullptr, attributes[index], "1", 1), 0);
        EXPECT_STREQ(page, "before");
    }
    EXPECT_EQ(attributes[2], nullptr);
    EXPECT_EQ(host::diag_modules(), std::vector<std::string>{"mac_mng"});
    ASSERT_EQ(host::diag_filelists().size(), 1u);
    const diag_file* const files = host::diag_filelists()[0];
    EXPECT_STREQ(files[0].name, "devlist");
    EXPECT_EQ(files[0].kind, 1);
    EXPECT_STREQ(files[1].name, "drvlist");
    EXPECT_EQ(files[1].kind, 1);
    EXPECT_EQ(files[2].name, nullptr);
    EXPECT_EQ(files[2].kind, 0);
    EXPECT_EQ(mac_diag_get_kobject(), g_mac_diag.kobject);
}

TEST_F(MacDiag, Init_AsksItsServicesInOrder) {
    Journal journal({"diag_", "platform_", "memset_s", "strncpy_s"});
    EXPECT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    const std::string all = test::text("memset_s %zu %zu", sizeof(g_mac_diag), sizeof(g_mac_diag));
    Journal::Calls expected = {all, "strncpy_s 40 7", "diag_create_kobject mac_mng"};
    expected.insert(expected.end(), 10, "platform_zalloc 32");
    for (const char* call :
         {"diag_module_register mac_mng", "memset_s 32 32", "strncpy_s 32 7", "memset_s 32 32",
          "strncpy_s 32 7", "platform_sysfs_create_group", "diag_filelist_register mac_mng 7"}) {
        expected.emplace_back(call);
    }
    EXPECT_EQ(journal.take(), expected);
}

TEST_F(MacDiag, Exit_TearsDownInOrder) {
    for (const char* name : {"mac_mng", "other"}) {
        ASSERT_EQ(mac_diag_init(22, name), 0u);
        Journal journal;
        mac_diag_exit();
        EXPECT_EQ(
            journal.take(),
            (Journal::Calls{test::text("diag_filelist_unregister %s %zu", name, std::strlen(name)),
                            "platform_sysfs_remove_group",
                            test::text("diag_module_unregister %s", name), "diag_delete_kobject"}));
    }
}

TEST_F(MacDiag, Exit_WithoutAnObject_RemovesNoGroup) {
    host::faults().fail(Call::kDiagKobject);
    EXPECT_NE(mac_diag_init(22, "mac_mng"), 0u);
    Journal journal;
    mac_diag_exit();
    EXPECT_EQ(journal.take(),
              (Journal::Calls{"diag_filelist_unregister mac_mng 7",
                              "diag_module_unregister mac_mng", "diag_delete_kobject"}));
}

TEST_F(MacDiag, Init_StateOfAnEarlierLife_IsCleared) {
    std::memset(&g_mac_diag, 0x5a, sizeof(g_mac_diag));
    EXPECT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    EXPECT_EQ(g_mac_diag.attr_count, 2u);
    for (u32 slot = 2; slot < 10; ++slot) {
        EXPECT_EQ(g_mac_diag.attr_list[slot], nullptr) << slot;
        EXPECT_EQ(g_mac_diag.attr[slot].name, nullptr) << slot;
        EXPECT_EQ(g_mac_diag.file_list[slot].name, nullptr) << slot;
        EXPECT_EQ(g_mac_diag.file_list[slot].kind, 0) << slot;
        EXPECT_NE(g_mac_diag.attr_name[slot], nullptr) << slot;
    }
    EXPECT_EQ(g_mac_diag.group.name, nullptr);
    EXPECT_EQ(g_mac_diag.group.attributes, g_mac_diag.attr_list);
}

TEST_F(MacDiag, Init_RefusedName_LeavesTheStateCleared) {
    ASSERT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    Journal journal({"diag_"});
    EXPECT_EQ(mac_diag_init(22, std::string(40, 'n').c_str()), 0xfffffff2u);
    EXPECT_EQ(journal.take(), Journal::Calls{}) << "the service is not asked";
    EXPECT_EQ(g_mac_diag.module_id, 0u);
    EXPECT_STREQ(g_mac_diag.name, "");
    EXPECT_EQ(g_mac_diag.kobject, nullptr);
    EXPECT_EQ(mac_diag_init(22, std::string(39, 'n').c_str()), 0u) << "39 and their end fit";
}

TEST_F(MacDiag, GroupRefused_LeavesWhatIsThere) {
    host::faults().fail(Call::kSysfsCreate, 1, 0x11);
    EXPECT_EQ(mac_diag_init(22, "mac_mng"), 0x11u);
    EXPECT_EQ(host::diag_modules(), std::vector<std::string>{"mac_mng"});
    EXPECT_EQ(host::diag_objects().size(), 1u);
    EXPECT_EQ(g_mac_diag.attr_count, 2u) << "nothing is undone";
}

TEST_F(MacDiag, Exit_TakesEverythingAway_ButTheNames) {
    ASSERT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    mac_diag_exit();
    EXPECT_TRUE(host::diag_objects().empty());
    EXPECT_TRUE(host::diag_modules().empty());
    EXPECT_TRUE(host::diag_filelists().empty());
    EXPECT_EQ(host::heap_use().blocks, 10u);
    EXPECT_EQ(g_mac_diag.attr_count, 2u);
}

TEST_F(MacDiag, Init_Refusals_Fail) {
    host::faults().fail(Call::kMemset, 1, 22);
    EXPECT_EQ(mac_diag_init(22, "mac_mng"), 0xfffffff2u);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize diag."},
                               {1, "mac diag init memory set fail err_no = 22"}}));
    EXPECT_EQ(mac_diag_init(22, std::string(40, 'n').c_str()), 0xfffffff2u);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize diag."},
                               {1, "mac diag init string copy fail err_no = 34"}}));
}

TEST_F(MacDiag, Init_GroupRefused_GivesItsCode) {
    host::faults().fail(Call::kSysfsCreate, 1, 0x11);
    EXPECT_EQ(mac_diag_init(22, "mac_mng"), 0x11u);
    EXPECT_EQ(take_log(),
              (Log{{2, "mac enter initialize diag."}, {1, "mac diag create group mac_mng fail"}}));
    EXPECT_TRUE(host::diag_filelists().empty());
}

TEST_F(MacDiag, WithoutObject_TheGroupIsRefused) {
    host::faults().fail(Call::kDiagKobject);
    EXPECT_NE(mac_diag_init(22, "mac_mng"), 0u);
    take_log();
    EXPECT_EQ(mac_diag_get_kobject(), nullptr);
    EXPECT_EQ(take_log(), (Log{{1, "mac diag find kobject fail"}}));
    mac_diag_exit();
}

TEST_F(MacDiag, ServiceResults_AreIgnored) {
    host::faults().fail(Call::kDiagModule, 1, 5);
    host::faults().fail(Call::kDiagFilelist, 1, 6);
    EXPECT_EQ(mac_diag_init(22, "mac_mng"), 0u);
}

TEST_F(MacDiag, AddAttr_AdmitsEight) {
    ASSERT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    take_log();
    for (u32 i = 2; i < 8; ++i) {
        mac_diag_add_attr(test::text("attr%u", i).c_str(), 0, mac_diag_show, mac_diag_store);
        EXPECT_EQ(g_mac_diag.attr_count, i + 1);
    }
    EXPECT_EQ(take_log(), Log{});
    mac_diag_add_attr("ninth", 0, mac_diag_show, mac_diag_store);
    EXPECT_EQ(take_log(), (Log{{1, "mac diag add attr 8 name ninth fail"}}));
    EXPECT_EQ(g_mac_diag.attr_count, 8u);
}

TEST_F(MacDiag, AddAttr_FillsItsSlot) {
    ASSERT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    std::memset(g_mac_diag.attr_name[2], 0x5a, 32);
    const auto show = [](void*, const platform_attribute*, char*) -> long { return 1; };
    const auto store = [](void*, const platform_attribute*, const char*, size_t) -> long {
        return 2;
    };
    mac_diag_add_attr("third", 9, show, store);
    EXPECT_EQ(std::string(g_mac_diag.attr_name[2], 32), "third" + std::string(27, '\0'))
        << "cleared before";
    EXPECT_EQ(g_mac_diag.attr[2].name, g_mac_diag.attr_name[2]);
    EXPECT_EQ(g_mac_diag.attr[2].mode, 0400u);
    EXPECT_EQ(g_mac_diag.attr[2].show, +show);
    EXPECT_EQ(g_mac_diag.attr[2].store, +store);
    EXPECT_EQ(g_mac_diag.attr_list[2], &g_mac_diag.attr[2]);
    EXPECT_EQ(g_mac_diag.attr_list[3], nullptr);
    EXPECT_EQ(g_mac_diag.file_list[2].name, g_mac_diag.attr_name[2]);
    EXPECT_EQ(g_mac_diag.file_list[2].kind, 9);
    EXPECT_EQ(g_mac_diag.file_list[3].name, nullptr);
}

TEST_F(MacDiag, AddAttr_ThatIsSkipped_LeavesItsSlotToTheNext) {
    ASSERT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    take_log();
    host::faults().fail(Call::kMemset, 1, 12);
    mac_diag_add_attr("lost", 1, mac_diag_show, mac_diag_store);
    host::faults().fail(Call::kStrncpy, 1, 13);
    mac_diag_add_attr("lost", 1, mac_diag_show, mac_diag_store);
    EXPECT_EQ(take_log(), (Log{{1, "mac diag add attr memory set fail err_no = 12"},
                               {1, "mac diag add attr string copy fail err_no = 13"}}));
    EXPECT_EQ(g_mac_diag.attr_count, 2u);
    EXPECT_EQ(g_mac_diag.attr_list[2], nullptr);
    EXPECT_EQ(g_mac_diag.file_list[2].name, nullptr);
    mac_diag_add_attr("third", 1, mac_diag_show, mac_diag_store);
    EXPECT_STREQ(g_mac_diag.attr_list[2]->name, "third");
}

TEST_F(MacDiag, ErrorsOfRoutines_ReadSigned) {
    const auto refuse = [](Call call, int code) {
        host::faults().fail(call, 1, static_cast<u32>(code));
    };
    refuse(Call::kMemset, -11);
    EXPECT_EQ(mac_diag_init(22, "mac_mng"), 0xfffffff2u);
    EXPECT_EQ(take_log(1), (Log{{1, "mac diag init memory set fail err_no = -11"}}));
    refuse(Call::kStrncpy, -12);
    EXPECT_EQ(mac_diag_init(22, "mac_mng"), 0xfffffff2u);
    EXPECT_EQ(take_log(1), (Log{{1, "mac diag init string copy fail err_no = -12"}}));
    ASSERT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    refuse(Call::kMemset, -13);
    mac_diag_add_attr("lost", 1, mac_diag_show, mac_diag_store);
    refuse(Call::kStrncpy, -14);
    mac_diag_add_attr("lost", 1, mac_diag_show, mac_diag_store);
    EXPECT_EQ(take_log(1), (Log{{1, "mac diag add attr memory set fail err_no = -13"},
                                {1, "mac diag add attr string copy fail err_no = -14"}}));
}

TEST_F(MacDiag, AddAttr_NameTooLong_IsSkipped) {
    ASSERT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    take_log();
    mac_diag_add_attr(std::string(40, 'n').c_str(), 0, mac_diag_show, mac_diag_store);
    mac_diag_add_attr(std::string(32, 'n').c_str(), 0, mac_diag_show, mac_diag_store);
    EXPECT_EQ(take_log(), (Log{{1, "mac diag add attr string copy fail err_no = 34"},
                               {1, "mac diag add attr string copy fail err_no = 34"}}));
    EXPECT_EQ(g_mac_diag.attr_count, 2u);
    mac_diag_add_attr(std::string(31, 'n').c_str(), 0, mac_diag_show, mac_diag_store);
    EXPECT_EQ(g_mac_diag.attr_count, 3u);
}

TEST_F(MacDiag, AddAttr_BufferMissing_IsSkipped) {
    host::faults().fail(Call::kZalloc, 1);
    EXPECT_EQ(mac_diag_init(22, "mac_mng"), 0u);
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize diag."},
                               {1, "mac diag add attr memory set fail err_no = 22"},
                               {1, "mac diag add attr memory set fail err_no = 22"}}));
    EXPECT_EQ(g_mac_diag.attr_count, 0u);
}

}  // namespace
