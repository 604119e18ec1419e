// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The control device: every command and every refusal.
#include "control/mac_ioctl.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "config/mac_config.h"
#include "core/mac_data.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/memory_service.h"
#include "tests/support/module_fixture.h"

namespace {

using host::Call;
using test::Log;
using test::Mac;
using test::ModuleTest;
using test::Record;

constexpr u32 kInst = test::kDefaultInstance;
constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};

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
    char* const two =
        static_cast<char*>(mmap(nullptr, static_cast<size_t>(2 * page), PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(two, MAP_FAILED);
    munmap(two + page, static_cast<size_t>(page));
    for (const mac_ioctl_row& row : g_drv_mac_ioctl_map) {
        for (void* const record :
             {static_cast<void*>(nullptr), static_cast<void*>(two + page),
              static_cast<void*>(two + page - 2), reinterpret_cast<void*>(0xffff800000000000),
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
    void* const memory =
        mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
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

}  // namespace
