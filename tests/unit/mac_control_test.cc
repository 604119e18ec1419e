// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The control device, the diagnostic attributes, start-up and shutdown, through
// the loaded module.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <optional>

#include "config/mac_cfg.h"
#include "config/mac_config.h"
#include "control/mac_diag.h"
#include "control/mac_ioctl.h"
#include "control/mac_module.h"
#include "core/mac_data.h"
#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/device_service.h"
#include "platform/host/driver_manager.h"
#include "platform/host/loader.h"
#include "platform/host/memory_service.h"
#include "storage/driver/mac_driver.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace {

using host::Call;
using test::Log;
using test::Mac;
using test::Record;

constexpr u32 kInst = 0xffffffff;
constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};

std::string one_block() {
    return test::board_with(test::tree_xml(test::entry_xml(0, 0, "drv_mac_flash", 45, 0, 16),
                                           test::entry_xml(0, 0, "drv_mac_eeprom", 264, 0, 16)));
}

class ModuleTest : public test::PlatformTest {
protected:
    void load(const std::string& xml = one_block()) {
        module_.reset();
        module_.emplace(use_board(xml));
        ASSERT_EQ(module_->status(), 0u);
        take_log();
        host::faults().clear();
    }
    void unload() { module_.reset(); }
    ~ModuleTest() override { module_.reset(); }

    static u32 ioctl(u32 cmd, void* record) {
        return static_cast<u32>(host::device_ioctl(cmd, record));
    }

    static mac_ioctl_address address_record(u32 type, u32 num, const Mac& mac) {
        mac_ioctl_address record{kInst, num, {}, {0xa1, 0xa2}, type};
        std::copy(mac.begin(), mac.end(), record.addr);
        return record;
    }

    static u64 pointer(void* address) { return reinterpret_cast<u64>(address); }

    std::optional<host::Module> module_;
};

class MacIoctl : public ModuleTest {
protected:
    MacIoctl() {
        load();
        mac_ioctl_address record = address_record(0, 16, kBase);
        EXPECT_EQ(ioctl(MAC_IOCTL_SET_ADDR_NUM, &record), 0u);
        take_log();
    }
};

TEST_F(MacIoctl, CommandNumbers_AreFixed) {
    const u32 expected[] = {0x4d00, 0x4d01, 0x4d02, 0x4d03, 0x4d04, 0x4d05,
                            0x4d06, 0x4d07, 0x4d0a, 0x4d0b, 0x4d0c, 0x4d0d};
    for (size_t i = 0; i < 12; ++i) EXPECT_EQ(g_drv_mac_ioctl_map[i].cmd, expected[i]);
    EXPECT_EQ(g_drv_mac_ioctl_cmd_map[0].cmd, 0x4d0cu);
    EXPECT_EQ(g_drv_mac_ioctl_cmd_map[1].cmd, 0x4d0du);
}

TEST_F(MacIoctl, Device_OffersFourOperations) {
    const platform_misc_device* const device = host::device();
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->minor, 255);
    EXPECT_STREQ(device->name, "mac_mng");
    EXPECT_EQ(device->fops->unlocked_ioctl, drv_mac_ioctl);
    EXPECT_EQ(device->fops->compat_ioctl, drv_mac_ioctl);
    EXPECT_EQ(device->fops->open(nullptr, nullptr), 0);
    EXPECT_EQ(device->fops->release(nullptr, nullptr), 0);
}

TEST_F(MacIoctl, UnknownCommands_AreAnsweredWithoutLocking) {
    mac_mutex_lock();
    for (const u32 cmd : {0x4d08u, 0x4d09u, 0x4d0eu, 0x4cffu, 0u, 0xffffffffu, 0x80044d03u}) {
        EXPECT_EQ(ioctl(cmd, nullptr), 0x81160001u) << cmd;
    }
    mac_mutex_unlock();
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacIoctl, Result_IsSignExtended) {
    EXPECT_EQ(host::device_ioctl(0x4d08, nullptr), s64{static_cast<s32>(0x81160001)});
    mac_ioctl_instance record{kInst};
    EXPECT_EQ(host::device_ioctl(MAC_IOCTL_INIT, &record), s64{-14});
}

TEST_F(MacIoctl, EveryCommand_RunsUnderTheCommandMutex) {
    // Taking the mutex a second time ends the process.
    mac_ioctl_instance record{kInst};
    mac_mutex_lock();
    EXPECT_DEATH(ioctl(MAC_IOCTL_INIT, &record), "&g_mac_config.dev_mutex taken twice");
    mac_mutex_unlock();
}

