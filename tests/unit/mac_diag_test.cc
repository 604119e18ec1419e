// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The diagnostic attributes.
#include "control/mac_diag.h"

#include "platform/host/device_service.h"
#include "platform/host/memory_service.h"
#include "tests/support/fixture.h"

namespace {

using host::Call;
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
