// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/checker.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace host {

Faults g_faults;

void Faults::fail(Call call, unsigned nth, u32 code, unsigned times) {
    const unsigned first = uses(call) + nth;
    plans_.insert({call, {first, first + times - 1, code}});
    planned_ = true;
}

void Faults::at_use(Call call, unsigned nth, std::function<void()> action) {
    actions_[{call, uses(call) + nth}] = std::move(action);
    planned_ = true;
}

void Faults::clear() {
    for (std::atomic<unsigned>& uses : uses_) uses.store(0, std::memory_order_relaxed);
    plans_.clear();
    actions_.clear();
    given_.clear();
    planned_ = false;
}

bool Faults::gives(Call call, u64* number) const {
    const auto found = given_.find(call);
    if (found == given_.end()) return false;
    *number = found->second;
    return true;
}

bool Faults::happens(Call call, unsigned use, u32* code) {
    if (const auto found = actions_.find({call, use}); found != actions_.end()) {
        const std::function<void()> action = std::move(found->second);
        actions_.erase(found);
        action();
    }
    const auto [begin, end] = plans_.equal_range(call);
    for (auto plan = begin; plan != end; ++plan) {
        if (use < plan->second.first || use > plan->second.last) continue;
        if (code != nullptr) *code = plan->second.code;
        return true;
    }
    return false;
}

bool g_locks_observed = false;
static LockObserver lock_observer;

void observe_locks(LockObserver observer) {
    lock_observer = std::move(observer);
    g_locks_observed = static_cast<bool>(lock_observer);
}

void tell_lock_observer(LockEvent event, const char* name, const void* lock) {
    lock_observer(event, name, lock);
}

void violation(const char* format, ...) {
    std::fputs("mac_mng platform violation: ", stderr);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fputc('\n', stderr);
    std::abort();
}

void might_sleep(const char* what) {
    if (spinlocks_held != 0) violation("%s may sleep, but a spinlock is held", what);
}

}  // namespace host
