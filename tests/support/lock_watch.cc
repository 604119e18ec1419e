// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/support/lock_watch.h"

#include <algorithm>
#include <utility>

namespace test {

using host::LockEvent;

LockWatch::LockWatch() {
    host::observe_locks(
        [this](LockEvent event, const char* name, const void* lock) { see(event, name, lock); });
}

LockWatch::~LockWatch() { host::observe_locks({}); }

unsigned LockWatch::taken(const std::string& name) const {
    const auto found = taken_.find(name);
    return found == taken_.end() ? 0 : found->second;
}

bool LockWatch::holds(const std::string& name) const {
    return std::any_of(held_.begin(), held_.end(),
                       [&name](const auto& held) { return held.second == name; });
}

void LockWatch::at(LockEvent event, const std::string& name, std::function<void()> action) {
    actions_[{event, name}] = std::move(action);
}

std::vector<std::string> LockWatch::take_trace() { return std::exchange(trace_, {}); }

void LockWatch::see(LockEvent event, const std::string& name, const void* lock) {
    static constexpr const char* kWords[] = {"set up ", "take ", "release "};
    trace_.push_back(kWords[static_cast<unsigned>(event)] + name);
    if (event == LockEvent::kTaken) {
        held_[lock] = name;
        ++taken_[name];
    }
    if (const auto found = actions_.find({event, name}); found != actions_.end()) found->second();
    if (event == LockEvent::kReleasing) held_.erase(lock);
}

}  // namespace test
