// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/checker.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace host {

namespace {

thread_local unsigned spinlocks_held = 0;

}  // namespace

void Faults::fail(Call call, unsigned nth, u32 code, unsigned times) {
    const unsigned first = uses(call) + nth;
    plans_.insert({call, {first, first + times - 1, code}});
}

void Faults::at_use(Call call, unsigned nth, std::function<void()> action) {
    actions_[{call, uses(call) + nth}] = std::move(action);
}

void Faults::clear() {
    uses_.fill(0);
    plans_.clear();
    actions_.clear();
}

bool Faults::hit(Call call, u32* code) {
    const unsigned use = ++uses_[index(call)];
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

Faults& faults() {
    static Faults instance;
    return instance;
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

void spinlock_taken() { ++spinlocks_held; }
void spinlock_released() { --spinlocks_held; }

}  // namespace host
