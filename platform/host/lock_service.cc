// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Locks that know their owner and abort on recursion, on use before set-up, on
// unlock by another thread and on sleeping under a spinlock.
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "platform/host/checker.h"
#include "platform/lock.h"

namespace {

constexpr u32 kSpinMagic = 0x7370696e;
constexpr u32 kMutexMagic = 0x6d757478;

// 0 is nobody.
u32 this_thread() {
    static std::atomic<u32> next{1};
    thread_local const u32 id = next++;
    return id;
}

struct HostLock {
    u32 magic;
    std::atomic<u32> owner;
    const char* name;
    pthread_mutex_t mutex;
};
static_assert(sizeof(HostLock) <= sizeof(platform_spinlock::storage));
static_assert(sizeof(HostLock) <= sizeof(platform_mutex::storage));

template <typename Lock>
HostLock& body(Lock* lock) {
    return *reinterpret_cast<HostLock*>(lock->storage);
}

template <typename Lock>
void set_up(Lock* lock, u32 magic, const char* name) {
    std::memset(lock->storage, 0, sizeof(lock->storage));
    HostLock& host_lock = body(lock);
    host_lock.magic = magic;
    host_lock.name = name;
    pthread_mutex_init(&host_lock.mutex, nullptr);
}

void take(HostLock& lock, u32 magic) {
    if (lock.magic != magic) host::violation("lock taken before it was set up");
    if (lock.owner == this_thread()) host::violation("lock %s taken twice", lock.name);
    pthread_mutex_lock(&lock.mutex);
    lock.owner = this_thread();
}

void release(HostLock& lock, u32 magic) {
    if (lock.magic != magic) host::violation("lock released before it was set up");
    if (lock.owner != this_thread()) {
        host::violation("lock %s released by a thread that does not hold it", lock.name);
    }
    lock.owner = 0;
    pthread_mutex_unlock(&lock.mutex);
}

}  // namespace

void platform_spin_init(platform_spinlock* lock, const char* name) {
    set_up(lock, kSpinMagic, name);
}

unsigned long platform_spin_lock_irqsave(platform_spinlock* lock) {
    (void)host::faults().hit(host::Call::kSpinLock);
    take(body(lock), kSpinMagic);
    host::spinlock_taken();
    return 1;
}

void platform_spin_unlock_irqrestore(platform_spinlock* lock, unsigned long flags) {
    if (flags != 1) host::violation("spinlock released with another lock's interrupt state");
    release(body(lock), kSpinMagic);
    host::spinlock_released();
}

void platform_mutex_init(platform_mutex* mutex, const char* name) {
    set_up(mutex, kMutexMagic, name);
}

void platform_mutex_lock(platform_mutex* mutex) {
    host::might_sleep("platform_mutex_lock");
    take(body(mutex), kMutexMagic);
}

void platform_mutex_unlock(platform_mutex* mutex) { release(body(mutex), kMutexMagic); }
