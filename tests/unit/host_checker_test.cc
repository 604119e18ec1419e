// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The checks of the user-space platform, its heaps and its log.
#include <thread>

#include "platform/env.h"
#include "platform/flash.h"
#include "platform/host/log_service.h"
#include "platform/host/memory_service.h"
#include "platform/lock.h"
#include "platform/log.h"
#include "platform/memory.h"
#include "tests/support/fixture.h"
#include "tests/support/lock_watch.h"

namespace {

// --- the checker ---

using Checker = test::PlatformTest;

TEST_F(Checker, Recursion_Aborts) {
    platform_spinlock spin;
    platform_spin_init(&spin, "my spinlock");
    EXPECT_DEATH(
        {
            platform_spin_lock_irqsave(&spin);
            platform_spin_lock_irqsave(&spin);
        },
        "my spinlock taken twice");
    platform_mutex mutex;
    platform_mutex_init(&mutex, "my mutex");
    EXPECT_DEATH(
        {
            platform_mutex_lock(&mutex);
            platform_mutex_lock(&mutex);
        },
        "my mutex taken twice");
}

TEST_F(Checker, SleepingUnderASpinlock_Aborts) {
    platform_spinlock spin;
    platform_spin_init(&spin, "my spinlock");
    platform_mutex mutex;
    platform_mutex_init(&mutex, "m");
    const unsigned long flags = platform_spin_lock_irqsave(&spin);
    EXPECT_DEATH(platform_mutex_lock(&mutex), "platform_mutex_lock may sleep");
    EXPECT_DEATH(platform_zalloc(1), "platform_zalloc may sleep");
    EXPECT_DEATH(platform_buffer_alloc(1), "platform_buffer_alloc may sleep");
    u8 byte;
    EXPECT_DEATH(drv_flash_read(0, 0, 0, &byte, 1), "drv_flash_read may sleep");
    EXPECT_DEATH(drv_env_save(), "drv_env_save may sleep");
    platform_spin_unlock_irqrestore(&spin, flags);
}

TEST_F(Checker, UnlockByAnother_Aborts) {
    platform_mutex mutex;
    platform_mutex_init(&mutex, "m");
    EXPECT_DEATH(platform_mutex_unlock(&mutex), "does not hold it");
    EXPECT_DEATH(
        {
            std::thread other([&] { platform_mutex_lock(&mutex); });
            other.join();
            platform_mutex_unlock(&mutex);
        },
        "does not hold it");
}

TEST_F(Checker, LockNeverSetUp_Aborts) {
    platform_spinlock spin{};
    platform_mutex mutex{};
    EXPECT_DEATH(platform_spin_lock_irqsave(&spin), "before it was set up");
    EXPECT_DEATH(platform_mutex_lock(&mutex), "before it was set up");
    EXPECT_DEATH(platform_mutex_unlock(&mutex), "before it was set up");
}

TEST_F(Checker, ForeignInterruptState_Aborts) {
    platform_spinlock spin;
    platform_spin_init(&spin, "my spinlock");
    EXPECT_DEATH(
        {
            const unsigned long flags = platform_spin_lock_irqsave(&spin);
            platform_spin_unlock_irqrestore(&spin, flags + 1);
        },
        "interrupt state");
}

TEST_F(Checker, Mutex_ExcludesOtherThreads) {
    platform_mutex mutex;
    platform_mutex_init(&mutex, "m");
    int counter = 0;
    const auto work = [&] {
        for (int i = 0; i < 10000; ++i) {
            platform_mutex_lock(&mutex);
            ++counter;
            platform_mutex_unlock(&mutex);
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(counter, 20000);
}

TEST_F(Checker, LockObserver_SeesEveryEventWhileTheLockIsHeld) {
    test::LockWatch watch;
    platform_spinlock spin;
    platform_spin_init(&spin, "my spinlock");
    platform_mutex mutex;
    platform_mutex_init(&mutex, "my mutex");
    EXPECT_FALSE(watch.holds_any());
    for (const auto event : {host::LockEvent::kTaken, host::LockEvent::kReleasing}) {
        watch.at(event, "my spinlock",
                 [&watch] { watch.note(watch.holds("my spinlock") ? "held" : "free"); });
    }
    platform_mutex_lock(&mutex);
    EXPECT_TRUE(watch.holds("my mutex"));
    EXPECT_FALSE(watch.holds("my spinlock"));
    platform_spin_unlock_irqrestore(&spin, platform_spin_lock_irqsave(&spin));
    EXPECT_TRUE(watch.holds_any());
    platform_mutex_unlock(&mutex);
    EXPECT_FALSE(watch.holds_any());
    EXPECT_EQ(watch.taken("my mutex"), 1u);
    EXPECT_EQ(watch.taken("my spinlock"), 1u);
    EXPECT_EQ(watch.taken("another"), 0u);
    EXPECT_EQ(watch.take_trace(),
              (std::vector<std::string>{"set up my spinlock", "set up my mutex", "take my mutex",
                                        "take my spinlock", "held", "release my spinlock", "held",
                                        "release my mutex"}));
    EXPECT_TRUE(watch.take_trace().empty());
}

TEST_F(Checker, LockObserver_IsGoneWithItsWatch) {
    platform_spinlock spin;
    platform_spin_init(&spin, "my spinlock");
    { const test::LockWatch watch; }
    platform_spin_unlock_irqrestore(&spin, platform_spin_lock_irqsave(&spin));
    EXPECT_FALSE(host::g_locks_observed);
}

TEST_F(Checker, Heap_IsZeroFilledAndCounted) {
    auto* const block = static_cast<u8*>(platform_zalloc(100));
    EXPECT_EQ(std::string(block, block + 100), std::string(100, '\0'));
    EXPECT_EQ(host::heap_use().blocks, 1u);
    EXPECT_EQ(host::heap_use().bytes, 100u);
    platform_free(block);
    platform_free(nullptr);
    EXPECT_EQ(host::heap_use().blocks, 0u);
}

TEST_F(Checker, Heap_Limits) {
    EXPECT_EQ(platform_zalloc(PLATFORM_HEAP_MAX + 1), nullptr);
    EXPECT_EQ(platform_buffer_alloc(PLATFORM_BUFFER_MAX + 1), nullptr);
    void* const empty = platform_buffer_alloc(0);
    EXPECT_NE(empty, nullptr);
    platform_buffer_free(empty);
}

TEST_F(Checker, WrongHeap_Aborts) {
    void* const block = platform_zalloc(8);
    EXPECT_DEATH(platform_buffer_free(block), "no block of that heap");
    EXPECT_DEATH(platform_kept_free(block), "no block of that heap");
    platform_free(block);
    void* const kept = platform_kept_zalloc(8);
    EXPECT_DEATH(platform_free(kept), "no block of that heap");
    EXPECT_EQ(host::heap_use().blocks, 1u) << "what may be left counts until then";
    platform_kept_free(kept);
    platform_kept_free(nullptr);
    EXPECT_EQ(host::heap_use().blocks, 0u);
}

TEST_F(Checker, Faults_HitTheNthUseAndOnlyThat) {
    host::faults().fail(host::Call::kZalloc, 2, 0, 2);
    void* const first = platform_zalloc(1);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(platform_zalloc(1), nullptr);
    EXPECT_EQ(platform_zalloc(1), nullptr);
    void* const fourth = platform_zalloc(1);
    EXPECT_NE(fourth, nullptr);
    platform_free(first);
    platform_free(fourth);
    EXPECT_EQ(host::faults().uses(host::Call::kZalloc), 4u);
}

// --- the log ---

using HostLog = test::PlatformTest;

TEST_F(HostLog, Ring_KeepsTheNewestLinesOfItsSize) {
    EXPECT_EQ(drv_log_register(7, "seven", 40), 0u);
    for (int i = 0; i < 10; ++i) drv_log_record(7, 2, 0, "line %d....", i);
    const auto lines = host::log_lines(7);
    ASSERT_EQ(lines.size(), 3u) << "twelve bytes a line";
    EXPECT_EQ(lines.front().text, "line 7....");
    EXPECT_EQ(lines.back().text, "line 9....");
    EXPECT_EQ(host::log_lines(8).size(), 0u);
}

TEST_F(HostLog, LongLinesAndForeignBytes_PassUnchanged) {
    const std::string words(2000, 'w');
    drv_log_record(7, 1, 0, "%s\xa3\xba", words.c_str());
    EXPECT_EQ(host::log_lines(7).back().text, words + "\xa3\xba");
}

TEST_F(HostLog, LinesAboveTheLevel_AreDropped) {
    host::log_set_level(1);
    drv_log_record(7, 2, 0, "dropped");
    drv_log_record(7, 1, 0, "kept");
    EXPECT_EQ(host::log_lines(7).size(), 1u);
}

}  // namespace
