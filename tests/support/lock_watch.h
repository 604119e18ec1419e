// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What a test sees of the system's locks, by the names that they are set up under.
#ifndef TESTS_SUPPORT_LOCK_WATCH_H
#define TESTS_SUPPORT_LOCK_WATCH_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/host/checker.h"

namespace test {

inline constexpr char kDataSetsLock[] = "&g_mac_func.lock";
inline constexpr char kDataSetMutex[] = "&(inst_mng->mac_mutex)";
inline constexpr char kConfigLock[] = "&g_mac_config.lock";
inline constexpr char kInstanceLock[] = "&config->lock";
inline constexpr char kCommandMutex[] = "&g_mac_config.dev_mutex";
inline constexpr char kListingMutex[] = "&g_mac_config.show_mutex";
inline constexpr char kDriversLock[] = "&g_mac_drv.lock";

// Watches from its making on; one at a time, in a test with one thread.
class LockWatch {
public:
    LockWatch();
    ~LockWatch();
    LockWatch(const LockWatch&) = delete;
    LockWatch& operator=(const LockWatch&) = delete;

    // How often locks of that name were taken.
    unsigned taken(const std::string& name) const;

    // Whether one of that name is held now, or any at all.
    bool holds(const std::string& name) const;
    bool holds_any() const { return !held_.empty(); }

    // Runs at each event of the locks of that name: after each taking, before each
    // release. It must not take the lock that it runs under.
    void at(host::LockEvent event, const std::string& name, std::function<void()> action);

    // Every event since the last call: "set up ", "take " or "release " and the name.
    // note() puts a word of the test's own between them.
    std::vector<std::string> take_trace();
    void note(const std::string& word) { trace_.push_back(word); }

private:
    void see(host::LockEvent event, const std::string& name, const void* lock);

    std::map<const void*, std::string> held_;
    std::map<std::string, unsigned> taken_;
    std::map<std::pair<host::LockEvent, std::string>, std::function<void()>> actions_;
    std::vector<std::string> trace_;
};

}  // namespace test

#endif
