// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// "The caller's memory" is this process's own; the kernel does the copy, so that
// an address where nothing is mapped is an error and no crash.
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/device.h"
#include "platform/host/checker.h"
#include "platform/host/journal.h"

namespace {

// No 64-bit machine gives a process more address space (x86 ends at 2^56, Arm at
// 2^52); whether something is mapped there is for the copy to find out.
constexpr u64 kUserEnd = u64{1} << 56;

// What an empty pipe takes at once.
constexpr u64 kPipeBytes = 65536;

iovec vector_of(const void* bytes, u64 length) {
    return {const_cast<void*>(bytes), static_cast<size_t>(length)};
}

// The bytes moved, or 0.
u64 moved(long result) { return result < 0 ? 0 : static_cast<u64>(result); }

// Whether the copy between processes is not to be had: a kernel without
// CROSS_MEMORY_ATTACH, or a seccomp profile that denies it.
bool is_denied(ssize_t result) { return result < 0 && (errno == ENOSYS || errno == EPERM); }

// Into a pipe and out of it again: the kernel does this copy too. Both ends are called
// directly, for a checker around the C library's calls would look at a wrong address itself.
u64 copy_through(const int (&ends)[2], char* to, const char* from, u64 bytes) {
    u64 done = 0;
    while (done < bytes) {
        const u64 piece = std::min(bytes - done, kPipeBytes);
        const u64 taken = moved(syscall(SYS_write, ends[1], from + done, piece));
        if (taken == 0) break;
        const u64 given = moved(syscall(SYS_read, ends[0], to + done, taken));
        done += given;
        if (given != taken) break;
    }
    return done;
}

u64 copy_through_pipe(void* to, const void* from, u64 bytes) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return 0;
    const u64 done =
        copy_through(ends, static_cast<char*>(to), static_cast<const char*>(from), bytes);
    close(ends[0]);
    close(ends[1]);
    return done;
}

}  // namespace

int platform_user_range_valid(u64 address, u64 bytes) {
    host_journal("platform_user_range_valid 0x%llx %llu", address, bytes);
    if (host::faults().hit(host::Call::kRangeValid)) return 0;
    return bytes <= kUserEnd && address <= kUserEnd - bytes ? 1 : 0;
}

u64 platform_copy_from_user(void* dest, u64 address, u64 bytes) {
    host_journal("platform_copy_from_user 0x%llx %llu", address, bytes);
    host::might_sleep("platform_copy_from_user");
    if (host::faults().hit(host::Call::kCopyFromUser)) return bytes;
    if (bytes == 0) return 0;
    const auto* const source = reinterpret_cast<const void*>(address);
    const iovec local = vector_of(dest, bytes);
    const iovec remote = vector_of(source, bytes);
    const ssize_t result = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
    return bytes - (is_denied(result) ? copy_through_pipe(dest, source, bytes) : moved(result));
}

u64 platform_copy_to_user(u64 address, const void* source, u64 bytes) {
    host_journal("platform_copy_to_user 0x%llx %llu", address, bytes);
    host::might_sleep("platform_copy_to_user");
    if (host::faults().hit(host::Call::kCopyToUser)) return bytes;
    if (bytes == 0) return 0;
    auto* const dest = reinterpret_cast<void*>(address);
    const iovec local = vector_of(source, bytes);
    const iovec remote = vector_of(dest, bytes);
    const ssize_t result = process_vm_writev(getpid(), &local, 1, &remote, 1, 0);
    return bytes - (is_denied(result) ? copy_through_pipe(dest, source, bytes) : moved(result));
}
