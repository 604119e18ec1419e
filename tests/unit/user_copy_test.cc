// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Copies from and to the caller's memory, also where the copy between processes is
// denied: by a kernel that was built without it, or by a seccomp profile.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <numeric>
#include <vector>

#include "platform/device.h"
#include "tests/support/confined.h"
#include "tests/support/fixture.h"
#include "tests/support/macctl_fixture.h"

namespace {

constexpr u64 kPage = 4096;
// Three pieces of a pipe, the last one short, and more than memory copied at once.
constexpr u64 kLong = 2 * 65536 + 4097;

u64 pointer(const void* at) { return reinterpret_cast<u64>(at); }

// From here on both calls give this error, in this process and in those that it starts.
bool deny_copies_between_processes(int error) {
    const sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_process_vm_readv, 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_process_vm_writev, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<u32>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    if (!test::confine(program)) return false;
    char byte = 0;
    const iovec one{&byte, 1};
    errno = 0;
    return process_vm_readv(getpid(), &one, 1, &one, 1, 0) == -1 && errno == error;
}

// One page that can be read and written, and behind it one where nothing is mapped.
class Pages {
public:
    Pages()
        : memory_(static_cast<char*>(mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE,
                                          MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        munmap(end(), kPage);
    }
    ~Pages() { munmap(memory_, kPage); }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    char* end() const { return memory_ + kPage; }
    void read_only() const { mprotect(memory_, kPage, PROT_READ); }

private:
    char* memory_;
};

void expect_whole_copies() {
    std::vector<u8> bytes(kLong);
    std::iota(bytes.begin(), bytes.end(), u8{1});
    for (const u64 length : {u64{0}, u64{1}, u64{20}, kPage, u64{65536}, u64{65537}, kLong}) {
        std::vector<u8> in(kLong);
        std::vector<u8> out(kLong);
        EXPECT_EQ(platform_copy_from_user(in.data(), pointer(bytes.data()), length), 0u) << length;
        EXPECT_EQ(platform_copy_to_user(pointer(out.data()), bytes.data(), length), 0u) << length;
        std::vector<u8> expected(bytes.begin(), bytes.begin() + static_cast<long>(length));
        expected.resize(kLong);
        EXPECT_TRUE(in == expected) << "from the caller, " << length;
        EXPECT_TRUE(out == expected) << "to the caller, " << length;
    }
}

void expect_refused_pointers() {
    const Pages pages;
    char bytes[64] = {};
    for (const u64 wrong : {u64{0}, u64{1}, pointer(pages.end()), u64{0x0000dead00000000},
                            u64{0xffff800000000000}, ~u64{0} - 100}) {
        EXPECT_EQ(platform_copy_from_user(bytes, wrong, 64), 64u) << std::hex << wrong;
        EXPECT_EQ(platform_copy_to_user(wrong, bytes, 64), 64u) << std::hex << wrong;
    }
    EXPECT_NE(platform_copy_from_user(bytes, pointer(pages.end() - 2), 64), 0u) << "half mapped";
    EXPECT_NE(platform_copy_to_user(pointer(pages.end() - 2), bytes, 64), 0u) << "half mapped";
    std::vector<char> many(kLong);
    EXPECT_NE(platform_copy_from_user(many.data(), pointer(pages.end() - 2), kLong), 0u);
    EXPECT_NE(platform_copy_to_user(pointer(pages.end() - 2), many.data(), kLong), 0u);
    pages.read_only();
    EXPECT_EQ(platform_copy_from_user(bytes, pointer(pages.end() - 64), 64), 0u);
    EXPECT_EQ(platform_copy_to_user(pointer(pages.end() - 64), bytes, 64), 64u) << "read-only";
}

// Descriptors that are open.
size_t descriptors() {
    size_t open = 0;
    for (int fd = 0; fd < 256; ++fd) open += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
    return open;
}

// In a process of its own: what is denied once stays denied.
[[noreturn]] void copy_where_denied(int error) {
    if (!deny_copies_between_processes(error)) _exit(2);
    const size_t before = descriptors();
    expect_whole_copies();
    expect_refused_pointers();
    EXPECT_EQ(descriptors(), before);
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

using UserCopy = test::PlatformTest;

TEST_F(UserCopy, Copies_AreWhole_AndWrongPointersAreErrors) {
    expect_whole_copies();
    expect_refused_pointers();
}

TEST_F(UserCopy, CopiesBetweenProcessesDenied_AreMadeAnotherWay) {
    EXPECT_EXIT(copy_where_denied(EPERM), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(copy_where_denied(ENOSYS), testing::ExitedWithCode(0), "");
}

// No descriptors left for a pipe: an error, as every copy that fails.
TEST_F(UserCopy, CopiesDenied_AndNoDescriptorLeft_IsAnError) {
    EXPECT_EXIT(
        {
            char from[8] = "text";
            char to[8] = "";
            if (!deny_copies_between_processes(EPERM)) _exit(2);
            const rlimit none{};
            setrlimit(RLIMIT_NOFILE, &none);
            _exit(platform_copy_from_user(to, pointer(from), 8) == 8 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

class MacctlDenied : public test::MacctlTest {
protected:
    // Ends with 0 when macctl does its work under the profile.
    [[noreturn]] void work_where_denied(int error) const {
        if (!deny_copies_between_processes(error)) _exit(2);
        change("set block -t 0 00:11:22:33:44:00 16");
        must("get addr -t 0", "00:11:22:33:44:00\n");
        must("list -t 0 -n 2", "00:11:22:33:44:00\n00:11:22:33:44:01\n");
        EXPECT_NE(macctl("show cfg").out.find("drv_mac_flash"), std::string::npos);
        _exit(HasFailure() ? 1 : 0);
    }
};

TEST_F(MacctlDenied, CommandsOverABoardFile_GoOn) {
    for (const int error : {EPERM, ENOSYS}) {
        EXPECT_EXIT(work_where_denied(error), testing::ExitedWithCode(0), "") << strerror(error);
    }
}

}  // namespace
