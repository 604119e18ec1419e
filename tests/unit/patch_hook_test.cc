// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The two extension hooks, by both ways in. The linker puts the ones below in the place of
// the system's own (--wrap in tests/CMakeLists.txt), which do nothing that could be seen.
#include <cstring>

#include "mac_mng/mac_mng.h"
#include "platform/host/memory_service.h"
#include "service/mac_func.h"
#include "tests/support/module_fixture.h"

u32 own_hook1(u8* buf, u32 len) __asm__("__real__Z19get_mac_patch_func1Phj");
u32 own_hook2(u8* buf, u32 len) __asm__("__real__Z19get_mac_patch_func2Phj");
u32 put_hook1(u8* buf, u32 len) __asm__("__wrap__Z19get_mac_patch_func1Phj");
u32 put_hook2(u8* buf, u32 len) __asm__("__wrap__Z19get_mac_patch_func2Phj");

namespace {

struct HookCall {
    unsigned hook;
    u8* buf;
    u32 len;

    bool operator==(const HookCall&) const = default;
};

// What the hooks do while a test is watching; without it they are the system's own.
struct HookScript {
    u32 result = 0;
    u8 fill = 0;
    std::vector<HookCall> calls;
};
HookScript* script = nullptr;

u32 run(unsigned hook, u32 (*own)(u8*, u32), u8* buf, u32 len) {
    if (script == nullptr) return own(buf, len);
    script->calls.push_back({hook, buf, len});
    std::memset(buf, script->fill, len);
    return script->result;
}

}  // namespace

u32 put_hook1(u8* buf, u32 len) { return run(1, own_hook1, buf, len); }
u32 put_hook2(u8* buf, u32 len) { return run(2, own_hook2, buf, len); }

namespace {

class PatchHook : public test::ModuleTest {
protected:
    PatchHook() { script = &script_; }
    ~PatchHook() override { script = nullptr; }

    HookScript script_;
};

struct Way {
    unsigned hook;
    u32 (*exported)(u8* buf, u32 len);
    u32 cmd;
};
const Way kWays[] = {{1, drv_mac_patch_func1, MAC_IOCTL_PATCH1},
                     {2, drv_mac_patch_func2, MAC_IOCTL_PATCH2}};

TEST_F(PatchHook, Exported_HandsItsArgumentsDown_AndTheResultUp) {
    u8 buf[5] = {};
    for (const Way& way : kWays) {
        for (const u32 result : {0u, 1u, 0x811601abu, 0xfffffff2u}) {
            script_ = {result, 0x33, {}};
            EXPECT_EQ(way.exported(buf, 4), result);
            EXPECT_EQ(script_.calls, (std::vector<HookCall>{{way.hook, buf, 4}}));
            EXPECT_EQ(buf[3], 0x33);
            EXPECT_EQ(buf[4], 0);
        }
    }
}

TEST_F(PatchHook, Exported_RefusedArguments_DoNotReachTheHook) {
    u8 byte = 0x5a;
    for (const Way& way : kWays) {
        EXPECT_EQ(way.exported(nullptr, 1), 0x811601a2u);
        EXPECT_EQ(way.exported(&byte, 0), 0x811601a2u);
        EXPECT_EQ(way.exported(nullptr, 0), 0x811601a2u);
    }
    EXPECT_EQ(script_.calls, std::vector<HookCall>{});
    EXPECT_EQ(byte, 0x5a);
}

TEST_F(PatchHook, Command_CopiesOutWhatTheHookLeaves) {
    load();
    for (const Way& way : kWays) {
        script_ = {0, 0x44, {}};
        u8 buf[1001] = {};
        mac_ioctl_buffer request{pointer(buf), 1000};
        EXPECT_EQ(ioctl(way.cmd, &request), 0u);
        ASSERT_EQ(script_.calls.size(), 1u);
        EXPECT_EQ(script_.calls[0].hook, way.hook);
        EXPECT_EQ(script_.calls[0].len, 1000u);
        EXPECT_NE(script_.calls[0].buf, buf) << "a buffer of the kernel's";
        EXPECT_EQ(std::vector<u8>(buf, buf + 1000), std::vector<u8>(1000, 0x44));
        EXPECT_EQ(buf[1000], 0);
    }
}

TEST_F(PatchHook, Command_HookThatFails_GivesItsCodeAndNothingElse) {
    load();
    const auto blocks = host::heap_use().blocks;
    for (const Way& way : kWays) {
        for (const u32 result : {1u, 0x811601abu, 0xfffffff2u}) {
            script_ = {result, 0x44, {}};
            u8 buf[8] = {};
            mac_ioctl_buffer request{pointer(buf), 8};
            EXPECT_EQ(ioctl(way.cmd, &request), result);
            EXPECT_EQ(script_.calls.size(), 1u);
            EXPECT_EQ(std::vector<u8>(buf, buf + 8), std::vector<u8>(8)) << "nothing comes back";
            EXPECT_EQ(host::heap_use().blocks, blocks) << "the buffer is freed";
        }
    }
    EXPECT_EQ(host::faults().uses(host::Call::kCopyToUser), 0u);
}

TEST_F(PatchHook, Command_ThatIsRefused_DoesNotReachTheHook) {
    load();
    u8 byte = 0x5a;
    for (const Way& way : kWays) {
        for (mac_ioctl_buffer request :
             {mac_ioctl_buffer{0, 0}, mac_ioctl_buffer{0, 1}, mac_ioctl_buffer{pointer(&byte), 0},
              mac_ioctl_buffer{pointer(&byte), 1001}}) {
            EXPECT_EQ(ioctl(way.cmd, &request), 0x811601a2u);
        }
    }
    EXPECT_EQ(script_.calls, std::vector<HookCall>{});
    EXPECT_EQ(byte, 0x5a);
}

TEST_F(PatchHook, TheSystemsOwn_SucceedAndLeaveTheBuffer) {
    script = nullptr;
    u8 byte = 0x5a;
    EXPECT_EQ(get_mac_patch_func1(&byte, 1), 0u);
    EXPECT_EQ(get_mac_patch_func2(&byte, 1), 0u);
    EXPECT_EQ(get_mac_patch_func1(nullptr, 0), 0u) << "the checks are its callers'";
    EXPECT_EQ(get_mac_patch_func2(nullptr, 0), 0u);
    EXPECT_EQ(byte, 0x5a);
}

}  // namespace