TEST_F(MacIoctl, InitAndDeinit_MountAnInstance) {
    mac_ioctl_instance record{3};
    EXPECT_EQ(ioctl(MAC_IOCTL_INIT, &record), 0u);
    EXPECT_NE(mac_data_find_by_instid(3, 79), nullptr);
    EXPECT_EQ(ioctl(MAC_IOCTL_INIT, &record), 0xfffffff2u);
    EXPECT_EQ(ioctl(MAC_IOCTL_DEINIT, &record), 0u);
    EXPECT_EQ(mac_data_find_by_instid(3, 79), nullptr);
    EXPECT_EQ(ioctl(MAC_IOCTL_DEINIT, &record), 0u);
}

TEST_F(MacIoctl, GetAddr_CopiesTheWholeRecordBack) {
    mac_ioctl_address record = address_record(0, 0x77, {});
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR, &record), 0u);
    EXPECT_EQ(memcmp(record.addr, kBase.data(), 6), 0);
    EXPECT_EQ(record.num, 0x77u) << "returned unchanged";
    EXPECT_EQ(record.reserved[0], 0xa1);
    EXPECT_EQ(record.reserved[1], 0xa2);
}

TEST_F(MacIoctl, GetAddr_Failure_LeavesTheCallersRecord) {
    mac_ioctl_address record = address_record(5, 1, {9, 9, 9, 9, 9, 9});
    const mac_ioctl_address before = record;
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR, &record), 0x811601a4u);
    EXPECT_EQ(memcmp(&record, &before, sizeof(record)), 0);
}

TEST_F(MacIoctl, SetAddr_KeepsTheCount) {
    const Mac fresh = {2, 3, 4, 5, 6, 7};
    mac_ioctl_address record = address_record(0, 999, fresh);
    EXPECT_EQ(ioctl(MAC_IOCTL_SET_ADDR, &record), 0u);
    EXPECT_EQ(test::hex(board().memory("flash"), 0, 16), test::hex(test::qolt(fresh, 16)));
}

TEST_F(MacIoctl, SetNumAndGetNum) {
    mac_ioctl_count record{kInst, 5, 0};
    EXPECT_EQ(ioctl(MAC_IOCTL_SET_NUM, &record), 0u);
    record.num = 0;
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_NUM, &record), 0u);
    EXPECT_EQ(record.num, 5u);
    record.num = 65535;
    EXPECT_EQ(ioctl(MAC_IOCTL_SET_NUM, &record), 0x811601abu);
}

TEST_F(MacIoctl, GetNum_InvalidStoredCount_IsNotCopiedBack) {
    const Record record = test::qolt(kBase, 65535);
    std::copy(record.begin(), record.end(), board().memory("flash").begin());
    std::copy(record.begin(), record.end(), board().memory("eeprom-264").begin());
    mac_ioctl_count request{kInst, 7, 0};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_NUM, &request), 0x811601abu);
    EXPECT_EQ(request.num, 7u);
}

TEST_F(MacIoctl, SetAddrNum_StoresBoth) {
    mac_ioctl_address record = address_record(0, 3, kBase);
    EXPECT_EQ(ioctl(MAC_IOCTL_SET_ADDR_NUM, &record), 0u);
    EXPECT_EQ(test::hex(board().memory("flash"), 0, 16), test::hex(test::qolt(kBase, 3)));
}

TEST_F(MacIoctl, List_CopiesTheWholeBuffer) {
    u8 buffer[20];
    std::fill_n(buffer, sizeof(buffer), u8{0x77});
    mac_ioctl_list request{kInst, 0, 2, pointer(buffer), 19};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0u);
    EXPECT_EQ(test::hex({buffer, buffer + 12}), "0011223344fe0011223344ff");
    EXPECT_EQ(test::hex({buffer + 12, buffer + 20}), "0000000000000077")
        << "nothing of the heap's past comes out";
}

