// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/reclaim_service.h"

#include <sched.h>

#include <atomic>

#include "platform/common/grace.h"
#include "platform/host/checker.h"

namespace {

// Held for a few instructions, twice in every call: cheaper than a mutex.
class CountLock {
public:
    CountLock() {
        while (held_.exchange(true, std::memory_order_acquire)) sched_yield();
    }
    ~CountLock() { held_.store(false, std::memory_order_release); }
    CountLock(const CountLock&) = delete;
    CountLock& operator=(const CountLock&) = delete;

private:
    static std::atomic<bool> held_;
};
constinit std::atomic<bool> CountLock::held_{false};

constinit grace calls{};

unsigned length(const platform_reclaim* first) {
    unsigned count = 0;
    for (; first != nullptr; first = first->next) ++count;
    return count;
}

}  // namespace

namespace host {

unsigned calls_inside() {
    const CountLock lock;
    return calls.inside[0] + calls.inside[1];
}

unsigned records_waiting() {
    const CountLock lock;
    return length(calls.first) + length(calls.then);
}

}  // namespace host

int platform_reclaim_enter() {
    const CountLock lock;
    return static_cast<int>(grace_enter(&calls));
}

void platform_reclaim_leave(int token) {
    if (token != 0 && token != 1) host::violation("left with a token that nobody was given");
    const u32 side = static_cast<u32>(token);
    platform_reclaim* ready = nullptr;
    {
        const CountLock lock;
        if (calls.inside[side] == 0) host::violation("more calls left than were inside");
        ready = grace_leave(&calls, side);
    }
    grace_release(ready);
}

void platform_reclaim_later(platform_reclaim* record, void (*release)(platform_reclaim*)) {
    record->release = release;
    platform_reclaim* ready = nullptr;
    {
        const CountLock lock;
        ready = grace_later(&calls, record);
    }
    grace_release(ready);
}
