// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Callers on several threads, each on a type of its own, while instances are mounted and
// unmounted: what mac_mng.h allows. Meant for the thread sanitizer, and for the others.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "platform/driver_manager.h"
#include "platform/host/device_service.h"
#include "platform/host/loader.h"
#include "platform/host/log_service.h"
#include "platform/host/reclaim_service.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace {

constexpr u32 kInst = 3;
constexpr u32 kTypes = 3;
constexpr u32 kCount = 8;

// How often the instance is mounted and unmounted, and how many reads there are at least.
unsigned rounds() {
    const char* const given = std::getenv("MAC_THREAD_ROUNDS");
    return given == nullptr ? 200 : static_cast<unsigned>(std::atoi(given));
}
unsigned reads_wanted() { return 10 * rounds(); }

test::Mac mac_of(u32 type) { return {2, 0, 0, 0, 0, static_cast<u8>(type + 1)}; }

// A medium that nothing changes: the chip's number is the type's. A read that meets an
// unmounting takes what it cannot read for a bad copy; nothing comes of its repair here.
std::atomic<unsigned> refused_writes{0};

u32 read_constant(u32 /*inst*/, const char* /*name*/, u32 chip, u32 /*offset*/, u8* buf, u32 len) {
    const test::Record record = test::qolt(mac_of(chip), kCount);
    std::copy_n(record.begin(), std::min<size_t>(len, record.size()), buf);
    return 0;
}

u32 refuse_write(u32 /*inst*/, const char* /*name*/, u32 /*chip*/, u32 /*offset*/, u8* /*buf*/,
                 u32 /*len*/) {
    ++refused_writes;
    return 0x1234;
}

// What a call may come back with that meets an unmounting: no such block, or one that was
// mounted again and not read yet.
bool is_refusal(u32 result) {
    return result == MAC_NOT_SUPPORTED || result == MAC_FAULT || result == MAC_FAIL ||
           result == MAC_INVALID_VALUE || result == 0x1234;
}

struct Tally {
    unsigned answers = 0;
    unsigned refusals = 0;
    unsigned wrong = 0;

    void add(u32 result, bool right) {
        if (result == 0 && right) {
            ++answers;
        } else if (result != 0 && is_refusal(result)) {
            ++refusals;
        } else {
            ++wrong;
        }
    }
    unsigned all() const { return answers + refusals + wrong; }
};

std::array<u8, 12> two_from(const test::Mac& base) {
    const test::Mac second = test::nth(base, 1);
    std::array<u8, 12> list{};
    std::copy(base.begin(), base.end(), list.begin());
    std::copy(second.begin(), second.end(), list.begin() + 6);
    return list;
}

void read_block(u32 inst, u32 type, Tally* tally) {
    const test::Mac expected = mac_of(type);
    test::Mac address{};
    u32 result = drv_mac_get_addr(inst, type, address.data(), 6);
    tally->add(result, address == expected);
    u32 num = 0;
    result = drv_mac_get_num(inst, type, &num);
    tally->add(result, num == kCount);
    // The list is not checked: of a block that was mounted again it begins at zero.
    std::array<u8, 12> list{};
    result = drv_mac_get_addr_num(inst, type, 2, list.data(), list.size());
    tally->add(result, list == two_from(expected) || list == two_from({}));
}

std::string trees() {
    std::string main;
    std::string spare;
    for (u32 type = 0; type < kTypes; ++type) {
        main += test::entry_xml(type, type, "drv_constant", type, 0, kCount);
        spare += test::entry_xml(type, type, "drv_constant", type, 0x100, kCount);
    }
    std::string real;
    for (u32 type = 0; type < kTypes; ++type) {
        real += test::entry_xml(type, type, "drv_mac_eeprom", 264, 0x40 * type, kCount);
    }
    return test::tree_xml(real, "") + "<instance id=\"3\">" + test::tree_xml(main, spare) +
           "</instance>";
}

class Callers : public test::PlatformTest {
protected:
    Callers() : module_(use_board(test::board_with(trees()))) {
        host::log_set_sink({});
        host::log_set_level(0);
        ops_ = *module_driver_func_find_by_name("drv_mac_eeprom");
        ops_.read = read_constant;
        ops_.write = refuse_write;
        driver_ = {{}, "drv_constant", &ops_};
        EXPECT_EQ(module_.status(), 0u);
        EXPECT_EQ(module_driver_register(&driver_), 0);
    }
    ~Callers() override {
        module_driver_unregister("drv_constant");
        host::log_set_level(3);
    }

    // Runs `work` for each type until the calling thread has done `beside`.
    template <typename Work, typename Beside>
    std::vector<Tally> run(Work work, Beside beside) {
        std::vector<Tally> tallies(kTypes);
        std::atomic<bool> done{false};
        std::vector<std::thread> threads;
        for (u32 type = 0; type < kTypes; ++type) {
            threads.emplace_back([&, type] {
                Tally* const tally = &tallies[type];
                while (!done.load() || tally->all() < reads_wanted()) work(type, tally);
            });
        }
        beside();
        done = true;
        for (std::thread& thread : threads) thread.join();
        return tallies;
    }

private:
    host::Module module_;
    MacDriverOps ops_;
    MacDriver driver_;
};

void mount_and_unmount(bool by_command) {
    mac_ioctl_instance record{kInst};
    for (unsigned round = 0; round < rounds(); ++round) {
        ASSERT_EQ(by_command ? host::device_ioctl(MAC_IOCTL_INIT, &record) : drv_mac_init(kInst),
                  0);
        ASSERT_EQ(
            by_command ? host::device_ioctl(MAC_IOCTL_DEINIT, &record) : drv_mac_deinit(kInst), 0);
    }
}

TEST_F(Callers, InstanceUnmountedUnderThem_TouchNothingFreed) {
    const std::vector<Tally> tallies =
        run([](u32 type, Tally* tally) { read_block(kInst, type, tally); },
            [] { mount_and_unmount(true); });
    Tally sum;
    for (const Tally& tally : tallies) {
        EXPECT_GE(tally.all(), reads_wanted());
        sum.answers += tally.answers;
        sum.refusals += tally.refusals;
        sum.wrong += tally.wrong;
    }
    EXPECT_EQ(sum.wrong, 0u);
    EXPECT_GT(sum.answers, 0u);
    EXPECT_GT(sum.refusals, 0u);
    EXPECT_EQ(host::calls_inside(), 0u);
    EXPECT_EQ(host::records_waiting(), 0u);
    std::printf("%u reads beside %u unmounts: %u answered, %u refused\n", sum.all(), rounds(),
                sum.answers, sum.refusals);
}

TEST_F(Callers, AnotherInstanceUnmounted_EachReadsWhatItStored) {
    const std::vector<Tally> tallies = run(
        [](u32 type, Tally* tally) {
            const test::Mac address = mac_of(type);
            tally->add(drv_mac_set_addr_num(MAC_DEFAULT_INSTANCE, type, kCount, address.data()),
                       true);
            read_block(MAC_DEFAULT_INSTANCE, type, tally);
        },
        [] { mount_and_unmount(false); });
    for (const Tally& tally : tallies) {
        EXPECT_EQ(tally.wrong, 0u);
        EXPECT_EQ(tally.refusals, 0u);
        EXPECT_GE(tally.answers, reads_wanted());
    }
}

}  // namespace