TEST_F(MacIoctl, List_Limits) {
    std::vector<u8> buffer(393204);
    mac_ioctl_list request{kInst, 0, 65535, pointer(buffer.data()), 393210};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0x811601a2u) << "above 65534";
    request = {kInst, 0, 65534, pointer(buffer.data()), 393203};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0x811601a2u) << "one byte short";
    request = {kInst, 0, 1, 0, 6};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0x811601a2u) << "null buffer";
    mac_ioctl_count count{kInst, 65534, 0};
    ASSERT_EQ(ioctl(MAC_IOCTL_SET_NUM, &count), 0u);
    request = {kInst, 0, 65534, pointer(buffer.data()), 393204};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0u);
    const Mac last = test::nth(kBase, 65533);
    EXPECT_EQ(test::hex(buffer, 393198), test::hex({last.begin(), last.end()}));
}

TEST_F(MacIoctl, List_NothingAsked_CopiesNothing) {
    u8 byte = 0x5a;
    mac_ioctl_list request{kInst, 0, 0, pointer(&byte), 0};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0u);
    EXPECT_EQ(byte, 0x5a);
    request.type = 5;
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0x811601a4u);
}

TEST_F(MacIoctl, List_Failures_FreeTheBuffer) {
    const auto before = host::heap_use().blocks;
    u8 buffer[6];
    mac_ioctl_list request{kInst, 0, 1, pointer(buffer), 6};
    host::faults().fail(Call::kBufferAlloc);
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0x811604aau);
    request.type = 5;
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0x811601a4u);
    request.type = 0;
    request.buf = 0x10;
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0x811604b8u);
    request = {kInst, 0, 1, pointer(buffer), 0x1000001};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0x811604aau) << "above 16 MiB";
    request.len = 0xffffffff;
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &request), 0x811604aau);
    EXPECT_EQ(host::heap_use().blocks, before);
}

TEST_F(MacIoctl, Patch_Limits) {
    for (const u32 cmd : {MAC_IOCTL_PATCH1, MAC_IOCTL_PATCH2}) {
        std::vector<u8> buffer(1001, 0x77);
        mac_ioctl_buffer request{pointer(buffer.data()), 1000};
        EXPECT_EQ(ioctl(cmd, &request), 0u);
        EXPECT_EQ(std::vector<u8>(buffer.begin(), buffer.begin() + 1000), std::vector<u8>(1000));
        EXPECT_EQ(buffer[1000], 0x77);
        for (const u32 length : {0u, 1001u}) {
            request.len = length;
            EXPECT_EQ(ioctl(cmd, &request), 0x811601a2u) << length;
        }
        request = {0, 4};
        EXPECT_EQ(ioctl(cmd, &request), 0x811601a2u);
        request = {0x10, 4};
        EXPECT_EQ(ioctl(cmd, &request), 0x811604b8u);
        host::faults().fail(Call::kBufferAlloc);
        EXPECT_EQ(ioctl(cmd, &request), 0x811604aau);
    }
    EXPECT_EQ(take_log(), Log{});
}

TEST_F(MacIoctl, Show_EmptyLists) {
    char text[64] = {};
    mac_ioctl_buffer request{pointer(text), sizeof(text)};
    EXPECT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0u);
    EXPECT_STREQ(text, "no cfg\n");
    memset(text, 0x77, sizeof(text));
    EXPECT_EQ(ioctl(MAC_IOCTL_SHOW_TYPES, &request), 0u);
    EXPECT_STREQ(text, "no mac type\n");
    EXPECT_EQ(text[13], 0x77) << "text and terminator, no more";
}

TEST_F(MacIoctl, Show_Limits) {
    std::vector<char> text(10000000);
    mac_ioctl_buffer request{pointer(text.data()), 10000000};
    EXPECT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0u);
    request.len = 10000001;
    EXPECT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0x811601a2u);
    request.len = 0;
    EXPECT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0x811601a2u);
    request = {0, 64};
    EXPECT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0x811601a2u);
    request = {0x10, 64};
    EXPECT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0x811604b8u);
    host::faults().fail(Call::kBufferAlloc);
    EXPECT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0x811604aau);
    request = {pointer(text.data()), 64};
    EXPECT_EQ(drv_mac_ioctl_cmd_show(0x4d07, pointer(&request)), 0x811601a2u)
        << "no listing of that number";
}

TEST_F(MacIoctl, Show_OneByte_HoldsTheTerminator) {
    char text[2] = {0x77, 0x77};
    mac_ioctl_buffer request{pointer(text), 1};
    EXPECT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0u);
    EXPECT_EQ(text[0], '\0');
    EXPECT_EQ(text[1], 0x77);
}

