// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The user-space platform as a checker: it aborts with a message when the system
// breaks a rule of the kernel, and makes any platform call fail at its N-th use.
#ifndef PLATFORM_HOST_CHECKER_H
#define PLATFORM_HOST_CHECKER_H

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <map>

#include "platform/types.h"

namespace host {

// The platform calls that can be made to fail.
enum class Call : unsigned {
    kZalloc,
    kBufferAlloc,
    kSpinLock,
    kMutexKilled,  // the caller is killed while it waits for the mutex
    kMemset,
    kMemcpy,
    kStrncpy,
    kSprintf,
    kSnprintfTruncated,
    kLogRegister,
    kFlashRead,
    kFlashWrite,
    kEepromRead,
    kEepromWrite,
    kEnvGet,
    kEnvSet,
    kEnvSave,
    kDriverRegister,
    kDriverFind,
    kDriverHold,
    kXml,
    kDiagKobject,
    kDiagModule,
    kDiagFilelist,
    kSysfsCreate,
    kMiscRegister,
    kRangeValid,
    kCopyFromUser,
    kCopyToUser,
    kMtdSize,
    kCount
};

// Failures to come, planned while nobody uses the platform; uses are counted on any
// thread. A failing call returns its documented failure: null, a code,
// bytes not copied; the code is the one given here where the call returns one.
class Faults {
public:
    // The nth use from now on (1 is the next one) and the `times` - 1 after it fail.
    void fail(Call call, unsigned nth = 1, u32 code = 0xdead, unsigned times = 1);

    // Runs something at the start of the nth use from now on, which then goes on.
    void at_use(Call call, unsigned nth, std::function<void()> action);

    // From now on a call that yields a number yields this one.
    void give(Call call, u64 number) { given_[call] = number; }

    // How often a call was used since the last clear().
    unsigned uses(Call call) const { return uses_[index(call)].load(std::memory_order_relaxed); }

    // Forgets failures, actions, numbers and counts.
    void clear();

    // For the services: the number that a call is to yield, where there is one.
    bool gives(Call call, u64* number) const;

    // For the services: counts a use and says whether it fails. With a code, that
    // of the failure is stored there.
    bool hit(Call call, u32* code = nullptr) {
        const unsigned use = uses_[index(call)].fetch_add(1, std::memory_order_relaxed) + 1;
        return planned_ && happens(call, use, code);
    }

private:
    struct Plan {
        unsigned first;
        unsigned last;
        u32 code;
    };

    bool happens(Call call, unsigned use, u32* code);

    static constexpr std::size_t kCalls = static_cast<std::size_t>(Call::kCount);
    static std::size_t index(Call call) { return static_cast<std::size_t>(call); }

    std::array<std::atomic<unsigned>, kCalls> uses_{};
    bool planned_ = false;  // anything at all
    std::multimap<Call, Plan> plans_;
    std::map<Call, u64> given_;
    std::map<std::pair<Call, unsigned>, std::function<void()>> actions_;
};

extern Faults g_faults;
inline Faults& faults() { return g_faults; }

// What happens to a lock, spinlock or mutex: told after it was set up or taken, and before
// it is released.
enum class LockEvent : unsigned { kSetUp, kTaken, kReleasing };

// Sees every event of every lock, by the name of its set-up, on the thread that causes it;
// what it does must be allowed under that lock. Set while one thread runs; empty: nobody.
using LockObserver = std::function<void(LockEvent event, const char* name, const void* lock)>;
void observe_locks(LockObserver observer);

// For the lock service: a load when nobody observes.
extern bool g_locks_observed;
void tell_lock_observer(LockEvent event, const char* name, const void* lock);
inline void lock_event(LockEvent event, const char* name, const void* lock) {
    if (g_locks_observed) tell_lock_observer(event, name, lock);
}

// Ends the process: the system broke a rule.
[[noreturn]] void violation(const char* format, ...) __attribute__((format(printf, 1, 2)));

// To be called by everything that may sleep: aborts under a spinlock.
void might_sleep(const char* what);

// How many spinlocks the calling thread holds.
inline constinit thread_local unsigned spinlocks_held = 0;

}  // namespace host

#endif
