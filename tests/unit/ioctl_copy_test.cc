// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What each command copies from and to its caller, and the mutex around all of it.
#include <cstring>

#include "config/mac_config.h"
#include "control/mac_ioctl.h"
#include "platform/host/memory_service.h"
#include "tests/support/journal.h"
#include "tests/support/lock_watch.h"
#include "tests/support/module_fixture.h"

namespace {

using host::Call;
using test::Journal;
using test::kCommandMutex;
using test::LockWatch;
using test::Mac;
using test::ModuleTest;
using test::Record;

constexpr u32 kInst = test::kDefaultInstance;
constexpr Mac kBase = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};
constexpr u32 kArgument = 0x811601a2;

class IoctlCopy : public ModuleTest {
protected:
    IoctlCopy() {
        load();
        mac_ioctl_address record = address_record(0, 16, kBase);
        EXPECT_EQ(ioctl(MAC_IOCTL_SET_ADDR_NUM, &record), 0u);
        take_log();
    }

    // A request of every command that succeeds, in the order of their numbers.
    struct Request {
        u32 cmd;
        void* record;
        u32 record_bytes;
        u64 buffer;        // where the result goes
        u32 result_bytes;  // 0: there is none
    };
    std::vector<Request> requests() {
        buffer_.assign(64, 0x77);
        const u64 buffer = pointer(buffer_.data());
        instance_ = {9};
        address_ = address_record(0, 16, kBase);
        count_ = {kInst, 16, 0};
        list_ = {kInst, 0, 2, buffer, 19};
        patch_ = {buffer, 33};
        show_ = {buffer, 64};
        return {{0x4d00, &instance_, 4, 0, 0},     {0x4d01, &instance_, 4, 0, 0},
                {0x4d02, &address_, 20, 0, 0},     {0x4d03, &address_, 20, pointer(&address_), 20},
                {0x4d04, &count_, 12, 0, 0},       {0x4d05, &count_, 12, pointer(&count_), 12},
                {0x4d06, &address_, 20, 0, 0},     {0x4d07, &list_, 24, buffer, 19},
                {0x4d0a, &patch_, 12, buffer, 33}, {0x4d0b, &patch_, 12, buffer, 33},
                {0x4d0c, &show_, 12, buffer, 8},   {0x4d0d, &show_, 12, buffer, 13}};
    }

    // Stores a record in both copies of type 0.
    void put(const Record& record) {
        std::copy(record.begin(), record.end(), board().memory("flash").begin());
        std::copy(record.begin(), record.end(), board().memory("eeprom-264").begin());
    }

    std::vector<u8> buffer_;
    mac_ioctl_instance instance_;
    mac_ioctl_address address_;
    mac_ioctl_count count_;
    mac_ioctl_list list_;
    mac_ioctl_buffer patch_;
    mac_ioctl_buffer show_;
};

TEST_F(IoctlCopy, EachCommand_ChecksTheRangeThatItCopies) {
    for (const Request& request : requests()) {
        Journal journal({"platform_user_range_valid", "platform_copy_"});
        EXPECT_EQ(ioctl(request.cmd, request.record), 0u);
        const std::string in =
            test::text("0x%llx %u", pointer(request.record), request.record_bytes);
        Journal::Calls expected = {"platform_user_range_valid " + in,
                                   "platform_copy_from_user " + in};
        if (request.result_bytes != 0) {
            const std::string out = test::text("0x%llx %u", request.buffer, request.result_bytes);
            expected.push_back("platform_user_range_valid " + out);
            expected.push_back("platform_copy_to_user " + out);
        }
        EXPECT_EQ(journal.take(), expected) << std::hex << request.cmd;
    }
}

TEST_F(IoctlCopy, EachBuffer_IsAsLongAsTheCallersIs) {
    for (const Request& request : requests()) {
        Journal journal({"platform_buffer_alloc"});
        EXPECT_EQ(ioctl(request.cmd, request.record), 0u);
        Journal::Calls expected;
        if (request.cmd == 0x4d07) expected = {"platform_buffer_alloc 19"};
        if (request.cmd == 0x4d0a || request.cmd == 0x4d0b) expected = {"platform_buffer_alloc 33"};
        if (request.cmd >= 0x4d0c) expected = {"platform_buffer_alloc 64"};
        EXPECT_EQ(journal.take(), expected) << std::hex << request.cmd;
    }
}

TEST_F(IoctlCopy, EachCommand_HoldsTheMutexFromItsFirstCopyToItsLast) {
    for (const Request& request : requests()) {
        LockWatch watch;
        Journal journal;
        journal.at("", [&] {
            EXPECT_TRUE(watch.holds(kCommandMutex)) << std::hex << request.cmd;
            watch.note("call");
        });
        EXPECT_EQ(ioctl(request.cmd, request.record), 0u);
        EXPECT_EQ(watch.taken(kCommandMutex), 1u);
        const std::vector<std::string> trace = watch.take_trace();
        ASSERT_GE(trace.size(), 4u);
        EXPECT_EQ(trace.front(), std::string("take ") + kCommandMutex);
        EXPECT_EQ(trace[1], "call") << "nothing is copied before, and copying comes first";
        EXPECT_EQ(trace.back(), std::string("release ") + kCommandMutex);
    }
}

TEST_F(IoctlCopy, EachCommandThatFails_GivesTheMutexBack) {
    for (const Request& request : requests()) {
        LockWatch watch;
        EXPECT_EQ(ioctl(request.cmd, nullptr), 0x811604b7u);
        EXPECT_EQ(watch.take_trace(),
                  (std::vector<std::string>{std::string("take ") + kCommandMutex,
                                            std::string("release ") + kCommandMutex}));
    }
}