TEST_F(MacIoctl, UnreadableRecord_IsACodeAndNoCrash) {
    const long page = sysconf(_SC_PAGESIZE);
    char* const two = static_cast<char*>(mmap(nullptr, static_cast<size_t>(2 * page),
                                              PROT_READ | PROT_WRITE,
                                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(two, MAP_FAILED);
    munmap(two + page, static_cast<size_t>(page));
    for (const mac_ioctl_row& row : g_drv_mac_ioctl_map) {
        for (void* const record : {static_cast<void*>(nullptr), static_cast<void*>(two + page),
                                   static_cast<void*>(two + page - 2),
                                   reinterpret_cast<void*>(0xffff800000000000),
                                   reinterpret_cast<void*>(0xfffffffffffffffe)}) {
            EXPECT_EQ(ioctl(row.cmd, record), 0x811604b7u) << row.cmd << " " << record;
        }
    }
    // A record that can be read, a result that cannot be written.
    mac_ioctl_buffer request{pointer(two + page - 3), 64};
    EXPECT_EQ(ioctl(MAC_IOCTL_PATCH1, &request), 0x811604b8u) << "half-mapped";
    EXPECT_EQ(ioctl(MAC_IOCTL_SHOW_CFG, &request), 0x811604b8u);
    mac_ioctl_list list{kInst, 0, 1, 0xffff800000000000, 6};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &list), 0x811604b8u);
    munmap(two, static_cast<size_t>(page));
}

TEST_F(MacIoctl, ReadOnlyRecord_CannotTakeTheResult) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* const memory = mmap(nullptr, page, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    const mac_ioctl_address address = address_record(0, 0, {});
    memcpy(memory, &address, sizeof(address));
    mprotect(memory, page, PROT_READ);
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR, memory), 0x811604b8u);
    mprotect(memory, page, PROT_READ | PROT_WRITE);
    const mac_ioctl_count count{kInst, 0, 0};
    memcpy(memory, &count, sizeof(count));
    mprotect(memory, page, PROT_READ);
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_NUM, memory), 0x811604b8u);
    munmap(memory, page);
}

TEST_F(MacIoctl, RangeCheck_ComesBeforeTheCopy) {
    mac_ioctl_instance record{3};
    host::faults().clear();
    host::faults().fail(Call::kRangeValid);
    EXPECT_EQ(ioctl(MAC_IOCTL_INIT, &record), 0x811604b7u);
    EXPECT_EQ(host::faults().uses(Call::kCopyFromUser), 0u) << "not even tried";
    host::faults().fail(Call::kCopyFromUser);
    EXPECT_EQ(ioctl(MAC_IOCTL_INIT, &record), 0x811604b7u);
    mac_ioctl_count count{kInst, 0, 0};
    host::faults().fail(Call::kRangeValid, 2);
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_NUM, &count), 0x811604b8u);
}

// --- listings ---

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

// --- diagnostic attributes ---

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
    EXPECT_EQ(take_log(), (Log{{2, "mac enter initialize diag."},
                               {1, "mac diag create group mac_mng fail"}}));
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

// --- start-up and shutdown ---

using MacModule = ModuleTest;

TEST_F(MacModule, Start_LogsItsOrder) {
    use_board(one_block());
    EXPECT_EQ(mac_module_init(), 0u);
    EXPECT_EQ(lines_of(0),
              (Log{{2, "mac_mng MODULE INIT BEGIN"}, {2, "mac_mng MODULE INIT END"}}));
    const Log log = take_log();
    ASSERT_EQ(log.size(), 11u);
    EXPECT_EQ(log[0].text, "mac enter initialize config.");
    EXPECT_EQ(log[1].text, "mac enter initialize drv.");
    EXPECT_EQ(log[2].text, "mac create medium[0-drv_mac_flash] driver ret 0");
    EXPECT_EQ(log[9].text, "mac enter initialize func.");
    EXPECT_EQ(log[10].text, "mac enter initialize diag.");
    EXPECT_STREQ(mac_config_find_by_instid(kInst)->name, "mac_mng_0xffffffff");
    mac_module_exit();
    EXPECT_EQ(take_log(), (Log{{2, "mac module exit"}}));
    EXPECT_NE(host::device(), nullptr) << "the control device stays registered";
    EXPECT_EQ(host::driver_count(), 0u);
    EXPECT_TRUE(host::diag_objects().empty());
    EXPECT_EQ(mac_config_find_by_instid(kInst), nullptr);
}

