// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The user-space platform: its checks, its media, its services.
#include <cstring>
#include <thread>

#include "platform/algorithm.h"
#include "platform/common/service_status.h"
#include "platform/driver_manager.h"
#include "platform/env.h"
#include "platform/flash.h"
#include "platform/host/environment.h"
#include "platform/host/log_service.h"
#include "platform/host/medium.h"
#include "platform/host/memory_service.h"
#include "platform/lock.h"
#include "platform/log.h"
#include "platform/memory.h"
#include "platform/xml.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace {

using test::Record;

// --- the checker ---

using Checker = test::PlatformTest;

TEST_F(Checker, Recursion_Aborts) {
    platform_spinlock spin;
    platform_spin_init(&spin);
    EXPECT_DEATH(
        {
            platform_spin_lock_irqsave(&spin);
            platform_spin_lock_irqsave(&spin);
        },
        "taken twice");
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
    platform_spin_init(&spin);
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
    platform_spin_init(&spin);
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

TEST_F(Checker, Heap_IsZeroFilledAndCounted) {
    auto* const block = static_cast<u8*>(platform_zalloc(100));
    EXPECT_EQ(Record(block, block + 100), Record(100));
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
    platform_free(block);
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

// --- media ---

struct Nor {
    host::MemoryStore* store;
    host::FlashMedium medium;
};

Nor make_nor(u32 size, u32 erase) {
    auto store = std::make_unique<host::MemoryStore>(size);
    host::MemoryStore* const raw = store.get();
    return {raw,
            host::FlashMedium(std::make_unique<host::EmulatedNor>(std::move(store), erase))};
}

TEST(HostFlash, Programming_OnlyClearsBits) {
    auto store = std::make_unique<host::MemoryStore>(32);
    host::EmulatedNor nor(std::move(store), 16);
    const u8 first[] = {0xf0};
    const u8 second[] = {0x3c};
    u8 cell[1];
    nor.program(3, first);
    nor.program(3, second);
    nor.read(3, cell);
    EXPECT_EQ(cell[0], 0x30);
    nor.erase(0);
    nor.read(3, cell);
    EXPECT_EQ(cell[0], 0xff);
}

TEST(HostFlash, Write_ClearingBits_NeedsNoErase) {
    Nor nor = make_nor(64, 16);
    EXPECT_EQ(nor.medium.write(4, Record{1, 2, 3}), 0u);
    EXPECT_EQ(nor.medium.traffic().erases, 0u);
    EXPECT_EQ(nor.medium.traffic().programs, 1u);
    EXPECT_EQ(nor.medium.traffic().bytes_programmed, 3u);
}

TEST(HostFlash, Write_SameBytes_TouchesNothing) {
    Nor nor = make_nor(64, 16);
    nor.medium.write(4, Record{1, 2, 3});
    const host::Traffic before = nor.medium.traffic();
    EXPECT_EQ(nor.medium.write(4, Record{1, 2, 3}), 0u);
    EXPECT_EQ(nor.medium.traffic().erases, before.erases);
    EXPECT_EQ(nor.medium.traffic().programs, before.programs);
}

TEST(HostFlash, Write_SettingBits_ErasesAndKeepsForeignBytes) {
    Nor nor = make_nor(64, 16);
    for (u8 i = 0; i < 64; ++i) nor.store->bytes()[i] = i;
    EXPECT_EQ(nor.medium.write(14, Record{0xaa, 0xbb, 0xcc, 0xdd}), 0u) << "over two blocks";
    EXPECT_EQ(nor.medium.traffic().erases, 2u);
    for (u8 i = 0; i < 64; ++i) {
        const u8 expected = i == 14   ? 0xaa
                            : i == 15 ? 0xbb
                            : i == 16 ? 0xcc
                            : i == 17 ? 0xdd
                                      : i;
        EXPECT_EQ(nor.store->bytes()[i], expected) << int{i};
    }
}

TEST(HostFlash, Bounds) {
    Nor nor = make_nor(64, 16);
    Record buf(16);
    EXPECT_EQ(nor.medium.read(48, buf), 0u);
    EXPECT_EQ(nor.medium.read(49, buf), u32{SERVICE_OUT_OF_RANGE});
    EXPECT_EQ(nor.medium.write(0xfffffff8, buf), u32{SERVICE_OUT_OF_RANGE});
    EXPECT_EQ(nor.medium.write(64, {}), 0u) << "nothing, at the end";
}

// A chip whose writes are taken in silence and change nothing.
class ProtectedStore : public host::MemoryStore {
public:
    using MemoryStore::MemoryStore;
    bool write(u32, host::ConstBytes) override { return true; }
};

TEST(HostEeprom, WriteProtected_IsSeenByTheReadBack) {
    host::EepromMedium medium(std::make_unique<ProtectedStore>(64), 8);
    EXPECT_EQ(medium.write(0, Record{1, 2, 3}), u32{SERVICE_VERIFY_FAILED});
}

TEST(HostEeprom, Write_GoesPageByPage_AndSkipsEqualPages) {
    host::EepromMedium medium(std::make_unique<host::MemoryStore>(64), 8);
    const Record record = test::bytes("000102030405060708090a0b0c0d0e0f");
    EXPECT_EQ(medium.write(4, record), 0u);
    EXPECT_EQ(medium.traffic().programs, 3u) << "4 + 8 + 4 bytes";
    EXPECT_EQ(medium.write(4, record), 0u);
    EXPECT_EQ(medium.traffic().programs, 3u);
    Record changed = record;
    changed[15] = 0xee;
    EXPECT_EQ(medium.write(4, changed), 0u);
    EXPECT_EQ(medium.traffic().programs, 4u);
}

// --- environment ---

struct Env {
    host::MemoryStore* store;
    host::Environment env;
};

Env make_env(platform::EnvFlags flags, bool nor) {
    auto store = std::make_unique<host::MemoryStore>(0x200);
    host::MemoryStore* const raw = store.get();
    std::unique_ptr<host::Medium> medium;
    if (nor) {
        medium = std::make_unique<host::FlashMedium>(
            std::make_unique<host::EmulatedNor>(std::move(store), 0x100));
    } else {
        medium = std::make_unique<host::EepromMedium>(std::move(store), 0x100);
    }
    return {raw, host::Environment(std::move(medium), {0x100, {0, 0x100}, flags, false})};
}

std::string get(host::Environment& env, const char* name) {
    char value[64];
    const u32 result = env.get(name, value, sizeof(value));
    return result == 0 ? value : test::text("code %x", result);
}

TEST(HostEnv, SetAndSave_LastsForEveryKindOfCopy) {
    using platform::EnvFlags;
    for (const auto& [flags, nor] :
         {std::pair{EnvFlags::kNone, false}, std::pair{EnvFlags::kCounter, false},
          std::pair{EnvFlags::kCounter, true}, std::pair{EnvFlags::kBoolean, true}}) {
        Env made = make_env(flags, nor);
        EXPECT_EQ(get(made.env, "a"), test::text("code %x", u32{SERVICE_ENV_NO_VARIABLE}));
        for (int round = 0; round < 300; ++round) {
            const std::string value = test::text("%d", round);
            ASSERT_EQ(made.env.set("a", value.c_str()), 0u);
            ASSERT_EQ(get(made.env, "a"), value) << "the working copy";
            ASSERT_EQ(made.env.save(), 0u);
            ASSERT_EQ(get(made.env, "a"), value) << "the medium";
        }
    }
}

TEST(HostEnv, Redundant_WritesTheOtherCopy) {
    Env made = make_env(platform::EnvFlags::kCounter, false);
    made.env.set("a", "1");
    made.env.save();
    EXPECT_EQ(made.store->bytes()[4], 1);
    EXPECT_EQ(made.store->bytes()[0x104], 0xff) << "untouched";
    made.env.set("a", "2");
    made.env.save();
    EXPECT_EQ(made.store->bytes()[4], 1);
    EXPECT_EQ(made.store->bytes()[0x104], 2);
    // The current copy is damaged: the older one answers.
    made.store->bytes()[0x110] ^= 1;
    EXPECT_EQ(get(made.env, "a"), "1");
}

TEST(HostEnv, Boolean_RetiresTheOldCopyInPlace) {
    Env made = make_env(platform::EnvFlags::kBoolean, true);
    made.env.set("a", "1");
    made.env.save();
    EXPECT_EQ(made.store->bytes()[4], 1);
    made.env.set("a", "2");
    made.env.save();
    EXPECT_EQ(made.store->bytes()[4], 0);
    EXPECT_EQ(made.store->bytes()[0x104], 1);
    EXPECT_EQ(made.env.traffic().erases, 0u) << "bits were cleared only";
}

TEST(HostEnv, SameText_WritesNothing) {
    Env made = make_env(platform::EnvFlags::kNone, false);
    made.env.set("a", "1");
    made.env.save();
    const u64 programs = made.env.traffic().programs;
    EXPECT_EQ(made.env.set("a", "1"), 0u);
    EXPECT_EQ(made.env.save(), 0u);
    EXPECT_EQ(made.env.traffic().programs, programs);
    EXPECT_EQ(made.env.save(), 0u) << "nothing to save is no failure";
}

TEST(HostEnv, Damaged_IsRefusedAndLeftAsItIs) {
    Env made = make_env(platform::EnvFlags::kCounter, false);
    made.store->bytes()[0x20] = 0x12;
    const Record before = made.store->bytes();
    EXPECT_EQ(made.env.set("a", "1"), u32{SERVICE_ENV_DAMAGED});
    EXPECT_EQ(made.env.save(), 0u);
    EXPECT_EQ(get(made.env, "a"), test::text("code %x", u32{SERVICE_ENV_DAMAGED}));
    EXPECT_EQ(made.store->bytes(), before);
}

TEST(HostEnv, Refusals_LeaveTheVariables) {
    Env made = make_env(platform::EnvFlags::kNone, false);
    made.env.set("a", "1");
    made.env.save();
    EXPECT_EQ(made.env.set("big", std::string(300, 'x').c_str()), u32{SERVICE_ENV_FULL});
    EXPECT_EQ(made.env.set("x=y", "1"), u32{SERVICE_ENV_BAD_NAME});
    EXPECT_EQ(made.env.save(), 0u);
    EXPECT_EQ(get(made.env, "a"), "1");
    char small[2];
    made.env.set("long", "123");
    made.env.save();
    EXPECT_EQ(made.env.get("long", small, 2), u32{SERVICE_ENV_TOO_LONG});
}

// --- services ---

using HostServices = test::PlatformTest;

TEST_F(HostServices, WithoutABoard_EverythingIsRefused) {
    u8 byte = 0;
    u32 number = 0;
    char text[8];
    xml_entry* list = nullptr;
    EXPECT_EQ(drv_flash_read(0, 45, 0, &byte, 1), u32{SERVICE_NO_CHIP});
    EXPECT_NE(drv_env_get("a", text, 8), 0u);
    EXPECT_NE(xml_get_entry_list(0, "mac_mng", "mac", &list, &number), 0u);
    EXPECT_DEATH(
        {
            u16 crc;
            drv_crc16_checksum(&byte, 1, &crc);
        },
        "without a board");
}

TEST_F(HostServices, NullArguments_AreRefused) {
    use_board(test::board_with(""));
    EXPECT_EQ(drv_flash_read(0, 45, 0, nullptr, 1), u32{SERVICE_NULL_ARGUMENT});
    EXPECT_EQ(drv_flash_write(0, 45, 0, nullptr, 1), u32{SERVICE_NULL_ARGUMENT});
    EXPECT_EQ(drv_env_get(nullptr, nullptr, 0), u32{SERVICE_NULL_ARGUMENT});
    EXPECT_EQ(drv_env_set("a", nullptr), u32{SERVICE_NULL_ARGUMENT});
    EXPECT_NE(module_driver_register(nullptr), 0);
    EXPECT_EQ(module_driver_find_by_name(nullptr), nullptr);
}

TEST_F(HostServices, BoardWithoutEnv_SaysSo) {
    use_board("<board><platform/></board>");
    EXPECT_EQ(drv_env_set("a", "1"), u32{SERVICE_NO_ENV});
}

TEST_F(HostServices, DriverNames_AreTakenOnce) {
    MacDriver one{{}, "one", nullptr};
    MacDriver twin{{}, "one", nullptr};
    EXPECT_EQ(module_driver_register(&one), 0);
    EXPECT_NE(module_driver_register(&twin), 0);
    EXPECT_EQ(module_driver_find_by_name("one"), &one);
    EXPECT_EQ(module_driver_func_find_by_name("one"), nullptr) << "it has no operations";
    module_driver_unregister("two");
    module_driver_unregister("one");
    EXPECT_EQ(module_driver_find_by_name("one"), nullptr);
}

TEST_F(HostServices, HexDigits_OtherCharactersLeaveTheValue) {
    for (int c = 0; c < 256; ++c) {
        u8 value = 0x77;
        str_2uchar(static_cast<char>(c), &value);
        const char* const digits = "0123456789abcdef";
        const char* const at = c == 0 ? nullptr : strchr(digits, tolower(c));
        EXPECT_EQ(value, at == nullptr ? 0x77 : at - digits) << c;
    }
}

TEST_F(HostServices, InstanceTrees_AreNeverShared) {
    use_board(test::board_with("<mac_mng><mac/></mac_mng>"
                               "<instance id=\"0x3\"><mac_mng><mac><e/></mac></mac_mng></instance>"
                               "<instance id=\"4\"/>"));
    u32 count = 9;
    EXPECT_EQ(xml_get_entry_num(0xffffffff, "mac_mng", "mac", &count), 0u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(xml_get_entry_num(3, "mac_mng", "mac", &count), 0u);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(xml_get_entry_num(4, "mac_mng", "mac", &count), u32{SERVICE_XML_NO_NODE});
    EXPECT_EQ(xml_get_entry_num(5, "mac_mng", "mac", &count), u32{SERVICE_XML_NO_NODE});
}

TEST_F(HostServices, XmlTextsAndNumbers) {
    use_board(test::board_with(
        "<mac_mng><mac><e a=\"0x10\" b=\"12x\" c=\"4294967296\" d=\"-1\" t=\"12345\">"
        "<k>010</k><t>text</t></e></mac></mac_mng>"));
    xml_entry* list = nullptr;
    u32 count = 0;
    ASSERT_EQ(xml_get_entry_list(0xffffffff, "mac_mng", "mac", &list, &count), 0u);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(list->next, nullptr);
    u32 value = 7;
    EXPECT_EQ(xml_get_attr_value_u32(list->element, "a", &value), 0u);
    EXPECT_EQ(value, 16u);
    for (const char* const bad : {"b", "c", "d"}) {
        EXPECT_EQ(xml_get_attr_value_u32(list->element, bad, &value),
                  u32{SERVICE_XML_NOT_A_NUMBER});
    }
    EXPECT_EQ(xml_get_attr_value_u32(list->element, "z", &value), u32{SERVICE_XML_NO_NODE});
    EXPECT_EQ(value, 16u) << "unchanged";
    char text[6] = "old";
    EXPECT_EQ(xml_get_attr_string(list->element, "t", text, 5), u32{SERVICE_XML_TOO_LONG});
    EXPECT_STREQ(text, "old");
    EXPECT_EQ(xml_get_attr_string(list->element, "t", text, 6), 0u);
    EXPECT_STREQ(text, "12345");
    EXPECT_EQ(xml_get_element_value_u32(0xffffffff, "mac_mng", "mac", "e", "k", &value), 0u);
    EXPECT_EQ(value, 8u) << "octal";
    EXPECT_EQ(xml_get_element_string(0xffffffff, "mac_mng", "mac", "e", "t", text, 6), 0u);
    EXPECT_STREQ(text, "text");
    EXPECT_EQ(xml_get_element_string(0xffffffff, "mac_mng", "mac", "e", "t", text, 4),
              u32{SERVICE_XML_TOO_LONG});
}

}  // namespace