TEST_F(IoctlCopy, Listings_TakeTheirMutexInsideTheCommands) {
    for (const Request& request : requests()) {
        LockWatch watch;
        EXPECT_EQ(ioctl(request.cmd, request.record), 0u);
        const bool is_show = request.cmd >= 0x4d0c;
        EXPECT_EQ(watch.taken(test::kListingMutex), is_show ? 1u : 0u) << std::hex << request.cmd;
        if (!is_show) continue;
        EXPECT_EQ(watch.take_trace(),
                  (std::vector<std::string>{std::string("take ") + kCommandMutex,
                                            std::string("take ") + test::kListingMutex,
                                            std::string("release ") + test::kListingMutex,
                                            std::string("release ") + kCommandMutex}));
    }
}

TEST_F(IoctlCopy, NoBufferAndNoLength_IsRefusedBeforeAnythingIsMade) {
    mac_ioctl_list list{kInst, 0, 0, 0, 0};
    mac_ioctl_buffer request{0, 0};
    Journal journal({"platform_buffer_alloc", "drv_flash"});
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &list), kArgument);
    for (const u32 cmd : {0x4d0au, 0x4d0bu, 0x4d0cu, 0x4d0du}) {
        EXPECT_EQ(ioctl(cmd, &request), kArgument) << std::hex << cmd;
    }
    u8 byte = 0x77;
    request = {pointer(&byte), 0};
    for (const u32 cmd : {0x4d0au, 0x4d0bu, 0x4d0cu, 0x4d0du}) {
        EXPECT_EQ(ioctl(cmd, &request), kArgument) << std::hex << cmd;
    }
    request = {0, 1};
    for (const u32 cmd : {0x4d0au, 0x4d0bu, 0x4d0cu, 0x4d0du}) {
        EXPECT_EQ(ioctl(cmd, &request), kArgument) << std::hex << cmd;
    }
    EXPECT_EQ(journal.take(), Journal::Calls{});
    EXPECT_EQ(byte, 0x77);
    // Of a list's length nothing is asked but room for its addresses.
    list = {kInst, 0, 0, pointer(&byte), 0};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &list), 0u);
}

TEST_F(IoctlCopy, Show_UnknownNumber_IsLookedForBehindTheBuffer) {
    char text[64];
    mac_ioctl_buffer request{pointer(text), sizeof(text)};
    const auto blocks = host::heap_use().blocks;
    host::faults().fail(Call::kBufferAlloc);
    EXPECT_EQ(drv_mac_ioctl_cmd_show(0x4d0e, pointer(&request)), 0x811604aau);
    Journal journal({"platform_buffer_alloc", "platform_copy_to_user"});
    EXPECT_EQ(drv_mac_ioctl_cmd_show(0x4d0e, pointer(&request)), kArgument);
    EXPECT_EQ(journal.take(), (Journal::Calls{"platform_buffer_alloc 64"}));
    EXPECT_EQ(host::heap_use().blocks, blocks);
}

TEST_F(IoctlCopy, LateFailure_CopiesNothingBack) {
    put(test::qolt({0xff, 0xff, 0xff, 0xff, 0xff, 0xff}, 0xffff));
    Journal journal({"platform_copy_to_user"});
    mac_ioctl_address address = address_record(0, 3, kBase);
    const mac_ioctl_address address_before = address;
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR, &address), 0x811601abu) << "the address has been read";
    EXPECT_EQ(std::memcmp(&address, &address_before, sizeof(address)), 0);
    mac_ioctl_count count{kInst, 7, 0};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_NUM, &count), 0x811601abu) << "the count has been read";
    EXPECT_EQ(count.num, 7u);
    put(test::qolt(kBase, 2));
    u8 buffer[18];
    std::fill_n(buffer, sizeof(buffer), u8{0x77});
    mac_ioctl_list list{kInst, 0, 3, pointer(buffer), 18};
    EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR_NUM, &list), 0xfffffff2u) << "more than the block holds";
    EXPECT_EQ(std::vector<u8>(buffer, buffer + 18), std::vector<u8>(18, 0x77));
    EXPECT_EQ(journal.take(), Journal::Calls{});
    EXPECT_EQ(host::faults().uses(Call::kCopyToUser), 0u);
}

TEST_F(IoctlCopy, CommandsWithoutAResult_LeaveTheirRecords) {
    for (const Request& request : requests()) {
        if (request.result_bytes != 0 && request.buffer == pointer(request.record)) continue;
        std::vector<u8> before(request.record_bytes);
        std::memcpy(before.data(), request.record, request.record_bytes);
        EXPECT_EQ(ioctl(request.cmd, request.record), 0u);
        EXPECT_EQ(std::memcmp(before.data(), request.record, request.record_bytes), 0)
            << std::hex << request.cmd;
    }
}

TEST_F(IoctlCopy, ResultThatCannotBeWritten_IsTheSameCodeForRangeAndCopy) {
    for (const Request& request : requests()) {
        if (request.result_bytes == 0) continue;
        host::faults().clear();
        host::faults().fail(Call::kRangeValid, 2);
        EXPECT_EQ(ioctl(request.cmd, request.record), 0x811604b8u) << std::hex << request.cmd;
        EXPECT_EQ(host::faults().uses(Call::kCopyToUser), 0u);
        host::faults().fail(Call::kCopyToUser);
        EXPECT_EQ(ioctl(request.cmd, request.record), 0x811604b8u) << std::hex << request.cmd;
        EXPECT_EQ(host::faults().uses(Call::kCopyToUser), 1u);
    }
}

}  // namespace
