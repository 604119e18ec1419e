// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// "The caller's memory" is this process's own; the kernel does the copy, so that
// an address where nothing is mapped is an error and no crash.
#include <sys/uio.h>
#include <unistd.h>

#include "platform/device.h"
#include "platform/host/checker.h"
#include "platform/host/journal.h"

namespace {

// No 64-bit machine gives a process more address space (x86 ends at 2^56, Arm at
// 2^52); whether something is mapped there is for the copy to find out.
constexpr u64 kUserEnd = u64{1} << 56;

iovec vector_of(const void* bytes, u64 length) {
    return {const_cast<void*>(bytes), static_cast<size_t>(length)};
}

u64 missing(ssize_t moved, u64 bytes) {
    return moved < 0 ? bytes : bytes - static_cast<u64>(moved);
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
    const iovec local = vector_of(dest, bytes);
    const iovec remote = vector_of(reinterpret_cast<const void*>(address), bytes);
    return missing(process_vm_readv(getpid(), &local, 1, &remote, 1, 0), bytes);
}

u64 platform_copy_to_user(u64 address, const void* source, u64 bytes) {
    host_journal("platform_copy_to_user 0x%llx %llu", address, bytes);
    host::might_sleep("platform_copy_to_user");
    if (host::faults().hit(host::Call::kCopyToUser)) return bytes;
    if (bytes == 0) return 0;
    const iovec local = vector_of(source, bytes);
    const iovec remote = vector_of(reinterpret_cast<const void*>(address), bytes);
    return missing(process_vm_writev(getpid(), &local, 1, &remote, 1, 0), bytes);
}
