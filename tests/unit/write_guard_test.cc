// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// A medium that stops taking writes is spared.
#include "platform/common/write_guard.h"

#include "mac_mng/mac_mng.h"
#include "platform/common/service_status.h"
#include "tests/support/module_fixture.h"

namespace {

constexpr u32 kMedium = 7;

TEST(WriteGuard, SixteenInARow_AreRefused_AndSaidOnce) {
    write_guard guard{};
    for (u32 i = 1; i <= 40; ++i) {
        EXPECT_EQ(write_guard_refuses(&guard, kMedium, 0x10, 16), i > 16) << i;
        EXPECT_EQ(write_guard_note(&guard, kMedium, 0x10, 16, 0), i == 16) << i;
    }
}

TEST(WriteGuard, OneGoodWrite_BeginsAnew) {
    write_guard guard{};
    for (u32 round = 0; round < 10; ++round) {
        for (u32 i = 0; i < 15; ++i) EXPECT_EQ(write_guard_note(&guard, kMedium, 0, 16, 0), 0);
        EXPECT_EQ(write_guard_note(&guard, kMedium, 0, 16, 1), 0);
        EXPECT_EQ(write_guard_refuses(&guard, kMedium, 0, 16), 0);
    }
}

TEST(WriteGuard, OnlyThatRange_IsRefused) {
    write_guard guard{};
    for (u32 i = 0; i < 16; ++i) (void)write_guard_note(&guard, kMedium, 0x10, 16, 0);
    EXPECT_EQ(write_guard_refuses(&guard, kMedium, 0x00, 16), 0);
    EXPECT_EQ(write_guard_refuses(&guard, kMedium, 0x20, 16), 0);
    EXPECT_EQ(write_guard_refuses(&guard, kMedium + 1, 0x10, 16), 0);
    EXPECT_EQ(write_guard_refuses(&guard, kMedium, 0x1f, 1), 1) << "what overlaps it is, too";
    EXPECT_EQ(write_guard_refuses(&guard, kMedium, 0x00, 0xffffffff), 1);
    EXPECT_EQ(write_guard_refuses(&guard, kMedium, 0x10, 0), 0);
}

TEST(WriteGuard, ManyRanges_ForgetTheOneThatFailedLeast) {
    write_guard guard{};
    for (u32 i = 0; i < 16; ++i) (void)write_guard_note(&guard, kMedium, 0, 16, 0);
    for (u32 i = 1; i < 200; ++i) (void)write_guard_note(&guard, kMedium, 16 * i, 16, 0);
    EXPECT_EQ(write_guard_refuses(&guard, kMedium, 0, 16), 1);
}

// A byte whose lowest bit nothing can set.
class StuckStore : public host::Store {
public:
    StuckStore(std::unique_ptr<host::Store> store, u32 at, u64* writes)
        : store_(std::move(store)), at_(at), writes_(writes) {}
    u32 size() const override { return store_->size(); }
    bool read(u32 offset, host::Bytes bytes) override {
        if (!store_->read(offset, bytes)) return false;
        if (offset <= at_ && at_ - offset < bytes.size()) bytes[at_ - offset] &= 0xfe;
        return true;
    }
    bool write(u32 offset, host::ConstBytes bytes) override {
        ++*writes_;
        return store_->write(offset, bytes);
    }

private:
    std::unique_ptr<host::Store> store_;
    u32 at_;
    u64* writes_;
};

class StuckBit : public ::testing::TestWithParam<const char*> {};

// Once a second for a day: the part is not spent.
TEST_P(StuckBit, HundredThousandReads_WriteSixteenTimes) {
    const std::string driver = GetParam();
    const bool flash = driver == "drv_mac_flash";
    const std::string xml =
        test::board_with(test::tree_xml(test::entry_xml(0, 0, driver, flash ? 45 : 264, 0x20, 4),
                                        test::entry_xml(0, 0, "drv_mac_eeprom", 265, 0, 4)));
    u64 writes = 0;
    host::log_set_level(0);
    const auto board = host::Board::in_memory(
        host::BoardFile::parse(xml, "stuck"), [&writes](std::unique_ptr<host::Store> store) {
            return std::make_unique<StuckStore>(std::move(store), 0x2d, &writes);
        });
    host::Module module(*board);
    mac_ioctl_address record{0xffffffff, 4, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}, {}, 0};
    EXPECT_EQ(static_cast<u32>(host::device_ioctl(MAC_IOCTL_SET_ADDR_NUM, &record)),
              SERVICE_VERIFY_FAILED);
    // The spare is good; the main copy never will be.
    mac_ioctl_address even{0xffffffff, 4, {0x00, 0x11, 0x22, 0x33, 0x44, 0x54}, {}, 0};
    ASSERT_EQ(host::device_ioctl(MAC_IOCTL_SET_ADDR_NUM, &even), 0);
    record.addr[5] = 0x55;
    (void)host::device_ioctl(MAC_IOCTL_SET_ADDR_NUM, &record);
    writes = 0;
    for (int i = 0; i < 100000; ++i) (void)host::device_ioctl(MAC_IOCTL_GET_ADDR, &record);
    EXPECT_LE(writes, 16u * 3u) << "of at most three steps each";
}

INSTANTIATE_TEST_SUITE_P(Both, StuckBit, ::testing::Values("drv_mac_flash", "drv_mac_eeprom"),
                         [](const auto& tested) { return std::string(tested.param).substr(8); });

}  // namespace
