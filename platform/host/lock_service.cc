// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Locks that know their owner and abort on recursion, on use before set-up, on
// unlock by another thread and on sleeping under a spinlock.
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "platform/host/checker.h"
#include "platform/lock.h"

namespace {

constexpr u32 kSpinMagic = 0x7370696e;
constexpr u32 kMutexMagic = 0x6d757478;

constinit std::atomic<u32> last_thread{0};
constinit thread_local u32 own_thread = 0;

// 0 is nobody.
u32 this_thread() {
    if (own_thread == 0) own_thread = ++last_thread;
    return own_thread;
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
    host::lock_event(host::LockEvent::kSetUp, name, lock);
}

void must_not_own(const HostLock& lock, u32 self) {
    if (lock.owner == self) host::violation("lock %s taken twice", lock.name);
}

void must_be_set_up(const HostLock& lock, u32 magic) {
    if (lock.magic != magic) host::violation("lock taken before it was set up");
}

void may_release(const HostLock& lock, u32 magic) {
    if (lock.magic != magic) host::violation("lock released before it was set up");
    if (lock.owner != this_thread()) {
        host::violation("lock %s released by a thread that does not hold it", lock.name);
    }
}

}  // namespace

void platform_spin_init(platform_spinlock* lock, const char* name) {
    set_up(lock, kSpinMagic, name);
}

unsigned long platform_spin_lock_irqsave(platform_spinlock* lock) {
    (void)host::faults().hit(host::Call::kSpinLock);
    HostLock& host_lock = body(lock);
    must_be_set_up(host_lock, kSpinMagic);
    const u32 self = this_thread();
    // The owner is the lock: held for a few instructions, and taken some thirty times to
    // read a block.
    for (u32 nobody = 0; !host_lock.owner.compare_exchange_strong(nobody, self); nobody = 0) {
        must_not_own(host_lock, self);
        sched_yield();
    }
    ++host::spinlocks_held;
    host::lock_event(host::LockEvent::kTaken, host_lock.name, lock);
    return 1;
}

void platform_spin_unlock_irqrestore(platform_spinlock* lock, unsigned long flags) {
    if (flags != 1) host::violation("spinlock released with another lock's interrupt state");
    HostLock& host_lock = body(lock);
    may_release(host_lock, kSpinMagic);
    host::lock_event(host::LockEvent::kReleasing, host_lock.name, lock);
    host_lock.owner = 0;
    --host::spinlocks_held;
}

void platform_mutex_init(platform_mutex* mutex, const char* name) {
    set_up(mutex, kMutexMagic, name);
}

void platform_mutex_lock(platform_mutex* mutex) {
    host::might_sleep("platform_mutex_lock");
    HostLock& host_lock = body(mutex);
    must_be_set_up(host_lock, kMutexMagic);
    const u32 self = this_thread();
    must_not_own(host_lock, self);
    pthread_mutex_lock(&host_lock.mutex);
    host_lock.owner = self;
    host::lock_event(host::LockEvent::kTaken, host_lock.name, mutex);
}

int platform_mutex_lock_killable(platform_mutex* mutex) {
    u32 code = 0;
    if (host::faults().hit(host::Call::kMutexKilled, &code)) return static_cast<int>(code);
    platform_mutex_lock(mutex);
    return 0;
}

void platform_mutex_unlock(platform_mutex* mutex) {
    HostLock& host_lock = body(mutex);
    may_release(host_lock, kMutexMagic);
    host::lock_event(host::LockEvent::kReleasing, host_lock.name, mutex);
    host_lock.owner = 0;
    pthread_mutex_unlock(&host_lock.mutex);
}
