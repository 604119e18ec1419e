// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The calls that the system makes of its platform's services, as a test sees them.
#ifndef TESTS_SUPPORT_JOURNAL_H
#define TESTS_SUPPORT_JOURNAL_H

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "platform/host/journal.h"

namespace test {

// Keeps a journal from its making on; one at a time, in a test with one thread.
class Journal {
public:
    using Calls = std::vector<std::string>;

    // Of the calls that begin with one of these words only; with none of them, of all.
    explicit Journal(std::initializer_list<std::string> functions = {}) : functions_(functions) {
        host::keep_journal([this](const std::string& call) { see(call); });
    }
    ~Journal() { host::keep_journal({}); }
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // The calls since the last take.
    Calls take() { return std::exchange(calls_, {}); }

    // Runs at the beginning of every call that begins with the words.
    void at(const std::string& words, std::function<void()> action) {
        actions_.emplace_back(words, std::move(action));
    }

private:
    void see(const std::string& call) {
        bool wanted = functions_.empty();
        for (const std::string& function : functions_) wanted |= call.starts_with(function);
        if (wanted) calls_.push_back(call);
        for (const auto& [words, action] : actions_) {
            if (call.starts_with(words)) action();
        }
    }

    Calls functions_;
    Calls calls_;
    std::vector<std::pair<std::string, std::function<void()>>> actions_;
};

}  // namespace test

#endif
