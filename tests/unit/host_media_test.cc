// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Flash, EEPROM and environment media of the user-space platform.
#include "platform/common/service_status.h"
#include "platform/host/environment.h"
#include "platform/host/medium.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace {

using test::Record;

struct Nor {
    host::MemoryStore* store;
    host::FlashMedium medium;
};

Nor make_nor(u32 size, u32 erase) {
    auto store = std::make_unique<host::MemoryStore>(size);
    host::MemoryStore* const raw = store.get();
    return {raw, host::FlashMedium(std::make_unique<host::EmulatedNor>(std::move(store), erase))};
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
        const u8 expected = i == 14 ? 0xaa : i == 15 ? 0xbb : i == 16 ? 0xcc : i == 17 ? 0xdd : i;
        EXPECT_EQ(nor.store->bytes()[i], expected) << int{i};
    }
}

TEST(HostFlash, LastBlock_NeedNotBeWhole) {
    Nor nor = make_nor(40, 16);
    EXPECT_EQ(nor.medium.write(34, Record{0, 0, 0, 0, 0, 0}), 0u);
    EXPECT_EQ(nor.medium.write(36, Record{7, 8}), 0u) << "erases the eight bytes that are there";
    EXPECT_EQ(test::hex(nor.store->bytes(), 32), "ffff000007080000");
    EXPECT_EQ(nor.medium.traffic().erases, 1u);
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

TEST(HostEnv, Redundant_ReadsTheFlagsAndTheCurrentCopy) {
    Env made = make_env(platform::EnvFlags::kCounter, false);
    made.env.set("a", "1");
    made.env.save();
    made.env.set("a", "2");
    made.env.save();
    const u64 before = made.env.traffic().bytes_read;
    EXPECT_EQ(get(made.env, "a"), "2");
    EXPECT_EQ(made.env.traffic().bytes_read - before, 0x102u);
    made.store->bytes()[0x110] ^= 1;
    const u64 damaged = made.env.traffic().bytes_read;
    EXPECT_EQ(get(made.env, "a"), "1");
    EXPECT_EQ(made.env.traffic().bytes_read - damaged, 0x202u) << "the other one as well";
    made.store->bytes()[4] = 9;
    EXPECT_EQ(get(made.env, "a"), "1") << "a later flag on the older copy";
    made.store->bytes()[0x10] ^= 1;
    EXPECT_EQ(get(made.env, "a"), test::text("code %x", u32{SERVICE_ENV_DAMAGED}));
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

}  // namespace
