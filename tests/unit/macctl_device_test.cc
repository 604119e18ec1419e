// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl on a control device whose platform does not tell where the records lie: its board is
// not where ours keeps it. /dev/null stands for the device, and a filter on its calls for the
// system that answers.
#include <cerrno>
#include <csignal>

#include "mac_mng/mac_ioctl.h"
#include "tests/support/confined.h"
#include "tests/support/macctl_fixture.h"

namespace {

using test::Outcome;

constexpr u32 kCommands = 0x4d00;  // what the number of each of our commands begins with
constexpr u32 kCommandsMask = 0xffffff00;

// Commands that read a block give `reading`, all others `others`: what the kernel does instead
// of the call. Reading without an error leaves the record as it was: zeros.
std::vector<sock_filter> device(u32 reading, u32 others) {
    return {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_ioctl, 0, 7),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, test::argument_at(1)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, MAC_IOCTL_GET_ADDR, 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, MAC_IOCTL_GET_NUM, 2, 0),
        BPF_STMT(BPF_ALU | BPF_AND | BPF_K, kCommandsMask),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kCommands, 1, 2),
        BPF_STMT(BPF_RET | BPF_K, reading),
        BPF_STMT(BPF_RET | BPF_K, others),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
}

constexpr u32 kSucceed = SECCOMP_RET_ERRNO;
constexpr u32 kRefuse = SECCOMP_RET_ERRNO | EPERM;
constexpr u32 kEndIt = SECCOMP_RET_KILL_PROCESS;

class MacctlDevice : public test::MacctlTest {
protected:
    // With a device on which no block is good, unless it is another one.
    Outcome on_device(const std::string& arguments,
                      const std::vector<sock_filter>& filter = device(kRefuse, kSucceed)) const {
        return run_confined(folder, std::string(MACCTL_PROGRAM) + " -d /dev/null " + arguments,
                            filter);
    }

    // What a device says that tells nothing, in brackets; the reason is the machine's own.
    static std::string without_reason(const std::string& text) {
        const size_t from = text.find(" (/");
        const size_t to = text.find(')', from);
        if (from == std::string::npos || to == std::string::npos) return text;
        return text.substr(0, from) + text.substr(to + 1);
    }
};

constexpr char kUnknown[] =
    "what else a write to instance 0xffffffff type 0 touches is not known here";

TEST_F(MacctlDevice, UnknownLayout_AChangeSaysSo_AndWantsYes) {
    const std::string set = "set block -t 0 02:00:00:00:00:01 4";
    const Outcome asked = on_device(set);
    EXPECT_EQ(asked.status, 7);
    EXPECT_EQ(asked.out, "");
    EXPECT_EQ(without_reason(asked.err),
              std::string("macctl: ") + kUnknown + "; that needs --yes\n");
    const Outcome told = on_device(set + " --yes");
    EXPECT_EQ(told.status, 0);
    EXPECT_EQ(told.out, "before  no good block\nafter   02:00:00:00:00:01 count 4\n");
    EXPECT_EQ(without_reason(told.err), std::string("macctl: warning: ") + kUnknown + "\n");
}

TEST_F(MacctlDevice, UnknownLayout_ABlockThatIsReplacedIsNamedFirst) {
    const Outcome asked =
        on_device("set block -t 0 02:00:00:00:00:01 4", device(kSucceed, kSucceed));
    EXPECT_EQ(asked.status, 7);
    EXPECT_EQ(without_reason(asked.err),
              std::string("macctl: instance 0xffffffff type 0 holds the good block "
                          "00:00:00:00:00:00 count 0; ") +
                  kUnknown + "; that needs --yes\n");
}

TEST_F(MacctlDevice, UnknownLayout_IsInTheJsonToo) {
    const std::string set = "-j set block -t 0 02:00:00:00:00:01 4";
    auto asked = nlohmann::json::parse(on_device(set).out);
    EXPECT_EQ(asked["exit"], 7);
    EXPECT_NE(asked["error"]["message"].get<std::string>().find(kUnknown), std::string::npos);
    auto done = nlohmann::json::parse(on_device(set + " --yes").out);
    EXPECT_EQ(done["result"]["layout"], "unknown");
    EXPECT_EQ(done["result"]["written"], true);
    EXPECT_TRUE(done["result"]["before"].is_null());
    auto known = json("set block -t 0 02:00:00:00:00:01 4");
    EXPECT_EQ(known["result"]["layout"], "known") << "over a board file";
}

TEST_F(MacctlDevice, UnknownLayout_ValuesAreCheckedAllTheSame) {
    for (const char* const yes : {"", " --yes"}) {
        const Outcome ones = on_device(std::string("set block -t 0 ff:ff:ff:ff:ff:ff 4") + yes);
        EXPECT_EQ(ones.status, 2);
        EXPECT_EQ(ones.err,
                  "macctl: set block, type 0, instance 0xffffffff: the address is all zeros or all "
                  "ones\n");
        const Outcome half = on_device(std::string("set num -t 0 4") + yes);
        EXPECT_EQ(half.status, 5);
        EXPECT_NE(half.err.find("no copy of the block is good"), std::string::npos) << half.err;
    }
}

// The system repairs whatever it is asked for, so a rehearsal does not ask it.
TEST_F(MacctlDevice, Rehearsals_DoNotCallTheModule) {
    const auto deadly = device(kEndIt, kEndIt);
    folder.write("b.json", R"({"format":"mac_mng-blocks","version":1,"blocks":[]})");
    const struct {
        const char* arguments;
        int status;
    } cases[] = {
        {"set block -t 0 02:00:00:00:00:01 4 --dry-run --yes", 9},
        {"set addr -t 0 02:00:00:00:00:01 --dry-run", 9},
        {"set num -t 0 4 --dry-run --yes", 9},
        {"import b.json --dry-run", 9},
        {"repair --dry-run", 9},
        {"unmount -i 3 --dry-run", 0},
    };
    for (const auto& one : cases) {
        const Outcome outcome = on_device(one.arguments, deadly);
        EXPECT_EQ(outcome.status, one.status) << one.arguments << "\n" << outcome.err;
        if (one.status == 9) {
            EXPECT_EQ(outcome.err.rfind("macctl: /dev/null is not the control device", 0), 0u)
                << outcome.err;
        }
    }
    EXPECT_EQ(on_device("set block -t 0 02:00:00:00:00:01 4 --yes", deadly).status, 128 + SIGSYS);
    EXPECT_EQ(on_device("unmount -i 3", deadly).status, 128 + SIGSYS);
}

}  // namespace