TEST_F(MacModule, Start_WithoutATree_Succeeds) {
    load(test::board_with(""));
    mac_ioctl_address record = address_record(0, 0, {});
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR, &record), 0x811601a4u);
}

TEST_F(MacModule, FailingSteps_EndStartUp_AndUndoNothing) {
    const struct {
        Call call;
        unsigned nth;
        u32 code;
        u32 result;
        bool device;
        unsigned drivers;
    } steps[] = {
        {Call::kMemset, 1, 22, 0xfffffff2, false, 0},       // configuration
        {Call::kMemset, 2, 22, 0xfffffff2, false, 0},       // drivers
        {Call::kMiscRegister, 1, 16, 0x81160002, false, 7},  // device
        {Call::kMemset, 3, 22, 0xfffffff2, true, 7},        // address service
        {Call::kSysfsCreate, 1, 0x77, 0x77, true, 7},       // diagnostics
        {Call::kSprintf, 1, 0, 0xfffffff2, true, 7},        // default instance
    };
    for (const auto& step : steps) {
        use_board(one_block());
        host::faults().clear();
        host::faults().fail(step.call, step.nth, step.code);
        EXPECT_EQ(mac_module_init(), step.result);
        EXPECT_EQ(lines_of(0),
                  (Log{{2, "mac_mng MODULE INIT BEGIN"}, {2, "mac_mng MODULE INIT END"}}));
        EXPECT_EQ(host::device() != nullptr, step.device);
        EXPECT_EQ(host::driver_count(), step.drivers);
        take_log();
        host::device_reclaim();
        host::diag_reclaim();
        host::driver_drop_all();
        host::heap_release_all();
    }
}

TEST_F(MacModule, DeviceRefused_IsLogged) {
    use_board(one_block());
    host::faults().fail(Call::kMiscRegister, 1, 16);
    EXPECT_EQ(mac_module_init(), 0x81160002u);
    EXPECT_EQ(take_log().back(), (test::Line{1, "[mac device init]misc_register fail"}));
}

TEST_F(MacModule, Loader_LeavesNothingAfterAFailedStart_AndLoadsAgain) {
    host::Board& board = use_board(one_block());
    for (const Call call : {Call::kMiscRegister, Call::kSysfsCreate, Call::kSprintf}) {
        host::faults().clear();
        host::faults().fail(call, 1, 16);
        {
            const host::Module failed(board);
            EXPECT_NE(failed.status(), 0u);
            EXPECT_EQ(host::device_ioctl(0x4d03, nullptr), -1) << "the device cannot be opened";
            EXPECT_EQ(host::driver_count(), 0u);
            EXPECT_TRUE(host::diag_objects().empty());
        }
        const host::Module module(board);
        EXPECT_EQ(module.status(), 0u);
        EXPECT_EQ(host::device_ioctl(0x4d08, nullptr), s64{static_cast<s32>(0x81160001)});
    }
    EXPECT_EQ(host::device_ioctl(0x4d08, nullptr), -1) << "unloaded";
}

TEST_F(MacModule, LogRegistrationRefused_DoesNotMatter) {
    use_board(one_block());
    host::faults().fail(Call::kLogRegister, 1, 9);
    EXPECT_EQ(mac_module_init(), 0u);
    mac_module_exit();
}

TEST_F(MacModule, Shutdown_FreesInstancesStillMounted) {
    use_board(one_block());
    ASSERT_EQ(mac_module_init(), 0u);
    mac_ioctl_instance record{3};
    ASSERT_EQ(ioctl(MAC_IOCTL_INIT, &record), 0u);
    record.inst = kInst;
    ASSERT_EQ(ioctl(MAC_IOCTL_DEINIT, &record), 0u);
    take_log();
    mac_module_exit();
    EXPECT_EQ(take_log(), (Log{{2, "mac module exit"}}))
        << "unmounting what is not mounted logs nothing";
    EXPECT_TRUE(g_mac_config.config_list.empty());
    EXPECT_TRUE(g_mac_func.list.empty());
    // The loader's own shutdown follows.
    mac_device_deinit();
    EXPECT_EQ(host::device(), nullptr);
}

TEST_F(MacModule, ManyRounds_LeaveOnlyWhatIsLeftOnPurpose) {
    host::Board& board = use_board(one_block());
    for (int round = 0; round < 100; ++round) {
        const host::Module module(board);
        ASSERT_EQ(module.status(), 0u);
    }
    EXPECT_EQ(host::heap_use().blocks, 0u);
}

}  // namespace
